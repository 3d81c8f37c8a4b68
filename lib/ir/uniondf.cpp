#include "ir/uniondf.h"

#include "ir/anontype.h"
#include "ir/primitdf.h"
#include "ir/servant_locator.h"
#include "ir/typeuse.h"

namespace {
const char kFile[] = "lib/ir/uniondf";
const char kMembersText[] = "CORBA::UnionDef::members(...)";
const char kDiscriminatorText[] =
    "CORBA::UnionDef::discriminator_type_def(...)";

void put_label(Encapsulation& e, const CORBA::UnionMember& m) {
  e.put_any(m.label);
}
void get_label(Encapsulation& e, CORBA::UnionMember& m) { e.get_any(m.label); }

// The use link that a discriminator needs: the id of an enum, else none.
std::vector<std::string> discriminator_uses(CORBA::IDLType_ptr d) {
  std::string id;
  if (ir_type_kind(d) == CORBA::dk_Enum && ir_named_type_id(d, id)) return {id};
  return {};
}
}  // namespace

CORBA_UnionDef_Impl::CORBA_UnionDef_Impl(const char* id, const char* name,
                                         const char* version,
                                         const char* defined_in,
                                         CORBA::IDLType_ptr discriminator,
                                         const CORBA::UnionMemberSeq& members,
                                         CORBA::TypeCode_ptr tc)
    : CORBA_IRObject_Impl(CORBA::dk_Union),
      CORBA_TypedefDef_Impl(id, name, version, defined_in),
      discriminator_(CORBA::IDLType::_duplicate(discriminator)),
      members_(members) {
  CORBA_IDLType_Impl::type(tc);
}

CORBA_UnionDef_Impl::CORBA_UnionDef_Impl(const char* id, const char* name,
                                         const char* version,
                                         CORBA_Repository_Impl* repository,
                                         const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Union),
      CORBA_TypedefDef_Impl(id, name, version, repository, defined_in) {}

CORBA_UnionDef_Impl::~CORBA_UnionDef_Impl() = default;

CORBA_UnionDef_Impl* CORBA_UnionDef_Impl::_narrow(CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Union)
             ? dynamic_cast<CORBA_UnionDef_Impl*>(p)
             : nullptr;
}

int CORBA_UnionDef_Impl::discriminator_refusal(CORBA::IDLType_ptr d) {
  Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(d));
  if (!s.in()) return 195;
  switch (s->def_kind()) {
    case CORBA::dk_Enum:
      return 0;
    case CORBA::dk_Primitive: {
      CORBA_PrimitiveDef_Impl* p = CORBA_PrimitiveDef_Impl::_narrow(s.in());
      if (!p) return 174;
      switch (p->kind()) {
        case CORBA::pk_short:
        case CORBA::pk_long:
        case CORBA::pk_ushort:
        case CORBA::pk_ulong:
        case CORBA::pk_boolean:
        case CORBA::pk_char:
        case CORBA::pk_octet:
        case CORBA::pk_wchar:
          return 0;
        default:
          return 174;
      }
    }
    default:
      return 195;
  }
}

bool CORBA_UnionDef_Impl::label_fits(const CORBA::Any& label,
                                     CORBA::TypeCode_ptr discriminator) {
  CORBA::TypeCode_var t = label.type();
  if (t->kind() == CORBA::tk_octet) {
    CORBA::Octet o = 1;
    if ((label >>= CORBA::Any::to_octet(o)) && o == 0) return true;
  }
  return !CORBA::is_nil(discriminator) && t->equivalent(discriminator);
}

CORBA::TypeCode_ptr CORBA_UnionDef_Impl::discriminator_type() {
  return ir_type_of(discriminator_.in());
}

CORBA::IDLType_ptr CORBA_UnionDef_Impl::discriminator_type_def() {
  return CORBA::IDLType::_duplicate(discriminator_.in());
}

void CORBA_UnionDef_Impl::discriminator_type_def(CORBA::IDLType_ptr d) {
  if (CORBA::is_nil(d)) kaldBadArgument(kFile, 209, kDiscriminatorText);
  if (int line = discriminator_refusal(d))
    kaldBadArgument(kFile, line, kDiscriminatorText);
  std::vector<std::string> old_uses = discriminator_uses(discriminator_);
  std::vector<std::string> new_uses = discriminator_uses(d);
  CORBA::IDLType_var old = discriminator_._retn();
  discriminator_ = CORBA::IDLType::_duplicate(d);
  try {
    ir_in_update(store_, kFile, __LINE__, kDiscriminatorText, [&](IrUpdate&) {
      write_record();
      ir_replace_uses(store_, id_handle(), old_uses, new_uses);
    });
  } catch (...) {
    discriminator_ = old._retn();
    throw;
  }
}

CORBA::UnionMemberSeq* CORBA_UnionDef_Impl::members() {
  return new CORBA::UnionMemberSeq(members_);
}

void CORBA_UnionDef_Impl::members(const CORBA::UnionMemberSeq& seq) {
  if (seq.length() == 0)
    kaldBadArgument(kFile, 365, "CORBA::UnionDef::members");
  const IrMembersContext ctx{
      kFile, kMembersText, IR_MINOR_BAD_KIND, IR_MSG_STORE_OPERATION, 452,
      519,   true};
  CORBA::TypeCode_var tc = ir_replace_members(
      *this, members_, seq, ctx, [&](const CORBA::UnionMemberSeq& m) {
        CORBA::TypeCode_var disc = ir_type_of(discriminator_.in());
        // A discriminator whose definition has gone has no TypeCode.
        if (CORBA::is_nil(disc.in()))
          kaldBadArgument(kFile, __LINE__, kMembersText);
        return ir_orb()->create_union_tc(own_id(), own_name(), disc, m);
      });
  CORBA_IDLType_Impl::type(tc._retn());
}

void CORBA_UnionDef_Impl::object_to_stream(Encapsulation& e) {
  CORBA_Contained_Impl::object_to_stream(e);
  narrow_and_continue_streaming(discriminator_.in(), e);
  ir_write_members(e, members_, put_label);
}

void CORBA_UnionDef_Impl::stream_to_object(const char* name, const char* id,
                                           Encapsulation& e) {
  CORBA_Contained_Impl::stream_to_object(name, id, e);
  CORBA::IDLType_var disc = get_next_object(e, store_);
  CORBA::UnionMemberSeq m;
  ir_read_members(e, store_, m, get_label);
  std::vector<std::string> scope =
      ir_recursion_scope(store_, own_id(), own_defined_in());
  CORBA::TypeCode_var disc_tc = ir_type_of(disc.in());
  // A member or discriminator whose type has gone leaves the union
  // without a TypeCode.
  if (ir_fill_loaded_types(m, scope) && !CORBA::is_nil(disc_tc.in())) {
    CORBA::TypeCode_var tc =
        ir_orb()->create_union_tc(own_id(), own_name(), disc_tc, m);
    CORBA_IDLType_Impl::type(tc._retn());
  }
  discriminator_ = disc._retn();
  members_ = m;
}

void CORBA_UnionDef_Impl::changeID(const char* old_id, const char* new_id) {
  int changed = 0;
  for (CORBA::ULong i = 0; i < members_.length(); ++i)
    changed += ir_change_held_type(members_[i].type_def, old_id, new_id);
  changed += ir_change_held_type(discriminator_, old_id, new_id);
  if (changed == 0)
    kaldError(IR_MINOR_NOTHING_CHANGED, CORBA::COMPLETED_NO, kFile, 798,
              nullptr, 0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::UnionDef::changeID(...)", 0);
}
