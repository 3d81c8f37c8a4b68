#include "client/type_text.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

const char kObjectId[] = "IDL:omg.org/CORBA/Object:1.0";
const char kValueBaseId[] = "IDL:omg.org/CORBA/ValueBase:1.0";

// The signature name and the IDL spelling of the basic kinds.
struct BasicKind {
  CORBA::TCKind kind;
  const char* signature;
  const char* idl;
};

constexpr BasicKind kBasic[] = {
    {CORBA::tk_void, "void", "void"},
    {CORBA::tk_short, "short", "short"},
    {CORBA::tk_long, "long", "long"},
    {CORBA::tk_ushort, "ushort", "unsigned short"},
    {CORBA::tk_ulong, "ulong", "unsigned long"},
    {CORBA::tk_float, "float", "float"},
    {CORBA::tk_double, "double", "double"},
    {CORBA::tk_boolean, "boolean", "boolean"},
    {CORBA::tk_char, "char", "char"},
    {CORBA::tk_octet, "octet", "octet"},
    {CORBA::tk_any, "any", "any"},
    {CORBA::tk_TypeCode, "TypeCode", "CORBA::TypeCode"},
    {CORBA::tk_Principal, "Principal", "CORBA::Principal"},
    {CORBA::tk_longlong, "longlong", "long long"},
    {CORBA::tk_ulonglong, "ulonglong", "unsigned long long"},
    {CORBA::tk_longdouble, "longdouble", "long double"},
    {CORBA::tk_wchar, "wchar", "wchar"},
};

const BasicKind* basic(CORBA::TCKind k) {
  for (const BasicKind& b : kBasic)
    if (b.kind == k) return &b;
  return nullptr;
}

bool is_named(CORBA::TCKind k) {
  switch (k) {
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

std::string bound_suffix(CORBA::ULong bound) {
  return bound ? ", " + std::to_string(bound) : std::string();
}

std::string char_literal(unsigned code, bool wide) {
  char buf[16];
  if (code == '\'' || code == '\\') {
    std::snprintf(buf, sizeof buf, "'\\%c'", static_cast<char>(code));
  } else if (code >= 0x20 && code < 0x7f) {
    std::snprintf(buf, sizeof buf, "'%c'", static_cast<char>(code));
  } else if (wide) {
    std::snprintf(buf, sizeof buf, "'\\u%04x'", code);
  } else {
    std::snprintf(buf, sizeof buf, "'\\%03o'", code);
  }
  return wide ? "L" + std::string(buf) : std::string(buf);
}

std::string string_literal(const char* s) {
  std::string out = "\"";
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(s); *p;
       ++p) {
    if (*p == '"' || *p == '\\') {
      out += '\\';
      out += static_cast<char>(*p);
    } else if (*p >= 0x20 && *p < 0x7f) {
      out += static_cast<char>(*p);
    } else {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\%03o", *p);
      out += buf;
    }
  }
  return out + "\"";
}

std::string wstring_literal(const CORBA::WChar* s) {
  std::string out = "L\"";
  for (; *s; ++s) {
    unsigned code = static_cast<unsigned>(*s);
    if (code == '"' || code == '\\') {
      out += '\\';
      out += static_cast<char>(code);
    } else if (code >= 0x20 && code < 0x7f) {
      out += static_cast<char>(code);
    } else {
      char buf[12];
      std::snprintf(buf, sizeof buf, "\\u%04x", code & 0xffffU);
      out += buf;
    }
  }
  return out + "\"";
}

}  // namespace

std::string type_signature(CORBA::TypeCode_ptr tc) {
  CORBA::TCKind k = tc->kind();
  if (const BasicKind* b = basic(k)) return b->signature;
  switch (k) {
    case CORBA::tk_string:
      return "string " + std::to_string(tc->length());
    case CORBA::tk_wstring:
      return "wstring " + std::to_string(tc->length());
    case CORBA::tk_sequence:
    case CORBA::tk_array: {
      CORBA::TypeCode_var content = tc->content_type();
      return std::string(k == CORBA::tk_sequence ? "seq " : "array ") +
             std::to_string(tc->length()) + " (" + type_signature(content) +
             ")";
    }
    case CORBA::tk_fixed:
      return "fixed " + std::to_string(tc->fixed_digits()) + " " +
             std::to_string(tc->fixed_scale());
    default:
      break;
  }
  if (is_named(k)) {
    std::string id = tc->id();
    if (k == CORBA::tk_objref && id == kObjectId) return "Object";
    if (k == CORBA::tk_value && id == kValueBaseId) return "ValueBase";
    return "ref " + id;
  }
  return "kind " + std::to_string(static_cast<int>(k));
}

std::string type_idl(CORBA::TypeCode_ptr tc, const TypeNamer& namer) {
  CORBA::TCKind k = tc->kind();
  if (const BasicKind* b = basic(k)) return b->idl;
  switch (k) {
    case CORBA::tk_string:
      return tc->length() ? "string<" + std::to_string(tc->length()) + ">"
                          : "string";
    case CORBA::tk_wstring:
      return tc->length() ? "wstring<" + std::to_string(tc->length()) + ">"
                          : "wstring";
    case CORBA::tk_sequence: {
      CORBA::TypeCode_var content = tc->content_type();
      return "sequence<" + type_idl(content, namer) +
             bound_suffix(tc->length()) + ">";
    }
    case CORBA::tk_array: {
      CORBA::TypeCode_var content = tc->content_type();
      return type_idl(content, namer);
    }
    case CORBA::tk_fixed:
      return "fixed<" + std::to_string(tc->fixed_digits()) + ", " +
             std::to_string(tc->fixed_scale()) + ">";
    default:
      break;
  }
  if (is_named(k)) {
    std::string id = tc->id();
    if (k == CORBA::tk_objref && id == kObjectId) return "Object";
    if (k == CORBA::tk_value && id == kValueBaseId) return "ValueBase";
    return namer(tc);
  }
  return "/* kind " + std::to_string(static_cast<int>(k)) + " */";
}

std::string declarator_idl(CORBA::TypeCode_ptr tc, const std::string& name,
                           const TypeNamer& namer) {
  std::string dims;
  CORBA::TypeCode_var t = CORBA::TypeCode::_duplicate(tc);
  while (t->kind() == CORBA::tk_array) {
    dims += "[" + std::to_string(t->length()) + "]";
    t = t->content_type();
  }
  return type_idl(t, namer) + " " + name + dims;
}

std::string typecode_text(CORBA::TypeCode_ptr tc, AnyCodec& codec) {
  TypeNamer simple = [](CORBA::TypeCode_ptr t) {
    return std::string(t->name());
  };
  CORBA::TCKind k = tc->kind();
  auto members = [&](const char* open) {
    std::string text = open;
    for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
      CORBA::TypeCode_var mt = tc->member_type(i);
      text += " " + declarator_idl(mt, tc->member_name(i), simple) + ";";
    }
    return text + " }";
  };
  std::string name = is_named(k) ? tc->name() : "";
  switch (k) {
    case CORBA::tk_struct:
      return "struct " + name + members(" {");
    case CORBA::tk_except:
      return "exception " + name + members(" {");
    case CORBA::tk_union: {
      CORBA::TypeCode_var d = tc->discriminator_type();
      std::string text =
          "union " + name + " switch (" + type_idl(d, simple) + ") {";
      CORBA::Long def = tc->default_index();
      for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
        CORBA::TypeCode_var mt = tc->member_type(i);
        std::string label = "default";
        if (static_cast<CORBA::Long>(i) != def) {
          CORBA::Any_var a = tc->member_label(i);
          label = "case " +
                  codec.literal(a.in(), [](CORBA::TypeCode_ptr, const char* e) {
                    return std::string(e);
                  });
        }
        text += " " + label + ": " +
                declarator_idl(mt, tc->member_name(i), simple) + ";";
      }
      return text + " }";
    }
    case CORBA::tk_enum: {
      std::string text = "enum " + name + " {";
      for (CORBA::ULong i = 0; i < tc->member_count(); ++i)
        text += std::string(i ? ", " : " ") + tc->member_name(i);
      return text + " }";
    }
    case CORBA::tk_alias: {
      CORBA::TypeCode_var content = tc->content_type();
      return "typedef " + declarator_idl(content, name, simple);
    }
    case CORBA::tk_value_box: {
      CORBA::TypeCode_var content = tc->content_type();
      return "valuetype " + name + " " + type_idl(content, simple);
    }
    case CORBA::tk_value: {
      if (std::string(tc->id()) == kValueBaseId) return "ValueBase";
      std::string text;
      CORBA::ValueModifier mod = tc->type_modifier();
      if (mod == CORBA::VM_CUSTOM) text += "custom ";
      if (mod == CORBA::VM_ABSTRACT) text += "abstract ";
      text += "valuetype " + name;
      CORBA::TypeCode_var base = tc->concrete_base_type();
      if (!CORBA::is_nil(base) && base->kind() == CORBA::tk_value)
        text += std::string(mod == CORBA::VM_TRUNCATABLE ? " : truncatable "
                                                         : " : ") +
                base->name();
      text += " {";
      for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
        CORBA::TypeCode_var mt = tc->member_type(i);
        text += std::string(tc->member_visibility(i) == CORBA::PUBLIC_MEMBER
                                ? " public "
                                : " private ") +
                declarator_idl(mt, tc->member_name(i), simple) + ";";
      }
      return text + " }";
    }
    case CORBA::tk_objref:
      if (std::string(tc->id()) == kObjectId) return "Object";
      return "interface " + name;
    case CORBA::tk_abstract_interface:
      return "abstract interface " + name;
    case CORBA::tk_local_interface:
      return "local interface " + name;
    case CORBA::tk_native:
      return "native " + name;
    default: {
      // "long [3]" without the space of the missing name.
      std::string text = declarator_idl(tc, "", simple);
      std::string::size_type space = text.rfind(' ');
      return text.substr(0, space) + text.substr(space + 1);
    }
  }
}

std::string float_literal(double v, bool single) {
  if (std::isnan(v) || std::isinf(v)) return v < 0 ? "-1e999" : "1e999";
  char buf[64];
  for (int precision = 1; precision <= 17; ++precision) {
    std::snprintf(buf, sizeof buf, "%.*g", precision, v);
    bool same = single ? std::strtof(buf, nullptr) == static_cast<float>(v)
                       : std::strtod(buf, nullptr) == v;
    if (same) break;
  }
  std::string text = buf;
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

DynamicAny::DynAnyFactory_ptr AnyCodec::factory() {
  if (CORBA::is_nil(factory_)) {
    CORBA::Object_var obj = orb_->resolve_initial_references("DynAnyFactory");
    factory_ = DynamicAny::DynAnyFactory::_narrow(obj);
  }
  return factory_.in();
}

bool AnyCodec::integer(const CORBA::Any& a, long long* value) {
  CORBA::Short s;
  CORBA::UShort us;
  CORBA::Long l;
  CORBA::ULong ul;
  CORBA::LongLong ll;
  CORBA::ULongLong ull;
  CORBA::Boolean b;
  CORBA::Char c;
  CORBA::WChar wc;
  CORBA::Octet o;
  if (a >>= s) {
    *value = s;
  } else if (a >>= us) {
    *value = us;
  } else if (a >>= l) {
    *value = l;
  } else if (a >>= ul) {
    *value = ul;
  } else if (a >>= ll) {
    *value = ll;
  } else if (a >>= ull) {
    *value = static_cast<long long>(ull);
  } else if (a >>= CORBA::Any::to_boolean(b)) {
    *value = b ? 1 : 0;
  } else if (a >>= CORBA::Any::to_char(c)) {
    *value = static_cast<unsigned char>(c);
  } else if (a >>= CORBA::Any::to_wchar(wc)) {
    *value = static_cast<long long>(wc);
  } else if (a >>= CORBA::Any::to_octet(o)) {
    *value = o;
  } else {
    CORBA::TypeCode_var tc = a.type();
    if (tc->kind() != CORBA::tk_enum) return false;
    DynamicAny::DynAny_var dyn = factory()->create_dyn_any(a);
    DynamicAny::DynEnum_var e = DynamicAny::DynEnum::_narrow(dyn);
    *value = e->get_as_ulong();
    dyn->destroy();
  }
  return true;
}

CORBA::Any* AnyCodec::make_enum(CORBA::TypeCode_ptr tc, CORBA::ULong index) {
  DynamicAny::DynAny_var dyn = factory()->create_dyn_any_from_type_code(tc);
  DynamicAny::DynEnum_var e = DynamicAny::DynEnum::_narrow(dyn);
  e->set_as_ulong(index);
  CORBA::Any* out = dyn->to_any();
  dyn->destroy();
  return out;
}

std::string AnyCodec::literal(
    const CORBA::Any& a,
    const std::function<std::string(CORBA::TypeCode_ptr, const char*)>&
        enumerator_name) {
  CORBA::TypeCode_var tc = a.type();
  switch (tc->kind()) {
    case CORBA::tk_boolean: {
      CORBA::Boolean b = 0;
      a >>= CORBA::Any::to_boolean(b);
      return b ? "TRUE" : "FALSE";
    }
    case CORBA::tk_char: {
      CORBA::Char c = 0;
      a >>= CORBA::Any::to_char(c);
      return char_literal(static_cast<unsigned char>(c), false);
    }
    case CORBA::tk_wchar: {
      CORBA::WChar c = 0;
      a >>= CORBA::Any::to_wchar(c);
      return char_literal(static_cast<unsigned>(c), true);
    }
    case CORBA::tk_float: {
      CORBA::Float f = 0;
      a >>= f;
      return float_literal(f, true);
    }
    case CORBA::tk_double: {
      CORBA::Double d = 0;
      a >>= d;
      return float_literal(d, false);
    }
    case CORBA::tk_string: {
      const char* s = "";
      a >>= CORBA::Any::to_string(s, tc->length());
      return string_literal(s);
    }
    case CORBA::tk_wstring: {
      const CORBA::WChar* s = nullptr;
      a >>= CORBA::Any::to_wstring(s, tc->length());
      static const CORBA::WChar kEmpty[] = {0};
      return wstring_literal(s ? s : kEmpty);
    }
    case CORBA::tk_fixed: {
      CORBA::Fixed f;
      a >>= CORBA::Any::to_fixed(f, tc->fixed_digits(), tc->fixed_scale());
      CORBA::String_var text = f.NP_asString();
      return std::string(text.in()) + "d";
    }
    case CORBA::tk_enum: {
      long long v = 0;
      integer(a, &v);
      if (v < 0 || static_cast<CORBA::ULong>(v) >= tc->member_count())
        return std::to_string(v);
      return enumerator_name(tc, tc->member_name(static_cast<CORBA::ULong>(v)));
    }
    default: {
      long long v = 0;
      if (integer(a, &v)) return std::to_string(v);
      return "/* value of kind " +
             std::to_string(static_cast<int>(tc->kind())) + " */";
    }
  }
}
