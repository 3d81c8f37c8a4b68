#include "ir/exceptdf.h"

#include <cstring>

#include "ir/servant_locator.h"
#include "ir/typeuse.h"

namespace {
const char kFile[] = "lib/ir/exceptdf";
const char kMembersText[] = "CORBA::ExceptionDef::members(...)";

// The description's defined_in is "" only for this container id, which
// no container has: the root's id begins "QRX:", not "Q:".
const char kDescribedRoot[] = "Q:theRepository:1.0:Xq7Lm2Vb9Tr4Hs6Pd1Ny3Cw";
}  // namespace

CORBA_ExceptionDef_Impl::CORBA_ExceptionDef_Impl(
    const char* id, const char* name, const char* version,
    const char* defined_in, const CORBA::StructMemberSeq& members)
    : CORBA_IRObject_Impl(CORBA::dk_Exception),
      CORBA_Contained_Impl(id, name, version, defined_in),
      members_(members) {
  std::vector<std::string> uses;
  std::vector<std::string> scope =
      ir_recursion_scope(store_, own_id(), own_defined_in());
  if (!ir_fill_member_types(members_, scope, uses))
    ir_throw_bad_param(4, kFile, __LINE__,
                       "CORBA::Container::create_exception");
  tc_ = ir_orb()->create_exception_tc(own_id(), own_name(), members_);
}

CORBA_ExceptionDef_Impl::CORBA_ExceptionDef_Impl(
    const char* id, const char* name, const char* version,
    CORBA_Repository_Impl* repository, const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Exception),
      CORBA_Contained_Impl(id, name, version, repository, defined_in) {}

CORBA_ExceptionDef_Impl::~CORBA_ExceptionDef_Impl() = default;

CORBA_ExceptionDef_Impl* CORBA_ExceptionDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Exception)
             ? dynamic_cast<CORBA_ExceptionDef_Impl*>(p)
             : nullptr;
}

CORBA::TypeCode_ptr CORBA_ExceptionDef_Impl::type() {
  return CORBA::TypeCode::_duplicate(tc_.in());
}

CORBA::StructMemberSeq* CORBA_ExceptionDef_Impl::members() {
  return new CORBA::StructMemberSeq(members_);
}

void CORBA_ExceptionDef_Impl::members(const CORBA::StructMemberSeq& seq) {
  const IrMembersContext ctx{
      kFile, kMembersText, IR_MINOR_NOTHING_CHANGED, IR_MSG_BAD_ARGUMENT, 179,
      221,   false};
  tc_ = ir_replace_members(
      *this, members_, seq, ctx, [&](const CORBA::StructMemberSeq& m) {
        return ir_orb()->create_exception_tc(own_id(), own_name(), m);
      });
}

CORBA::Contained::Description* CORBA_ExceptionDef_Impl::describe() {
  CORBA::Contained::Description_var d = new CORBA::Contained::Description;
  d->kind = CORBA::dk_Exception;
  try {
    store_->IRObjectOp(id_handle());
  } catch (const IRStore::Exception& e) {
    irobj_parse_throw(e.code(), kFile, 451, "CORBA::ExceptionDef::describe");
  }
  // A nil TypeCode cannot travel in an Any.
  if (CORBA::is_nil(tc_.in()))
    kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, __LINE__, nullptr,
              0, IR_MSG_STORE_OPERATION, 0, CORBA::_tc_string,
              "CORBA::ExceptionDef::describe", 0);
  CORBA::ExceptionDescription ed;
  ed.name = own_name();
  ed.id = own_id();
  ed.defined_in =
      std::strncmp(own_defined_in(), kDescribedRoot, sizeof kDescribedRoot) == 0
          ? ""
          : own_defined_in();
  ed.version = own_version();
  ed.type = CORBA::TypeCode::_duplicate(tc_.in());
  d->value <<= ed;
  return d._retn();
}

void CORBA_ExceptionDef_Impl::object_to_stream(Encapsulation& e) {
  CORBA_Contained_Impl::object_to_stream(e);
  ir_write_members(e, members_, ir_no_label);
}

void CORBA_ExceptionDef_Impl::stream_to_object(const char* name, const char* id,
                                               Encapsulation& e) {
  CORBA_Contained_Impl::stream_to_object(name, id, e);
  CORBA::StructMemberSeq m;
  ir_read_members(e, store_, m, ir_no_label_in);
  std::vector<std::string> scope =
      ir_recursion_scope(store_, own_id(), own_defined_in());
  if (ir_fill_loaded_types(m, scope))
    tc_ = ir_orb()->create_exception_tc(own_id(), own_name(), m);
  members_ = m;
}

void CORBA_ExceptionDef_Impl::changeID(const char* old_id, const char* new_id) {
  int changed = 0;
  for (CORBA::ULong i = 0; i < members_.length(); ++i)
    changed += ir_change_held_type(members_[i].type_def, old_id, new_id);
  if (changed == 0)
    kaldError(IR_MINOR_NOTHING_CHANGED, CORBA::COMPLETED_NO, kFile, 427,
              nullptr, 0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::ExceptionDef::changeID(...)", 0);
}
