// Union definitions: a named type with a discriminator type and an
// ordered list of members, each a name, a case label and a type; also a
// container of nested definitions.
#ifndef IR_IR_UNIONDF_H
#define IR_IR_UNIONDF_H

#include "ir/containr_forwarders.h"
#include "ir/typedf.h"

class CORBA_UnionDef_Impl : public virtual POA_IRExt::UnionDef,
                            public CORBA_TypedefDef_Impl,
                            public CORBA_Container_Impl {
 public:
  // Creation: keeps a duplicate of `discriminator`, copies `members`
  // (types filled by the caller) and adopts `tc`.  The use links are the
  // caller's.
  CORBA_UnionDef_Impl(const char* id, const char* name, const char* version,
                      const char* defined_in, CORBA::IDLType_ptr discriminator,
                      const CORBA::UnionMemberSeq& members,
                      CORBA::TypeCode_ptr tc);
  // Loading, before stream_to_object.
  CORBA_UnionDef_Impl(const char* id, const char* name, const char* version,
                      CORBA_Repository_Impl* repository,
                      const char* defined_in);
  ~CORBA_UnionDef_Impl() override;

  static CORBA_UnionDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // The discriminator kinds a union accepts: enums, and the primitives
  // short, long, unsigned short, unsigned long, boolean, char, octet and
  // wchar.  Aliases and the 64-bit integers are refused.  Returns 0 when
  // `d` is accepted, else the line of the failure to report (195: not an
  // enum or primitive, 174: a primitive of another kind).
  static int discriminator_refusal(CORBA::IDLType_ptr d);
  // True when `label` is the default label (the octet 0) or its TypeCode
  // is equivalent to `discriminator`.
  static bool label_fits(const CORBA::Any& label,
                         CORBA::TypeCode_ptr discriminator);

  // IDL
  CORBA::TypeCode_ptr discriminator_type() override;
  CORBA::IDLType_ptr discriminator_type_def() override;
  // Refuses (base + 0x48) nil and the kinds above.  The TypeCode follows
  // at the next change of the members or load.
  void discriminator_type_def(CORBA::IDLType_ptr d) override;
  CORBA::UnionMemberSeq* members() override;
  // As StructDef::members; labels are stored as given, but the ORB
  // refuses lists it cannot build a TypeCode of (duplicate labels, labels
  // of another type).  Nothing changes on failure.
  void members(const CORBA::UnionMemberSeq& members) override;

  void object_to_stream(Encapsulation& e) override;
  void stream_to_object(const char* name, const char* id,
                        Encapsulation& e) override;
  // base + 0x52 when neither a member nor the discriminator refers to
  // `old_id`.
  void changeID(const char* old_id, const char* new_id) override;
  const char* container_id() override { return own_id(); }

  IR_CONTAINER_FORWARDERS(refuse, fwd, fwd, fwd, fwd, fwd, refuse, fwd, refuse,
                          refuse, fwd, refuse)

 private:
  CORBA::IDLType_var discriminator_;
  CORBA::UnionMemberSeq members_;
};

#endif
