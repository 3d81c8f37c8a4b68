#include "ir/stringdf.h"

#include "ir/anontype.h"

namespace {

const char kFile[] = "lib/ir/stringdf";

}  // namespace

// --- CORBA_StringDef_Impl -----------------------------------------------

CORBA_StringDef_Impl::CORBA_StringDef_Impl(CORBA::ULong bound)
    : CORBA_IRObject_Impl(CORBA::dk_String),
      CORBA_IDLType_Impl(CORBA::dk_String),
      bound_(bound) {
  cached_tc_ = ir_orb()->create_string_tc(bound);
}

CORBA_StringDef_Impl::~CORBA_StringDef_Impl() = default;

CORBA::ULong CORBA_StringDef_Impl::bound() { return bound_; }

void CORBA_StringDef_Impl::bound(CORBA::ULong bound) {
  if (bound == bound_) return;
  if (bound == 0) kaldBadArgument(kFile, 82, "CORBA::StringDef::bound(...)");
  CORBA::TypeCode_ptr tc = ir_orb()->create_string_tc(bound);
  bound_ = bound;
  type(tc);
}

void CORBA_StringDef_Impl::destroy() {}

std::string CORBA_StringDef_Impl::object_key() {
  return ir_anonymous_key(this, oid_);
}

void CORBA_StringDef_Impl::stream_in_line(Encapsulation& e) {
  e.put_ulong(CORBA::dk_String);
  e.put_ulong(bound_);
}

CORBA_StringDef_Impl* CORBA_StringDef_Impl::_narrow(CORBA_IRObject_Impl* p) {
  if (!p) return nullptr;
  return dynamic_cast<CORBA_StringDef_Impl*>(p->_has_kind(CORBA::dk_String));
}

// --- CORBA_WstringDef_Impl ----------------------------------------------

CORBA_WstringDef_Impl::CORBA_WstringDef_Impl(CORBA::ULong bound)
    : CORBA_IRObject_Impl(CORBA::dk_Wstring),
      CORBA_IDLType_Impl(CORBA::dk_Wstring),
      bound_(bound) {
  cached_tc_ = ir_orb()->create_wstring_tc(bound);
}

CORBA_WstringDef_Impl::~CORBA_WstringDef_Impl() = default;

CORBA::ULong CORBA_WstringDef_Impl::bound() { return bound_; }

void CORBA_WstringDef_Impl::bound(CORBA::ULong bound) {
  if (bound == bound_) return;
  if (bound == 0) kaldBadArgument(kFile, 194, "CORBA::WstringDef::bound(...)");
  CORBA::TypeCode_ptr tc = ir_orb()->create_wstring_tc(bound);
  bound_ = bound;
  type(tc);
}

void CORBA_WstringDef_Impl::destroy() {}

std::string CORBA_WstringDef_Impl::object_key() {
  return ir_anonymous_key(this, oid_);
}

void CORBA_WstringDef_Impl::stream_in_line(Encapsulation& e) {
  e.put_ulong(CORBA::dk_Wstring);
  e.put_ulong(bound_);
}

CORBA_WstringDef_Impl* CORBA_WstringDef_Impl::_narrow(CORBA_IRObject_Impl* p) {
  if (!p) return nullptr;
  return dynamic_cast<CORBA_WstringDef_Impl*>(p->_has_kind(CORBA::dk_Wstring));
}
