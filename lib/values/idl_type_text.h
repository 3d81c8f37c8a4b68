// IDL type names as text, both ways: what the JSON mapping writes for
// the type of an `any` and for a TypeCode value.
//
//   long, unsigned long long, long double, char, wchar, octet, boolean,
//   any, void, null, Object, ValueBase, TypeCode (also CORBA::TypeCode),
//   string, string<10>, wstring<5>, fixed<9,2>, sequence<T>,
//   sequence<T,10>, T[2][3] (an array: IDL has no anonymous form), and
//   named types by scoped name (::A::B, A::B) or repository id.
#ifndef IR_VALUES_IDL_TYPE_TEXT_H
#define IR_VALUES_IDL_TYPE_TEXT_H

#include <omniORB4/CORBA.h>

#include <stdexcept>
#include <string>

#include "values/type_resolver.h"

// A type text that cannot be read; what() says where and why.
class TypeTextError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The text of `tc`.  Named types are written as `resolver` names them
// (its scoped name), or by repository id when it gives no name or
// `resolver` is null.
std::string idl_type_text(CORBA::TypeCode_ptr tc, TypeResolver* resolver);

// The TypeCode that `text` names; named types come from `resolver` (none
// when it is null).  Throws TypeTextError for bad syntax, an unknown
// name, or a bound, length or digit count out of range.
CORBA::TypeCode_ptr parse_idl_type_text(const std::string& text,
                                        CORBA::ORB_ptr orb,
                                        TypeResolver* resolver);

#endif
