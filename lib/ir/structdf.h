// Struct definitions: a named type with an ordered list of members,
// each a name and a type; also a container of nested definitions.
#ifndef IR_IR_STRUCTDF_H
#define IR_IR_STRUCTDF_H

#include "ir/containr_forwarders.h"
#include "ir/typedf.h"

class CORBA_StructDef_Impl : public virtual POA_IRExt::StructDef,
                             public CORBA_TypedefDef_Impl,
                             public CORBA_Container_Impl {
 public:
  // Creation: copies `members`, whose types the caller has filled, and
  // adopts `tc`.  The use links are the caller's.
  CORBA_StructDef_Impl(const char* id, const char* name, const char* version,
                       const char* defined_in,
                       const CORBA::StructMemberSeq& members,
                       CORBA::TypeCode_ptr tc);
  // Loading, before stream_to_object.
  CORBA_StructDef_Impl(const char* id, const char* name, const char* version,
                       CORBA_Repository_Impl* repository,
                       const char* defined_in);
  ~CORBA_StructDef_Impl() override;

  static CORBA_StructDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // IDL
  CORBA::StructMemberSeq* members() override;
  // An empty list raises base + 0x48; a type_def that is not a type
  // base + 0x48 (base + 0x53 for one of the current members); the ORB's
  // refusal of the list passes on.  Nothing changes on failure.
  void members(const CORBA::StructMemberSeq& members) override;

  void object_to_stream(Encapsulation& e) override;
  void stream_to_object(const char* name, const char* id,
                        Encapsulation& e) override;
  // base + 0x52 when no member refers to `old_id`.
  void changeID(const char* old_id, const char* new_id) override;
  const char* container_id() override { return own_id(); }

  IR_CONTAINER_FORWARDERS(refuse, refuse, fwd, fwd, fwd, refuse, refuse, refuse,
                          refuse, refuse, refuse, refuse)

 private:
  CORBA::StructMemberSeq members_;
};

#endif
