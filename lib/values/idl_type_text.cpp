#include "values/idl_type_text.h"

#include <cctype>
#include <vector>

#include "values/typecode_util.h"

namespace {

const char kObjectId[] = "IDL:omg.org/CORBA/Object:1.0";
const char kValueBaseId[] = "IDL:omg.org/CORBA/ValueBase:1.0";

struct Basic {
  CORBA::TCKind kind;
  const char* text;
  CORBA::TypeCode_ptr tc;
};

// The basic types by their one spelling; also the order in which the
// parser tries multi-word names (longest first where they share words).
const Basic kBasic[] = {
    {CORBA::tk_null, "null", CORBA::_tc_null},
    {CORBA::tk_void, "void", CORBA::_tc_void},
    {CORBA::tk_short, "short", CORBA::_tc_short},
    {CORBA::tk_long, "long", CORBA::_tc_long},
    {CORBA::tk_longlong, "long long", CORBA::_tc_longlong},
    {CORBA::tk_ushort, "unsigned short", CORBA::_tc_ushort},
    {CORBA::tk_ulong, "unsigned long", CORBA::_tc_ulong},
    {CORBA::tk_ulonglong, "unsigned long long", CORBA::_tc_ulonglong},
    {CORBA::tk_float, "float", CORBA::_tc_float},
    {CORBA::tk_double, "double", CORBA::_tc_double},
    {CORBA::tk_longdouble, "long double", CORBA::_tc_longdouble},
    {CORBA::tk_boolean, "boolean", CORBA::_tc_boolean},
    {CORBA::tk_char, "char", CORBA::_tc_char},
    {CORBA::tk_wchar, "wchar", CORBA::_tc_wchar},
    {CORBA::tk_octet, "octet", CORBA::_tc_octet},
    {CORBA::tk_any, "any", CORBA::_tc_any},
    {CORBA::tk_TypeCode, "TypeCode", CORBA::_tc_TypeCode},
};

std::string bound_text(CORBA::ULong bound) {
  return bound ? "<" + std::to_string(bound) + ">" : std::string();
}

}  // namespace

std::string idl_type_text(CORBA::TypeCode_ptr tc, TypeResolver* resolver) {
  CORBA::TCKind k = tc->kind();
  for (const Basic& b : kBasic)
    if (b.kind == k) return b.text;
  switch (k) {
    case CORBA::tk_string:
      return "string" + bound_text(tc->length());
    case CORBA::tk_wstring:
      return "wstring" + bound_text(tc->length());
    case CORBA::tk_fixed:
      return "fixed<" + std::to_string(tc->fixed_digits()) + "," +
             std::to_string(tc->fixed_scale()) + ">";
    case CORBA::tk_sequence: {
      CORBA::TypeCode_var content = tc->content_type();
      std::string text = "sequence<" + idl_type_text(content, resolver);
      if (tc->length()) text += "," + std::to_string(tc->length());
      return text + ">";
    }
    case CORBA::tk_array: {
      std::string dims;
      CORBA::TypeCode_var t = CORBA::TypeCode::_duplicate(tc);
      while (t->kind() == CORBA::tk_array) {
        dims += "[" + std::to_string(t->length()) + "]";
        t = t->content_type();
      }
      return idl_type_text(t, resolver) + dims;
    }
    default:
      break;
  }
  if (is_named_kind(k)) {
    std::string id = tc->id();
    if (k == CORBA::tk_objref && id == kObjectId) return "Object";
    if (k == CORBA::tk_value && id == kValueBaseId) return "ValueBase";
    if (resolver) {
      std::string name = resolver->type_name(tc);
      if (!name.empty()) return name;
    }
    return id;
  }
  return "kind " + std::to_string(static_cast<int>(k));
}

namespace {

// A recursive-descent reader of one type text.
class TypeTextParser {
 public:
  TypeTextParser(const std::string& text, CORBA::ORB_ptr orb,
                 TypeResolver* resolver)
      : text_(text), orb_(orb), resolver_(resolver) {}

  CORBA::TypeCode_ptr parse() {
    CORBA::TypeCode_var tc = type();
    skip_space();
    if (pos_ != text_.size()) fail("unexpected '" + text_.substr(pos_) + "'");
    return tc._retn();
  }

 private:
  [[noreturn]] void fail(const std::string& why) {
    throw TypeTextError("type '" + text_ + "': " + why);
  }

  void skip_space() {
    while (pos_ < text_.size() &&
           std::isspace(static_cast<unsigned char>(text_[pos_])))
      ++pos_;
  }

  bool accept(char c) {
    skip_space();
    if (pos_ < text_.size() && text_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }

  void expect(char c) {
    if (!accept(c)) fail(std::string("expected '") + c + "'" + where());
  }

  std::string where() const {
    return pos_ < text_.size() ? " at '" + text_.substr(pos_) + "'"
                               : " at the end";
  }

  static bool ident_char(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
  }

  // The next word (identifier) without consuming it; "" when none.
  std::string peek_word() {
    skip_space();
    std::size_t end = pos_;
    while (end < text_.size() && ident_char(text_[end])) ++end;
    return text_.substr(pos_, end - pos_);
  }

  std::string word() {
    std::string w = peek_word();
    pos_ += w.size();
    return w;
  }

  CORBA::ULong number(const char* what) {
    skip_space();
    std::size_t start = pos_;
    while (pos_ < text_.size() &&
           std::isdigit(static_cast<unsigned char>(text_[pos_])))
      ++pos_;
    if (start == pos_) fail(std::string("expected ") + what + where());
    std::string digits = text_.substr(start, pos_ - start);
    if (digits.size() > 10 || std::stoull(digits) > 0xffffffffULL)
      fail(std::string(what) + " " + digits + " is too large");
    return static_cast<CORBA::ULong>(std::stoull(digits));
  }

  CORBA::TypeCode_ptr type() {
    CORBA::TypeCode_var tc = simple_type();
    std::vector<CORBA::ULong> dims;
    while (accept('[')) {
      CORBA::ULong n = number("an array length");
      if (n == 0) fail("an array needs a length of at least 1");
      dims.push_back(n);
      expect(']');
    }
    for (auto d = dims.rbegin(); d != dims.rend(); ++d)
      tc = orb_->create_array_tc(*d, tc);
    return tc._retn();
  }

  CORBA::TypeCode_ptr simple_type() {
    skip_space();
    if (pos_ >= text_.size()) fail("no type name");
    if (starts_repository_id()) return named(repository_id());
    std::size_t start = pos_;
    std::string w = word();
    if (w.empty() && !(text_.compare(pos_, 2, "::") == 0))
      fail("expected a type name" + where());
    if (w == "unsigned") {
      std::string next = word();
      if (next == "short")
        return CORBA::TypeCode::_duplicate(CORBA::_tc_ushort);
      if (next == "long") {
        if (peek_word() == "long") {
          word();
          return CORBA::TypeCode::_duplicate(CORBA::_tc_ulonglong);
        }
        return CORBA::TypeCode::_duplicate(CORBA::_tc_ulong);
      }
      fail("expected 'short' or 'long' after 'unsigned'");
    }
    if (w == "long") {
      std::string next = peek_word();
      if (next == "long") {
        word();
        return CORBA::TypeCode::_duplicate(CORBA::_tc_longlong);
      }
      if (next == "double") {
        word();
        return CORBA::TypeCode::_duplicate(CORBA::_tc_longdouble);
      }
      return CORBA::TypeCode::_duplicate(CORBA::_tc_long);
    }
    if (w == "string" || w == "wstring") {
      CORBA::ULong bound = 0;
      if (accept('<')) {
        bound = number("a bound");
        expect('>');
      }
      return w == "string" ? orb_->create_string_tc(bound)
                           : orb_->create_wstring_tc(bound);
    }
    if (w == "fixed") {
      expect('<');
      CORBA::ULong digits = number("a digit count");
      expect(',');
      CORBA::ULong scale = number("a scale");
      expect('>');
      if (digits < 1 || digits > 31 || scale > digits)
        fail("fixed needs 1 to 31 digits and a scale of at most the digits");
      return orb_->create_fixed_tc(static_cast<CORBA::UShort>(digits),
                                   static_cast<CORBA::Short>(scale));
    }
    if (w == "sequence") {
      expect('<');
      CORBA::TypeCode_var element = type();
      CORBA::ULong bound = 0;
      if (accept(',')) bound = number("a bound");
      expect('>');
      return orb_->create_sequence_tc(bound, element);
    }
    for (const Basic& b : kBasic)
      if (w == b.text) return CORBA::TypeCode::_duplicate(b.tc);
    if (w == "Object") return CORBA::TypeCode::_duplicate(CORBA::_tc_Object);
    if (w == "ValueBase") return value_base_typecode(orb_);
    pos_ = start;
    return named(scoped_name());
  }

  bool starts_repository_id() const {
    static const char* const kFormats[] = {"IDL:", "RMI:", "DCE:", "LOCAL:"};
    for (const char* f : kFormats)
      if (text_.compare(pos_, std::string(f).size(), f) == 0) return true;
    return false;
  }

  // A repository id runs to the next space, '>', ',' or '['.
  std::string repository_id() {
    std::size_t start = pos_;
    while (pos_ < text_.size() && text_[pos_] != '>' && text_[pos_] != ',' &&
           text_[pos_] != '[' &&
           !std::isspace(static_cast<unsigned char>(text_[pos_])))
      ++pos_;
    return text_.substr(start, pos_ - start);
  }

  std::string scoped_name() {
    std::string name;
    skip_space();
    if (text_.compare(pos_, 2, "::") == 0) {
      name = "::";
      pos_ += 2;
    }
    while (true) {
      std::string w = word();
      if (w.empty()) fail("expected a name" + where());
      name += w;
      if (text_.compare(pos_, 2, "::") != 0) break;
      name += "::";
      pos_ += 2;
    }
    return name;
  }

  CORBA::TypeCode_ptr named(const std::string& name) {
    std::string n = name.compare(0, 2, "::") == 0 ? name.substr(2) : name;
    if (n == "CORBA::TypeCode")
      return CORBA::TypeCode::_duplicate(CORBA::_tc_TypeCode);
    if (n == "CORBA::Object" || name == kObjectId)
      return CORBA::TypeCode::_duplicate(CORBA::_tc_Object);
    if (n == "CORBA::ValueBase" || name == kValueBaseId)
      return value_base_typecode(orb_);
    CORBA::TypeCode_var tc;
    if (resolver_) tc = resolver_->find_type(name);
    if (CORBA::is_nil(tc)) fail("no type named '" + name + "'");
    return tc._retn();
  }

  const std::string& text_;
  CORBA::ORB_ptr orb_;
  TypeResolver* resolver_;
  std::size_t pos_ = 0;
};

}  // namespace

CORBA::TypeCode_ptr parse_idl_type_text(const std::string& text,
                                        CORBA::ORB_ptr orb,
                                        TypeResolver* resolver) {
  return TypeTextParser(text, orb, resolver).parse();
}
