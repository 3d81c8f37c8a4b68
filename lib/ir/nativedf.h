// Native definitions: a named type with no other state and no TypeCode
// (the ORB has no factory for native TypeCodes).
#ifndef IR_IR_NATIVEDF_H
#define IR_IR_NATIVEDF_H

#include "ir/typedf.h"

class CORBA_NativeDef_Impl : public virtual POA_IRExt::NativeDef,
                             public CORBA_TypedefDef_Impl {
 public:
  CORBA_NativeDef_Impl(const char* id, const char* name, const char* version,
                       const char* defined_in);
  // Loading, before stream_to_object.
  CORBA_NativeDef_Impl(const char* id, const char* name, const char* version,
                       CORBA_Repository_Impl* repository,
                       const char* defined_in);
  ~CORBA_NativeDef_Impl() override;

  static CORBA_NativeDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // type() stays nil.  The description, which must travel in an Any,
  // carries tk_void in its place.
  CORBA::Contained::Description* describe() override;
};

#endif
