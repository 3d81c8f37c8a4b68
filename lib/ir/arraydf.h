// Array types: transient anonymous objects holding a length and an
// element type.
#ifndef IR_IR_ARRAYDF_H
#define IR_IR_ARRAYDF_H

#include <string>

#include "ir/idltype.h"

class CORBA_ArrayDef_Impl : public virtual POA_CORBA::ArrayDef,
                            public CORBA_IDLType_Impl {
 public:
  // Duplicates `element` (the caller keeps its own reference); the
  // TypeCode argument is not used.  The TypeCode is built from the
  // element's (its recursive placeholder while the element is being
  // built); it stays nil when the element has none, as when the element
  // read from a record no longer exists.
  CORBA_ArrayDef_Impl(CORBA::ULong length, CORBA::TypeCode_ptr ignored,
                      CORBA::IDLType_ptr element);
  ~CORBA_ArrayDef_Impl() override;

  // IDL
  CORBA::ULong length() override;
  // Any length, 0 included; the same length changes nothing.
  void length(CORBA::ULong length) override;
  CORBA::TypeCode_ptr element_type() override;
  CORBA::IDLType_ptr element_type_def() override;
  // Refuses (base + 0x48) what is not a type of this repository, and an
  // element that contains this array or nests too deep.
  void element_type_def(CORBA::IDLType_ptr element) override;
  void destroy() override;

  std::string object_key() override;
  // Writes dk_Array, the length, then the element's in-line form.
  void stream_in_line(Encapsulation& e);
  static CORBA_ArrayDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // The element reference, not duplicated (may be nil).
  CORBA::IDLType_ptr element() const { return element_.in(); }
  // Replaces the element reference without any check or TypeCode
  // change (the element's repository id has changed).
  void repoint_element(CORBA::IDLType_ptr element);

 private:
  void rebuild_typecode();

  CORBA::ULong length_;
  CORBA::IDLType_var element_;
  CORBA::TypeCode_var element_tc_;
  std::string oid_;
};

#endif
