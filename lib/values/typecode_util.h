// TypeCode helpers shared by the parts of the JSON mapping.
#ifndef IR_VALUES_TYPECODE_UTIL_H
#define IR_VALUES_TYPECODE_UTIL_H

#include <omniORB4/CORBA.h>

#include <nlohmann/json.hpp>
#include <string>

// `tc` with its aliases removed (a new reference).
CORBA::TypeCode_ptr unaliased(CORBA::TypeCode_ptr tc);

// The value of a union label or discriminator held in `any` (integer
// kinds, boolean, char, wchar, octet, enum as its index) as an integer;
// false for any other kind.
bool any_as_integer(const CORBA::Any& any, long long* value);

// The member of the union `union_tc` (unaliased) that the discriminator
// value `d` selects: a member with that label, else the default member,
// else -1 (no member).
long union_member_for(CORBA::TypeCode_ptr union_tc, long long d);

// True when a member of `union_tc` other than the default has label `d`.
bool union_has_label(CORBA::TypeCode_ptr union_tc, long long d);

// A discriminator value that no label of `union_tc` has, for choosing
// its default member; false when every value of the discriminator type
// has a label.
bool unused_discriminator(CORBA::TypeCode_ptr union_tc, long long* d);

// True when the value type `actual` is `declared` or derives from it
// through its concrete bases; every value type derives from ValueBase.
bool value_derives_from(CORBA::TypeCode_ptr actual,
                        CORBA::TypeCode_ptr declared);

// The TypeCode of ValueBase (omniORB has no constant for it).
CORBA::TypeCode_ptr value_base_typecode(CORBA::ORB_ptr orb);

// The JSON of an integral value of the unaliased type `t` (integers,
// enum, boolean, char, wchar, octet) given as the bits of a long long:
// a number, or a string for 64-bit values beyond 2^53; true or false; a
// one-character string; the enumerator's name.
nlohmann::ordered_json integral_json(CORBA::TypeCode_ptr t, long long bits);

// The kinds whose TypeCodes carry a repository id and a name.
bool is_named_kind(CORBA::TCKind kind);

#endif
