#include "ir/elemtype.h"

#include "ir/anontype.h"

CORBA_ElementType_Impl::CORBA_ElementType_Impl(CORBA::DefinitionKind kind,
                                               CORBA::ULong size,
                                               CORBA::IDLType_ptr element)
    : CORBA_IRObject_Impl(kind),
      CORBA_IDLType_Impl(kind),
      size_(size),
      element_(CORBA::IDLType::_duplicate(element)) {}

CORBA_ElementType_Impl::~CORBA_ElementType_Impl() = default;

void CORBA_ElementType_Impl::rebuild_typecode(CORBA::ULong size) {
  CORBA::TypeCode_var element_tc = ir_referenced_typecode(element_.in());
  CORBA::TypeCode_var tc;
  if (!CORBA::is_nil(element_tc.in()))
    tc = make_typecode(size, element_tc.in());
  size_ = size;
  element_tc_ = element_tc._retn();
  if (CORBA::is_nil(tc.in()))
    cached_tc_ = CORBA::TypeCode::_nil();
  else
    type(tc._retn());
}

void CORBA_ElementType_Impl::set_size(CORBA::ULong size) {
  if (size != size_) rebuild_typecode(size);
}

void CORBA_ElementType_Impl::set_element(CORBA::IDLType_ptr element,
                                         const char* file, int line,
                                         const char* context) {
  ir_check_element(this, store_, element, file, line, context);
  element_ = CORBA::IDLType::_duplicate(element);
  rebuild_typecode(size_);
}

CORBA::TypeCode_ptr CORBA_ElementType_Impl::element_typecode() {
  return ir_element_type(element_.in(), element_tc_.in());
}

void CORBA_ElementType_Impl::repoint_element(CORBA::IDLType_ptr element) {
  element_ = CORBA::IDLType::_duplicate(element);
}

std::string CORBA_ElementType_Impl::object_key() {
  return ir_anonymous_key(this, oid_);
}

void CORBA_ElementType_Impl::stream_in_line(Encapsulation& e) {
  e.put_ulong(def_kind_);
  e.put_ulong(size_);
  narrow_and_continue_streaming(element_.in(), e);
}

CORBA_ElementType_Impl* CORBA_ElementType_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  if (!p) return nullptr;
  CORBA_IRObject_Impl* k = p->_has_kind(CORBA::dk_Sequence);
  if (!k) k = p->_has_kind(CORBA::dk_Array);
  return dynamic_cast<CORBA_ElementType_Impl*>(k);
}
