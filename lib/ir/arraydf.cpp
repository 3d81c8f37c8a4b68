#include "ir/arraydf.h"

#include "ir/anontype.h"
#include "ir/containd.h"

namespace {

const char kFile[] = "lib/ir/arraydf";

// Builds an array TypeCode; a factory that yields nothing is reported as
// a failed allocation.
CORBA::TypeCode_ptr make_array_tc(CORBA::ULong length,
                                  CORBA::TypeCode_ptr element, int line) {
  CORBA::TypeCode_ptr tc = ir_orb()->create_array_tc(length, element);
  if (CORBA::is_nil(tc)) kaldNoMemory(kFile, line);
  return tc;
}

}  // namespace

CORBA_ArrayDef_Impl::CORBA_ArrayDef_Impl(CORBA::ULong length,
                                         CORBA::TypeCode_ptr,
                                         CORBA::IDLType_ptr element)
    : CORBA_IRObject_Impl(CORBA::dk_Array),
      CORBA_IDLType_Impl(CORBA::dk_Array),
      length_(length),
      element_(CORBA::IDLType::_duplicate(element)) {
  rebuild_typecode();
}

CORBA_ArrayDef_Impl::~CORBA_ArrayDef_Impl() = default;

void CORBA_ArrayDef_Impl::rebuild_typecode() {
  element_tc_ = ir_referenced_typecode(element_.in());
  if (CORBA::is_nil(element_tc_.in())) {
    cached_tc_ = CORBA::TypeCode::_nil();
    return;
  }
  type(make_array_tc(length_, element_tc_.in(), 222));
}

CORBA::ULong CORBA_ArrayDef_Impl::length() { return length_; }

void CORBA_ArrayDef_Impl::length(CORBA::ULong length) {
  if (length == length_) return;
  CORBA::TypeCode_var element_tc = ir_referenced_typecode(element_.in());
  if (CORBA::is_nil(element_tc.in())) {
    length_ = length;
    cached_tc_ = CORBA::TypeCode::_nil();
    return;
  }
  CORBA::TypeCode_ptr tc = make_array_tc(length, element_tc.in(), 127);
  length_ = length;
  type(tc);
  element_tc_ = element_tc._retn();
}

CORBA::TypeCode_ptr CORBA_ArrayDef_Impl::element_type() {
  return ir_element_type(element_.in(), element_tc_.in());
}

CORBA::IDLType_ptr CORBA_ArrayDef_Impl::element_type_def() {
  return CORBA::IDLType::_duplicate(element_.in());
}

void CORBA_ArrayDef_Impl::element_type_def(CORBA::IDLType_ptr element) {
  // The attribute name in this text is wrong; clients match on it as it
  // stands.
  const char* const context = "CORBA::ArrayDef::exception_type_def (...)";
  ir_check_element(this, store_, element, kFile, 202, context);
  element_ = CORBA::IDLType::_duplicate(element);
  rebuild_typecode();
}

void CORBA_ArrayDef_Impl::repoint_element(CORBA::IDLType_ptr element) {
  element_ = CORBA::IDLType::_duplicate(element);
}

void CORBA_ArrayDef_Impl::destroy() {}

std::string CORBA_ArrayDef_Impl::object_key() {
  return ir_anonymous_key(this, oid_);
}

void CORBA_ArrayDef_Impl::stream_in_line(Encapsulation& e) {
  e.put_ulong(CORBA::dk_Array);
  e.put_ulong(length_);
  narrow_and_continue_streaming(element_.in(), e);
}

CORBA_ArrayDef_Impl* CORBA_ArrayDef_Impl::_narrow(CORBA_IRObject_Impl* p) {
  if (!p) return nullptr;
  return dynamic_cast<CORBA_ArrayDef_Impl*>(p->_has_kind(CORBA::dk_Array));
}
