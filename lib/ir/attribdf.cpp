#include "ir/attribdf.h"

#include <cstring>

#include "ir/containr.h"
#include "ir/interfdf.h"
#include "ir/servant_locator.h"
#include "store/store_handle.h"

namespace {
const char kFile[] = "lib/ir/attribdf";
constexpr std::size_t kMaxNameLength = 254;

// The contained servant of the named type behind `type`, with one
// reference for the caller; null when `type` has no named type inside.
// A named type that is not a contained object raises base + 0x48.
CORBA_Contained_Impl* named_type_of(CORBA::IDLType_ptr type, const char* file,
                                    int line, const char* text) {
  CORBA::Boolean found = 0;
  CORBA::IDLType_var named = find_named_type(type, found);
  if (CORBA::is_nil(named.in())) return nullptr;
  CORBA_IRObject_Impl* s = CORBA_IDLType_Impl::get_impl(named);
  CORBA_Contained_Impl* c = CORBA_Contained_Impl::_narrow(s);
  if (!c) {
    if (s) s->_remove_ref();
    kaldBadArgument(file, line, text);
  }
  return c;
}

[[noreturn]] void raise_member_clash(const IrClashReport& report, int line) {
  if (report.omg_minor != 0)
    ir_throw_bad_param(report.omg_minor, kFile, line, report.text);
  ir_report_clash(kFile, line, report.text);
}
}  // namespace

// --- type references -------------------------------------------------------

CORBA::DefinitionKind ir_kind_behind(CORBA::Object_ptr ref) {
  Servant_ref<CORBA_IRObject_Impl> s(ir_servant_of(ref));
  return s.in() ? s->def_kind() : CORBA::dk_none;
}

bool ir_is_idltype(CORBA::Object_ptr ref) {
  return ck_idltype(ir_kind_behind(ref));
}

void ir_add_type_use(IRStore* store, const StoreHandle& user,
                     CORBA::IDLType_ptr type, const char* file, int line,
                     const char* text) {
  Servant_ref<CORBA_Contained_Impl> named(
      named_type_of(type, file, line, text));
  if (named.in()) store->IRAddUse(user, StoreHandle(named->own_id()));
}

void ir_remove_type_use(IRStore* store, const StoreHandle& user,
                        CORBA::IDLType_ptr type, const char* file, int line,
                        const char* text) {
  Servant_ref<CORBA_Contained_Impl> named(
      named_type_of(type, file, line, text));
  if (named.in()) store->IRRemoveUse(user, StoreHandle(named->own_id()));
}

CORBA::TypeCode_ptr ir_member_typecode(CORBA::IDLType_ptr type) {
  CORBA::TypeCode_var tc = ir_referenced_typecode(type);
  if (CORBA::is_nil(tc.in()))
    return CORBA::TypeCode::_duplicate(CORBA::_tc_null);
  return tc._retn();
}

void ir_replace_member_type(CORBA_Contained_Impl& self,
                            CORBA::IDLType_var& type_def,
                            CORBA::TypeCode_var& type, CORBA::IDLType_ptr t,
                            const char* file, int line, const char* text) {
  if (!ir_is_idltype(t)) kaldBadArgument(file, line, text);
  IRStore* store = self.store();
  CORBA::IDLType_var old_def = type_def;
  CORBA::TypeCode_var old_tc = type;
  try {
    ir_in_update(store, file, line, text, [&](IrUpdate&) {
      store->IRObjectOp(self.id_handle());
      ir_remove_type_use(store, self.id_handle(), old_def.in(), file, line,
                         text);
      ir_add_type_use(store, self.id_handle(), t, file, line, text);
      type_def = CORBA::IDLType::_duplicate(t);
      type = ir_member_typecode(t);
      self.write_record();
    });
  } catch (...) {
    type_def = old_def;
    type = old_tc;
    throw;
  }
}

int ir_change_type_ref(CORBA::IDLType_var& ref, const char* old_id,
                       const char* new_id) {
  if (CORBA::is_nil(ref.in())) return 0;
  bool names_old = ir_object_key_of(ref.in()) == old_id;
  int changed = change1ref(ref.in(), old_id, new_id);
  if (changed && names_old) {
    // The reference itself carries the old id as its object id.
    Servant_ref<CORBA_IRObject_Impl> renamed(ir_servant_for_oid(new_id));
    if (renamed.in()) ref = ir_ref_as<CORBA::IDLType>(renamed.in());
  }
  return changed;
}

void ir_forget_inherited_member(CORBA_Contained_Impl* member) {
  ir_drop_derived_contents_caches(member->store(), member->own_defined_in());
}

void ir_report_clash(const char* file, int line, const char* text, int msgno) {
  kaldError(IR_MINOR_CLASH, CORBA::COMPLETED_NO, file, line, nullptr, 0, msgno,
            0, CORBA::_tc_string, text, 0);
}

void ir_check_name_length(const char* name, const char* file, int line,
                          const char* text) {
  if (std::strlen(name) > kMaxNameLength) kaldBadArgument(file, line, text);
}

// --- creation of members ---------------------------------------------------

CORBA_Contained_Impl* ir_create_member(
    CORBA_Container_Impl* container, const char* container_id, const char* id,
    const char* name, const IrMemberCreation& how,
    const std::function<CORBA_Contained_Impl*()>& build,
    const std::function<void(CORBA_Contained_Impl*)>& links) {
  IRStore* store = container->store();
  StoreHandle container_handle(container_id);
  StoreHandle id_handle(id);
  Servant_ref<CORBA_Contained_Impl> servant;
  ir_in_update(store, kFile, __LINE__, how.context, [&](IrUpdate& update) {
    if ((!TransOn || how.inherited_in_transaction) && how.inherited(name)) {
      update.cancel();
      raise_member_clash(how.inherited_clash, __LINE__);
    }
    if (store->IRExists(id_handle) ||
        (!TransOn && store->IRChildByName(container_handle, name))) {
      update.cancel();
      raise_member_clash(how.existing_clash, __LINE__);
    }
    servant = build();
    if (!servant.in()) {
      update.cancel();
      kaldNoMemory(kFile, __LINE__);
    }
    store->IRInsertObject(servant.in());
    links(servant.in());
  });
  irobj_put_in_cache(id, servant.in());
  container->add_to_contents(servant.in());
  // Interfaces and values that derive from the container list its members
  // among theirs.
  ir_drop_derived_contents_caches(store, container_id);
  return servant._retn();
}

CORBA::AttributeDef_ptr ir_create_attribute(
    CORBA_Container_Impl* container, const char* container_id,
    const IrAttributeTexts& texts,
    const std::function<bool(const char*)>& inherited, const char* id,
    const char* name, const char* version, CORBA::IDLType_ptr type,
    CORBA::AttributeMode mode) {
  if (!id || !name || !version || CORBA::is_nil(type))
    kaldBadArgument(kFile, __LINE__, texts.null_input);
  ir_check_name_length(name, kFile, __LINE__, texts.name);
  if (static_cast<CORBA::ULong>(mode) >
      static_cast<CORBA::ULong>(CORBA::ATTR_READONLY))
    kaldBadArgument(kFile, __LINE__, texts.mode);
  if (!ir_is_idltype(type)) kaldBadArgument(kFile, __LINE__, texts.type);
  IrMemberCreation how{
      texts.context, inherited, {2, texts.context}, {3, texts.context}};
  IRStore* store = container->store();
  Servant_ref<CORBA_Contained_Impl> created(ir_create_member(
      container, container_id, id, name, how,
      [&] {
        return new CORBA_AttributeDef_Impl(id, name, version, container_id,
                                           type, mode);
      },
      [&](CORBA_Contained_Impl* c) {
        ir_add_type_use(store, c->id_handle(), type, kFile, __LINE__,
                        texts.type);
      }));
  return ir_ref_as<CORBA::AttributeDef>(created.in());
}

// --- the attribute servant -------------------------------------------------

CORBA_AttributeDef_Impl::CORBA_AttributeDef_Impl(
    const char* id, const char* name, const char* version,
    const char* defined_in, CORBA::IDLType_ptr type, CORBA::AttributeMode mode)
    : CORBA_IRObject_Impl(CORBA::dk_Attribute),
      CORBA_Contained_Impl(id, name, version, defined_in),
      type_(ir_member_typecode(type)),
      type_def_(CORBA::IDLType::_duplicate(type)),
      mode_(mode) {}

CORBA_AttributeDef_Impl::CORBA_AttributeDef_Impl(
    const char* id, const char* name, const char* version,
    CORBA_Repository_Impl* repository, const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Attribute),
      CORBA_Contained_Impl(id, name, version, repository, defined_in) {}

CORBA_AttributeDef_Impl::~CORBA_AttributeDef_Impl() = default;

CORBA_AttributeDef_Impl* CORBA_AttributeDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Attribute)
             ? dynamic_cast<CORBA_AttributeDef_Impl*>(p)
             : nullptr;
}

void CORBA_AttributeDef_Impl::id(const char* new_id) {
  CORBA_Contained_Impl::id(new_id);
  ir_forget_inherited_member(this);
}

void CORBA_AttributeDef_Impl::name(const char* new_name) {
  CORBA_Contained_Impl::name(new_name);
  ir_forget_inherited_member(this);
}

CORBA::TypeCode_ptr CORBA_AttributeDef_Impl::type() {
  return CORBA::TypeCode::_duplicate(type_.in());
}

CORBA::IDLType_ptr CORBA_AttributeDef_Impl::type_def() {
  return CORBA::IDLType::_duplicate(type_def_.in());
}

void CORBA_AttributeDef_Impl::type_def(CORBA::IDLType_ptr type) {
  ir_replace_member_type(*this, type_def_, type_, type, kFile, __LINE__,
                         "CORBA::AttributeDef::type_def(...)");
}

CORBA::AttributeMode CORBA_AttributeDef_Impl::mode() { return mode_; }

void CORBA_AttributeDef_Impl::mode(CORBA::AttributeMode mode) {
  const char* const text = "CORBA::AttributeDef::mode(...)";
  if (static_cast<CORBA::ULong>(mode) >
      static_cast<CORBA::ULong>(CORBA::ATTR_READONLY))
    kaldBadArgument(kFile, __LINE__, text);
  CORBA::AttributeMode old = mode_;
  try {
    ir_in_update(store_, kFile, __LINE__, text, [&](IrUpdate& update) {
      if (mode == mode_) {
        update.cancel();
        return;
      }
      store_->IRObjectOp(id_handle());
      mode_ = mode;
      write_record();
    });
  } catch (...) {
    mode_ = old;
    throw;
  }
}

CORBA::AttributeDescription CORBA_AttributeDef_Impl::description() {
  CORBA::AttributeDescription d;
  d.name = own_name();
  d.id = own_id();
  d.defined_in = described_defined_in();
  d.version = own_version();
  d.type = CORBA::TypeCode::_duplicate(type_.in());
  d.mode = mode_;
  return d;
}

CORBA::Contained::Description* CORBA_AttributeDef_Impl::describe() {
  ir_store_call(kFile, __LINE__, "CORBA::AttributeDef::describe",
                [&] { store_->IRObjectOp(id_handle()); });
  CORBA::Contained::Description_var d = new CORBA::Contained::Description;
  d->kind = CORBA::dk_Attribute;
  d->value <<= description();
  return d._retn();
}

void CORBA_AttributeDef_Impl::changeID(const char* old_id, const char* new_id) {
  if (ir_change_type_ref(type_def_, old_id, new_id) == 0)
    kaldError(IR_MINOR_NOTHING_CHANGED, CORBA::COMPLETED_NO, kFile, __LINE__,
              nullptr, 0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::AttributeDef::changeID(...)", 0);
  type_ = ir_member_typecode(type_def_.in());
}

void CORBA_AttributeDef_Impl::object_to_stream(Encapsulation& e) {
  CORBA_Contained_Impl::object_to_stream(e);
  e.put_ulong(static_cast<CORBA::ULong>(mode_));
  narrow_and_continue_streaming(type_def_.in(), e);
}

void CORBA_AttributeDef_Impl::stream_to_object(const char* name, const char* id,
                                               Encapsulation& e) {
  CORBA_Contained_Impl::stream_to_object(name, id, e);
  CORBA::ULong mode = e.get_ulong();
  // A mode that no setter lets through: the record is damaged.
  if (mode > static_cast<CORBA::ULong>(CORBA::ATTR_READONLY))
    throw CORBA::MARSHAL(0, CORBA::COMPLETED_NO);
  mode_ = static_cast<CORBA::AttributeMode>(mode);
  type_def_ = get_next_object(e, store_);
  type_ = ir_member_typecode(type_def_.in());
}
