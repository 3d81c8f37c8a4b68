#include "ir/valuebdf.h"

#include "ir/servant_locator.h"

CORBA::TypeCode_ptr IrValueBoxTraits::make_tc(const char* id, const char* name,
                                              CORBA::TypeCode_ptr original) {
  return ir_orb()->create_value_box_tc(id, name, original);
}

CORBA_ValueBoxDef_Impl::CORBA_ValueBoxDef_Impl(const char* id, const char* name,
                                               const char* version,
                                               const char* defined_in,
                                               CORBA::IDLType_ptr original,
                                               CORBA::TypeCode_ptr tc)
    : CORBA_IRObject_Impl(CORBA::dk_ValueBox),
      IrOriginalTypeDef(id, name, version, defined_in, original, tc) {}

CORBA_ValueBoxDef_Impl::CORBA_ValueBoxDef_Impl(
    const char* id, const char* name, const char* version,
    CORBA_Repository_Impl* repository, const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_ValueBox),
      IrOriginalTypeDef(id, name, version, repository, defined_in) {}

CORBA_ValueBoxDef_Impl* CORBA_ValueBoxDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_ValueBox)
             ? dynamic_cast<CORBA_ValueBoxDef_Impl*>(p)
             : nullptr;
}

CORBA::TypeCode_ptr CORBA_ValueBoxDef_Impl::type() {
  if (ir_unresolved_in_box(cached_tc_.in())) {
    CORBA::TypeCode_var original = ir_fresh_typecode(original_.in());
    if (!CORBA::is_nil(original.in())) {
      CORBA::TypeCode_var tc =
          IrValueBoxTraits::make_tc(own_id(), own_name(), original);
      if (!ir_unresolved_in_box(tc)) cached_tc_ = tc._retn();
    }
  }
  return CORBA_IDLType_Impl::type();
}
