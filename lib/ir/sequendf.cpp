#include "ir/sequendf.h"

#include "ir/anontype.h"
#include "ir/containd.h"

namespace {

const char kFile[] = "lib/ir/sequendf";

}  // namespace

CORBA_SequenceDef_Impl::CORBA_SequenceDef_Impl(CORBA::ULong bound,
                                               CORBA::TypeCode_ptr,
                                               CORBA::IDLType_ptr element)
    : CORBA_IRObject_Impl(CORBA::dk_Sequence),
      CORBA_IDLType_Impl(CORBA::dk_Sequence),
      bound_(bound),
      element_(CORBA::IDLType::_duplicate(element)) {
  rebuild_typecode();
}

CORBA_SequenceDef_Impl::~CORBA_SequenceDef_Impl() = default;

void CORBA_SequenceDef_Impl::rebuild_typecode() {
  element_tc_ = ir_referenced_typecode(element_.in());
  if (CORBA::is_nil(element_tc_.in())) {
    cached_tc_ = CORBA::TypeCode::_nil();
    return;
  }
  type(ir_orb()->create_sequence_tc(bound_, element_tc_.in()));
}

CORBA::ULong CORBA_SequenceDef_Impl::bound() { return bound_; }

void CORBA_SequenceDef_Impl::bound(CORBA::ULong bound) {
  if (bound == bound_) return;
  bound_ = bound;
  rebuild_typecode();
}

CORBA::TypeCode_ptr CORBA_SequenceDef_Impl::element_type() {
  return ir_element_type(element_.in(), element_tc_.in());
}

CORBA::IDLType_ptr CORBA_SequenceDef_Impl::element_type_def() {
  return CORBA::IDLType::_duplicate(element_.in());
}

void CORBA_SequenceDef_Impl::element_type_def(CORBA::IDLType_ptr element) {
  const char* const context = "CORBA::SequenceDef::element_type_def(...)";
  ir_check_element(this, store_, element, kFile, 193, context);
  element_ = CORBA::IDLType::_duplicate(element);
  rebuild_typecode();
}

void CORBA_SequenceDef_Impl::repoint_element(CORBA::IDLType_ptr element) {
  element_ = CORBA::IDLType::_duplicate(element);
}

void CORBA_SequenceDef_Impl::destroy() {}

std::string CORBA_SequenceDef_Impl::object_key() {
  return ir_anonymous_key(this, oid_);
}

void CORBA_SequenceDef_Impl::stream_in_line(Encapsulation& e) {
  e.put_ulong(CORBA::dk_Sequence);
  e.put_ulong(bound_);
  narrow_and_continue_streaming(element_.in(), e);
}

CORBA_SequenceDef_Impl* CORBA_SequenceDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  if (!p) return nullptr;
  return dynamic_cast<CORBA_SequenceDef_Impl*>(
      p->_has_kind(CORBA::dk_Sequence));
}
