// Types: the cached TypeCode of every type object, the in-line type
// reference (how one record refers to a type) and recursive TypeCodes.
#ifndef IR_IR_IDLTYPE_H
#define IR_IR_IDLTYPE_H

#include <string>

#include "ir/irobj.h"

class CORBA_IDLType_Impl : public virtual POA_CORBA::IDLType,
                           public virtual CORBA_IRObject_Impl {
 public:
  CORBA_IDLType_Impl();
  // Primitive, string and wstring objects get no store; sequence and
  // array objects get the repository's.
  explicit CORBA_IDLType_Impl(CORBA::DefinitionKind kind);
  // Adopts `tc`.
  explicit CORBA_IDLType_Impl(CORBA::TypeCode_ptr tc);
  ~CORBA_IDLType_Impl() override;

  // A duplicate of the cached TypeCode, nil when there is none.
  CORBA::TypeCode_ptr type() override;
  // Adopts `tc` as the cached TypeCode; nil raises base + 0x48.
  void type(CORBA::TypeCode_ptr tc);
  // The cached TypeCode, not duplicated (may be nil).
  CORBA::TypeCode_ptr cached_type() const { return cached_tc_.in(); }

  // The servant behind a type reference, with one reference for the
  // caller, or null when the reference is not one of ours.
  static CORBA_IRObject_Impl* get_impl(CORBA::IDLType_ptr ref);
  CORBA_IDLType_Impl* is_idltype();
  static CORBA_IDLType_Impl* _narrow(CORBA_IRObject_Impl* p);

 protected:
  CORBA::TypeCode_var cached_tc_;
};

// Writes the in-line type reference of `type` (one of ours; base + 0x53
// "narrow_and_continue_streaming" otherwise).
void narrow_and_continue_streaming(CORBA::IDLType_ptr type, Encapsulation& enc);
// Reads one in-line type reference; a named type that no longer exists
// reads as nil.  Anonymous types come back as new transient objects.
// Unknown kinds, and nesting deeper than kMaxTypeNesting, raise
// base + 0x53 "get_next_object".
CORBA::IDLType_ptr get_next_object(Encapsulation& enc, IRStore* store);
constexpr int kMaxTypeNesting = 64;
// The named type reached from `type` (through sequence and array
// elements): found = 0 and nil when `type` is not a type; found = 1 and
// nil for an anonymous type with no named type inside.
CORBA::IDLType_ptr find_named_type(CORBA::IDLType_ptr type,
                                   CORBA::Boolean& found);
// The recursive placeholder TypeCode for the named type behind `type`,
// or nil.
CORBA::TypeCode_ptr make_recursive_tc(CORBA::IDLType_ptr type);
// 1 when the named type behind `type` had `old_id` and now has `new_id`.
int change1ref(CORBA::IDLType_ptr type, const char* old_id, const char* new_id);
// The TypeCode of a referenced type: its type(), or the recursive
// placeholder when that is nil (the type is still being built).  Nil
// only when neither exists.
CORBA::TypeCode_ptr ir_referenced_typecode(CORBA::IDLType_ptr type);
// The in-line form of `type` as bytes (for anonymous object ids).
std::string ir_inline_form(CORBA::IDLType_ptr type);

#endif
