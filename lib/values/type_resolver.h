// Named IDL types for the JSON mapping: the types that `any` values,
// TypeCode values and derived value types name by text come from the
// caller (usually an interface repository).
#ifndef IR_VALUES_TYPE_RESOLVER_H
#define IR_VALUES_TYPE_RESOLVER_H

#include <omniORB4/CORBA.h>

#include <string>

class TypeResolver {
 public:
  virtual ~TypeResolver() = default;

  // The TypeCode of the named type `name`: a scoped name ("::A::B" or
  // "A::B") or a repository id ("IDL:A/B:1.0").  Nil when there is no
  // such type; the caller owns the result.  May throw std::exception or a
  // CORBA exception when the lookup itself fails.
  virtual CORBA::TypeCode_ptr find_type(const std::string& name) = 0;

  // How the named type `tc` (struct, interface, alias, ...) is written:
  // its scoped name, or "" to write its repository id.
  virtual std::string type_name(CORBA::TypeCode_ptr tc) = 0;
};

#endif
