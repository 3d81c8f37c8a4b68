#include "ir/structdf.h"

#include "ir/servant_locator.h"
#include "ir/typeuse.h"

namespace {
const char kFile[] = "lib/ir/structdf";
const char kMembersText[] = "CORBA::StructDef::members(...)";
}  // namespace

CORBA_StructDef_Impl::CORBA_StructDef_Impl(
    const char* id, const char* name, const char* version,
    const char* defined_in, const CORBA::StructMemberSeq& members,
    CORBA::TypeCode_ptr tc)
    : CORBA_IRObject_Impl(CORBA::dk_Struct),
      CORBA_TypedefDef_Impl(id, name, version, defined_in),
      members_(members) {
  CORBA_IDLType_Impl::type(tc);
}

CORBA_StructDef_Impl::CORBA_StructDef_Impl(const char* id, const char* name,
                                           const char* version,
                                           CORBA_Repository_Impl* repository,
                                           const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Struct),
      CORBA_TypedefDef_Impl(id, name, version, repository, defined_in) {}

CORBA_StructDef_Impl::~CORBA_StructDef_Impl() = default;

CORBA_StructDef_Impl* CORBA_StructDef_Impl::_narrow(CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Struct)
             ? dynamic_cast<CORBA_StructDef_Impl*>(p)
             : nullptr;
}

CORBA::StructMemberSeq* CORBA_StructDef_Impl::members() {
  return new CORBA::StructMemberSeq(members_);
}

void CORBA_StructDef_Impl::members(const CORBA::StructMemberSeq& seq) {
  if (seq.length() == 0) kaldBadArgument(kFile, 127, kMembersText);
  const IrMembersContext ctx{
      kFile, kMembersText, IR_MINOR_BAD_KIND, IR_MSG_STORE_OPERATION, 214,
      282,   false};
  CORBA::TypeCode_var tc = ir_replace_members(
      *this, members_, seq, ctx, [&](const CORBA::StructMemberSeq& m) {
        return ir_orb()->create_struct_tc(own_id(), own_name(), m);
      });
  CORBA_IDLType_Impl::type(tc._retn());
}

void CORBA_StructDef_Impl::object_to_stream(Encapsulation& e) {
  CORBA_Contained_Impl::object_to_stream(e);
  ir_write_members(e, members_, ir_no_label);
}

void CORBA_StructDef_Impl::stream_to_object(const char* name, const char* id,
                                            Encapsulation& e) {
  CORBA_Contained_Impl::stream_to_object(name, id, e);
  CORBA::StructMemberSeq m;
  ir_read_members(e, store_, m, ir_no_label_in);
  std::vector<std::string> scope =
      ir_recursion_scope(store_, own_id(), own_defined_in());
  CORBA::TypeCode_var tc;
  // A member whose type has gone leaves the struct without a TypeCode.
  if (ir_fill_loaded_types(m, scope))
    tc = ir_orb()->create_struct_tc(own_id(), own_name(), m);
  if (!CORBA::is_nil(tc.in())) CORBA_IDLType_Impl::type(tc._retn());
  members_ = m;
}

void CORBA_StructDef_Impl::changeID(const char* old_id, const char* new_id) {
  int changed = 0;
  for (CORBA::ULong i = 0; i < members_.length(); ++i)
    changed += ir_change_held_type(members_[i].type_def, old_id, new_id);
  if (changed == 0)
    kaldError(IR_MINOR_NOTHING_CHANGED, CORBA::COMPLETED_NO, kFile, 504,
              nullptr, 0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::StructDef::changeID(...)", 0);
}
