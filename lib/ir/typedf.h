// Named type definitions (alias, struct, union, enum, native): a
// contained object that is also a type.
#ifndef IR_IR_TYPEDF_H
#define IR_IR_TYPEDF_H

#include "ir/containd.h"
#include "ir/idltype.h"

class CORBA_TypedefDef_Impl : public virtual POA_IRExt::TypedefDef,
                              public CORBA_Contained_Impl,
                              public CORBA_IDLType_Impl {
 public:
  CORBA_TypedefDef_Impl(const char* id, const char* name, const char* version,
                        const char* defined_in);
  CORBA_TypedefDef_Impl(const char* id, const char* name, const char* version,
                        CORBA_Repository_Impl* repository,
                        const char* defined_in);
  ~CORBA_TypedefDef_Impl() override;

  // The typedef view of a servant of kind alias, struct, union, enum or
  // native; null otherwise.
  static CORBA_TypedefDef_Impl* _narrow(CORBA_IRObject_Impl* p);
  CORBA::Contained::Description* describe() override;
  void stream_in_line(Encapsulation& e) override;
};

#endif
