// JSON to the CDR of IDL values, by TypeCode (the writing half of the
// JSON mapping; lib/values/README.md gives the rules).
#ifndef IR_VALUES_VALUE_ENCODER_H
#define IR_VALUES_VALUE_ENCODER_H

#include <omniORB4/CORBA.h>
#include <omniORB4/cdrStream.h>

#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "values/type_resolver.h"

// Writes JSON values into one CDR memory stream.  One encoder writes one
// top-level value: the "@id"s of value types are known within it.
// Not thread-safe; the ORB, the resolver and the stream outlive it.
class ValueEncoder {
 public:
  // `resolver` (may be null) names the types of anys, TypeCode values and
  // derived value types.
  ValueEncoder(CORBA::ORB_ptr orb, TypeResolver* resolver,
               cdrMemoryStream& out);
  ValueEncoder(const ValueEncoder&) = delete;
  ValueEncoder& operator=(const ValueEncoder&) = delete;

  // Writes `value` as a value of `tc`.  Throws ValueError whose path
  // starts with `path` (the path of `value` itself, e.g. "args[1]").
  void write(const nlohmann::ordered_json& value, CORBA::TypeCode_ptr tc,
             const std::string& path);

 private:
  void value(const nlohmann::ordered_json& v, CORBA::TypeCode_ptr tc);
  // The value of an integer type; long long for an unsigned long long
  // keeps its bits.
  long long integer_value(const nlohmann::ordered_json& v, CORBA::TCKind kind);
  // Writes an integral value of kind `kind` (integers, enum, boolean,
  // char, wchar, octet).
  void integral(CORBA::TCKind kind, long long n);
  void real(const nlohmann::ordered_json& v, CORBA::TCKind kind);
  void character(const nlohmann::ordered_json& v, bool wide);
  void string(const nlohmann::ordered_json& v, CORBA::TypeCode_ptr tc);
  void wstring(const nlohmann::ordered_json& v, CORBA::TypeCode_ptr tc);
  void fixed(const nlohmann::ordered_json& v, CORBA::TypeCode_ptr tc);
  void enumerator(const nlohmann::ordered_json& v, CORBA::TypeCode_ptr tc);
  void members(const nlohmann::ordered_json& v, CORBA::TypeCode_ptr tc);
  void union_value(const nlohmann::ordered_json& v, CORBA::TypeCode_ptr tc);
  long long discriminator(const nlohmann::ordered_json& v,
                          CORBA::TypeCode_ptr tc);
  void elements(const nlohmann::ordered_json& v, CORBA::TypeCode_ptr tc);
  void any(const nlohmann::ordered_json& v);
  void typecode(const nlohmann::ordered_json& v);
  void object(const nlohmann::ordered_json& v);
  void abstract_interface(const nlohmann::ordered_json& v);
  void value_type(const nlohmann::ordered_json& v, CORBA::TypeCode_ptr tc);
  void value_box(const nlohmann::ordered_json& v, CORBA::TypeCode_ptr tc);
  bool shared_value(const nlohmann::ordered_json& v);
  void value_header(const nlohmann::ordered_json& v,
                    CORBA::TypeCode_ptr actual);
  void value_state(const nlohmann::ordered_json& v, CORBA::TypeCode_ptr tc);
  CORBA::TypeCode_ptr actual_value_type(const nlohmann::ordered_json& v,
                                        CORBA::TypeCode_ptr declared);
  CORBA::TypeCode_ptr named_type(const std::string& text);

  [[noreturn]] void fail(const std::string& message) const;
  [[noreturn]] void expected(const std::string& what,
                             const nlohmann::ordered_json& got) const;

  CORBA::ORB_ptr orb_;
  TypeResolver* resolver_;
  cdrMemoryStream& out_;
  std::string path_;
  // "@id" of a value (its JSON text) -> the stream position of its tag.
  std::map<std::string, CORBA::ULong> value_at_;
  int depth_ = 0;  // nesting of the value being written
};

#endif
