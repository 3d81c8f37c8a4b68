#include "ir/interfdf.h"

#include <cstring>
#include <functional>
#include <unordered_set>
#include <vector>

#include "ir/attribdf.h"
#include "ir/operatdf.h"
#include "ir/reposito.h"
#include "ir/servant_locator.h"

namespace {
const char kFile[] = "lib/ir/interfdf";
const char* const bi_err_msg = "CORBA::InterfaceDef::base_interfaces(...)";
const char kIdText[] = "CORBA::InterfaceDef::id(...)";

const IrAttributeTexts kAttributeTexts{
    "CORBA::InterfaceDef::create_attribute::null_input",
    "CORBA::InterfaceDef::create_attribute::name",
    "CORBA::InterfaceDef::create_attribute::mode",
    "CORBA::InterfaceDef::create_attribute::type",
    "CORBA::InterfaceDef::create_attribute"};

const IrOperationTexts kOperationTexts{
    "CORBA::InterfaceDef::create_operation::null_input",
    "CORBA::InterfaceDef::create_operation::name",
    "CORBA::InterfaceDef::create_operation::mode",
    "CORBA::InterfaceDef::create_operation::contexts",
    "CORBA::InterfaceDef::create_operation::result",
    "CORBA::InterfaceDef::create_operation::exceptions",
    "CORBA::InterfaceDef::create_operation::params",
    "CORBA::InterfaceDef::create_operation"};

// The repository id behind an interface reference of ours ("" when it is
// not one).
std::string interface_id_of(CORBA::InterfaceDef_ptr ref) {
  return ir_definition_id_of(ref);
}

bool is_interface_kind(CORBA::DefinitionKind kind, bool abstract_only) {
  return kind == CORBA::dk_AbstractInterface ||
         (!abstract_only && kind == CORBA::dk_Interface);
}

CORBA::RepositoryIdSeq ids_of(const CORBA::InterfaceDefSeq& bases) {
  CORBA::RepositoryIdSeq ids;
  ids.length(0);
  for (CORBA::ULong i = 0; i < bases.length(); ++i) {
    std::string id = interface_id_of(bases[i]);
    if (id.empty()) continue;
    CORBA::ULong n = ids.length();
    ids.length(n + 1);
    ids[n] = id.c_str();
  }
  return ids;
}
}  // namespace

CORBA_InterfaceDef_Impl::CORBA_InterfaceDef_Impl(const char* id,
                                                 const char* name,
                                                 const char* version,
                                                 const char* defined_in,
                                                 CORBA::TypeCode_ptr tc)
    : CORBA_IRObject_Impl(CORBA::dk_Interface),
      CORBA_Contained_Impl(id, name, version, defined_in),
      CORBA_IDLType_Impl(tc) {}

CORBA_InterfaceDef_Impl::CORBA_InterfaceDef_Impl(
    const char* id, const char* name, const char* version,
    CORBA_Repository_Impl* repository, const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Interface),
      CORBA_Contained_Impl(id, name, version, repository, defined_in) {}

CORBA_InterfaceDef_Impl::~CORBA_InterfaceDef_Impl() = default;

CORBA_InterfaceDef_Impl* CORBA_InterfaceDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Interface)
             ? dynamic_cast<CORBA_InterfaceDef_Impl*>(p)
             : nullptr;
}

CORBA_InterfaceDef_Impl* CORBA_InterfaceDef_Impl::interface_view(
    CORBA_IRObject_Impl* p) {
  return p && is_interface_kind(p->def_kind(), false)
             ? dynamic_cast<CORBA_InterfaceDef_Impl*>(p)
             : nullptr;
}

CORBA::TypeCode_ptr CORBA_InterfaceDef_Impl::make_typecode(const char* id,
                                                           const char* name) {
  return ir_orb()->create_interface_tc(id, name);
}

// --- base interfaces -------------------------------------------------------

CORBA::InterfaceDefSeq* CORBA_InterfaceDef_Impl::base_interfaces() {
  return new CORBA::InterfaceDefSeq(bases_);
}

void CORBA_InterfaceDef_Impl::check_base_list(
    const CORBA::InterfaceDefSeq& bases, bool abstract_only, const char* file,
    int line, const char* text) {
  for (CORBA::ULong i = 0; i < bases.length(); ++i)
    if (CORBA::is_nil(bases[i]) ||
        !is_interface_kind(ir_kind_behind(bases[i]), abstract_only))
      kaldBadArgument(file, line, text);
}

void CORBA_InterfaceDef_Impl::set_bases(const CORBA::InterfaceDefSeq& bases) {
  for (CORBA::ULong i = 0; i < bases_.length(); ++i) {
    std::string base = interface_id_of(bases_[i]);
    if (!base.empty()) store_->IRRemoveInherit(id_handle(), StoreHandle(base));
  }
  for (CORBA::ULong i = 0; i < bases.length(); ++i) {
    std::string base = interface_id_of(bases[i]);
    if (base.empty()) kaldBadArgument(kFile, __LINE__, bi_err_msg);
    store_->IRAddInherit(id_handle(), StoreHandle(base));
  }
  bases_ = bases;
}

void CORBA_InterfaceDef_Impl::base_interfaces(
    const CORBA::InterfaceDefSeq& seq) {
  replace_bases(seq, BaseRules{false, true});
}

void CORBA_InterfaceDef_Impl::replace_bases(const CORBA::InterfaceDefSeq& seq,
                                            const BaseRules& rules) {
  CORBA::InterfaceDefSeq bases = seq;
  if (bases.length() == 0) {
    CORBA_Repository_Impl::init_Object_interface_ptr();
    bases.length(1);
    bases[0] = CORBA::InterfaceDef::_duplicate(Object_interface_ptr);
  }
  for (CORBA::ULong i = 0; i < bases.length(); ++i)
    if (CORBA::is_nil(bases[i]))
      kaldBadArgument(kFile, __LINE__,
                      "CORBA::InterfaceDef::base_interfaces(...)::null input");

  // Each base must be an interface of ours that neither is this one nor
  // derives from it: that would close a cycle.  The current bases pass.
  std::vector<std::string> ids;
  for (CORBA::ULong i = 0; i < bases.length(); ++i) {
    std::string base = interface_id_of(bases[i]);
    if (base.empty() ||
        !is_interface_kind(ir_kind_behind(bases[i]), rules.abstract_only))
      kaldBadArgument(kFile, __LINE__, bi_err_msg);
    bool cycle = ir_store_call(kFile, __LINE__, bi_err_msg, [&] {
      return store_->IRIsA(StoreHandle(base), own_id());
    });
    if (cycle) kaldBadArgument(kFile, __LINE__, bi_err_msg);
    ids.push_back(base);
  }

  // Own operations, then own attributes, against what each new base
  // offers (its own members and everything it inherits).
  auto offered = [&](const std::string& base, const std::string& name,
                     CORBA::DefinitionKind kind) {
    return ir_store_call(kFile, __LINE__, bi_err_msg, [&] {
      return !store_->IRLookupName(StoreHandle(base), name, 1, kind, false)
                  .empty();
    });
  };
  for (CORBA::DefinitionKind own_kind :
       {CORBA::dk_Operation, CORBA::dk_Attribute}) {
    for (const auto& member : ir_own_members(store_, own_id(), own_kind)) {
      std::string name = member->own_name();
      for (const std::string& base : ids) {
        if (offered(base, name, CORBA::dk_Operation)) {
          if (own_kind == CORBA::dk_Operation &&
              rules.operation_clash_is_bad_param)
            ir_throw_bad_param(5, kFile, __LINE__, bi_err_msg);
          ir_report_clash(kFile, __LINE__, bi_err_msg);
        }
        if (offered(base, name, CORBA::dk_Attribute))
          ir_report_clash(kFile, __LINE__, bi_err_msg);
      }
    }
  }

  CORBA::InterfaceDefSeq old = bases_;
  try {
    ir_in_update(store_, kFile, __LINE__, bi_err_msg, [&](IrUpdate&) {
      set_bases(bases);
      write_record();
    });
  } catch (...) {
    bases_ = old;
    throw;
  }
  // This interface's contents and those of the interfaces deriving from
  // it include inherited members.
  drop_contents_cache();
  ir_drop_derived_contents_caches(store_, own_id());
}

CORBA::Boolean CORBA_InterfaceDef_Impl::is_a(const char* interface_id) {
  if (!interface_id)
    kaldBadArgument(kFile, __LINE__, "CORBA::InterfaceDef::is_a");
  return ir_store_call(kFile, __LINE__, interface_id, [&] {
    return store_->IRIsA(id_handle(), interface_id);
  });
}

// --- inherited names and members -------------------------------------------

CORBA::ContainedSeq* CORBA_InterfaceDef_Impl::check_inherited_name(
    const char* name) {
  const char* const text = "CORBA::InterfaceDef::check_inherited_name";
  IdList ids;
  for (CORBA::DefinitionKind kind :
       {CORBA::dk_Operation, CORBA::dk_Attribute}) {
    ids = ir_store_call(kFile, __LINE__, text, [&] {
      return store_->IRInheritedName(id_handle(), name, kind);
    });
    if (!ids.empty()) break;
  }
  return ir_contained_seq(store_, ids, kFile, __LINE__, text);
}

bool CORBA_InterfaceDef_Impl::inherits_name(const char* name) {
  for (CORBA::DefinitionKind kind : {CORBA::dk_Operation, CORBA::dk_Attribute})
    if (!store_->IRInheritedName(id_handle(), name, kind).empty()) return true;
  return false;
}

CORBA::AttributeDef_ptr CORBA_InterfaceDef_Impl::create_attribute(
    const char* id, const char* name, const char* version,
    CORBA::IDLType_ptr type, CORBA::AttributeMode mode) {
  return ir_create_attribute(
      this, own_id(), kAttributeTexts,
      [this](const char* n) { return inherits_name(n); }, id, name, version,
      type, mode);
}

CORBA::OperationDef_ptr CORBA_InterfaceDef_Impl::create_operation(
    const char* id, const char* name, const char* version,
    CORBA::IDLType_ptr result, CORBA::OperationMode mode,
    const CORBA::ParDescriptionSeq& params,
    const CORBA::ExceptionDefSeq& exceptions,
    const CORBA::ContextIdSeq& contexts) {
  return ir_create_operation(
      this, own_id(), kOperationTexts,
      [this](const char* n) { return inherits_name(n); }, id, name, version,
      result, mode, params, exceptions, contexts);
}

// --- descriptions ----------------------------------------------------------

CORBA::Contained::Description* CORBA_InterfaceDef_Impl::describe() {
  CORBA::InterfaceDescription desc;
  desc.name = own_name();
  desc.id = own_id();
  desc.defined_in = described_defined_in();
  desc.version = own_version();
  desc.base_interfaces = ids_of(bases_);
  CORBA::Contained::Description_var d = new CORBA::Contained::Description;
  d->kind = def_kind_;
  d->value <<= desc;
  return d._retn();
}

CORBA::InterfaceDef::FullInterfaceDescription*
CORBA_InterfaceDef_Impl::describe_interface() {
  const std::uint64_t now = ir_change_generation();
  if (description_.get() && description_generation_ == now)
    return new CORBA::InterfaceDef::FullInterfaceDescription(*description_);
  CORBA::InterfaceDef::FullInterfaceDescription_var full =
      new CORBA::InterfaceDef::FullInterfaceDescription;
  full->name = own_name();
  full->id = own_id();
  full->version = own_version();
  full->defined_in = described_defined_in();
  full->type = CORBA_IDLType_Impl::type();
  full->base_interfaces = ids_of(bases_);
  full->operations.length(0);
  full->attributes.length(0);
  ir_describe_own_members(
      store_, own_id(), full->operations, full->attributes,
      [](const CORBA::AttributeDescription& a) { return a; });
  description_.reset(new CORBA::InterfaceDef::FullInterfaceDescription(full));
  description_generation_ = now;
  return full._retn();
}

IRExt::ExtFullInterfaceDescription*
CORBA_InterfaceDef_Impl::describe_ext_interface() {
  IRExt::ExtFullInterfaceDescription_var full =
      new IRExt::ExtFullInterfaceDescription;
  full->name = own_name();
  full->id = own_id();
  full->defined_in = described_defined_in();
  full->version = own_version();
  full->base_interfaces = ids_of(bases_);
  full->type = CORBA_IDLType_Impl::type();
  full->operations.length(0);
  full->attributes.length(0);

  // Every interface of the inheritance graph once, each after all of its
  // bases, the bases of one interface in their declared order; this
  // interface comes last.
  std::vector<std::string> order;
  std::unordered_set<std::string> seen;
  std::function<void(const std::string&)> visit = [&](const std::string& id) {
    if (!seen.insert(id).second) return;
    IdList bases = ir_store_call(kFile, __LINE__, id.c_str(), [&] {
      return store_->IRBases(StoreHandle(id));
    });
    for (const std::string& base : bases) visit(base);
    order.push_back(id);
  };
  visit(own_id());

  for (const std::string& id : order)
    ir_describe_own_members(store_, id, full->operations, full->attributes,
                            [](const CORBA::AttributeDescription& a) {
                              IRExt::ExtAttributeDescription ext;
                              ext.name = a.name;
                              ext.id = a.id;
                              ext.defined_in = a.defined_in;
                              ext.version = a.version;
                              ext.type = a.type;
                              ext.mode = a.mode;
                              ext.get_exceptions.length(0);
                              ext.put_exceptions.length(0);
                              return ext;
                            });
  return full._retn();
}

CORBA::InterfaceDefSeq* CORBA_InterfaceDef_Impl::ext_interface_children() {
  IdList ids = ir_store_call(kFile, __LINE__,
                             "CORBA::InterfaceDef::ext_interface_children",
                             [&] { return store_->IRDerived(id_handle()); });
  CORBA::InterfaceDefSeq_var out = new CORBA::InterfaceDefSeq;
  out->length(0);
  for (const std::string& id : ids) {
    Servant_ref<CORBA_Contained_Impl> s(
        ir_fetch_object(store_, id, kFile, __LINE__, id.c_str()));
    // Value types that support this interface are not its children.
    if (!s.in() || !is_interface_kind(s->def_kind(), false)) continue;
    CORBA::ULong n = out->length();
    out->length(n + 1);
    out[n] = ir_ref_as<CORBA::InterfaceDef>(s.in());
  }
  return out._retn();
}

// --- id and name -----------------------------------------------------------

void CORBA_InterfaceDef_Impl::id(const char* new_id) {
  if (!new_id) kaldBadArgument(kFile, __LINE__, kIdText);
  bool used = ir_store_call(kFile, __LINE__, kIdText, [&] {
    return store_->IRExists(StoreHandle(new_id));
  });
  if (used) ir_report_clash(kFile, __LINE__, kIdText);
  // The referring operations and attributes take their TypeCodes from
  // this interface while the change runs: they must see the new one.
  CORBA::TypeCode_var old_tc = CORBA_IDLType_Impl::type();
  cached_tc_ = make_typecode(new_id, own_name());
  try {
    CORBA_Contained_Impl::id(new_id);
  } catch (...) {
    cached_tc_ = old_tc._retn();
    throw;
  }
}

void CORBA_InterfaceDef_Impl::name(const char* new_name) {
  CORBA_Contained_Impl::name(new_name);
  CORBA_IDLType_Impl::type(make_typecode(own_id(), own_name()));
}

// --- records ---------------------------------------------------------------

void CORBA_InterfaceDef_Impl::changeID(const char* old_id, const char* new_id) {
  int changed = 0;
  for (CORBA::ULong i = 0; i < bases_.length(); ++i) {
    if (!ir_names_changing_id(bases_[i], old_id, new_id)) continue;
    Servant_ref<CORBA_IRObject_Impl> renamed(ir_servant_for_oid(new_id));
    CORBA::Object_var ref =
        renamed.in() ? renamed->_ref()
                     : ir_make_reference(new_id, CORBA::dk_Interface);
    bases_[i] = CORBA::InterfaceDef::_unchecked_narrow(ref);
    ++changed;
  }
  if (changed == 0)
    kaldError(IR_MINOR_NOTHING_CHANGED, CORBA::COMPLETED_NO, kFile, __LINE__,
              nullptr, 0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::InterfaceDef::changeID(...)", 0);
}

void CORBA_InterfaceDef_Impl::object_to_stream(Encapsulation& e) {
  CORBA_Contained_Impl::object_to_stream(e);
  // Bases that have been destroyed since are left out.
  std::vector<Servant_ref<CORBA_IRObject_Impl>> bases;
  for (CORBA::ULong i = 0; i < bases_.length(); ++i) {
    Servant_ref<CORBA_IRObject_Impl> s(ir_servant_of(bases_[i]));
    if (CORBA_Contained_Impl::_narrow(s.in())) bases.push_back(std::move(s));
  }
  e.put_ulong(static_cast<CORBA::ULong>(bases.size()));
  for (const auto& s : bases)
    CORBA_Contained_Impl::_narrow(s.in())->stream_in_line(e);
}

void CORBA_InterfaceDef_Impl::stream_to_object(const char* name, const char* id,
                                               Encapsulation& e) {
  CORBA_Contained_Impl::stream_to_object(name, id, e);
  CORBA::ULong n = e.get_ulong();
  CORBA::InterfaceDefSeq bases;
  bases.length(0);
  for (CORBA::ULong i = 0; i < n; ++i) {
    CORBA::Contained_var c = get_next_contained(e, store_);
    CORBA::ULong len = bases.length();
    bases.length(len + 1);
    bases[len] = CORBA::InterfaceDef::_unchecked_narrow(c);
  }
  bases_ = bases;
  CORBA_IDLType_Impl::type(make_typecode(own_id(), own_name()));
}

void CORBA_InterfaceDef_Impl::stream_in_line(Encapsulation& e) {
  CORBA_Contained_Impl::stream_in_line(e);
}
