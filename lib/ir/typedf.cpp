#include "ir/typedf.h"

namespace {

const char kFile[] = "lib/ir/typedf";

}  // namespace

CORBA_TypedefDef_Impl::CORBA_TypedefDef_Impl(const char* id, const char* name,
                                             const char* version,
                                             const char* defined_in)
    : CORBA_Contained_Impl(id, name, version, defined_in) {}

CORBA_TypedefDef_Impl::CORBA_TypedefDef_Impl(const char* id, const char* name,
                                             const char* version,
                                             CORBA_Repository_Impl* repository,
                                             const char* defined_in)
    : CORBA_Contained_Impl(id, name, version, repository, defined_in) {}

CORBA_TypedefDef_Impl::~CORBA_TypedefDef_Impl() = default;

CORBA_TypedefDef_Impl* CORBA_TypedefDef_Impl::_narrow(CORBA_IRObject_Impl* p) {
  if (!p) return nullptr;
  CORBA::DefinitionKind kind = p->def_kind();
  switch (kind) {
    case CORBA::dk_Alias:
    case CORBA::dk_Struct:
    case CORBA::dk_Union:
    case CORBA::dk_Enum:
    case CORBA::dk_Native:
      return dynamic_cast<CORBA_TypedefDef_Impl*>(p->_has_kind(kind));
    default:
      // Value boxes are types with a name too, but not typedefs here.
      return nullptr;
  }
}

CORBA::Contained::Description* CORBA_TypedefDef_Impl::describe() {
  CORBA::Contained::Description_var d = new CORBA::Contained::Description;
  d->kind = def_kind_;
  if (store_) {
    try {
      store_->IRObjectOp(id_handle());
    } catch (const IRStore::Exception& e) {
      irobj_parse_throw(e.code(), kFile, 922, "CORBA::TypedefDef::describe");
    }
  }
  CORBA::TypeDescription td;
  td.name = own_name();
  td.id = own_id();
  td.defined_in = described_defined_in();
  td.version = own_version();
  td.type = type();
  // A nil TypeCode cannot travel in an Any; every typedef has one once
  // it is built or loaded.
  if (CORBA::is_nil(td.type.in()))
    kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, __LINE__, nullptr,
              0, IR_MSG_STORE_OPERATION, 0, CORBA::_tc_string,
              "CORBA::TypedefDef::describe", 0);
  d->value <<= td;
  return d._retn();
}

void CORBA_TypedefDef_Impl::stream_in_line(Encapsulation& e) {
  CORBA_Contained_Impl::stream_in_line(e);
}
