#include "ir/sequendf.h"

#include "ir/servant_locator.h"

namespace {

const char kFile[] = "lib/ir/sequendf";

}  // namespace

CORBA_SequenceDef_Impl::CORBA_SequenceDef_Impl(CORBA::ULong bound,
                                               CORBA::TypeCode_ptr,
                                               CORBA::IDLType_ptr element)
    : CORBA_IRObject_Impl(CORBA::dk_Sequence),
      CORBA_ElementType_Impl(CORBA::dk_Sequence, bound, element) {
  build_typecode();
}

CORBA_SequenceDef_Impl::~CORBA_SequenceDef_Impl() = default;

CORBA::TypeCode_ptr CORBA_SequenceDef_Impl::make_typecode(
    CORBA::ULong bound, CORBA::TypeCode_ptr element) {
  return ir_orb()->create_sequence_tc(bound, element);
}

void CORBA_SequenceDef_Impl::element_type_def(CORBA::IDLType_ptr element) {
  set_element(element, kFile, 193, "CORBA::SequenceDef::element_type_def(...)");
}

CORBA_SequenceDef_Impl* CORBA_SequenceDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  if (!p) return nullptr;
  return dynamic_cast<CORBA_SequenceDef_Impl*>(
      p->_has_kind(CORBA::dk_Sequence));
}
