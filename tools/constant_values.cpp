#include "constant_values.h"

#include <cstdlib>
#include <vector>

#include "feed_support.h"

namespace {

// Puts `v` into `a` as the integral, boolean or character primitive
// named `type` (the back-end's names); false for any other type.
bool put_integral(CORBA::Any& a, const std::string& type, long long v) {
  if (type == "short") {
    a <<= static_cast<CORBA::Short>(v);
  } else if (type == "long") {
    a <<= static_cast<CORBA::Long>(v);
  } else if (type == "ushort") {
    a <<= static_cast<CORBA::UShort>(v);
  } else if (type == "ulong") {
    a <<= static_cast<CORBA::ULong>(v);
  } else if (type == "longlong") {
    a <<= static_cast<CORBA::LongLong>(v);
  } else if (type == "ulonglong") {
    a <<= static_cast<CORBA::ULongLong>(v);
  } else if (type == "boolean") {
    a <<= CORBA::Any::from_boolean(v != 0);
  } else if (type == "char") {
    a <<= CORBA::Any::from_char(static_cast<CORBA::Char>(v));
  } else if (type == "wchar") {
    a <<= CORBA::Any::from_wchar(static_cast<CORBA::WChar>(v));
  } else if (type == "octet") {
    a <<= CORBA::Any::from_octet(static_cast<CORBA::Octet>(v));
  } else {
    return false;
  }
  return true;
}

// "w:119,120" (the back-end's wide string) as wide characters with the
// terminating zero.
std::vector<CORBA::WChar> wide_chars(const std::string& value) {
  std::vector<CORBA::WChar> chars;
  std::string codes = value.compare(0, 2, "w:") == 0 ? value.substr(2) : "";
  std::size_t pos = 0;
  while (pos < codes.size()) {
    std::size_t comma = codes.find(',', pos);
    if (comma == std::string::npos) comma = codes.size();
    chars.push_back(static_cast<CORBA::WChar>(
        std::strtoul(codes.substr(pos, comma - pos).c_str(), nullptr, 10)));
    pos = comma + 1;
  }
  chars.push_back(0);
  return chars;
}

}  // namespace

CORBA::Any* ConstantValues::label(const DefRecord& d,
                                  const std::string& label) {
  CORBA::Any_var a = new CORBA::Any;
  if (label == "default") {
    a <<= CORBA::Any::from_octet(0);
    return a._retn();
  }
  long long v = integer_of(label);
  const TypeExpr& disc = d.type;
  if (disc.kind == TypeExpr::kRef) {
    CORBA::TypeCode_var tc = types_.type_code(disc);
    return codec_.make_enum(tc, static_cast<CORBA::ULong>(v));
  }
  if (!put_integral(a.inout(), disc.name, v))
    throw DefinitionError("a union cannot switch on " + disc.name);
  return a._retn();
}

CORBA::Any* ConstantValues::constant(const DefRecord& d) {
  CORBA::Any_var a = new CORBA::Any;
  const TypeExpr& t = d.type;
  const std::string& value = d.value;
  switch (t.kind) {
    case TypeExpr::kRef: {
      CORBA::TypeCode_var tc = types_.type_code(t);
      return codec_.make_enum(tc, static_cast<CORBA::ULong>(integer_of(value)));
    }
    case TypeExpr::kString:
      a <<= CORBA::Any::from_string(value.c_str(), t.bound);
      return a._retn();
    case TypeExpr::kWstring: {
      std::vector<CORBA::WChar> chars = wide_chars(value);
      a <<= CORBA::Any::from_wstring(chars.data(), t.bound);
      return a._retn();
    }
    case TypeExpr::kFixed: {
      CORBA::Fixed f(value.c_str());
      a <<= CORBA::Any::from_fixed(f, t.digits, t.scale);
      return a._retn();
    }
    case TypeExpr::kPrimitive:
      break;
    default:
      throw DefinitionError("a constant cannot have this type");
  }
  const std::string& n = t.name;
  if (n == "float") {
    a <<= static_cast<CORBA::Float>(std::strtod(value.c_str(), nullptr));
  } else if (n == "double" || n == "longdouble") {
    a <<= static_cast<CORBA::Double>(std::strtod(value.c_str(), nullptr));
  } else if (n == "ulonglong") {
    a <<= static_cast<CORBA::ULongLong>(
        std::strtoull(value.c_str(), nullptr, 10));
  } else if (!put_integral(a.inout(), n, integer_of(value))) {
    throw DefinitionError("a constant cannot have the type " + n);
  }
  return a._retn();
}
