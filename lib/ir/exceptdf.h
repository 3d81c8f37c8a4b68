// Exception definitions: a contained container with an ordered list of
// members and a TypeCode of its own (an exception is not an IDL type).
#ifndef IR_IR_EXCEPTDF_H
#define IR_IR_EXCEPTDF_H

#include "ir/containd.h"
#include "ir/containr_forwarders.h"

class CORBA_ExceptionDef_Impl : public virtual POA_IRExt::ExceptionDef,
                                public CORBA_Contained_Impl,
                                public CORBA_Container_Impl {
 public:
  // Creation: copies `members`, fills their types from their type_defs
  // and builds the exception's TypeCode.  A type_def that is not a type
  // raises BAD_PARAM (OMG minor 4); the ORB's refusal passes on.  The use
  // links are the caller's.
  CORBA_ExceptionDef_Impl(const char* id, const char* name, const char* version,
                          const char* defined_in,
                          const CORBA::StructMemberSeq& members);
  // Loading, before stream_to_object.
  CORBA_ExceptionDef_Impl(const char* id, const char* name, const char* version,
                          CORBA_Repository_Impl* repository,
                          const char* defined_in);
  ~CORBA_ExceptionDef_Impl() override;

  static CORBA_ExceptionDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // IDL
  // A duplicate of the exception's TypeCode; nil when it has none (a
  // member's type has gone).
  CORBA::TypeCode_ptr type() override;
  CORBA::StructMemberSeq* members() override;
  // An empty list is allowed.  A type_def that is not a type raises
  // base + 0x48 (base + 0x52 for one of the current members).  Nothing
  // changes on failure.
  void members(const CORBA::StructMemberSeq& members) override;
  // An ExceptionDescription.  Its defined_in is the container's id, the
  // repository root's included: unlike typedefs and constants, a
  // top-level exception does not report "" (kept for existing clients).
  CORBA::Contained::Description* describe() override;

  void object_to_stream(Encapsulation& e) override;
  void stream_to_object(const char* name, const char* id,
                        Encapsulation& e) override;
  // base + 0x52 when no member refers to `old_id`.
  void changeID(const char* old_id, const char* new_id) override;
  const char* container_id() override { return own_id(); }

  IR_CONTAINER_FORWARDERS(refuse, refuse, fwd, fwd, fwd, refuse, refuse, refuse,
                          refuse, refuse, refuse, refuse)

 private:
  CORBA::TypeCode_var tc_;
  CORBA::StructMemberSeq members_;
};

#endif
