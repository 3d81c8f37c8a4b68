#include "ir/moduledf.h"

CORBA_ModuleDef_Impl::CORBA_ModuleDef_Impl(const char* id, const char* name,
                                           const char* version,
                                           const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Module),
      CORBA_Contained_Impl(id, name, version, defined_in) {}

CORBA_ModuleDef_Impl::CORBA_ModuleDef_Impl(const char* id, const char* name,
                                           const char* version,
                                           CORBA_Repository_Impl* repository,
                                           const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Module),
      CORBA_Contained_Impl(id, name, version, repository, defined_in) {}

CORBA_ModuleDef_Impl* CORBA_ModuleDef_Impl::_narrow(CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Module)
             ? dynamic_cast<CORBA_ModuleDef_Impl*>(p)
             : nullptr;
}

CORBA::Contained::Description* CORBA_ModuleDef_Impl::describe() {
  CORBA::ModuleDescription md;
  md.name = own_name();
  md.id = own_id();
  md.defined_in = described_defined_in();
  md.version = own_version();
  CORBA::Contained::Description_var d = new CORBA::Contained::Description;
  d->kind = CORBA::dk_Module;
  d->value <<= md;
  return d._retn();
}
