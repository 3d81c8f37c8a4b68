// Array types: transient anonymous objects holding a length and an
// element type.
#ifndef IR_IR_ARRAYDF_H
#define IR_IR_ARRAYDF_H

#include "ir/elemtype.h"

class CORBA_ArrayDef_Impl : public virtual POA_CORBA::ArrayDef,
                            public CORBA_ElementType_Impl {
 public:
  // Duplicates `element`; the TypeCode argument is not used.
  CORBA_ArrayDef_Impl(CORBA::ULong length, CORBA::TypeCode_ptr ignored,
                      CORBA::IDLType_ptr element);
  ~CORBA_ArrayDef_Impl() override;

  // IDL
  CORBA::ULong length() override { return size(); }
  // Any length, 0 included; the same length changes nothing.
  void length(CORBA::ULong length) override { set_size(length); }
  CORBA::TypeCode_ptr element_type() override { return element_typecode(); }
  CORBA::IDLType_ptr element_type_def() override {
    return CORBA::IDLType::_duplicate(element());
  }
  // Refuses (base + 0x48) what is not a type of this repository, and an
  // element that contains this array or nests too deep.
  void element_type_def(CORBA::IDLType_ptr element) override;
  // Does nothing: the servant goes when its last reference is released.
  void destroy() override {}

  static CORBA_ArrayDef_Impl* _narrow(CORBA_IRObject_Impl* p);

 private:
  // A factory that yields nothing is reported as a failed allocation.
  CORBA::TypeCode_ptr make_typecode(CORBA::ULong length,
                                    CORBA::TypeCode_ptr element) override;
};

#endif
