#include "ir/primitdf.h"

namespace {

const char kFile[] = "lib/ir/primitdf";

// The ORB's constant TypeCode of a supported primitive kind, else nil.
CORBA::TypeCode_ptr primitive_typecode(CORBA::ULong k) {
  switch (k) {
    case CORBA::pk_null:
      return CORBA::_tc_null;
    case CORBA::pk_void:
      return CORBA::_tc_void;
    case CORBA::pk_short:
      return CORBA::_tc_short;
    case CORBA::pk_long:
      return CORBA::_tc_long;
    case CORBA::pk_ushort:
      return CORBA::_tc_ushort;
    case CORBA::pk_ulong:
      return CORBA::_tc_ulong;
    case CORBA::pk_float:
      return CORBA::_tc_float;
    case CORBA::pk_double:
      return CORBA::_tc_double;
    case CORBA::pk_boolean:
      return CORBA::_tc_boolean;
    case CORBA::pk_char:
      return CORBA::_tc_char;
    case CORBA::pk_octet:
      return CORBA::_tc_octet;
    case CORBA::pk_any:
      return CORBA::_tc_any;
    case CORBA::pk_TypeCode:
      return CORBA::_tc_TypeCode;
    case CORBA::pk_Principal:
      return CORBA::_tc_Principal;
    case CORBA::pk_string:
      return CORBA::_tc_string;
    case CORBA::pk_objref:
      return CORBA::_tc_Object;
    case CORBA::pk_longlong:
      return CORBA::_tc_longlong;
    case CORBA::pk_ulonglong:
      return CORBA::_tc_ulonglong;
    case CORBA::pk_wchar:
      return CORBA::_tc_wchar;
    case CORBA::pk_wstring:
      return CORBA::_tc_wstring;
    default:
      return CORBA::TypeCode::_nil();
  }
}

}  // namespace

CORBA_PrimitiveDef_Impl::CORBA_PrimitiveDef_Impl(CORBA::PrimitiveKind k)
    : CORBA_IRObject_Impl(CORBA::dk_Primitive),
      CORBA_IDLType_Impl(CORBA::dk_Primitive),
      kind_(k) {
  CORBA::TypeCode_ptr tc = primitive_typecode(static_cast<CORBA::ULong>(k));
  if (CORBA::is_nil(tc))
    kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, 119, nullptr, 0,
              IR_MSG_STORE_OPERATION, 0, CORBA::_tc_string,
              "CORBA::PrimitiveDef::PrimitiveDef (...)", 0);
  cached_tc_ = CORBA::TypeCode::_duplicate(tc);
}

CORBA_PrimitiveDef_Impl::~CORBA_PrimitiveDef_Impl() = default;

bool CORBA_PrimitiveDef_Impl::is_supported(CORBA::ULong k) {
  return !CORBA::is_nil(primitive_typecode(k));
}

CORBA::PrimitiveKind CORBA_PrimitiveDef_Impl::kind() { return kind_; }

void CORBA_PrimitiveDef_Impl::destroy() {
  kaldBadArgument(kFile, 155, "CORBA::PrimitiveDef::destroy");
}

std::string CORBA_PrimitiveDef_Impl::object_key() {
  return "~p" + std::to_string(static_cast<CORBA::ULong>(kind_));
}

void CORBA_PrimitiveDef_Impl::stream_in_line(Encapsulation& e) {
  e.put_ulong(CORBA::dk_Primitive);
  e.put_ulong(static_cast<CORBA::ULong>(kind_));
}

CORBA_PrimitiveDef_Impl* CORBA_PrimitiveDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  if (!p) return nullptr;
  return dynamic_cast<CORBA_PrimitiveDef_Impl*>(
      p->_has_kind(CORBA::dk_Primitive));
}
