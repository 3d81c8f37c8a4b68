// The JSON mapping of IDL values: JSON <-> CORBA::Any by TypeCode.
// lib/values/README.md documents the mapping.
#ifndef IR_VALUES_VALUE_CODEC_H
#define IR_VALUES_VALUE_CODEC_H

#include <omniORB4/CORBA.h>

#include <nlohmann/json.hpp>
#include <string>

#include "values/type_resolver.h"
#include "values/value_error.h"

// Stateless apart from its references: the ORB and the resolver must
// outlive it.  As thread-safe as the resolver.
class ValueCodec {
 public:
  // `resolver` (may be null) names the types that values carry as text:
  // the type of an any, a TypeCode, a value type more derived than the
  // declared one.
  explicit ValueCodec(CORBA::ORB_ptr orb, TypeResolver* resolver = nullptr)
      : orb_(orb), resolver_(resolver) {}

  // `value` as an Any of type `tc`.  Throws ValueError naming the bad part
  // of `value` by its path below `path`.
  CORBA::Any* to_any(const nlohmann::ordered_json& value,
                     CORBA::TypeCode_ptr tc,
                     const std::string& path = "") const;

  // The value held by `any` as JSON (its type is not part of the
  // result).  Throws ValueError for a value with no JSON form and
  // CORBA::MARSHAL for damaged data.
  nlohmann::ordered_json to_json(const CORBA::Any& any,
                                 const std::string& path = "") const;

  // A value of `tc` that to_any accepts, for showing users the shape of
  // an argument: zeros, empty strings, the first enumerator, the first
  // union member, one element per sequence, null for nested recursion.
  nlohmann::ordered_json sample(CORBA::TypeCode_ptr tc) const;

  // The IDL text of a type, as the mapping writes it for anys.
  std::string type_text(CORBA::TypeCode_ptr tc) const;

 private:
  CORBA::ORB_ptr orb_;
  TypeResolver* resolver_;
};

#endif
