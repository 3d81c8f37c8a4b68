#include "ir/arraydf.h"

#include "ir/servant_locator.h"

namespace {

const char kFile[] = "lib/ir/arraydf";

}  // namespace

CORBA_ArrayDef_Impl::CORBA_ArrayDef_Impl(CORBA::ULong length,
                                         CORBA::TypeCode_ptr,
                                         CORBA::IDLType_ptr element)
    : CORBA_IRObject_Impl(CORBA::dk_Array),
      CORBA_ElementType_Impl(CORBA::dk_Array, length, element) {
  build_typecode();
}

CORBA_ArrayDef_Impl::~CORBA_ArrayDef_Impl() = default;

CORBA::TypeCode_ptr CORBA_ArrayDef_Impl::make_typecode(
    CORBA::ULong length, CORBA::TypeCode_ptr element) {
  CORBA::TypeCode_ptr tc = ir_orb()->create_array_tc(length, element);
  if (CORBA::is_nil(tc)) kaldNoMemory(kFile, 222);
  return tc;
}

void CORBA_ArrayDef_Impl::element_type_def(CORBA::IDLType_ptr element) {
  // The attribute name in this text is wrong; clients match on it as it
  // stands.
  set_element(element, kFile, 202, "CORBA::ArrayDef::exception_type_def (...)");
}

CORBA_ArrayDef_Impl* CORBA_ArrayDef_Impl::_narrow(CORBA_IRObject_Impl* p) {
  if (!p) return nullptr;
  return dynamic_cast<CORBA_ArrayDef_Impl*>(p->_has_kind(CORBA::dk_Array));
}
