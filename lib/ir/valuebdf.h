// Value box definitions: a value type that boxes one other type.
// Any type may be boxed.
#ifndef IR_IR_VALUEBDF_H
#define IR_IR_VALUEBDF_H

#include "ir/origtype.h"

struct IrValueBoxTraits {
  static constexpr const char* kFile = "lib/ir/valuebdf";
  static constexpr const char* kSetterText =
      "CORBA::ValueBoxDef::original_type_def(...)";
  static constexpr int kOldLine = 132;
  static constexpr int kNewLine = 156;
  static constexpr const char* kChangeIdText =
      "CORBA::ValueBoxDef::changeID(...)";
  static constexpr int kChangeIdLine = 320;
  // create_value_box_tc; the caller owns the result.
  static CORBA::TypeCode_ptr make_tc(const char* id, const char* name,
                                     CORBA::TypeCode_ptr original);
};

class CORBA_ValueBoxDef_Impl
    : public IrOriginalTypeDef<POA_IRExt::ValueBoxDef, IrValueBoxTraits> {
 public:
  CORBA_ValueBoxDef_Impl(const char* id, const char* name, const char* version,
                         const char* defined_in, CORBA::IDLType_ptr original,
                         CORBA::TypeCode_ptr tc);
  CORBA_ValueBoxDef_Impl(const char* id, const char* name, const char* version,
                         CORBA_Repository_Impl* repository,
                         const char* defined_in);

  static CORBA_ValueBoxDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // The value box TypeCode.  omniORB resolves no recursive placeholder
  // inside a value box: a box read while the type it boxes was being
  // loaded (a value type holding boxes of itself) took one, and builds
  // its TypeCode again from the boxed type as it is now once that type
  // has one.
  CORBA::TypeCode_ptr type() override;
};

#endif
