#include "ir/abstradf.h"

#include <omniORB4/cdrStream.h>

CORBA_AbstractInterfaceDef_Impl::CORBA_AbstractInterfaceDef_Impl(
    const char* id, const char* name, const char* version,
    const char* defined_in, CORBA::TypeCode_ptr tc)
    : CORBA_IRObject_Impl(CORBA::dk_AbstractInterface),
      CORBA_InterfaceDef_Impl(id, name, version, defined_in, tc) {}

CORBA_AbstractInterfaceDef_Impl::CORBA_AbstractInterfaceDef_Impl(
    const char* id, const char* name, const char* version,
    CORBA_Repository_Impl* repository, const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_AbstractInterface),
      CORBA_InterfaceDef_Impl(id, name, version, repository, defined_in) {}

CORBA_AbstractInterfaceDef_Impl::~CORBA_AbstractInterfaceDef_Impl() = default;

CORBA_AbstractInterfaceDef_Impl* CORBA_AbstractInterfaceDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_AbstractInterface)
             ? dynamic_cast<CORBA_AbstractInterfaceDef_Impl*>(p)
             : nullptr;
}

CORBA::TypeCode_ptr CORBA_AbstractInterfaceDef_Impl::abstract_typecode(
    const char* id, const char* name) {
  // omniORB declares ORB::create_abstract_interface_tc but its libraries
  // lack it, and its stub-only factory ties the TypeCode to a static
  // tracker.  The TypeCode is read instead from its CDR form: the kind,
  // then an encapsulation of the id and the name.
  cdrEncapsulationStream params(64, 1);
  params.marshalString(id);
  params.marshalString(name);
  cdrMemoryStream tc;
  CORBA::ULong kind = CORBA::tk_abstract_interface;
  kind >>= tc;
  CORBA::ULong length = params.bufSize();
  length >>= tc;
  tc.put_octet_array(static_cast<const CORBA::Octet*>(params.bufPtr()),
                     static_cast<int>(length));
  return CORBA::TypeCode::unmarshalTypeCode(tc);
}

CORBA::TypeCode_ptr CORBA_AbstractInterfaceDef_Impl::make_typecode(
    const char* id, const char* name) {
  return abstract_typecode(id, name);
}

void CORBA_AbstractInterfaceDef_Impl::base_interfaces(
    const CORBA::InterfaceDefSeq& bases) {
  replace_bases(bases, BaseRules{true, false});
}
