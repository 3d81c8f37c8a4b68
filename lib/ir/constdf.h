// Constant definitions: a named value of a primitive or string type.
#ifndef IR_IR_CONSTDF_H
#define IR_IR_CONSTDF_H

#include <memory>

#include "ir/containd.h"
#include "ir/idltype.h"

class CORBA_ConstantDef_Impl : public virtual POA_IRExt::ConstantDef,
                               public CORBA_Contained_Impl {
 public:
  // Creation: keeps a duplicate of `type`, its TypeCode and a copy of
  // `value`; the checks are the caller's.
  CORBA_ConstantDef_Impl(const char* id, const char* name, const char* version,
                         const char* defined_in, CORBA::IDLType_ptr type,
                         const CORBA::Any* value);
  // Loading, before stream_to_object.
  CORBA_ConstantDef_Impl(const char* id, const char* name, const char* version,
                         CORBA_Repository_Impl* repository,
                         const char* defined_in);
  ~CORBA_ConstantDef_Impl() override;

  static CORBA_ConstantDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // 0 when `type` may be the type of a constant, else the line of the
  // failure: 138 for a kind other than primitive and string (wide
  // strings included), 181 for a primitive other than short, long,
  // unsigned short, unsigned long, float, double, boolean, char, octet,
  // string and wchar.  `accept_wstring` admits wide strings too (the
  // create operation does).
  static int type_refusal(CORBA::IDLType_ptr type, bool accept_wstring);

  // IDL
  CORBA::TypeCode_ptr type() override;
  CORBA::IDLType_ptr type_def() override;
  // Refuses (base + 0x48) what type_refusal refuses.  The value is kept
  // as it is, even when it no longer matches the type.
  void type_def(CORBA::IDLType_ptr t) override;
  CORBA::Any* value() override;
  // base + 0x48 unless the Any's TypeCode is equal() to the constant's;
  // the old value stays then.
  void value(const CORBA::Any& v) override;
  // A ConstantDescription; defined_in is "" at the top level.
  CORBA::Contained::Description* describe() override;

  void object_to_stream(Encapsulation& e) override;
  void stream_to_object(const char* name, const char* id,
                        Encapsulation& e) override;

 private:
  CORBA::TypeCode_var tc_;
  CORBA::IDLType_var type_def_;
  std::unique_ptr<CORBA::Any> value_;
};

#endif
