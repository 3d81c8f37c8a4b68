#include "values/typecode_util.h"

#include <omniORB4/cdrStream.h>

#include <string>

#include "values/text_encoding.h"

CORBA::TypeCode_ptr unaliased(CORBA::TypeCode_ptr tc) {
  CORBA::TypeCode_var t = CORBA::TypeCode::_duplicate(tc);
  while (t->kind() == CORBA::tk_alias) t = t->content_type();
  return t._retn();
}

bool any_as_integer(const CORBA::Any& any, long long* value) {
  CORBA::TypeCode_var tc = any.type();
  CORBA::TypeCode_var t = unaliased(tc);
  cdrMemoryStream s;
  any.NP_marshalDataOnly(s);
  switch (t->kind()) {
    case CORBA::tk_short: {
      CORBA::Short v;
      v <<= s;
      *value = v;
      return true;
    }
    case CORBA::tk_ushort: {
      CORBA::UShort v;
      v <<= s;
      *value = v;
      return true;
    }
    case CORBA::tk_long: {
      CORBA::Long v;
      v <<= s;
      *value = v;
      return true;
    }
    case CORBA::tk_ulong:
    case CORBA::tk_enum: {
      CORBA::ULong v;
      v <<= s;
      *value = v;
      return true;
    }
    case CORBA::tk_longlong: {
      CORBA::LongLong v;
      v <<= s;
      *value = v;
      return true;
    }
    case CORBA::tk_ulonglong: {
      CORBA::ULongLong v;
      v <<= s;
      *value = static_cast<long long>(v);
      return true;
    }
    case CORBA::tk_boolean:
      *value = s.unmarshalBoolean() ? 1 : 0;
      return true;
    case CORBA::tk_char:
      *value = static_cast<unsigned char>(s.unmarshalChar());
      return true;
    case CORBA::tk_octet:
      *value = s.unmarshalOctet();
      return true;
    case CORBA::tk_wchar:
      *value = s.unmarshalWChar();
      return true;
    default:
      return false;
  }
}

bool union_has_label(CORBA::TypeCode_ptr union_tc, long long d) {
  CORBA::Long default_index = union_tc->default_index();
  CORBA::ULong n = union_tc->member_count();
  for (CORBA::ULong i = 0; i < n; ++i) {
    if (static_cast<CORBA::Long>(i) == default_index) continue;
    CORBA::Any_var label = union_tc->member_label(i);
    long long v;
    if (any_as_integer(label.in(), &v) && v == d) return true;
  }
  return false;
}

long union_member_for(CORBA::TypeCode_ptr union_tc, long long d) {
  CORBA::Long default_index = union_tc->default_index();
  CORBA::ULong n = union_tc->member_count();
  for (CORBA::ULong i = 0; i < n; ++i) {
    if (static_cast<CORBA::Long>(i) == default_index) continue;
    CORBA::Any_var label = union_tc->member_label(i);
    long long v;
    if (any_as_integer(label.in(), &v) && v == d) return static_cast<long>(i);
  }
  return default_index >= 0 ? default_index : -1;
}

bool unused_discriminator(CORBA::TypeCode_ptr union_tc, long long* d) {
  CORBA::TypeCode_var disc_tc = union_tc->discriminator_type();
  CORBA::TypeCode_var disc = unaliased(disc_tc);
  long long limit = 1 << 16;
  if (disc->kind() == CORBA::tk_boolean) limit = 2;
  if (disc->kind() == CORBA::tk_enum) limit = disc->member_count();
  if (disc->kind() == CORBA::tk_char || disc->kind() == CORBA::tk_octet)
    limit = 256;
  for (long long v = 0; v < limit; ++v) {
    if (!union_has_label(union_tc, v)) {
      *d = v;
      return true;
    }
  }
  return false;
}

bool is_named_kind(CORBA::TCKind kind) {
  switch (kind) {
    case CORBA::tk_objref:
    case CORBA::tk_struct:
    case CORBA::tk_union:
    case CORBA::tk_enum:
    case CORBA::tk_alias:
    case CORBA::tk_except:
    case CORBA::tk_value:
    case CORBA::tk_value_box:
    case CORBA::tk_native:
    case CORBA::tk_abstract_interface:
    case CORBA::tk_local_interface:
      return true;
    default:
      return false;
  }
}

CORBA::TypeCode_ptr value_base_typecode(CORBA::ORB_ptr orb) {
  CORBA::ValueMemberSeq none;
  return orb->create_value_tc("IDL:omg.org/CORBA/ValueBase:1.0", "ValueBase",
                              CORBA::VM_NONE, CORBA::_tc_null, none);
}

bool value_derives_from(CORBA::TypeCode_ptr actual,
                        CORBA::TypeCode_ptr declared) {
  std::string declared_id = declared->id();
  if (declared_id == "IDL:omg.org/CORBA/ValueBase:1.0") return true;
  for (CORBA::TypeCode_var t = CORBA::TypeCode::_duplicate(actual);
       !CORBA::is_nil(t) && t->kind() == CORBA::tk_value;
       t = t->concrete_base_type()) {
    if (declared_id == t->id()) return true;
  }
  return false;
}

nlohmann::ordered_json integral_json(CORBA::TypeCode_ptr t, long long bits) {
  constexpr long long kExact = 1LL << 53;  // integers a double holds exactly
  switch (t->kind()) {
    case CORBA::tk_ulonglong: {
      auto u = static_cast<unsigned long long>(bits);
      if (u > static_cast<unsigned long long>(kExact)) return std::to_string(u);
      return u;
    }
    case CORBA::tk_longlong:
      if (bits > kExact || bits < -kExact) return std::to_string(bits);
      return bits;
    case CORBA::tk_boolean:
      return bits != 0;
    case CORBA::tk_char: {
      std::string text;
      append_utf8(text, static_cast<char32_t>(bits & 0xff));
      return text;
    }
    case CORBA::tk_wchar:
      return utf16_to_utf8(std::u16string(1, static_cast<char16_t>(bits)));
    case CORBA::tk_enum:
      return std::string(t->member_name(static_cast<CORBA::ULong>(bits)));
    default:
      return bits;
  }
}
