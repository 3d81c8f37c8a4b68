#include "values/value_decoder.h"

#include <cmath>
#include <vector>

#include "values/idl_type_text.h"
#include "values/json_path.h"
#include "values/text_encoding.h"
#include "values/typecode_util.h"
#include "values/value_error.h"

using json = nlohmann::ordered_json;

namespace {

constexpr CORBA::ULong kValueTagMin = 0x7fffff00UL;
constexpr CORBA::ULong kIndirection = 0xffffffffUL;

json real_json(double d) {
  if (std::isnan(d)) return "NaN";
  if (std::isinf(d)) return d > 0 ? "Infinity" : "-Infinity";
  return d;
}

// A fixed-point value's text with exactly `scale` decimal places.
std::string fixed_text(std::string text, int scale) {
  std::size_t start = !text.empty() && text[0] == '-' ? 1 : 0;
  if (text.size() == start || text[start] == '.') text.insert(start, "0");
  std::size_t dot = text.find('.');
  int places =
      dot == std::string::npos ? 0 : static_cast<int>(text.size() - dot - 1);
  if (scale > 0 && dot == std::string::npos) text += '.';
  if (places < scale)
    text.append(static_cast<std::size_t>(scale - places), '0');
  return text;
}

// Removes "@id" from the value objects that nothing refers to, and
// unwraps boxes that no "@ref" shares.
void drop_unused_ids(json& v, const std::set<int>& referenced) {
  if (v.is_array()) {
    for (json& e : v) drop_unused_ids(e, referenced);
    return;
  }
  if (!v.is_object()) return;
  for (auto it = v.begin(); it != v.end(); ++it)
    if (it.key() != "@id") drop_unused_ids(it.value(), referenced);
  auto id = v.find("@id");
  if (id == v.end() || referenced.count(id->get<int>())) return;
  v.erase(id);
  auto box = v.find("@box");
  if (box != v.end()) {
    json content = std::move(*box);
    v = std::move(content);
  }
}

}  // namespace

ValueDecoder::ValueDecoder(CORBA::ORB_ptr orb, TypeResolver* resolver,
                           cdrMemoryStream& in)
    : orb_(orb), resolver_(resolver), in_(in) {}

json ValueDecoder::read(CORBA::TypeCode_ptr tc, const std::string& path) {
  path_ = path;
  json out = value(tc);
  drop_unused_ids(out, referenced_);
  return out;
}

void ValueDecoder::fail(const std::string& message) const {
  throw ValueError(path_, message);
}

void ValueDecoder::malformed() { throw CORBA::MARSHAL(0, CORBA::COMPLETED_NO); }

std::string ValueDecoder::type_text(CORBA::TypeCode_ptr tc) {
  try {
    return idl_type_text(tc, resolver_);
  } catch (const CORBA::Exception&) {
    return tc->id();  // the resolver's lookup failed: the id still names it
  }
}

json ValueDecoder::value(CORBA::TypeCode_ptr tc) {
  NestingLevel level(depth_);
  if (level.too_deep()) fail(NestingLevel::message());
  CORBA::TypeCode_var t = unaliased(tc);
  CORBA::TCKind k = t->kind();
  switch (k) {
    case CORBA::tk_null:
    case CORBA::tk_void:
      return nullptr;
    case CORBA::tk_short:
    case CORBA::tk_ushort:
    case CORBA::tk_long:
    case CORBA::tk_ulong:
    case CORBA::tk_longlong:
    case CORBA::tk_ulonglong:
    case CORBA::tk_octet:
    case CORBA::tk_boolean:
    case CORBA::tk_char:
    case CORBA::tk_wchar:
    case CORBA::tk_enum:
      return integral_json(t, integral(t));
    case CORBA::tk_float:
    case CORBA::tk_double:
    case CORBA::tk_longdouble:
      return real(k);
    case CORBA::tk_string: {
      CORBA::String_var s = in_.unmarshalString();
      return bytes_to_utf8(s.in());
    }
    case CORBA::tk_wstring: {
      CORBA::WString_var w = in_.unmarshalWString();
      std::u16string units;
      for (const CORBA::WChar* p = w.in(); *p; ++p)
        units.push_back(static_cast<char16_t>(*p));
      return utf16_to_utf8(units);
    }
    case CORBA::tk_fixed: {
      CORBA::Fixed f;
      f.PR_setLimits(t->fixed_digits(),
                     static_cast<CORBA::UShort>(t->fixed_scale()));
      f <<= in_;
      CORBA::String_var text = f.NP_asString();
      return fixed_text(text.in(), t->fixed_scale());
    }
    case CORBA::tk_struct:
    case CORBA::tk_except:  // in an Any, the members alone
      return members(t);
    case CORBA::tk_union:
      return union_value(t);
    case CORBA::tk_sequence:
    case CORBA::tk_array:
      return elements(t);
    case CORBA::tk_any: {
      CORBA::TypeCode_var inner = CORBA::TypeCode::unmarshalTypeCode(in_);
      json out = json::object();
      out["type"] = type_text(inner);
      PathStep step(path_, "value");
      out["value"] = value(inner);
      return out;
    }
    case CORBA::tk_TypeCode: {
      CORBA::TypeCode_var inner = CORBA::TypeCode::unmarshalTypeCode(in_);
      return type_text(inner);
    }
    case CORBA::tk_objref: {
      CORBA::Object_var obj = CORBA::Object::_unmarshalObjRef(in_);
      if (CORBA::is_nil(obj)) return nullptr;
      CORBA::String_var ior = orb_->object_to_string(obj);
      return std::string(ior.in());
    }
    case CORBA::tk_abstract_interface: {
      if (in_.unmarshalBoolean()) {
        CORBA::Object_var obj = CORBA::Object::_unmarshalObjRef(in_);
        if (CORBA::is_nil(obj)) return nullptr;
        CORBA::String_var ior = orb_->object_to_string(obj);
        return std::string(ior.in());
      }
      CORBA::TypeCode_var base = value_base_typecode(orb_);
      return value_type(base, false);
    }
    case CORBA::tk_value:
      return value_type(t, false);
    case CORBA::tk_value_box:
      return value_type(t, true);
    default:
      fail("values of TypeCode kind " + std::to_string(static_cast<int>(k)) +
           " have no JSON form");
  }
}

long long ValueDecoder::integral(CORBA::TypeCode_ptr t) {
  switch (t->kind()) {
    case CORBA::tk_short: {
      CORBA::Short v;
      v <<= in_;
      return v;
    }
    case CORBA::tk_ushort: {
      CORBA::UShort v;
      v <<= in_;
      return v;
    }
    case CORBA::tk_long: {
      CORBA::Long v;
      v <<= in_;
      return v;
    }
    case CORBA::tk_ulong: {
      CORBA::ULong v;
      v <<= in_;
      return v;
    }
    case CORBA::tk_enum: {
      CORBA::ULong v;
      v <<= in_;
      if (v >= t->member_count()) malformed();
      return v;
    }
    case CORBA::tk_longlong: {
      CORBA::LongLong v;
      v <<= in_;
      return v;
    }
    case CORBA::tk_ulonglong: {
      CORBA::ULongLong v;
      v <<= in_;
      return static_cast<long long>(v);
    }
    case CORBA::tk_boolean:
      return in_.unmarshalBoolean() ? 1 : 0;
    case CORBA::tk_char:
      return static_cast<unsigned char>(in_.unmarshalChar());
    case CORBA::tk_wchar:
      return in_.unmarshalWChar();
    default:
      return in_.unmarshalOctet();
  }
}

json ValueDecoder::real(CORBA::TCKind kind) {
  if (kind == CORBA::tk_float) {
    CORBA::Float f;
    f <<= in_;
    if (!std::isfinite(f)) return real_json(f);
    return float_as_short_double(f);
  }
  if (kind == CORBA::tk_double) {
    CORBA::Double d;
    d <<= in_;
    return real_json(d);
  }
  CORBA::LongDouble d;
  d <<= in_;
  return real_json(static_cast<double>(d));
}

json ValueDecoder::members(CORBA::TypeCode_ptr tc) {
  json out = json::object();
  for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
    std::string name = tc->member_name(i);
    CORBA::TypeCode_var member = tc->member_type(i);
    PathStep step(path_, name);
    out[name] = value(member);
  }
  return out;
}

json ValueDecoder::union_value(CORBA::TypeCode_ptr tc) {
  CORBA::TypeCode_var disc_tc = tc->discriminator_type();
  CORBA::TypeCode_var dk = unaliased(disc_tc);
  long long d = integral(dk);
  json disc = integral_json(dk, d);
  json out = json::object();
  out["discriminator"] = disc;
  long member = union_member_for(tc, d);
  if (member >= 0) {
    std::string name = tc->member_name(static_cast<CORBA::ULong>(member));
    CORBA::TypeCode_var mt = tc->member_type(static_cast<CORBA::ULong>(member));
    PathStep step(path_, name);
    out[name] = value(mt);
  }
  return out;
}

json ValueDecoder::elements(CORBA::TypeCode_ptr tc) {
  CORBA::TypeCode_var element = tc->content_type();
  CORBA::TypeCode_var ek = unaliased(element);
  CORBA::ULong length = tc->length();
  if (tc->kind() == CORBA::tk_sequence) {
    length <<= in_;
    // Damaged data must not make a huge array: every element but an
    // empty struct takes at least one octet.
    bool empty_element =
        (ek->kind() == CORBA::tk_struct && ek->member_count() == 0);
    if (!empty_element && !in_.checkInputOverrun(1, length)) malformed();
  }
  json out = json::array();
  if (ek->kind() == CORBA::tk_octet) {
    std::vector<CORBA::Octet> bytes(length);
    if (length) in_.get_octet_array(bytes.data(), static_cast<int>(length));
    for (CORBA::Octet b : bytes) out.push_back(b);
    return out;
  }
  for (CORBA::ULong i = 0; i < length; ++i) {
    PathStep step(path_, i);
    out.push_back(value(element));
  }
  return out;
}

std::string ValueDecoder::id_string() {
  in_.alignInput(omni::ALIGN_4);
  CORBA::ULong at = position();
  CORBA::ULong length;
  length <<= in_;
  if (length == kIndirection) {
    CORBA::Long offset;
    CORBA::ULong from = position();
    offset <<= in_;
    auto it = string_at_.find(from + static_cast<CORBA::ULong>(offset));
    if (it == string_at_.end()) malformed();
    return it->second;
  }
  if (length == 0 || !in_.checkInputOverrun(1, length)) malformed();
  std::string text(length, '\0');
  in_.get_octet_array(reinterpret_cast<CORBA::Octet*>(&text[0]),
                      static_cast<int>(length));
  text.resize(length - 1);  // the terminating NUL
  string_at_[at] = text;
  return text;
}

CORBA::TypeCode_ptr ValueDecoder::value_type_for(const std::string& id,
                                                 CORBA::TypeCode_ptr declared,
                                                 bool box) {
  if (id == declared->id()) return CORBA::TypeCode::_duplicate(declared);
  if (!resolver_) return CORBA::TypeCode::_nil();
  CORBA::TypeCode_var found;
  try {
    found = resolver_->find_type(id);
  } catch (const CORBA::Exception& e) {
    fail("looking up value type " + id + " failed: CORBA::" + e._name());
  }
  if (CORBA::is_nil(found)) return CORBA::TypeCode::_nil();
  CORBA::TypeCode_var t = unaliased(found);
  CORBA::TCKind want = box ? CORBA::tk_value_box : CORBA::tk_value;
  return t->kind() == want ? t._retn() : CORBA::TypeCode::_nil();
}

json ValueDecoder::value_type(CORBA::TypeCode_ptr declared, bool box) {
  in_.alignInput(omni::ALIGN_4);
  CORBA::ULong at = position();
  CORBA::ULong tag;
  tag <<= in_;
  if (tag == 0) return nullptr;
  if (tag == kIndirection) {
    CORBA::ULong from = position();
    CORBA::Long offset;
    offset <<= in_;
    auto it = value_at_.find(from + static_cast<CORBA::ULong>(offset));
    if (it == value_at_.end())
      fail("the value refers to data that is not a value read before it");
    referenced_.insert(it->second);
    return json{{"@ref", it->second}};
  }
  if (tag < kValueTagMin) malformed();
  if (tag & 1) id_string();  // a codebase URL: not needed here
  std::vector<std::string> ids;
  switch (tag & 6) {
    case 0:
      break;
    case 2:
      ids.push_back(id_string());
      break;
    case 6: {
      CORBA::Long n;
      n <<= in_;
      if (n <= 0 || n > 1000) malformed();
      for (CORBA::Long i = 0; i < n; ++i) ids.push_back(id_string());
      break;
    }
    default:
      malformed();
  }
  // omniORB hands over the values of an Any in its own form: unchunked,
  // with at most the id of the value's own type.
  if (tag & 8)
    fail("a chunked value arrived where the ORB writes none; it is not read");
  CORBA::TypeCode_var actual = ids.empty()
                                   ? CORBA::TypeCode::_duplicate(declared)
                                   : value_type_for(ids.front(), declared, box);
  if (CORBA::is_nil(actual))
    fail("value type " + ids.front() + " is not in the repository");
  if (!box && (std::string(actual->id()) == "IDL:omg.org/CORBA/ValueBase:1.0" ||
               actual->type_modifier() == CORBA::VM_ABSTRACT))
    fail("a value of " + std::string(actual->name()) +
         " arrived without the id of its type");
  if (!box && actual->type_modifier() == CORBA::VM_CUSTOM)
    fail(std::string(actual->id()) +
         " is custom-marshalled: its state has no JSON form");

  int number = next_id_++;
  value_at_[at] = number;
  json out = json::object();
  out["@id"] = number;
  if (!box && std::string(actual->id()) != declared->id())
    out["@type"] = type_text(actual);
  if (box) {
    CORBA::TypeCode_var content = actual->content_type();
    out["@box"] = value(content);
  } else {
    value_state(out, actual);
  }
  return out;
}

void ValueDecoder::value_state(json& out, CORBA::TypeCode_ptr tc) {
  CORBA::TypeCode_var base = tc->concrete_base_type();
  if (!CORBA::is_nil(base) && base->kind() == CORBA::tk_value)
    value_state(out, base);
  for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
    std::string name = tc->member_name(i);
    CORBA::TypeCode_var member = tc->member_type(i);
    PathStep step(path_, name);
    out[name] = value(member);
  }
}
