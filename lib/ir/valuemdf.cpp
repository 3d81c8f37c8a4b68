#include "ir/valuemdf.h"

#include <string>

#include "ir/anontype.h"
#include "ir/attribdf.h"
#include "ir/servant_locator.h"
#include "ir/valuedf.h"

namespace {
const char kFile[] = "lib/ir/valuemdf";

// True when the ORB accepts `name` as the name of a member of a value
// TypeCode (it refuses what is not an IDL identifier, but not "").
bool typecode_accepts_member_name(const char* name) {
  CORBA::ValueMemberSeq one;
  one.length(1);
  one[0].name = name;
  one[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_long);
  one[0].access = CORBA::PUBLIC_MEMBER;
  try {
    CORBA::TypeCode_var tc =
        ir_orb()->create_value_tc("IDL:ValueMemberName:1.0", "ValueMemberName",
                                  CORBA::VM_NONE, CORBA::_tc_null, one);
  } catch (const CORBA::BAD_PARAM&) {
    return false;
  }
  return true;
}
}  // namespace

CORBA_ValueMemberDef_Impl::CORBA_ValueMemberDef_Impl(
    const char* id, const char* name, const char* version,
    const char* defined_in, CORBA::IDLType_ptr type, CORBA::Visibility access)
    : CORBA_IRObject_Impl(CORBA::dk_ValueMember),
      CORBA_Contained_Impl(id, name, version, defined_in),
      type_(ir_member_typecode(type)),
      type_def_(CORBA::IDLType::_duplicate(type)),
      access_(access) {}

CORBA_ValueMemberDef_Impl::CORBA_ValueMemberDef_Impl(
    const char* id, const char* name, const char* version,
    CORBA_Repository_Impl* repository, const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_ValueMember),
      CORBA_Contained_Impl(id, name, version, repository, defined_in) {}

CORBA_ValueMemberDef_Impl::~CORBA_ValueMemberDef_Impl() = default;

CORBA_ValueMemberDef_Impl* CORBA_ValueMemberDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_ValueMember)
             ? dynamic_cast<CORBA_ValueMemberDef_Impl*>(p)
             : nullptr;
}

// --- contained part ----------------------------------------------------------

void CORBA_ValueMemberDef_Impl::id(const char* new_id) {
  CORBA_Contained_Impl::id(new_id);
  ir_forget_inherited_member(this);
  // The value type knows its members' TypeCode entries by id.
  ir_value_members_changed(own_defined_in());
}

void CORBA_ValueMemberDef_Impl::name(const char* new_name) {
  if (new_name && !typecode_accepts_member_name(new_name))
    kaldBadArgument(kFile, __LINE__, "CORBA::Contained::name(...)");
  CORBA_Contained_Impl::name(new_name);
  ir_forget_inherited_member(this);
  ir_value_members_changed(own_defined_in());
}

void CORBA_ValueMemberDef_Impl::destroy() {
  std::string value = own_defined_in();
  CORBA_Contained_Impl::destroy();
  ir_value_members_changed(value.c_str());
}

// --- CORBA::ValueMemberDef ---------------------------------------------------

CORBA::TypeCode_ptr CORBA_ValueMemberDef_Impl::type() {
  // The entry of the value type's TypeCode: the type's TypeCode with any
  // recursion onto the value type resolved.  A sequence of the value
  // type made before the value type had all its members, or read while
  // it was being loaded, holds an older TypeCode or a placeholder of it.
  Servant_ref<CORBA_Contained_Impl> owner(ir_fetch_object(
      store_, own_defined_in(), kFile, __LINE__, own_defined_in()));
  if (CORBA_ValueDef_Impl* value = CORBA_ValueDef_Impl::_narrow(owner.in())) {
    CORBA::TypeCode_ptr entry = value->member_typecode(own_id());
    if (!CORBA::is_nil(entry)) return entry;
  }
  // While the value type is being built or loaded: the type's own
  // TypeCode, as soon as it has one, else the one taken before.
  CORBA::TypeCode_var now = ir_type_of(type_def_.in());
  if (!CORBA::is_nil(now.in())) type_ = now._retn();
  if (!CORBA::is_nil(type_.in())) return CORBA::TypeCode::_duplicate(type_);
  return ir_member_typecode(type_def_.in());
}

CORBA::IDLType_ptr CORBA_ValueMemberDef_Impl::type_def() {
  return CORBA::IDLType::_duplicate(type_def_.in());
}

void CORBA_ValueMemberDef_Impl::type_def(CORBA::IDLType_ptr type) {
  ir_replace_member_type(*this, type_def_, type_, type, kFile, __LINE__,
                         "CORBA::ValueMemberDef::type_def(...)");
  ir_value_members_changed(own_defined_in());
}

CORBA::Visibility CORBA_ValueMemberDef_Impl::access() { return access_; }

void CORBA_ValueMemberDef_Impl::access(CORBA::Visibility access) {
  if (access == access_) return;
  if (access != CORBA::PRIVATE_MEMBER && access != CORBA::PUBLIC_MEMBER)
    kaldBadArgument(kFile, __LINE__, "CORBA::ValueMemeberDef::access(...)");
  // Deliberately not written to the store: the next change that rewrites
  // the record takes it along.
  access_ = access;
  unstored_access_ = true;
  ir_note_change();
  ir_value_members_changed(own_defined_in());
}

CORBA::ValueMember CORBA_ValueMemberDef_Impl::description() {
  CORBA::ValueMember vm;
  vm.name = own_name();
  vm.id = own_id();
  vm.defined_in = described_defined_in();
  vm.version = own_version();
  vm.type = type();
  vm.type_def = CORBA::IDLType::_duplicate(type_def_.in());
  vm.access = access_;
  return vm;
}

CORBA::Contained::Description* CORBA_ValueMemberDef_Impl::describe() {
  ir_store_call(kFile, __LINE__, "CORBA::ValueMemberDef::describe",
                [&] { store_->IRObjectOp(id_handle()); });
  CORBA::Contained::Description_var d = new CORBA::Contained::Description;
  d->kind = CORBA::dk_ValueMember;
  d->value <<= description();
  return d._retn();
}

// --- records -----------------------------------------------------------------

void CORBA_ValueMemberDef_Impl::changeID(const char* old_id,
                                         const char* new_id) {
  if (ir_change_type_ref(type_def_, old_id, new_id) == 0)
    kaldError(IR_MINOR_NOTHING_CHANGED, CORBA::COMPLETED_NO, kFile, __LINE__,
              nullptr, 0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::ValueMemberDef::changeID(...)", 0);
  type_ = ir_member_typecode(type_def_.in());
  ir_value_members_changed(own_defined_in());
}

void CORBA_ValueMemberDef_Impl::object_to_stream(Encapsulation& e) {
  CORBA_Contained_Impl::object_to_stream(e);
  narrow_and_continue_streaming(type_def_.in(), e);
  // Sign-extended to 32 bits.
  e.put_ulong(static_cast<CORBA::ULong>(static_cast<CORBA::Long>(access_)));
  unstored_access_ = false;  // the record being written takes it along
}

void CORBA_ValueMemberDef_Impl::stream_to_object(const char* name,
                                                 const char* id,
                                                 Encapsulation& e) {
  CORBA_Contained_Impl::stream_to_object(name, id, e);
  type_def_ = get_next_object(e, store_);
  access_ = static_cast<CORBA::Visibility>(
      static_cast<CORBA::UShort>(e.get_ulong() & 0xffffu));
  type_ = ir_member_typecode(type_def_.in());
}
