#include "ir/nativedf.h"

namespace {
const char kFile[] = "lib/ir/nativedf";
}  // namespace

CORBA_NativeDef_Impl::CORBA_NativeDef_Impl(const char* id, const char* name,
                                           const char* version,
                                           const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Native),
      CORBA_TypedefDef_Impl(id, name, version, defined_in) {}

CORBA_NativeDef_Impl::CORBA_NativeDef_Impl(const char* id, const char* name,
                                           const char* version,
                                           CORBA_Repository_Impl* repository,
                                           const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Native),
      CORBA_TypedefDef_Impl(id, name, version, repository, defined_in) {}

CORBA_NativeDef_Impl::~CORBA_NativeDef_Impl() = default;

CORBA_NativeDef_Impl* CORBA_NativeDef_Impl::_narrow(CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Native)
             ? dynamic_cast<CORBA_NativeDef_Impl*>(p)
             : nullptr;
}

CORBA::Contained::Description* CORBA_NativeDef_Impl::describe() {
  try {
    store_->IRObjectOp(id_handle());
  } catch (const IRStore::Exception& e) {
    irobj_parse_throw(e.code(), kFile, __LINE__, "CORBA::NativeDef::describe");
  }
  CORBA::TypeDescription td;
  td.name = own_name();
  td.id = own_id();
  td.defined_in = described_defined_in();
  td.version = own_version();
  td.type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
  CORBA::Contained::Description_var d = new CORBA::Contained::Description;
  d->kind = CORBA::dk_Native;
  d->value <<= td;
  return d._retn();
}
