// Alias definitions (typedef): a new name for another type.
#ifndef IR_IR_ALIASDF_H
#define IR_IR_ALIASDF_H

#include "ir/origtype.h"

struct IrAliasTraits {
  static constexpr const char* kFile = "lib/ir/aliasdf";
  static constexpr const char* kSetterText =
      "CORBA::AliasDef::original_type_def(...)";
  static constexpr int kOldLine = 127;
  static constexpr int kNewLine = 151;
  static constexpr const char* kChangeIdText = "CORBA::AliasDef::changeID(...)";
  static constexpr int kChangeIdLine = 314;
  // create_alias_tc; the caller owns the result.
  static CORBA::TypeCode_ptr make_tc(const char* id, const char* name,
                                     CORBA::TypeCode_ptr original);
};

class CORBA_AliasDef_Impl
    : public IrOriginalTypeDef<POA_IRExt::AliasDef, IrAliasTraits> {
 public:
  CORBA_AliasDef_Impl(const char* id, const char* name, const char* version,
                      const char* defined_in, CORBA::IDLType_ptr original,
                      CORBA::TypeCode_ptr tc);
  CORBA_AliasDef_Impl(const char* id, const char* name, const char* version,
                      CORBA_Repository_Impl* repository,
                      const char* defined_in);

  static CORBA_AliasDef_Impl* _narrow(CORBA_IRObject_Impl* p);
};

#endif
