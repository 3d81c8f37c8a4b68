// State members of value types: a name, a type with its use link, and an
// access (public or private).  Changes that reach the value type's
// TypeCode (type, access, name, destruction) rebuild it.
#ifndef IR_IR_VALUEMDF_H
#define IR_IR_VALUEMDF_H

#include "ir/containd.h"
#include "ir/idltype.h"

class CORBA_ValueMemberDef_Impl : public virtual POA_IRExt::ValueMemberDef,
                                  public CORBA_Contained_Impl {
 public:
  // Creation: the arguments are checked by the caller, which also adds
  // the use link; `access` is kept as given.
  CORBA_ValueMemberDef_Impl(const char* id, const char* name,
                            const char* version, const char* defined_in,
                            CORBA::IDLType_ptr type, CORBA::Visibility access);
  // Loading, before stream_to_object.
  CORBA_ValueMemberDef_Impl(const char* id, const char* name,
                            const char* version,
                            CORBA_Repository_Impl* repository,
                            const char* defined_in);
  ~CORBA_ValueMemberDef_Impl() override;

  static CORBA_ValueMemberDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // CORBA::Contained: a new name reaches the value type's TypeCode (a
  // name that the ORB refuses in a TypeCode raises base + 0x48
  // "CORBA::Contained::name(...)" and changes nothing); the contents
  // caches of derived value types are dropped.
  char* id() override { return CORBA_Contained_Impl::id(); }
  void id(const char* new_id) override;
  char* name() override { return CORBA_Contained_Impl::name(); }
  void name(const char* new_name) override;
  void destroy() override;

  // CORBA::ValueMemberDef
  // The TypeCode of the member's type as the value type's TypeCode holds
  // it (recursion onto the value type resolved); while the value type
  // has none, the type's own TypeCode, a recursive placeholder while that
  // type has none (it is being loaded), tk_null when it has gone.
  CORBA::TypeCode_ptr type() override;
  CORBA::IDLType_ptr type_def() override;
  // Moves the use link to the new type's named type and rewrites the
  // record; base + 0x48 "CORBA::ValueMemberDef::type_def(...)" for a
  // reference that is not a type of this repository.
  void type_def(CORBA::IDLType_ptr type) override;
  CORBA::Visibility access() override;
  // Keeps `access` in the servant only: the record holds the old access
  // until another change rewrites it.  base + 0x48
  // "CORBA::ValueMemeberDef::access(...)" unless PRIVATE_MEMBER or
  // PUBLIC_MEMBER; the current value does nothing, whatever it is.
  void access(CORBA::Visibility access) override;
  CORBA::Contained::Description* describe() override;
  // An access that the record does not hold yet keeps this servant in the
  // servant cache.
  bool has_unstored_state() const override { return unstored_access_; }

  // The description of describe() and describe_value.
  CORBA::ValueMember description();
  // The fields as they are, for the value type's TypeCode (not
  // duplicated).
  CORBA::IDLType_ptr type_def_ref() const { return type_def_.in(); }
  CORBA::Visibility access_value() const { return access_; }

  // base + 0x52 "CORBA::ValueMemberDef::changeID(...)" when the type does
  // not refer to `old_id`.
  void changeID(const char* old_id, const char* new_id) override;
  void object_to_stream(Encapsulation& e) override;
  void stream_to_object(const char* name, const char* id,
                        Encapsulation& e) override;

 private:
  CORBA::TypeCode_var type_;
  CORBA::IDLType_var type_def_;
  CORBA::Visibility access_ = CORBA::PRIVATE_MEMBER;
  bool unstored_access_ = false;  // access_ differs from the record's
};

#endif
