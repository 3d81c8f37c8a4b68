// Helpers shared by the transient anonymous type objects (string,
// wstring, sequence, array): their object ids and the checks on element
// types.
#ifndef IR_IR_ANONTYPE_H
#define IR_IR_ANONTYPE_H

#include <string>

#include "ir/idltype.h"
#include "ir/servant_locator.h"

// The object id of the anonymous servant `s`, kept in `oid`.  The first
// call registers the servant (the table then holds one reference on it)
// under its in-line form at that moment, from which the locator rebuilds
// it once the process has forgotten it.  The form is streamed from the
// servant itself: going through its reference would need the object id
// that is being made.  An object that cannot be written out (an element that no
// longer exists) is registered with an empty form: it cannot be rebuilt.
template <class Servant>
const std::string& ir_anonymous_key(Servant* s, std::string& oid) {
  if (oid.empty()) {
    std::string form;
    try {
      EncapIIOP e;
      s->stream_in_line(e);
      std::vector<std::uint8_t> bytes = e.bytes();
      form.assign(bytes.begin(), bytes.end());
    } catch (const CORBA::SystemException&) {
      form.clear();
    }
    oid = ir_register_anonymous(s, form);
  }
  return oid;
}

// A duplicate of type() of the object behind `type`, nil when `type` is
// nil, not one of ours or has no TypeCode yet.
CORBA::TypeCode_ptr ir_type_of(CORBA::IDLType_ptr type);

// Number of sequence and array levels around the innermost element of
// `type` (0 for any other type), counting at most kMaxTypeNesting + 1.
// `self`, when given, must not occur in the chain: -1 when it does (an
// element that would contain its own sequence or array).
int ir_anonymous_depth(CORBA::IDLType_ptr type,
                       const CORBA_IRObject_Impl* self = nullptr);

// Checks `element` as the new element type of the sequence or array
// `self` and hands its named type, if any, to the store.  Raises
// base + 0x48 with `context` (at `file`, `line`) when `element` is not a
// type, would contain `self` or nests too deep; a store failure through
// irobj_parse_throw.
void ir_check_element(const CORBA_IRObject_Impl* self, IRStore* store,
                      CORBA::IDLType_ptr element, const char* file, int line,
                      const char* context);

// element_type() of a sequence or array: type() of `element`, or the
// TypeCode `held` for it while the element has none.
CORBA::TypeCode_ptr ir_element_type(CORBA::IDLType_ptr element,
                                    CORBA::TypeCode_ptr held);

#endif
