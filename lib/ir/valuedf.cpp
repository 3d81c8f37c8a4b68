#include "ir/valuedf.h"

#include <algorithm>
#include <type_traits>
#include <unordered_set>

#include "ir/anontype.h"
#include "ir/attribdf.h"
#include "ir/operatdf.h"
#include "ir/servant_locator.h"
#include "ir/typeuse.h"
#include "ir/valuemdf.h"
#include "store/store_handle.h"

namespace {
const char kFile[] = "lib/ir/valuedf";
const char kCustomText[] = "CORBA::ValueDef::is_custom(...)";
const char kAbstractText[] = "CORBA::ValueDef::is_abstract(...)";
const char kTruncatableText[] = "CORBA::ValueDef::is_truncatable(...)";
const char kBaseText[] = "CORBA::ValueDef::base_value(...)";
const char kAbstractBasesText[] = "CORBA::ValueDef::abstract_base_values(...)";
const char kSupportedText[] = "CORBA::ValueDef::supported_interfaces(...)";
const char kInitializersText[] = "CORBA::ValueDef::initializers(...)";
const char kIdText[] = "CORBA::ValueDef::id(...)";
const char kChangeIdText[] = "CORBA::ValueDef::changeID(...)";
const char kMemberNull[] = "CORBA::ValueDef::create_value_member::null_input";
const char kMemberName[] = "CORBA::ValueDef::create_value_member::name";
const char kMemberType[] = "CORBA::ValueDef::create_value_member::type";
const char kMemberContext[] = "CORBA::ValueDef::create_value_member";

const IrAttributeTexts kAttributeTexts{
    "CORBA::ValueDef::create_attribute::null_input",
    "CORBA::ValueDef::create_attribute::name",
    "CORBA::ValueDef::create_attribute::mode",
    "CORBA::ValueDef::create_attribute::type",
    "CORBA::ValueDef::create_attribute"};

const IrOperationTexts kOperationTexts{
    "CORBA::ValueDef::create_operation::null_input",
    "CORBA::ValueDef::create_operation::name",
    "CORBA::ValueDef::create_operation::mode",
    "CORBA::ValueDef::create_operation::contexts",
    "CORBA::ValueDef::create_operation::result",
    "CORBA::ValueDef::create_operation::exceptions",
    "CORBA::ValueDef::create_operation::params",
    "CORBA::ValueDef::create_operation"};

// The repository id behind a reference to a definition of ours ("" when
// it is nil or not one).
std::string def_id_of(CORBA::Object_ptr ref) {
  return ir_definition_id_of(ref);
}

// The contained servant behind `ref` when the definition still exists,
// with one reference for the caller; null otherwise.
CORBA_Contained_Impl* live_definition(CORBA::Object_ptr ref) {
  CORBA_IRObject_Impl* s = ir_servant_of(ref);
  CORBA_Contained_Impl* c = CORBA_Contained_Impl::_narrow(s);
  if (!c && s) s->_remove_ref();
  return c;
}

template <class Seq, class Value>
void append(Seq& seq, const Value& v) {
  CORBA::ULong n = seq.length();
  seq.length(n + 1);
  seq[n] = v;
}

template <class Seq>
CORBA::RepositoryIdSeq ids_of(const Seq& refs) {
  CORBA::RepositoryIdSeq ids;
  ids.length(0);
  for (CORBA::ULong i = 0; i < refs.length(); ++i) {
    std::string id = def_id_of(refs[i]);
    if (!id.empty()) append(ids, id.c_str());
  }
  return ids;
}

// A new reference to the definition now called `new_id`, of `kind`.
CORBA::Object_ptr reference_under(const char* new_id,
                                  CORBA::DefinitionKind kind) {
  Servant_ref<CORBA_IRObject_Impl> renamed(ir_servant_for_oid(new_id));
  return renamed.in() ? renamed->_ref() : ir_make_reference(new_id, kind);
}

// The named types used by the members of `inits`, one entry per member
// that has one.  A member type that is not a type of this repository
// makes the result false when `strict`, and is skipped otherwise (an old
// member whose type has gone has no use link left).
bool initializer_uses(const CORBA::InitializerSeq& inits, bool strict,
                      std::vector<std::string>& ids) {
  ids.clear();
  for (CORBA::ULong i = 0; i < inits.length(); ++i) {
    const CORBA::StructMemberSeq& members = inits[i].members;
    for (CORBA::ULong j = 0; j < members.length(); ++j) {
      std::string id;
      if (!ir_named_type_id(members[j].type_def, id)) {
        if (strict) return false;
        continue;
      }
      if (!id.empty()) ids.push_back(id);
    }
  }
  return true;
}

// Writes the count and the in-line references of the definitions of
// `refs` that still exist (those destroyed since are left out).
template <class Seq>
void write_live_refs(Encapsulation& e, const Seq& refs) {
  std::vector<Servant_ref<CORBA_Contained_Impl>> live;
  for (CORBA::ULong i = 0; i < refs.length(); ++i) {
    Servant_ref<CORBA_Contained_Impl> c(live_definition(refs[i]));
    if (c.in()) live.push_back(std::move(c));
  }
  e.put_ulong(static_cast<CORBA::ULong>(live.size()));
  for (const auto& c : live) c->stream_in_line(e);
}

// True for a boolean octet above 1.  Only where CORBA::Boolean is an
// octet can it hold one; omniORB's usual mapping to a C++ bool turns any
// non-zero octet into true.
template <class Boolean>
bool above_one(Boolean b) {
  if constexpr (std::is_same_v<Boolean, bool>)
    return false;
  else
    return b > 1;
}

// True for a recursive placeholder that no TypeCode has resolved yet.
bool unresolved(CORBA::TypeCode_ptr tc) {
  try {
    tc->kind();
    return false;
  } catch (const CORBA::BAD_TYPECODE&) {
    return true;
  }
}

// The TypeCode of a state member of type `type` in a value TypeCode whose
// recursion scope is `scope` (caller owns), built again through
// sequences and arrays and closed onto the scope.  A placeholder for a
// definition outside the scope is kept when that definition is a struct,
// union or value type: it is being loaded and encloses this value type,
// and its own TypeCode resolves the placeholder.  Nil when there is no
// TypeCode that a value TypeCode may hold: for good when the type has
// gone or is a native; for now, with *complete cleared, when it is an
// alias or value box still being loaded (no recursion target) or a value
// box holding a placeholder (omniORB resolves none inside a value box: a
// box of this very value type read while the value type was loading).
CORBA::TypeCode_ptr member_entry_typecode(CORBA::IDLType_ptr type,
                                          const std::vector<std::string>& scope,
                                          bool* complete) {
  CORBA::TypeCode_var tc = ir_close_typecode(ir_fresh_typecode(type), scope);
  if (CORBA::is_nil(tc.in())) return CORBA::TypeCode::_nil();
  bool usable = false;
  if (!unresolved(tc)) {
    CORBA::TCKind kind = tc->kind();
    if (kind == CORBA::tk_void || kind == CORBA::tk_null)
      return CORBA::TypeCode::_nil();
    usable = !ir_unresolved_in_box(tc);
  } else {
    std::string id;
    if (ir_named_type_id(type, id)) {
      CORBA::DefinitionKind kind = ir_type_kind(type);
      usable = std::find(scope.begin(), scope.end(), id) != scope.end() ||
               kind == CORBA::dk_Struct || kind == CORBA::dk_Union ||
               kind == CORBA::dk_Value;
    }
  }
  if (usable) return tc._retn();
  if (complete) *complete = false;
  return CORBA::TypeCode::_nil();
}

void no_extra(Encapsulation&, const CORBA::StructMember&) {}
void no_extra_in(Encapsulation&, CORBA::StructMember&) {}
}  // namespace

// --- construction ------------------------------------------------------------

CORBA_ValueDef_Impl::CORBA_ValueDef_Impl(
    const char* id, const char* name, const char* version,
    const char* defined_in, CORBA::Boolean is_custom,
    CORBA::Boolean is_abstract, CORBA::ValueDef_ptr base_value,
    CORBA::Boolean is_truncatable,
    const CORBA::ValueDefSeq& abstract_base_values,
    const CORBA::InterfaceDefSeq& supported_interfaces,
    const CORBA::InitializerSeq& initializers, CORBA::TypeCode_ptr tc)
    : CORBA_IRObject_Impl(CORBA::dk_Value),
      CORBA_Contained_Impl(id, name, version, defined_in),
      CORBA_IDLType_Impl(tc) {
  s_.is_custom = is_custom;
  s_.is_abstract = is_abstract;
  s_.is_truncatable = is_truncatable;
  s_.base_value = CORBA::ValueDef::_duplicate(base_value);
  s_.abstract_base_values = abstract_base_values;
  s_.supported_interfaces = supported_interfaces;
  s_.initializers = initializers;
  fill_initializer_types(s_.initializers);
}

CORBA_ValueDef_Impl::CORBA_ValueDef_Impl(const char* id, const char* name,
                                         const char* version,
                                         CORBA_Repository_Impl* repository,
                                         const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Value),
      CORBA_Contained_Impl(id, name, version, repository, defined_in) {}

CORBA_ValueDef_Impl::~CORBA_ValueDef_Impl() = default;

CORBA_ValueDef_Impl* CORBA_ValueDef_Impl::_narrow(CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Value)
             ? dynamic_cast<CORBA_ValueDef_Impl*>(p)
             : nullptr;
}

// --- checks and TypeCodes ----------------------------------------------------

bool CORBA_ValueDef_Impl::abstract_bases_ok(const CORBA::ValueDefSeq& bases) {
  for (CORBA::ULong i = 0; i < bases.length(); ++i) {
    if (CORBA::is_nil(bases[i])) return false;
    Servant_ref<CORBA_IRObject_Impl> s(ir_servant_of(bases[i]));
    CORBA_ValueDef_Impl* v = _narrow(s.in());
    if (!v || !v->s_.is_abstract) return false;
  }
  return true;
}

bool CORBA_ValueDef_Impl::supported_interfaces_ok(
    const CORBA::InterfaceDefSeq& itfs) {
  for (CORBA::ULong i = 0; i < itfs.length(); ++i) {
    if (CORBA::is_nil(itfs[i])) return false;
    CORBA::DefinitionKind kind = ir_kind_behind(itfs[i]);
    if (kind != CORBA::dk_Interface && kind != CORBA::dk_AbstractInterface)
      return false;
  }
  return true;
}

CORBA::ValueModifier CORBA_ValueDef_Impl::modifier_of(
    CORBA::Boolean is_custom, CORBA::Boolean is_abstract,
    CORBA::Boolean is_truncatable) {
  if (is_custom) return CORBA::VM_CUSTOM;
  if (is_abstract) return CORBA::VM_ABSTRACT;
  if (is_truncatable) return CORBA::VM_TRUNCATABLE;
  return CORBA::VM_NONE;
}

CORBA::ValueModifier CORBA_ValueDef_Impl::value_modifier() const {
  return modifier_of(s_.is_custom, s_.is_abstract, s_.is_truncatable);
}

CORBA::TypeCode_ptr CORBA_ValueDef_Impl::initial_typecode(
    const char* id, const char* name, CORBA::ValueModifier modifier,
    CORBA::ValueDef_ptr base_value) {
  CORBA::TypeCode_var base = ir_type_of(base_value);
  if (CORBA::is_nil(base.in()))
    base = CORBA::TypeCode::_duplicate(CORBA::_tc_null);
  CORBA::ValueMemberSeq none;
  none.length(0);
  return ir_orb()->create_value_tc(id, name, modifier, base, none);
}

CORBA::Visibility ir_typecode_visibility(CORBA::Visibility access) {
  if (access == CORBA::PUBLIC_MEMBER) return CORBA::PRIVATE_MEMBER;
  if (access == CORBA::PRIVATE_MEMBER) return CORBA::PUBLIC_MEMBER;
  return access;
}

CORBA::ValueMember get_value_member(CORBA_ValueMemberDef_Impl* member,
                                    const std::vector<std::string>& scope,
                                    bool* complete) {
  CORBA::ValueMember vm;
  vm.name = member->own_name();
  vm.id = member->own_id();
  vm.defined_in = member->described_defined_in();
  vm.version = member->own_version();
  vm.type_def = CORBA::IDLType::_duplicate(member->type_def_ref());
  vm.access = member->access_value();
  vm.type = member_entry_typecode(vm.type_def, scope, complete);
  return vm;
}

std::vector<std::string> CORBA_ValueDef_Impl::recursion_scope() {
  return ir_recursion_scope(store_, own_id(), own_defined_in());
}

CORBA_ValueDef_Impl::BuiltTypeCode CORBA_ValueDef_Impl::build_typecode(
    const char* tc_id, const char* tc_name, const CORBA::ValueMember* extra) {
  // Asked for its TypeCode while building it (a member of its own type),
  // this value type answers with the one it has.
  struct Building {
    bool& flag;
    bool was;
    explicit Building(bool& f) : flag(f), was(f) { flag = true; }
    ~Building() { flag = was; }
  } building(building_);
  BuiltTypeCode built;
  std::vector<std::string> scope = recursion_scope();
  CORBA::ValueMemberSeq members;
  members.length(0);
  // A member whose type has no TypeCode that a value TypeCode may hold is
  // left out (see member_entry_typecode).
  for (const auto& s : ir_own_members(store_, own_id(), CORBA::dk_ValueMember))
    if (auto* m = CORBA_ValueMemberDef_Impl::_narrow(s.in())) {
      CORBA::ValueMember vm = get_value_member(m, scope, &built.complete);
      if (CORBA::is_nil(vm.type.in())) continue;
      append(members, vm);
      built.member_ids.push_back(m->own_id());
    }
  if (extra && !CORBA::is_nil(extra->type.in())) {
    append(members, *extra);
    built.member_ids.push_back(extra->id.in());
  }
  for (CORBA::ULong i = 0; i < members.length(); ++i)
    members[i].access = ir_typecode_visibility(members[i].access);

  // A base that is this value type or derives from it (nothing forbids
  // one) has no finite TypeCode: the value TypeCode then has none.
  CORBA::TypeCode_var base;
  std::string base_id = def_id_of(s_.base_value);
  bool cyclic =
      !base_id.empty() && ir_store_call(kFile, __LINE__, kBaseText, [&] {
        return store_->IRIsA(StoreHandle(base_id), own_id());
      });
  if (!cyclic && !CORBA::is_nil(s_.base_value.in())) {
    CORBA::TypeCode_var own = ir_type_of(s_.base_value.in());
    if (!CORBA::is_nil(own.in()))
      base = ir_use_typecode(s_.base_value.in(), scope);
  }
  if (CORBA::is_nil(base.in()))
    base = CORBA::TypeCode::_duplicate(CORBA::_tc_null);
  built.tc = ir_orb()->create_value_tc(tc_id, tc_name, value_modifier(), base,
                                       members);
  return built;
}

CORBA_ValueDef_Impl::BuiltTypeCode CORBA_ValueDef_Impl::cached() const {
  BuiltTypeCode now;
  now.tc = CORBA::TypeCode::_duplicate(cached_tc_.in());
  now.complete = !incomplete_;
  now.member_ids = tc_member_ids_;
  return now;
}

void CORBA_ValueDef_Impl::adopt_typecode(BuiltTypeCode built) {
  cached_tc_ = built.tc._retn();
  incomplete_ = !built.complete;
  tc_member_ids_ = std::move(built.member_ids);
}

void CORBA_ValueDef_Impl::rebuild() {
  adopt_typecode(build_typecode(own_id(), own_name()));
}

CORBA::TypeCode_ptr CORBA_ValueDef_Impl::type() {
  if (incomplete_ && !building_) rebuild();
  return CORBA_IDLType_Impl::type();
}

CORBA::TypeCode_ptr CORBA_ValueDef_Impl::create_value_tc_from_self() {
  return build_typecode(own_id(), own_name()).tc._retn();
}

CORBA::TypeCode_ptr CORBA_ValueDef_Impl::member_typecode(
    const char* member_id) {
  if (incomplete_ && !building_) rebuild();
  if (CORBA::is_nil(cached_tc_.in())) return CORBA::TypeCode::_nil();
  for (std::size_t i = 0; i < tc_member_ids_.size(); ++i)
    if (tc_member_ids_[i] == member_id && i < cached_tc_->member_count())
      return cached_tc_->member_type(static_cast<CORBA::ULong>(i));
  return CORBA::TypeCode::_nil();
}

void CORBA_ValueDef_Impl::refresh_typecode() {
  rebuild();
  refresh_derived();
}

void CORBA_ValueDef_Impl::refresh_derived() {
  std::vector<std::string> pending{own_id()};
  std::unordered_set<std::string> seen{own_id()};
  while (!pending.empty()) {
    std::string current = std::move(pending.back());
    pending.pop_back();
    IdList derived = ir_store_call(kFile, __LINE__, current.c_str(), [&] {
      return store_->IRDerived(StoreHandle(current));
    });
    for (std::string& d : derived) {
      if (!seen.insert(d).second) continue;
      // Value types that are not loaded build their TypeCodes when they
      // are.
      Servant_ref<CORBA_Contained_Impl> s(irobj_get_from_cache(d.c_str()));
      if (CORBA_ValueDef_Impl* v = _narrow(s.in())) v->rebuild();
      pending.push_back(std::move(d));
    }
  }
}

void ir_value_members_changed(const char* value_id) {
  Servant_ref<CORBA_Contained_Impl> s(irobj_get_from_cache(value_id));
  if (CORBA_ValueDef_Impl* v = CORBA_ValueDef_Impl::_narrow(s.in()))
    v->refresh_typecode();
}

void CORBA_ValueDef_Impl::fill_initializer_types(CORBA::InitializerSeq& inits) {
  for (CORBA::ULong i = 0; i < inits.length(); ++i) {
    CORBA::StructMemberSeq& members = inits[i].members;
    for (CORBA::ULong j = 0; j < members.length(); ++j)
      members[j].type = ir_member_typecode(members[j].type_def);
  }
}

// --- links -------------------------------------------------------------------

std::vector<std::string> CORBA_ValueDef_Impl::inheritance_targets() const {
  std::vector<std::string> out;
  std::string base = def_id_of(s_.base_value.in());
  if (!base.empty()) out.push_back(base);
  for (CORBA::ULong i = 0; i < s_.abstract_base_values.length(); ++i) {
    std::string id = def_id_of(s_.abstract_base_values[i]);
    if (!id.empty()) out.push_back(id);
  }
  for (CORBA::ULong i = 0; i < s_.supported_interfaces.length(); ++i) {
    std::string id = def_id_of(s_.supported_interfaces[i]);
    if (!id.empty()) out.push_back(id);
  }
  return out;
}

void CORBA_ValueDef_Impl::relink(const std::vector<std::string>& old_targets) {
  std::vector<std::string> now = inheritance_targets();
  if (now == old_targets) return;
  for (const std::string& t : old_targets)
    store_->IRRemoveInherit(id_handle(), StoreHandle(t));
  // A definition destroyed since it was named here has no record to link.
  for (const std::string& t : now)
    if (store_->IRExists(StoreHandle(t)))
      store_->IRAddInherit(id_handle(), StoreHandle(t));
}

void CORBA_ValueDef_Impl::add_links() {
  relink({});
  std::vector<std::string> uses;
  if (!initializer_uses(s_.initializers, true, uses))
    kaldBadArgument(kFile, __LINE__, kInitializersText);
  ir_replace_uses(store_, id_handle(), {}, uses);
}

// --- setters -----------------------------------------------------------------

template <class Change>
void CORBA_ValueDef_Impl::set(const char* text, bool new_typecode,
                              Change&& change) {
  State before = s_;
  BuiltTypeCode old_tc = cached();
  std::vector<std::string> old_targets = inheritance_targets();
  try {
    ir_in_update(store_, kFile, __LINE__, text, [&](IrUpdate&) {
      change();
      relink(old_targets);
      write_record();
      if (new_typecode) rebuild();
    });
  } catch (...) {
    s_ = before;
    adopt_typecode(std::move(old_tc));
    throw;
  }
  if (new_typecode) refresh_derived();
  // Inherited contents follow the bases and supported interfaces.
  if (inheritance_targets() != old_targets) {
    drop_contents_cache();
    ir_drop_derived_contents_caches(store_, own_id());
  }
}

void CORBA_ValueDef_Impl::set_flag(CORBA::Boolean State::*field,
                                   CORBA::Boolean b, const char* range_text) {
  if (s_.*field == b) return;
  if (range_text && above_one(b)) kaldBadArgument(kFile, __LINE__, range_text);
  set(range_text ? range_text : kAbstractText, true, [&] { s_.*field = b; });
}

void CORBA_ValueDef_Impl::is_abstract(CORBA::Boolean b) {
  set_flag(&State::is_abstract, b, nullptr);
}

void CORBA_ValueDef_Impl::is_custom(CORBA::Boolean b) {
  set_flag(&State::is_custom, b, kCustomText);
}

void CORBA_ValueDef_Impl::is_truncatable(CORBA::Boolean b) {
  set_flag(&State::is_truncatable, b, kTruncatableText);
}

CORBA::ValueDef_ptr CORBA_ValueDef_Impl::base_value() {
  return CORBA::ValueDef::_duplicate(s_.base_value.in());
}

void CORBA_ValueDef_Impl::base_value(CORBA::ValueDef_ptr base) {
  if (!CORBA::is_nil(base) && ir_kind_behind(base) != CORBA::dk_Value)
    kaldBadArgument(kFile, __LINE__, kBaseText);
  set(kBaseText, true,
      [&] { s_.base_value = CORBA::ValueDef::_duplicate(base); });
}

CORBA::ValueDefSeq* CORBA_ValueDef_Impl::abstract_base_values() {
  return new CORBA::ValueDefSeq(s_.abstract_base_values);
}

void CORBA_ValueDef_Impl::abstract_base_values(
    const CORBA::ValueDefSeq& bases) {
  if (!abstract_bases_ok(bases))
    ir_throw_bad_param(5, kFile, __LINE__, kAbstractBasesText);
  set(kAbstractBasesText, false, [&] { s_.abstract_base_values = bases; });
}

CORBA::InterfaceDefSeq* CORBA_ValueDef_Impl::supported_interfaces() {
  return new CORBA::InterfaceDefSeq(s_.supported_interfaces);
}

void CORBA_ValueDef_Impl::supported_interfaces(
    const CORBA::InterfaceDefSeq& itfs) {
  set(kSupportedText, false, [&] {
    // Checked inside the update: the refusal cancels it.
    if (!supported_interfaces_ok(itfs))
      ir_throw_bad_param(5, kFile, __LINE__, kSupportedText);
    s_.supported_interfaces = itfs;
  });
}

CORBA::InitializerSeq* CORBA_ValueDef_Impl::initializers() {
  // The member TypeCodes are taken again: a member type that was still
  // being loaded when the record was read has its TypeCode now.
  CORBA::InitializerSeq_var out = new CORBA::InitializerSeq(s_.initializers);
  fill_initializer_types(out.inout());
  return out._retn();
}

void CORBA_ValueDef_Impl::initializers(const CORBA::InitializerSeq& inits) {
  CORBA::InitializerSeq next(inits);
  fill_initializer_types(next);
  set(kInitializersText, false, [&] {
    std::vector<std::string> removed, added;
    initializer_uses(s_.initializers, false, removed);
    if (!initializer_uses(next, true, added))
      kaldBadArgument(kFile, __LINE__, kInitializersText);
    ir_replace_uses(store_, id_handle(), removed, added);
    s_.initializers = next;
  });
}

// --- inheritance and members -------------------------------------------------

CORBA::Boolean CORBA_ValueDef_Impl::is_a(const char* id) {
  if (!id) kaldBadArgument(kFile, __LINE__, "CORBA::ValueDef::is_a");
  return ir_store_call(kFile, __LINE__, id,
                       [&] { return store_->IRIsA(id_handle(), id); });
}

bool CORBA_ValueDef_Impl::check_inherited_name_for_value(const char* name) {
  const char* const text = "CORBA::ValueDef::check_inherited_name_for_value";
  // The first search is for value types, not for state members.
  for (CORBA::DefinitionKind kind :
       {CORBA::dk_Value, CORBA::dk_Operation, CORBA::dk_Attribute}) {
    bool found = ir_store_call(kFile, __LINE__, text, [&] {
      return !store_->IRInheritedName(id_handle(), name, kind).empty();
    });
    if (found) return true;
  }
  return false;
}

CORBA::ValueMemberDef_ptr CORBA_ValueDef_Impl::create_value_member(
    const char* id, const char* name, const char* version,
    CORBA::IDLType_ptr type, CORBA::Visibility access) {
  if (!id || !name || !version || CORBA::is_nil(type))
    kaldBadArgument(kFile, __LINE__, kMemberNull);
  ir_check_name_length(name, kFile, __LINE__, kMemberName);
  if (!ir_is_idltype(type)) kaldBadArgument(kFile, __LINE__, kMemberType);

  // The TypeCode with the new member comes first: a member name that the
  // ORB refuses in a TypeCode leaves everything as it was.
  bool complete = true;
  CORBA::ValueMember entry;
  entry.name = name;
  entry.id = id;
  entry.type = member_entry_typecode(type, recursion_scope(), &complete);
  entry.access = access;
  BuiltTypeCode tc = build_typecode(own_id(), own_name(), &entry);
  tc.complete = tc.complete && complete;

  IrMemberCreation how{
      kMemberContext,
      [this](const char* n) { return check_inherited_name_for_value(n); },
      {2, kMemberContext},
      {3, kMemberContext},
      true};
  Servant_ref<CORBA_Contained_Impl> created(ir_create_member(
      this, own_id(), id, name, how,
      [&] {
        return new CORBA_ValueMemberDef_Impl(id, name, version, own_id(), type,
                                             access);
      },
      [&](CORBA_Contained_Impl* c) {
        ir_add_type_use(store_, c->id_handle(), type, kFile, __LINE__,
                        kMemberType);
      }));
  adopt_typecode(std::move(tc));
  refresh_derived();
  ir_drop_derived_contents_caches(store_, own_id());
  return ir_ref_as<CORBA::ValueMemberDef>(created.in());
}

CORBA::AttributeDef_ptr CORBA_ValueDef_Impl::create_attribute(
    const char* id, const char* name, const char* version,
    CORBA::IDLType_ptr type, CORBA::AttributeMode mode) {
  return ir_create_attribute(
      this, own_id(), kAttributeTexts,
      [this](const char* n) { return check_inherited_name_for_value(n); }, id,
      name, version, type, mode);
}

CORBA::OperationDef_ptr CORBA_ValueDef_Impl::create_operation(
    const char* id, const char* name, const char* version,
    CORBA::IDLType_ptr result, CORBA::OperationMode mode,
    const CORBA::ParDescriptionSeq& params,
    const CORBA::ExceptionDefSeq& exceptions,
    const CORBA::ContextIdSeq& contexts) {
  return ir_create_operation(
      this, own_id(), kOperationTexts,
      [this](const char* n) { return check_inherited_name_for_value(n); }, id,
      name, version, result, mode, params, exceptions, contexts);
}

// --- descriptions ------------------------------------------------------------

CORBA::ValueDef::FullValueDescription* CORBA_ValueDef_Impl::describe_value() {
  CORBA::ValueDef::FullValueDescription_var full =
      new CORBA::ValueDef::FullValueDescription;
  full->name = own_name();
  full->id = own_id();
  full->defined_in = described_defined_in();
  full->version = own_version();
  full->type = type();
  full->operations.length(0);
  full->attributes.length(0);
  ir_describe_own_members(
      store_, own_id(), full->operations, full->attributes,
      [](const CORBA::AttributeDescription& a) { return a; });
  full->members.length(0);
  for (const auto& s : ir_own_members(store_, own_id(), CORBA::dk_ValueMember))
    if (auto* m = CORBA_ValueMemberDef_Impl::_narrow(s.in()))
      append(full->members, m->description());
  CORBA::InitializerSeq_var inits = initializers();
  full->initializers = inits.in();
  full->supported_interfaces = ids_of(s_.supported_interfaces);
  full->abstract_base_values = ids_of(s_.abstract_base_values);
  full->is_abstract = s_.is_abstract;
  full->is_custom = s_.is_custom;
  full->is_truncatable = s_.is_truncatable;
  full->base_value = def_id_of(s_.base_value.in()).c_str();
  return full._retn();
}

CORBA::Contained::Description* CORBA_ValueDef_Impl::describe() {
  CORBA::ValueDescription desc;
  desc.name = own_name();
  desc.id = own_id();
  desc.is_abstract = s_.is_abstract;
  desc.is_custom = s_.is_custom;
  desc.defined_in = described_defined_in();
  desc.version = own_version();
  desc.supported_interfaces = ids_of(s_.supported_interfaces);
  desc.abstract_base_values = ids_of(s_.abstract_base_values);
  desc.is_truncatable = s_.is_truncatable;
  desc.base_value = def_id_of(s_.base_value.in()).c_str();
  CORBA::Contained::Description_var d = new CORBA::Contained::Description;
  d->kind = CORBA::dk_Value;
  d->value <<= desc;
  return d._retn();
}

// --- id and name -------------------------------------------------------------

void CORBA_ValueDef_Impl::id(const char* new_id) {
  if (!new_id) kaldBadArgument(kFile, __LINE__, kIdText);
  bool used = ir_store_call(kFile, __LINE__, kIdText, [&] {
    return store_->IRExists(StoreHandle(new_id));
  });
  if (used) ir_report_clash(kFile, __LINE__, kIdText);
  // The users (derived value types, members of this type) take this
  // value type's TypeCode while the change runs: they must see the new
  // one.  It is built while the state members are still found under the
  // old id.
  BuiltTypeCode old_tc = cached();
  adopt_typecode(build_typecode(new_id, own_name()));
  try {
    CORBA_Contained_Impl::id(new_id);
  } catch (...) {
    adopt_typecode(std::move(old_tc));
    throw;
  }
  refresh_typecode();
}

void CORBA_ValueDef_Impl::name(const char* new_name) {
  // Built first: a name that the ORB refuses in a TypeCode changes
  // nothing.  A null name is refused by the rename.
  BuiltTypeCode tc;
  if (new_name) tc = build_typecode(own_id(), new_name);
  CORBA_Contained_Impl::name(new_name);
  adopt_typecode(std::move(tc));
  refresh_derived();
}

// --- records -----------------------------------------------------------------

void CORBA_ValueDef_Impl::changeID(const char* old_id, const char* new_id) {
  int changed = 0;
  if (ir_names_changing_id(s_.base_value.in(), old_id, new_id)) {
    CORBA::Object_var ref = reference_under(new_id, CORBA::dk_Value);
    s_.base_value = CORBA::ValueDef::_unchecked_narrow(ref);
    ++changed;
  }
  for (CORBA::ULong i = 0; i < s_.abstract_base_values.length(); ++i) {
    if (!ir_names_changing_id(s_.abstract_base_values[i], old_id, new_id))
      continue;
    CORBA::Object_var ref = reference_under(new_id, CORBA::dk_Value);
    s_.abstract_base_values[i] = CORBA::ValueDef::_unchecked_narrow(ref);
    ++changed;
  }
  for (CORBA::ULong i = 0; i < s_.supported_interfaces.length(); ++i) {
    if (!ir_names_changing_id(s_.supported_interfaces[i], old_id, new_id))
      continue;
    CORBA::Object_var ref =
        reference_under(new_id, ir_kind_behind(s_.supported_interfaces[i]));
    s_.supported_interfaces[i] = CORBA::InterfaceDef::_unchecked_narrow(ref);
    ++changed;
  }
  for (CORBA::ULong i = 0; i < s_.initializers.length(); ++i) {
    CORBA::StructMemberSeq& members = s_.initializers[i].members;
    for (CORBA::ULong j = 0; j < members.length(); ++j)
      changed += ir_change_held_type(members[j].type_def, old_id, new_id);
  }
  if (changed == 0)
    kaldError(IR_MINOR_NOTHING_CHANGED, CORBA::COMPLETED_NO, kFile, __LINE__,
              nullptr, 0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              kChangeIdText, 0);
  fill_initializer_types(s_.initializers);
  refresh_typecode();
}

void CORBA_ValueDef_Impl::object_to_stream(Encapsulation& e) {
  CORBA_Contained_Impl::object_to_stream(e);
  e.put_boolean(s_.is_custom);
  e.put_boolean(s_.is_abstract);
  e.put_boolean(s_.is_truncatable);
  // A base destroyed since it was named here is left out.
  Servant_ref<CORBA_Contained_Impl> base(live_definition(s_.base_value.in()));
  e.put_boolean(base.in() != nullptr);
  if (base.in()) base->stream_in_line(e);
  write_live_refs(e, s_.abstract_base_values);
  write_live_refs(e, s_.supported_interfaces);
  e.put_ulong(s_.initializers.length());
  for (CORBA::ULong i = 0; i < s_.initializers.length(); ++i) {
    ir_write_members(e, s_.initializers[i].members, no_extra);
    e.put_string(s_.initializers[i].name);
  }
}

void CORBA_ValueDef_Impl::stream_to_object(const char* name, const char* id,
                                           Encapsulation& e) {
  CORBA_Contained_Impl::stream_to_object(name, id, e);
  State s;
  s.is_custom = e.get_boolean();
  s.is_abstract = e.get_boolean();
  s.is_truncatable = e.get_boolean();
  if (e.get_boolean()) {
    CORBA::IDLType_var base = get_next_object(e, store_);
    s.base_value = CORBA::ValueDef::_unchecked_narrow(base);
  }
  // Lists grow one entry at a time: a damaged count ends in an error at
  // the end of the record, not in a huge allocation.
  CORBA::ULong n = e.get_ulong();
  s.abstract_base_values.length(0);
  for (CORBA::ULong i = 0; i < n; ++i) {
    CORBA::IDLType_var base = get_next_object(e, store_);
    if (!CORBA::is_nil(base.in()))
      append(s.abstract_base_values, CORBA::ValueDef::_unchecked_narrow(base));
  }
  n = e.get_ulong();
  s.supported_interfaces.length(0);
  for (CORBA::ULong i = 0; i < n; ++i) {
    CORBA::Contained_var itf = get_next_contained(e, store_);
    if (!CORBA::is_nil(itf.in()))
      append(s.supported_interfaces,
             CORBA::InterfaceDef::_unchecked_narrow(itf));
  }
  n = e.get_ulong();
  s.initializers.length(0);
  for (CORBA::ULong i = 0; i < n; ++i) {
    s.initializers.length(i + 1);
    ir_read_members(e, store_, s.initializers[i].members, no_extra_in);
    s.initializers[i].name = e.get_string();
  }
  fill_initializer_types(s.initializers);
  s_ = s;
  rebuild();
}
