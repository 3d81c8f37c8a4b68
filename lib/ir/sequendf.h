// Sequence types: transient anonymous objects holding a bound and an
// element type.
#ifndef IR_IR_SEQUENDF_H
#define IR_IR_SEQUENDF_H

#include "ir/elemtype.h"

class CORBA_SequenceDef_Impl : public virtual POA_CORBA::SequenceDef,
                               public CORBA_ElementType_Impl {
 public:
  // Duplicates `element`; the TypeCode argument is not used.
  CORBA_SequenceDef_Impl(CORBA::ULong bound, CORBA::TypeCode_ptr ignored,
                         CORBA::IDLType_ptr element);
  ~CORBA_SequenceDef_Impl() override;

  // IDL
  CORBA::ULong bound() override { return size(); }
  // Any bound, 0 (unbounded) included; the same bound changes nothing.
  void bound(CORBA::ULong bound) override { set_size(bound); }
  CORBA::TypeCode_ptr element_type() override { return element_typecode(); }
  CORBA::IDLType_ptr element_type_def() override {
    return CORBA::IDLType::_duplicate(element());
  }
  // Refuses (base + 0x48) what is not a type of this repository, and an
  // element that contains this sequence or nests too deep.
  void element_type_def(CORBA::IDLType_ptr element) override;
  // Does nothing: the servant goes when its last reference is released.
  void destroy() override {}

  static CORBA_SequenceDef_Impl* _narrow(CORBA_IRObject_Impl* p);

 private:
  CORBA::TypeCode_ptr make_typecode(CORBA::ULong bound,
                                    CORBA::TypeCode_ptr element) override;
};

#endif
