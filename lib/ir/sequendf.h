// Sequence types: transient anonymous objects holding a bound and an
// element type.
#ifndef IR_IR_SEQUENDF_H
#define IR_IR_SEQUENDF_H

#include <string>

#include "ir/idltype.h"

class CORBA_SequenceDef_Impl : public virtual POA_CORBA::SequenceDef,
                               public CORBA_IDLType_Impl {
 public:
  // Duplicates `element` (the caller keeps its own reference); the
  // TypeCode argument is not used.  The TypeCode is built from the
  // element's (its recursive placeholder while the element is being
  // built); it stays nil when the element has none, as when the element
  // read from a record no longer exists.
  CORBA_SequenceDef_Impl(CORBA::ULong bound, CORBA::TypeCode_ptr ignored,
                         CORBA::IDLType_ptr element);
  ~CORBA_SequenceDef_Impl() override;

  // IDL
  CORBA::ULong bound() override;
  // Any bound, 0 (unbounded) included; the same bound changes nothing.
  void bound(CORBA::ULong bound) override;
  CORBA::TypeCode_ptr element_type() override;
  CORBA::IDLType_ptr element_type_def() override;
  // Refuses (base + 0x48) what is not a type of this repository, and an
  // element that contains this sequence or nests too deep.
  void element_type_def(CORBA::IDLType_ptr element) override;
  void destroy() override;

  std::string object_key() override;
  // Writes dk_Sequence, the bound, then the element's in-line form.
  void stream_in_line(Encapsulation& e);
  static CORBA_SequenceDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // The element reference, not duplicated (may be nil).
  CORBA::IDLType_ptr element() const { return element_.in(); }
  // Replaces the element reference without any check or TypeCode
  // change (the element's repository id has changed).
  void repoint_element(CORBA::IDLType_ptr element);

 private:
  void rebuild_typecode();

  CORBA::ULong bound_;
  CORBA::IDLType_var element_;
  CORBA::TypeCode_var element_tc_;
  std::string oid_;
};

#endif
