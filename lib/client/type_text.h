// TypeCodes and Anys as text: canonical signatures for comparing the
// repository with parsed IDL, IDL text for printing, and literals.
#ifndef IR_CLIENT_TYPE_TEXT_H
#define IR_CLIENT_TYPE_TEXT_H

#include <omniORB4/CORBA.h>

#include <functional>
#include <string>

// The signature of a type in the form of TypeExpr::signature()
// (idl_records.h): named types by repository id, anonymous ones spelled
// out.  Object and ValueBase come out as those primitive names.
std::string type_signature(CORBA::TypeCode_ptr tc);

// How a named type (struct, alias, interface, ...) is written; gets the
// TypeCode of the named type.
using TypeNamer = std::function<std::string(CORBA::TypeCode_ptr)>;

// The IDL of a type used in a declaration, without array bounds
// ("sequence<::A::B, 10>", "unsigned long"); arrays give the IDL of
// their innermost element.
std::string type_idl(CORBA::TypeCode_ptr tc, const TypeNamer& namer);
// "T name[2][3]": a declarator of `name` with type `tc`.
std::string declarator_idl(CORBA::TypeCode_ptr tc, const std::string& name,
                           const TypeNamer& namer);

// Reads and builds Anys of enum type through omniORB's DynAny factory.
class AnyCodec {
 public:
  explicit AnyCodec(CORBA::ORB_ptr orb) : orb_(orb) {}

  // The value of a union label or discriminator-like Any (integers,
  // boolean, char, wchar, octet, enum) as an integer; false for any other
  // type.
  bool integer(const CORBA::Any& a, long long* value);
  // An Any of enum TypeCode `tc` with the enumerator at `index`.
  CORBA::Any* make_enum(CORBA::TypeCode_ptr tc, CORBA::ULong index);
  // An IDL literal of a constant or label value ("12", "'a'", "TRUE",
  // "\"text\"", "1.5", ...); an enumerator through `enumerator_name`,
  // given the enum's TypeCode and the enumerator's name.
  std::string literal(
      const CORBA::Any& a,
      const std::function<std::string(CORBA::TypeCode_ptr, const char*)>&
          enumerator_name);

 private:
  DynamicAny::DynAnyFactory_ptr factory();

  CORBA::ORB_ptr orb_;
  DynamicAny::DynAnyFactory_var factory_;
};

// An IDL-like text of a TypeCode that spells out its top level (the
// members of a struct, the labels of a union, ...) and names the types
// inside by their simple names.
std::string typecode_text(CORBA::TypeCode_ptr tc, AnyCodec& codec);

// The shortest decimal text that reads back as exactly `v` (as a double
// or, with `single`, as a float), always with a '.' or an exponent.
std::string float_literal(double v, bool single);

#endif
