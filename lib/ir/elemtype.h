// What sequence and array objects share: a size (a sequence's bound, an
// array's length), an element type, the TypeCode built from both, the
// in-line form and the anonymous object id.
#ifndef IR_IR_ELEMTYPE_H
#define IR_IR_ELEMTYPE_H

#include <string>

#include "ir/idltype.h"

class CORBA_ElementType_Impl : public CORBA_IDLType_Impl {
 public:
  ~CORBA_ElementType_Impl() override;

  // The element reference, not duplicated (may be nil).
  CORBA::IDLType_ptr element() const { return element_.in(); }
  // The bound or length.
  CORBA::ULong size() const { return size_; }
  // Replaces the element reference without any check or TypeCode
  // change (the element's repository id has changed).
  void repoint_element(CORBA::IDLType_ptr element);

  std::string object_key() override;
  // Writes the kind, the size, then the element's in-line form.
  void stream_in_line(Encapsulation& e);
  // The sequence or array behind `p`, else null.
  static CORBA_ElementType_Impl* _narrow(CORBA_IRObject_Impl* p);

 protected:
  // Duplicates `element` (the caller keeps its own reference).  The
  // TypeCode is built from the element's (its recursive placeholder while
  // the element is being built); it stays nil when the element has none,
  // as when the element read from a record no longer exists.
  CORBA_ElementType_Impl(CORBA::DefinitionKind kind, CORBA::ULong size,
                         CORBA::IDLType_ptr element);

  // The TypeCode of this kind for `size` and `element` (new reference).
  virtual CORBA::TypeCode_ptr make_typecode(CORBA::ULong size,
                                            CORBA::TypeCode_ptr element) = 0;
  // Builds the first TypeCode; called by the derived constructor, once
  // make_typecode can be called.
  void build_typecode() { rebuild_typecode(size_); }

  // The size setter: the same size changes nothing; the TypeCode is built
  // before anything changes.
  void set_size(CORBA::ULong size);
  // The element_type_def setter: refuses (base + 0x48 with `context`)
  // what is not a type of this repository, and an element that contains
  // this object or nests too deep.
  void set_element(CORBA::IDLType_ptr element, const char* file, int line,
                   const char* context);
  // element_type(): the element's TypeCode, or the one held for it while
  // the element has none.
  CORBA::TypeCode_ptr element_typecode();

 private:
  // Builds the element's and this object's TypeCodes for `size` and then
  // takes them and the size.
  void rebuild_typecode(CORBA::ULong size);

  CORBA::ULong size_;
  CORBA::IDLType_var element_;
  CORBA::TypeCode_var element_tc_;
  std::string oid_;
};

#endif
