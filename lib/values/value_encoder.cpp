#include "values/value_encoder.h"

#include <cfloat>
#include <cmath>
#include <cstring>
#include <set>
#include <vector>

#include "values/idl_type_text.h"
#include "values/json_path.h"
#include "values/text_encoding.h"
#include "values/typecode_util.h"
#include "values/value_error.h"

using json = nlohmann::ordered_json;

namespace {

using Int = __int128;

constexpr CORBA::ULong kValueTag = 0x7fffff00UL;
constexpr CORBA::ULong kSingleId = 0x02;
constexpr CORBA::ULong kIndirection = 0xffffffffUL;

std::string int_text(Int v) {
  if (v == 0) return "0";
  bool negative = v < 0;
  unsigned __int128 u = negative ? -static_cast<unsigned __int128>(v)
                                 : static_cast<unsigned __int128>(v);
  std::string digits;
  while (u) {
    digits.insert(digits.begin(), static_cast<char>('0' + u % 10));
    u /= 10;
  }
  return negative ? "-" + digits : digits;
}

struct IntegerKind {
  CORBA::TCKind kind;
  const char* name;
  Int min;
  Int max;
  bool wide;  // 64 bits: also accepted as a decimal string
};

const IntegerKind kIntegers[] = {
    {CORBA::tk_short, "short", -32768, 32767, false},
    {CORBA::tk_ushort, "unsigned short", 0, 65535, false},
    {CORBA::tk_long, "long", -2147483648LL, 2147483647LL, false},
    {CORBA::tk_ulong, "unsigned long", 0, 4294967295ULL, false},
    {CORBA::tk_longlong, "long long",
     -static_cast<Int>(9223372036854775807LL) - 1, 9223372036854775807LL, true},
    {CORBA::tk_ulonglong, "unsigned long long", 0, 18446744073709551615ULL,
     true},
    {CORBA::tk_octet, "octet", 0, 255, false},
};

// The integer of a decimal string ("-12"); false for anything else or
// more than 20 digits.
bool parse_decimal(const std::string& s, Int* out) {
  std::size_t i = 0;
  bool negative = false;
  if (i < s.size() && (s[i] == '-' || s[i] == '+')) negative = s[i++] == '-';
  if (i == s.size() || s.size() - i > 20) return false;
  Int v = 0;
  for (; i < s.size(); ++i) {
    if (s[i] < '0' || s[i] > '9') return false;
    v = v * 10 + (s[i] - '0');
  }
  *out = negative ? -v : v;
  return true;
}

// The one code point of a one-character JSON string; false otherwise.
bool single_code_point(const json& v, char32_t* cp) {
  if (!v.is_string()) return false;
  std::u32string points;
  if (!utf8_to_code_points(v.get_ref<const std::string&>(), &points) ||
      points.size() != 1)
    return false;
  *cp = points[0];
  return true;
}

std::string code_point_text(char32_t cp) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "U+%04X", static_cast<unsigned>(cp));
  return buf;
}

// A decimal number as fixed-point text: sign, digits, at most one '.',
// an optional 'd' or 'D' at the end.  Sets the digit counts without
// leading zeros (integer part) and trailing zeros (fraction).
bool fixed_digits(const std::string& s, int* integer, int* fraction) {
  std::size_t i = 0, end = s.size();
  if (end > 0 && (s[end - 1] == 'd' || s[end - 1] == 'D')) --end;
  if (i < end && (s[i] == '-' || s[i] == '+')) ++i;
  std::string int_part, frac_part;
  bool dot = false;
  for (; i < end; ++i) {
    char c = s[i];
    if (c == '.' && !dot) {
      dot = true;
    } else if (c >= '0' && c <= '9') {
      (dot ? frac_part : int_part) += c;
    } else {
      return false;
    }
  }
  if (int_part.empty() && frac_part.empty()) return false;
  std::size_t first = int_part.find_first_not_of('0');
  *integer = first == std::string::npos
                 ? 0
                 : static_cast<int>(int_part.size() - first);
  std::size_t last = frac_part.find_last_not_of('0');
  *fraction = last == std::string::npos ? 0 : static_cast<int>(last + 1);
  return true;
}

std::string member_list(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& n : names) text += (text.empty() ? "" : ", ") + n;
  return text.empty() ? "none" : text;
}

}  // namespace

ValueEncoder::ValueEncoder(CORBA::ORB_ptr orb, TypeResolver* resolver,
                           cdrMemoryStream& out)
    : orb_(orb), resolver_(resolver), out_(out) {}

void ValueEncoder::write(const json& v, CORBA::TypeCode_ptr tc,
                         const std::string& path) {
  path_ = path;
  value(v, tc);
}

void ValueEncoder::fail(const std::string& message) const {
  throw ValueError(path_, message);
}

void ValueEncoder::expected(const std::string& what, const json& got) const {
  fail("expected " + what + ", got " + json_preview(got));
}

void ValueEncoder::value(const json& v, CORBA::TypeCode_ptr tc) {
  NestingLevel level(depth_);
  if (level.too_deep()) fail(NestingLevel::message());
  CORBA::TypeCode_var t = unaliased(tc);
  CORBA::TCKind k = t->kind();
  switch (k) {
    case CORBA::tk_null:
    case CORBA::tk_void:
      if (!v.is_null()) expected("null (no value)", v);
      return;
    case CORBA::tk_short:
    case CORBA::tk_ushort:
    case CORBA::tk_long:
    case CORBA::tk_ulong:
    case CORBA::tk_longlong:
    case CORBA::tk_ulonglong:
    case CORBA::tk_octet:
      return integral(k, integer_value(v, k));
    case CORBA::tk_float:
    case CORBA::tk_double:
    case CORBA::tk_longdouble:
      return real(v, k);
    case CORBA::tk_boolean:
      if (!v.is_boolean()) expected("true or false", v);
      out_.marshalBoolean(v.get<bool>());
      return;
    case CORBA::tk_char:
      return character(v, false);
    case CORBA::tk_wchar:
      return character(v, true);
    case CORBA::tk_string:
      return string(v, t);
    case CORBA::tk_wstring:
      return wstring(v, t);
    case CORBA::tk_fixed:
      return fixed(v, t);
    case CORBA::tk_enum:
      return enumerator(v, t);
    case CORBA::tk_struct:
      return members(v, t);
    case CORBA::tk_except:  // in an Any, the members alone
      return members(v, t);
    case CORBA::tk_union:
      return union_value(v, t);
    case CORBA::tk_sequence:
    case CORBA::tk_array:
      return elements(v, t);
    case CORBA::tk_any:
      return any(v);
    case CORBA::tk_TypeCode:
      return typecode(v);
    case CORBA::tk_objref:
      return object(v);
    case CORBA::tk_abstract_interface:
      return abstract_interface(v);
    case CORBA::tk_value:
      return value_type(v, t);
    case CORBA::tk_value_box:
      return value_box(v, t);
    case CORBA::tk_native:
      fail("a native type (" + std::string(t->id()) +
           ") has no representation outside its process");
    case CORBA::tk_local_interface:
      fail("a local interface (" + std::string(t->id()) +
           ") cannot be passed to another process");
    default:
      fail("values of TypeCode kind " + std::to_string(static_cast<int>(k)) +
           " are not supported");
  }
}

long long ValueEncoder::integer_value(const json& v, CORBA::TCKind kind) {
  const IntegerKind* ik = nullptr;
  for (const IntegerKind& i : kIntegers)
    if (i.kind == kind) ik = &i;
  std::string what = std::string("an integer (") + ik->name + ")";
  Int n = 0;
  if (v.is_number_unsigned()) {
    n = v.get<std::uint64_t>();
  } else if (v.is_number_integer()) {
    n = v.get<std::int64_t>();
  } else if (v.is_number_float()) {
    double d = v.get<double>();
    if (!std::isfinite(d) || d != std::floor(d)) expected(what, v);
    if (std::fabs(d) > 2e19)
      fail(json_preview(v) + " is out of range for " + ik->name + " (" +
           int_text(ik->min) + " to " + int_text(ik->max) + ")");
    n = static_cast<Int>(d);
  } else if (ik->wide && v.is_string()) {
    if (!parse_decimal(v.get_ref<const std::string&>(), &n))
      expected(what + " or a decimal string", v);
  } else {
    expected(ik->wide ? what + " or a decimal string" : what, v);
  }
  if (n < ik->min || n > ik->max)
    fail(int_text(n) + " is out of range for " + ik->name + " (" +
         int_text(ik->min) + " to " + int_text(ik->max) + ")");
  // An unsigned long long above 2^63 keeps its bits.
  return static_cast<long long>(n);
}

void ValueEncoder::integral(CORBA::TCKind kind, long long n) {
  cdrStream& s = out_;
  switch (kind) {
    case CORBA::tk_short:
      static_cast<CORBA::Short>(n) >>= s;
      break;
    case CORBA::tk_ushort:
      static_cast<CORBA::UShort>(n) >>= s;
      break;
    case CORBA::tk_long:
      static_cast<CORBA::Long>(n) >>= s;
      break;
    case CORBA::tk_ulong:
    case CORBA::tk_enum:
      static_cast<CORBA::ULong>(n) >>= s;
      break;
    case CORBA::tk_longlong:
      static_cast<CORBA::LongLong>(n) >>= s;
      break;
    case CORBA::tk_ulonglong:
      static_cast<CORBA::ULongLong>(n) >>= s;
      break;
    case CORBA::tk_boolean:
      s.marshalBoolean(n != 0);
      break;
    case CORBA::tk_char:
      s.marshalChar(static_cast<CORBA::Char>(n));
      break;
    case CORBA::tk_wchar:
      s.marshalWChar(static_cast<CORBA::WChar>(n));
      break;
    default:
      s.marshalOctet(static_cast<CORBA::Octet>(n));
      break;
  }
}

void ValueEncoder::real(const json& v, CORBA::TCKind kind) {
  double d;
  if (v.is_number()) {
    d = v.get<double>();
  } else if (v == "NaN") {
    d = std::nan("");
  } else if (v == "Infinity") {
    d = HUGE_VAL;
  } else if (v == "-Infinity") {
    d = -HUGE_VAL;
  } else {
    expected("a number, \"NaN\", \"Infinity\" or \"-Infinity\"", v);
  }
  cdrStream& s = out_;
  if (kind == CORBA::tk_float) {
    if (std::isfinite(d) && std::fabs(d) > FLT_MAX)
      fail(json_preview(v) + " is out of range for float");
    CORBA::Float f = static_cast<float>(d);
    f >>= s;
  } else if (kind == CORBA::tk_double) {
    CORBA::Double x = d;
    x >>= s;
  } else {
    CORBA::LongDouble x = d;
    x >>= s;
  }
}

void ValueEncoder::character(const json& v, bool wide) {
  char32_t cp;
  if (!single_code_point(v, &cp)) expected("a one-character string", v);
  if (!wide) {
    if (cp > 0xff)
      fail(code_point_text(cp) +
           " does not fit a char (ISO-8859-1); a wchar holds it");
    out_.marshalChar(static_cast<CORBA::Char>(cp));
    return;
  }
  if (cp > 0xffff)
    fail(code_point_text(cp) + " does not fit a wchar (one UTF-16 unit)");
  out_.marshalWChar(static_cast<CORBA::WChar>(cp));
}

void ValueEncoder::string(const json& v, CORBA::TypeCode_ptr tc) {
  if (!v.is_string()) expected("a string", v);
  const std::string& s = v.get_ref<const std::string&>();
  if (s.find('\0') != std::string::npos)
    fail("an IDL string cannot hold the character U+0000");
  CORBA::ULong bound = tc->length();
  if (bound && s.size() > bound)
    fail("string of " + std::to_string(s.size()) +
         " bytes (UTF-8) is longer "
         "than the bound of string<" +
         std::to_string(bound) + ">");
  out_.marshalString(s.c_str(), static_cast<int>(bound));
}

void ValueEncoder::wstring(const json& v, CORBA::TypeCode_ptr tc) {
  if (!v.is_string()) expected("a string", v);
  std::u32string points;
  if (!utf8_to_code_points(v.get_ref<const std::string&>(), &points))
    fail("not valid UTF-8");
  for (char32_t cp : points)
    if (cp == 0) fail("an IDL wstring cannot hold the character U+0000");
  std::u16string units = to_utf16(points);
  CORBA::ULong bound = tc->length();
  if (bound && units.size() > bound)
    fail("wstring of " + std::to_string(units.size()) +
         " UTF-16 units is longer than the bound of wstring<" +
         std::to_string(bound) + ">");
  std::vector<CORBA::WChar> wide(units.begin(), units.end());
  wide.push_back(0);
  out_.marshalWString(wide.data(), static_cast<int>(bound));
}

void ValueEncoder::fixed(const json& v, CORBA::TypeCode_ptr tc) {
  std::string text;
  if (v.is_string()) {
    text = v.get<std::string>();
  } else if (v.is_number_integer()) {
    text = v.dump();
  } else {
    expected("a decimal string", v);
  }
  int digits = tc->fixed_digits(), scale = tc->fixed_scale();
  std::string type =
      "fixed<" + std::to_string(digits) + "," + std::to_string(scale) + ">";
  int integer_digits, fraction_digits;
  if (!fixed_digits(text, &integer_digits, &fraction_digits))
    expected("a decimal string", v);
  if (fraction_digits > scale)
    fail(text + " has more decimal places than " + type + " holds (" +
         std::to_string(scale) + ")");
  if (integer_digits > digits - scale)
    fail(text + " has more integer digits than " + type + " holds (" +
         std::to_string(digits - scale) + ")");
  CORBA::Fixed f;
  if (!f.NP_fromString(text.c_str())) expected("a decimal string", v);
  f.PR_setLimits(static_cast<CORBA::UShort>(digits),
                 static_cast<CORBA::UShort>(scale));
  f >>= out_;
}

void ValueEncoder::enumerator(const json& v, CORBA::TypeCode_ptr tc) {
  CORBA::ULong n = tc->member_count();
  std::vector<std::string> names;
  for (CORBA::ULong i = 0; i < n; ++i) names.emplace_back(tc->member_name(i));
  if (!v.is_string())
    expected("an enumerator of " + std::string(tc->name()) + " (" +
                 member_list(names) + ")",
             v);
  for (CORBA::ULong i = 0; i < n; ++i) {
    if (names[i] == v.get_ref<const std::string&>()) {
      i >>= out_;
      return;
    }
  }
  fail("unknown enumerator " + json_preview(v) + " of " + tc->name() +
       " (one of: " + member_list(names) + ")");
}

void ValueEncoder::members(const json& v, CORBA::TypeCode_ptr tc) {
  if (!v.is_object())
    expected("an object with the members of " + std::string(tc->name()), v);

  CORBA::ULong n = tc->member_count();
  std::vector<std::string> names;
  for (CORBA::ULong i = 0; i < n; ++i) {
    std::string name = tc->member_name(i);
    names.push_back(name);
    auto it = v.find(name);
    if (it == v.end()) fail("missing member '" + name + "'");
    CORBA::TypeCode_var member = tc->member_type(i);
    PathStep step(path_, name);
    value(*it, member);
  }
  for (auto it = v.begin(); it != v.end(); ++it) {
    bool known = false;
    for (const std::string& n : names) known = known || n == it.key();
    if (!known)
      fail("unknown member '" + it.key() + "' (members: " + member_list(names) +
           ")");
  }
}

long long ValueEncoder::discriminator(const json& v, CORBA::TypeCode_ptr tc) {
  CORBA::TypeCode_var t = unaliased(tc);
  switch (t->kind()) {
    case CORBA::tk_boolean:
      if (!v.is_boolean()) expected("true or false", v);
      return v.get<bool>() ? 1 : 0;
    case CORBA::tk_char:
    case CORBA::tk_wchar: {
      char32_t cp;
      if (!single_code_point(v, &cp)) expected("a one-character string", v);
      if (cp > (t->kind() == CORBA::tk_char ? 0xffU : 0xffffU))
        fail(code_point_text(cp) + " does not fit the discriminator type");
      return cp;
    }
    case CORBA::tk_enum: {
      if (v.is_string()) {
        for (CORBA::ULong i = 0; i < t->member_count(); ++i)
          if (v.get_ref<const std::string&>() == t->member_name(i)) return i;
      }
      std::vector<std::string> names;
      for (CORBA::ULong i = 0; i < t->member_count(); ++i)
        names.emplace_back(t->member_name(i));
      fail("unknown enumerator " + json_preview(v) + " of " + t->name() +
           " (one of: " + member_list(names) + ")");
    }
    default:
      return integer_value(v, t->kind());
  }
}

void ValueEncoder::union_value(const json& v, CORBA::TypeCode_ptr tc) {
  if (!v.is_object())
    expected("an object {\"discriminator\": D, \"<member>\": V} of union " +
                 std::string(tc->name()),
             v);
  CORBA::TypeCode_var disc_tc = tc->discriminator_type();
  CORBA::TypeCode_var disc_kind = unaliased(disc_tc);
  CORBA::Long default_index = tc->default_index();
  std::vector<std::string> given;
  for (auto it = v.begin(); it != v.end(); ++it)
    if (it.key() != "discriminator") given.push_back(it.key());

  long long d = 0;
  auto disc = v.find("discriminator");
  if (disc != v.end()) {
    PathStep step(path_, "discriminator");
    d = discriminator(*disc, disc_tc);
  } else {
    // Without a discriminator the one member given chooses it: its first
    // label, or for the default member a value that no label has.
    if (given.size() != 1)
      fail("missing \"discriminator\" (a member alone chooses it)");
    long found = -1;
    for (CORBA::ULong i = 0; i < tc->member_count() && found < 0; ++i)
      if (given[0] == tc->member_name(i)) found = static_cast<long>(i);
    if (found < 0)
      fail("union " + std::string(tc->name()) + " has no member '" + given[0] +
           "'");
    if (found == default_index) {
      if (!unused_discriminator(tc, &d))
        fail(
            "every discriminator value has a label: the default member "
            "cannot be chosen");
    } else {
      CORBA::Any_var label = tc->member_label(static_cast<CORBA::ULong>(found));
      any_as_integer(label.in(), &d);
    }
  }
  long member = union_member_for(tc, d);
  std::string disc_text =
      disc != v.end() ? json_preview(*disc) : std::to_string(d);
  if (member < 0) {
    if (!given.empty())
      fail("discriminator " + disc_text + " selects no member; '" + given[0] +
           "' is not expected");
  } else {
    std::string name = tc->member_name(static_cast<CORBA::ULong>(member));
    for (const std::string& g : given)
      if (g != name)
        fail("discriminator " + disc_text + " selects member '" + name +
             "', not '" + g + "'");
    if (given.empty())
      fail("missing member '" + name + "' for discriminator " + disc_text);
  }

  integral(disc_kind->kind(), d);
  if (member >= 0) {
    std::string name = tc->member_name(static_cast<CORBA::ULong>(member));
    CORBA::TypeCode_var mt = tc->member_type(static_cast<CORBA::ULong>(member));
    PathStep step(path_, name);
    value(v[name], mt);
  }
}

void ValueEncoder::elements(const json& v, CORBA::TypeCode_ptr tc) {
  bool sequence = tc->kind() == CORBA::tk_sequence;
  CORBA::ULong length = tc->length();
  CORBA::TypeCode_var element = tc->content_type();
  CORBA::TypeCode_var element_kind = unaliased(element);
  bool octets = element_kind->kind() == CORBA::tk_octet;
  std::string what =
      sequence ? "an array"
               : "an array of " + std::to_string(length) + " elements";
  if (octets) what += " or a base64 string";

  if (octets && v.is_string()) {
    std::vector<unsigned char> bytes;
    if (!base64_decode(v.get_ref<const std::string&>(), &bytes))
      fail("not valid base64 (RFC 4648 with '=' padding)");
    if (sequence && length && bytes.size() > length)
      fail(std::to_string(bytes.size()) + " octets exceed the bound " +
           std::to_string(length) + " of the sequence");
    if (!sequence && bytes.size() != length)
      fail("expected " + std::to_string(length) + " octets, got " +
           std::to_string(bytes.size()));
    cdrStream& s = out_;
    if (sequence) static_cast<CORBA::ULong>(bytes.size()) >>= s;
    if (!bytes.empty())
      s.put_octet_array(bytes.data(), static_cast<int>(bytes.size()));
    return;
  }
  if (!v.is_array()) expected(what, v);
  if (sequence && length && v.size() > length)
    fail(std::to_string(v.size()) + " elements exceed the bound " +
         std::to_string(length) + " of the sequence");
  if (!sequence && v.size() != length)
    fail("expected " + std::to_string(length) + " elements, got " +
         std::to_string(v.size()));
  if (sequence) static_cast<CORBA::ULong>(v.size()) >>= out_;
  for (std::size_t i = 0; i < v.size(); ++i) {
    PathStep step(path_, i);
    value(v[i], element);
  }
}

CORBA::TypeCode_ptr ValueEncoder::named_type(const std::string& text) {
  try {
    return parse_idl_type_text(text, orb_, resolver_);
  } catch (const TypeTextError& e) {
    fail(e.what());
  } catch (const CORBA::Exception& e) {
    fail("looking up type '" + text + "' failed: CORBA::" + e._name());
  }
}

void ValueEncoder::any(const json& v) {
  if (!v.is_object() || !v.contains("type"))
    expected("an object {\"type\": \"<IDL type>\", \"value\": V}", v);
  for (auto it = v.begin(); it != v.end(); ++it)
    if (it.key() != "type" && it.key() != "value")
      fail("unknown member '" + it.key() + "' of an any (type, value)");
  CORBA::TypeCode_var tc;
  {
    PathStep step(path_, "type");
    const json& type = v["type"];
    if (!type.is_string()) expected("an IDL type name", type);
    tc = named_type(type.get<std::string>());
  }
  CORBA::TypeCode_var t = unaliased(tc);
  bool empty = t->kind() == CORBA::tk_null || t->kind() == CORBA::tk_void;
  if (!empty && !v.contains("value")) fail("missing member 'value'");
  CORBA::TypeCode::marshalTypeCode(tc, out_);
  PathStep step(path_, "value");
  value(v.contains("value") ? v["value"] : json(), tc);
}

void ValueEncoder::typecode(const json& v) {
  if (!v.is_string()) expected("an IDL type name", v);
  CORBA::TypeCode_var tc = named_type(v.get<std::string>());
  CORBA::TypeCode::marshalTypeCode(tc, out_);
}

void ValueEncoder::object(const json& v) {
  CORBA::Object_var obj;
  if (v.is_string()) {
    const std::string& text = v.get_ref<const std::string&>();
    try {
      obj = orb_->string_to_object(text.c_str());
    } catch (const CORBA::Exception&) {
      fail("not an object reference (IOR:..., corbaloc:..., corbaname:...): " +
           json_preview(v));
    }
  } else if (!v.is_null()) {
    expected("an object reference (IOR or corbaloc URL) or null", v);
  }
  CORBA::Object::_marshalObjRef(obj.in(), out_);
}

void ValueEncoder::abstract_interface(const json& v) {
  if (v.is_string()) {
    out_.marshalBoolean(true);
    return object(v);
  }
  if (!v.is_null() && !v.is_object())
    expected("an object reference, a value object or null", v);
  out_.marshalBoolean(false);
  CORBA::TypeCode_var base = value_base_typecode(orb_);
  value_type(v, base);
}

bool ValueEncoder::shared_value(const json& v) {
  if (!v.is_object() || !v.contains("@ref")) return false;
  if (v.size() != 1) fail("an object with \"@ref\" has no other member");
  auto at = value_at_.find(v["@ref"].dump());
  if (at == value_at_.end())
    fail("\"@ref\": " + json_preview(v["@ref"]) +
         " names no value written before it (\"@id\")");
  out_.alignOutput(omni::ALIGN_4);
  kIndirection >>= out_;
  CORBA::Long offset = static_cast<CORBA::Long>(at->second) -
                       static_cast<CORBA::Long>(out_.bufSize());
  offset >>= out_;
  return true;
}

CORBA::TypeCode_ptr ValueEncoder::actual_value_type(
    const json& v, CORBA::TypeCode_ptr declared) {
  std::string declared_id = declared->id();
  auto type = v.find("@type");
  if (type == v.end()) {
    if (declared_id == "IDL:omg.org/CORBA/ValueBase:1.0" ||
        declared->type_modifier() == CORBA::VM_ABSTRACT)
      fail("a value of " + std::string(declared->name()) +
           " needs \"@type\": the value type it is");
    return CORBA::TypeCode::_duplicate(declared);
  }
  PathStep step(path_, "@type");
  if (!type->is_string()) expected("an IDL type name", *type);
  CORBA::TypeCode_var named = named_type(type->get<std::string>());
  CORBA::TypeCode_var actual = unaliased(named);
  if (actual->kind() != CORBA::tk_value)
    fail(type->get<std::string>() + " is not a value type");
  if (!value_derives_from(actual, declared))
    fail(type->get<std::string>() + " does not derive from " +
         declared->name());
  if (declared_id != actual->id())
    // omniORB reads a value of a type other than the declared one only
    // through a value factory, which a dynamic client does not have; in
    // an Any of the derived type it leaves out the type on the wire.
    fail("a value of " + type->get<std::string>() + " where " +
         declared->name() +
         " is declared: the ORB passes values of the declared type only");
  return actual._retn();
}

void ValueEncoder::value_header(const json& v, CORBA::TypeCode_ptr actual) {
  // omniORB copies every value it takes from an Any into its own form,
  // chunked where the wire needs it: one repository id and no chunks are
  // enough here.
  out_.alignOutput(omni::ALIGN_4);
  CORBA::ULong at = out_.bufSize();
  auto id = v.find("@id");
  if (id != v.end()) {
    if (!value_at_.emplace(id->dump(), at).second)
      fail("\"@id\": " + json_preview(*id) + " is used twice");
  }
  (kValueTag | kSingleId) >>= out_;
  out_.marshalString(actual->id());
}

void ValueEncoder::value_state(const json& v, CORBA::TypeCode_ptr tc) {
  CORBA::TypeCode_var base = tc->concrete_base_type();
  if (!CORBA::is_nil(base) && base->kind() == CORBA::tk_value)
    value_state(v, base);
  for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
    std::string name = tc->member_name(i);
    auto it = v.find(name);
    if (it == v.end()) fail("missing member '" + name + "'");
    CORBA::TypeCode_var member = tc->member_type(i);
    PathStep step(path_, name);
    value(*it, member);
  }
}

void ValueEncoder::value_type(const json& v, CORBA::TypeCode_ptr tc) {
  if (v.is_null()) {
    static_cast<CORBA::ULong>(0) >>= out_;
    return;
  }
  if (shared_value(v)) return;
  if (!v.is_object())
    expected(
        "an object with the state of " + std::string(tc->name()) + ", or null",
        v);
  CORBA::TypeCode_var actual = actual_value_type(v, tc);
  if (actual->type_modifier() == CORBA::VM_CUSTOM)
    fail(std::string(actual->id()) +
         " is custom-marshalled: its state has no JSON form");
  if (actual->type_modifier() == CORBA::VM_ABSTRACT)
    fail(std::string(actual->id()) + " is abstract: it has no values");
  // Every member of the value and its bases, for the check of names.
  std::set<std::string> names{"@id", "@type"};
  for (CORBA::TypeCode_var t = CORBA::TypeCode::_duplicate(actual);
       !CORBA::is_nil(t) && t->kind() == CORBA::tk_value;
       t = t->concrete_base_type())
    for (CORBA::ULong i = 0; i < t->member_count(); ++i)
      names.insert(t->member_name(i));
  for (auto it = v.begin(); it != v.end(); ++it)
    if (!names.count(it.key()))
      fail("unknown member '" + it.key() + "' of value type " + actual->name());

  value_header(v, actual);
  value_state(v, actual);
}

void ValueEncoder::value_box(const json& v, CORBA::TypeCode_ptr tc) {
  if (v.is_null()) {
    static_cast<CORBA::ULong>(0) >>= out_;
    return;
  }
  if (shared_value(v)) return;
  // {"@id": N, "@box": V} lets a later "@ref" share the box.
  bool wrapped = v.is_object() && v.contains("@box");
  if (wrapped) {
    for (auto it = v.begin(); it != v.end(); ++it)
      if (it.key() != "@id" && it.key() != "@box")
        fail("unknown member '" + it.key() + "' of a shared box (@id, @box)");
  }
  value_header(wrapped ? v : json::object(), tc);
  CORBA::TypeCode_var content = tc->content_type();
  if (wrapped) {
    PathStep step(path_, "@box");
    value(v["@box"], content);
  } else {
    value(v, content);
  }
}
