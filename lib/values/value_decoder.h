// The CDR of IDL values to JSON, by TypeCode (the reading half of the
// JSON mapping; lib/values/README.md gives the rules).
#ifndef IR_VALUES_VALUE_DECODER_H
#define IR_VALUES_VALUE_DECODER_H

#include <omniORB4/CORBA.h>
#include <omniORB4/cdrStream.h>

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "values/type_resolver.h"

// Reads one value from a CDR memory stream.  Value types that are shared
// or cyclic come out once, with "@id": N, and every further occurrence is
// {"@ref": N}; values referred to once carry no "@id".  Not thread-safe.
class ValueDecoder {
 public:
  // `resolver` (may be null) names types in the output and finds the
  // TypeCodes of value types more derived than the declared ones.
  ValueDecoder(CORBA::ORB_ptr orb, TypeResolver* resolver, cdrMemoryStream& in);
  ValueDecoder(const ValueDecoder&) = delete;
  ValueDecoder& operator=(const ValueDecoder&) = delete;

  // The value of type `tc` at the stream's read position.  Throws
  // ValueError (path relative to `path`) for data that has no JSON form
  // (a custom-marshalled value, a value type the resolver does not know,
  // nesting deeper than kMaxNesting)
  // and CORBA::MARSHAL for data that ends too soon or is malformed.
  nlohmann::ordered_json read(CORBA::TypeCode_ptr tc,
                              const std::string& path = "");

 private:
  nlohmann::ordered_json value(CORBA::TypeCode_ptr tc);
  // An integral value (integers, enum, boolean, char, wchar, octet) of the
  // unaliased type `t`, as the bits of a long long.
  long long integral(CORBA::TypeCode_ptr t);
  nlohmann::ordered_json real(CORBA::TCKind kind);
  nlohmann::ordered_json members(CORBA::TypeCode_ptr tc);
  nlohmann::ordered_json union_value(CORBA::TypeCode_ptr tc);
  nlohmann::ordered_json elements(CORBA::TypeCode_ptr tc);
  nlohmann::ordered_json value_type(CORBA::TypeCode_ptr declared, bool box);
  void value_state(nlohmann::ordered_json& out, CORBA::TypeCode_ptr tc);
  CORBA::TypeCode_ptr value_type_for(const std::string& id,
                                     CORBA::TypeCode_ptr declared, bool box);
  std::string type_text(CORBA::TypeCode_ptr tc);
  std::string id_string();

  CORBA::ULong position() const { return in_.currentInputPtr(); }

  [[noreturn]] void fail(const std::string& message) const;
  [[noreturn]] static void malformed();

  CORBA::ORB_ptr orb_;
  TypeResolver* resolver_;
  cdrMemoryStream& in_;
  std::string path_;

  // Value types read so far: stream position of the tag -> "@id".
  std::map<CORBA::ULong, int> value_at_;
  std::set<int> referenced_;
  int next_id_ = 1;
  // Repository id strings by position, for id indirections.
  std::map<CORBA::ULong, std::string> string_at_;
  int depth_ = 0;  // nesting of the value being read
};

#endif
