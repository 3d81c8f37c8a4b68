#include "ir/enumdf.h"

#include "ir/servant_locator.h"

namespace {
const char kFile[] = "lib/ir/enumdf";
const char kMembersText[] = "CORBA::EnumDef::members(...)";
}  // namespace

CORBA_EnumDef_Impl::CORBA_EnumDef_Impl(const char* id, const char* name,
                                       const char* version,
                                       const char* defined_in,
                                       const CORBA::EnumMemberSeq& members,
                                       CORBA::TypeCode_ptr tc)
    : CORBA_IRObject_Impl(CORBA::dk_Enum),
      CORBA_TypedefDef_Impl(id, name, version, defined_in),
      members_(members) {
  CORBA_IDLType_Impl::type(tc);
}

CORBA_EnumDef_Impl::CORBA_EnumDef_Impl(const char* id, const char* name,
                                       const char* version,
                                       CORBA_Repository_Impl* repository,
                                       const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Enum),
      CORBA_TypedefDef_Impl(id, name, version, repository, defined_in) {}

CORBA_EnumDef_Impl::~CORBA_EnumDef_Impl() = default;

CORBA_EnumDef_Impl* CORBA_EnumDef_Impl::_narrow(CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Enum)
             ? dynamic_cast<CORBA_EnumDef_Impl*>(p)
             : nullptr;
}

int CORBA_EnumDef_Impl::members_refusal(const CORBA::EnumMemberSeq& members) {
  if (members.length() == 0) return 116;
  for (CORBA::ULong i = 0; i < members.length(); ++i) {
    const char* name = members[i];
    if (!name || !*name) return 135;
  }
  return 0;
}

CORBA::EnumMemberSeq* CORBA_EnumDef_Impl::members() {
  return new CORBA::EnumMemberSeq(members_);
}

void CORBA_EnumDef_Impl::members(const CORBA::EnumMemberSeq& seq) {
  if (int line = members_refusal(seq))
    kaldBadArgument(kFile, line, kMembersText);
  CORBA::TypeCode_var tc = ir_orb()->create_enum_tc(own_id(), own_name(), seq);
  CORBA::EnumMemberSeq old = members_;
  members_ = seq;
  try {
    ir_in_update(store_, kFile, __LINE__, kMembersText,
                 [&](IrUpdate&) { write_record(); });
  } catch (...) {
    members_ = old;
    throw;
  }
  CORBA_IDLType_Impl::type(tc._retn());
}

void CORBA_EnumDef_Impl::object_to_stream(Encapsulation& e) {
  CORBA_Contained_Impl::object_to_stream(e);
  e.put_ulong(members_.length());
  for (CORBA::ULong i = 0; i < members_.length(); ++i)
    e.put_string(members_[i]);
}

void CORBA_EnumDef_Impl::stream_to_object(const char* name, const char* id,
                                          Encapsulation& e) {
  CORBA_Contained_Impl::stream_to_object(name, id, e);
  CORBA::ULong n = e.get_ulong();
  CORBA::EnumMemberSeq m;
  // Grown one name at a time: a damaged count ends in MARSHAL.
  for (CORBA::ULong i = 0; i < n; ++i) {
    m.length(i + 1);
    m[i] = e.get_string();
  }
  CORBA_IDLType_Impl::type(ir_orb()->create_enum_tc(own_id(), own_name(), m));
  members_ = m;
}
