// Modules: named containers with no state of their own.
#ifndef IR_IR_MODULEDF_H
#define IR_IR_MODULEDF_H

#include "ir/containd.h"
#include "ir/containr_forwarders.h"

class CORBA_ModuleDef_Impl : public virtual POA_IRExt::ModuleDef,
                             public CORBA_Contained_Impl,
                             public CORBA_Container_Impl {
 public:
  CORBA_ModuleDef_Impl(const char* id, const char* name, const char* version,
                       const char* defined_in);
  CORBA_ModuleDef_Impl(const char* id, const char* name, const char* version,
                       CORBA_Repository_Impl* repository,
                       const char* defined_in);

  static CORBA_ModuleDef_Impl* _narrow(CORBA_IRObject_Impl* p);
  CORBA::Contained::Description* describe() override;
  const char* container_id() override { return own_id(); }

  IR_CONTAINER_FORWARDERS(fwd, fwd, fwd, fwd, fwd, fwd, fwd, fwd, fwd, fwd, fwd,
                          fwd)
};

#endif
