#include "ir/constdf.h"

#include "ir/anontype.h"
#include "ir/primitdf.h"

namespace {
const char kFile[] = "lib/ir/constdf";
const char kTypeText[] = "CORBA::ConstantDef::type_def(...)";
const char kValueText[] = "CORBA::ConstantDef::value(...)";
}  // namespace

CORBA_ConstantDef_Impl::CORBA_ConstantDef_Impl(const char* id, const char* name,
                                               const char* version,
                                               const char* defined_in,
                                               CORBA::IDLType_ptr type,
                                               const CORBA::Any* value)
    : CORBA_IRObject_Impl(CORBA::dk_Constant),
      CORBA_Contained_Impl(id, name, version, defined_in),
      tc_(ir_type_of(type)),
      type_def_(CORBA::IDLType::_duplicate(type)),
      value_(value ? new CORBA::Any(*value) : new CORBA::Any) {}

CORBA_ConstantDef_Impl::CORBA_ConstantDef_Impl(
    const char* id, const char* name, const char* version,
    CORBA_Repository_Impl* repository, const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Constant),
      CORBA_Contained_Impl(id, name, version, repository, defined_in),
      value_(new CORBA::Any) {}

CORBA_ConstantDef_Impl::~CORBA_ConstantDef_Impl() = default;

CORBA_ConstantDef_Impl* CORBA_ConstantDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Constant)
             ? dynamic_cast<CORBA_ConstantDef_Impl*>(p)
             : nullptr;
}

int CORBA_ConstantDef_Impl::type_refusal(CORBA::IDLType_ptr type,
                                         bool accept_wstring) {
  Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(type));
  if (!s.in()) return 138;
  switch (s->def_kind()) {
    case CORBA::dk_String:
      return 0;
    case CORBA::dk_Wstring:
      return accept_wstring ? 0 : 138;
    case CORBA::dk_Primitive:
      break;
    default:
      return 138;
  }
  CORBA_PrimitiveDef_Impl* p = CORBA_PrimitiveDef_Impl::_narrow(s.in());
  if (!p) return 181;
  switch (p->kind()) {
    case CORBA::pk_short:
    case CORBA::pk_long:
    case CORBA::pk_ushort:
    case CORBA::pk_ulong:
    case CORBA::pk_float:
    case CORBA::pk_double:
    case CORBA::pk_boolean:
    case CORBA::pk_char:
    case CORBA::pk_octet:
    case CORBA::pk_string:
    case CORBA::pk_wchar:
      return 0;
    default:
      return 181;
  }
}

CORBA::TypeCode_ptr CORBA_ConstantDef_Impl::type() {
  return CORBA::TypeCode::_duplicate(tc_.in());
}

CORBA::IDLType_ptr CORBA_ConstantDef_Impl::type_def() {
  return CORBA::IDLType::_duplicate(type_def_.in());
}

void CORBA_ConstantDef_Impl::type_def(CORBA::IDLType_ptr t) {
  if (CORBA::is_nil(t)) kaldBadArgument(kFile, 138, kTypeText);
  if (int line = type_refusal(t, false))
    kaldBadArgument(kFile, line, kTypeText);
  CORBA::TypeCode_var tc = ir_type_of(t);
  CORBA::TypeCode_var old_tc = tc_._retn();
  CORBA::IDLType_var old = type_def_._retn();
  tc_ = tc._retn();
  type_def_ = CORBA::IDLType::_duplicate(t);
  try {
    ir_in_update(store_, kFile, __LINE__, kTypeText, [&](IrUpdate&) {
      store_->IRObjectOp(id_handle());
      write_record();
    });
  } catch (...) {
    tc_ = old_tc._retn();
    type_def_ = old._retn();
    throw;
  }
}

CORBA::Any* CORBA_ConstantDef_Impl::value() { return new CORBA::Any(*value_); }

void CORBA_ConstantDef_Impl::value(const CORBA::Any& v) {
  CORBA::TypeCode_var given = v.type();
  std::unique_ptr<CORBA::Any> next(new CORBA::Any(v));
  ir_in_update(store_, kFile, __LINE__, kValueText, [&](IrUpdate& update) {
    store_->IRObjectOp(id_handle());
    if (CORBA::is_nil(tc_.in()) || !given->equal(tc_.in())) {
      update.cancel();
      kaldBadArgument(kFile, 350, kValueText);
    }
    value_.swap(next);
    try {
      write_record();
    } catch (...) {
      value_.swap(next);
      throw;
    }
  });
}

CORBA::Contained::Description* CORBA_ConstantDef_Impl::describe() {
  try {
    store_->IRObjectOp(id_handle());
  } catch (const IRStore::Exception& e) {
    irobj_parse_throw(e.code(), kFile, 447, "CORBA::ConstantDef::describe");
  }
  // A nil TypeCode cannot travel in an Any.
  if (CORBA::is_nil(tc_.in()))
    kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, __LINE__, nullptr,
              0, IR_MSG_STORE_OPERATION, 0, CORBA::_tc_string,
              "CORBA::ConstantDef::describe", 0);
  CORBA::ConstantDescription cd;
  cd.name = own_name();
  cd.id = own_id();
  cd.defined_in = described_defined_in();
  cd.version = own_version();
  cd.type = CORBA::TypeCode::_duplicate(tc_.in());
  cd.value = *value_;
  CORBA::Contained::Description_var d = new CORBA::Contained::Description;
  d->kind = CORBA::dk_Constant;
  d->value <<= cd;
  return d._retn();
}

void CORBA_ConstantDef_Impl::object_to_stream(Encapsulation& e) {
  CORBA_Contained_Impl::object_to_stream(e);
  narrow_and_continue_streaming(type_def_.in(), e);
  e.put_any(*value_);
}

void CORBA_ConstantDef_Impl::stream_to_object(const char* name, const char* id,
                                              Encapsulation& e) {
  CORBA_Contained_Impl::stream_to_object(name, id, e);
  CORBA::IDLType_var t = get_next_object(e, store_);
  std::unique_ptr<CORBA::Any> v(new CORBA::Any);
  e.get_any(*v);
  tc_ = ir_type_of(t.in());
  type_def_ = t._retn();
  value_ = std::move(v);
}
