#include "ir/containr.h"

#include <cstring>
#include <unordered_set>

#include "ir/abstradf.h"
#include "ir/aliasdf.h"
#include "ir/anontype.h"
#include "ir/attribdf.h"
#include "ir/constdf.h"
#include "ir/containd.h"
#include "ir/enumdf.h"
#include "ir/exceptdf.h"
#include "ir/interfdf.h"
#include "ir/moduledf.h"
#include "ir/nativedf.h"
#include "ir/reply_limit.h"
#include "ir/reposito.h"
#include "ir/servant_locator.h"
#include "ir/structdf.h"
#include "ir/typeuse.h"
#include "ir/uniondf.h"
#include "ir/valuebdf.h"
#include "ir/valuedf.h"
#include "store/store_handle.h"

namespace {
const char kFile[] = "lib/ir/containr";
constexpr std::size_t kMaxNameLength = 254;

// Step 2 of every create operation.
void check_name_length(const char* name, const char* text) {
  if (std::strlen(name) > kMaxNameLength)
    kaldBadArgument(kFile, __LINE__, text);
}
}  // namespace

bool TransOn = false;

void ir_check_limit_type(CORBA::DefinitionKind limit_type, const char* file,
                         int line, const char* text) {
  CORBA::ULong k = static_cast<CORBA::ULong>(limit_type);
  if (k > static_cast<CORBA::ULong>(CORBA::dk_AbstractInterface) ||
      limit_type == CORBA::dk_Fixed)
    kaldBadArgument(file, line, text);
}

void ir_drop_derived_contents_caches(IRStore* store, const std::string& id) {
  std::vector<std::string> pending{id};
  std::unordered_set<std::string> seen;
  while (!pending.empty()) {
    std::string current = std::move(pending.back());
    pending.pop_back();
    IdList derived = ir_store_call(kFile, __LINE__, current.c_str(), [&] {
      return store->IRDerived(StoreHandle(current));
    });
    for (std::string& d : derived) {
      if (!seen.insert(d).second) continue;
      Servant_ref<CORBA_Contained_Impl> s(irobj_get_from_cache(d.c_str()));
      if (auto* c = dynamic_cast<CORBA_Container_Impl*>(s.in()))
        c->drop_contents_cache();
      pending.push_back(std::move(d));
    }
  }
}

std::vector<Servant_ref<CORBA_Contained_Impl>> ir_own_members(
    IRStore* store, const std::string& container, CORBA::DefinitionKind kind) {
  IdList ids = ir_store_call(kFile, __LINE__, container.c_str(), [&] {
    return store->IRChildren(StoreHandle(container), kind);
  });
  std::vector<Servant_ref<CORBA_Contained_Impl>> out;
  out.reserve(ids.size());
  for (const std::string& id : ids) {
    Servant_ref<CORBA_Contained_Impl> s(
        ir_fetch_object(store, id, kFile, __LINE__, id.c_str()));
    if (s.in()) out.push_back(std::move(s));
  }
  return out;
}

void ir_refuse_create(const char* file, int line) {
  kaldError(IR_MINOR_NOT_SUPPORTED, CORBA::COMPLETED_NO, file, line, nullptr, 0,
            0);
}

CORBA_Container_Impl::CORBA_Container_Impl() = default;
CORBA_Container_Impl::~CORBA_Container_Impl() = default;

CORBA_IRObject_Impl* CORBA_Container_Impl::_has_kind_container(
    CORBA::DefinitionKind kind) {
  switch (kind) {
    case CORBA::dk_Exception:
    case CORBA::dk_Interface:
    case CORBA::dk_Module:
    case CORBA::dk_Struct:
    case CORBA::dk_Union:
    case CORBA::dk_Repository:
    case CORBA::dk_Value:
    case CORBA::dk_AbstractInterface:
      return this;
    default:
      return nullptr;
  }
}

CORBA_Container_Impl* CORBA_Container_Impl::_narrow(CORBA_IRObject_Impl* p) {
  if (!p) return nullptr;
  if (!p->_has_kind_container(p->def_kind()))
    kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, __LINE__, nullptr,
              0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::Container::_narrow", 0);
  return dynamic_cast<CORBA_Container_Impl*>(p);
}

char* CORBA_Container_Impl::repid_from_container() {
  return CORBA::string_dup(container_id());
}

// --- lookups -----------------------------------------------------------------

CORBA::Contained_ptr CORBA_Container_Impl::lookup(const char* search_name,
                                                  const char* container_id) {
  if (!search_name)
    kaldBadArgument(kFile, __LINE__, "CORBA::Container::lookup::null_input");
  std::string name = search_name;
  // The built-in Object interface lives at the top under its simple name.
  if (name == "::CORBA::Object") name = "::Object";
  std::string start =
      name.compare(0, 2, "::") == 0 ? repository_base_rep_id : container_id;
  std::unique_ptr<StoreHandle> current(new StoreHandle(start));
  bool any = false;
  std::size_t pos = 0;
  while (pos < name.size()) {
    std::size_t begin = name.find_first_not_of(':', pos);
    if (begin == std::string::npos) break;
    std::size_t end = name.find(':', begin);
    if (end == std::string::npos) end = name.size();
    std::string component = name.substr(begin, end - begin);
    pos = end;
    current = is_name_in_contents(component.c_str(), *current);
    if (!current) return CORBA::Contained::_nil();
    any = true;
  }
  if (!any) return CORBA::Contained::_nil();
  Servant_ref<CORBA_Contained_Impl> found(ir_fetch_object(
      store_, current->key_string(), kFile, __LINE__, current->key()));
  return ir_ref_as<CORBA::Contained>(found.in());
}

CORBA::ContainedSeq* CORBA_Container_Impl::read_contents(
    CORBA::DefinitionKind limit_type, CORBA::Boolean exclude_inherited,
    const char* container_id) {
  ir_check_limit_type(limit_type, kFile, __LINE__,
                      "CORBA::Container::contents::limit_type");
  StoreHandle h(container_id);
  IdList ids = ir_store_call(kFile, __LINE__, container_id, [&] {
    return store_->IRContents(h, limit_type, exclude_inherited, -1);
  });
  return ir_contained_seq(store_, ids, kFile, __LINE__, container_id);
}

namespace {
CORBA_Container_Impl::CacheEntry entry_of(CORBA_Contained_Impl* c) {
  return CORBA_Container_Impl::CacheEntry{c->own_name(), c->own_id(),
                                          c->def_key(), c->def_kind(),
                                          c->own_defined_in()};
}
}  // namespace

void CORBA_Container_Impl::fill_contents_cache() {
  contents_cache_.clear();
  contents_by_name_.clear();
  StoreHandle h(container_id());
  IdList ids = ir_store_call(kFile, __LINE__, container_id(), [&] {
    return store_->IRContents(h, CORBA::dk_all, false, -1);
  });
  std::vector<StoreRef> refs = ir_store_call(
      kFile, __LINE__, container_id(), [&] { return store_->IRRefsOf(ids); });
  contents_cache_.reserve(refs.size());
  for (StoreRef& r : refs) {
    auto kind = static_cast<CORBA::DefinitionKind>(r.kind);
    if (!is_contained_def_kind(kind)) continue;
    append_to_cache(CacheEntry{std::move(r.name), std::move(r.id), r.key, kind,
                               std::move(r.parent)});
  }
  contents_cached_ = true;
}

void CORBA_Container_Impl::append_to_cache(CacheEntry entry) {
  contents_by_name_.emplace(entry.name, contents_cache_.size());
  contents_cache_.push_back(std::move(entry));
}

void CORBA_Container_Impl::cache_contents() {
  if (dont_use_contents_cache) drop_contents_cache();
  if (!contents_cached_) fill_contents_cache();
}

void CORBA_Container_Impl::drop_contents_cache() {
  contents_cached_ = false;
  contents_cache_.clear();
  contents_by_name_.clear();
}

CORBA::ContainedSeq* CORBA_Container_Impl::contents(
    CORBA::DefinitionKind limit_type, CORBA::Boolean exclude_inherited,
    const char*) {
  ir_check_limit_type(limit_type, kFile, __LINE__,
                      "CORBA::Container::contents::limit_type");
  cache_contents();
  // Only interfaces and value types inherit contents.
  bool exclude =
      exclude_inherited && (def_kind_ == CORBA::dk_Interface ||
                            def_kind_ == CORBA::dk_AbstractInterface ||
                            def_kind_ == CORBA::dk_Value);
  const char* own = container_id();
  CORBA::ContainedSeq_var out = new CORBA::ContainedSeq;
  out->length(0);
  out->length(static_cast<CORBA::ULong>(contents_cache_.size()));
  CORBA::ULong n = 0;
  for (const CacheEntry& e : contents_cache_) {
    if (limit_type != CORBA::dk_all && limit_type != e.kind) continue;
    if (exclude && e.defined_in != own) continue;
    CORBA::Object_var obj = ir_reference_for_key(e.key, e.kind);
    out[n++] = CORBA::Contained::_unchecked_narrow(obj);
  }
  out->length(n);
  ir_check_reply_size(out.in(), "CORBA::Container::contents");
  return out._retn();
}

std::unique_ptr<StoreHandle> CORBA_Container_Impl::is_name_in_contents(
    const char* name) {
  if (!dont_use_contents_cache) {
    cache_contents();
    auto it = contents_by_name_.find(name);
    if (it != contents_by_name_.end())
      return std::unique_ptr<StoreHandle>(
          new StoreHandle(contents_cache_[it->second].id));
  }
  // A miss asks the store (by its name index), so that a definition added
  // through another servant is still found.
  StoreHandle h(container_id());
  IdList ids = ir_store_call(kFile, __LINE__, name, [&] {
    return store_->IRLookupName(h, name, 1, CORBA::dk_all, false);
  });
  if (ids.empty()) return nullptr;
  if (!dont_use_contents_cache && contents_cached_) {
    Servant_ref<CORBA_Contained_Impl> s(
        ir_fetch_object(store_, ids[0], kFile, __LINE__, name));
    if (s.in() && contents_by_name_.find(name) == contents_by_name_.end())
      append_to_cache(entry_of(s.in()));
  }
  return std::unique_ptr<StoreHandle>(new StoreHandle(ids[0]));
}

std::unique_ptr<StoreHandle> CORBA_Container_Impl::is_name_in_contents(
    const char* name, const StoreHandle& container) {
  Servant_ref<CORBA_Container_Impl> c(container_from_sh(container));
  return c->is_name_in_contents(name);
}

void CORBA_Container_Impl::add_to_contents(CORBA_Contained_Impl* c) {
  if (dont_use_contents_cache || !contents_cached_) return;
  if (contents_by_name_.find(c->own_name()) != contents_by_name_.end()) return;
  append_to_cache(entry_of(c));
}

CORBA_Container_Impl* CORBA_Container_Impl::container_from_sh(
    const StoreHandle& h) {
  CORBA_Repository_Impl* root = get_repository_impl();
  CORBA_Container_Impl* result = nullptr;
  if (std::strcmp(h.key(), repository_base_rep_id) == 0) {
    root->_add_ref();
    result = root;
  } else {
    Servant_ref<CORBA_Contained_Impl> s(ir_fetch_object(
        root->get_irs(), h.key_string(), kFile, __LINE__, h.key()));
    if (s.in() && s->_has_kind_container(s->def_kind())) {
      result = dynamic_cast<CORBA_Container_Impl*>(s.in());
      if (result) result->_add_ref();
    }
  }
  if (!result)
    kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, __LINE__, nullptr,
              0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::Container::container_from_sh", 0);
  return result;
}

void CORBA_Container_Impl::clear_cache_contents(const char* container_id) {
  Servant_ref<CORBA_Container_Impl> c;
  try {
    c = container_from_sh(StoreHandle(container_id));
  } catch (const CORBA::INTF_REPOS&) {
    kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, __LINE__, nullptr,
              0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::Container::clear_cache_contents", 0);
  }
  c->drop_contents_cache();
}

void CORBA_Container_Impl::clear_children_cache_contents(
    const char* container_id) {
  StoreHandle h(container_id);
  IdList children = ir_store_call(kFile, __LINE__, container_id, [&] {
    return store_->IRChildren(h, CORBA::dk_all);
  });
  for (const std::string& child : children) {
    int kind = ir_store_call(kFile, __LINE__, child.c_str(), [&] {
      return store_->IRKindOf(StoreHandle(child));
    });
    // Only containers have a contents cache.
    if (!_has_kind_container(static_cast<CORBA::DefinitionKind>(kind)))
      continue;
    clear_cache_contents(child.c_str());
    clear_children_cache_contents(child.c_str());
  }
}

CORBA::ContainedSeq* CORBA_Container_Impl::lookup_name(
    const char* search_name, CORBA::Long levels_to_search,
    CORBA::DefinitionKind limit_type, CORBA::Boolean exclude_inherited,
    const char* container_id) {
  ir_check_limit_type(limit_type, kFile, __LINE__,
                      "CORBA::Container::lookup_name::limit_type");
  if (!search_name)
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::lookup_name::limit_type");
  StoreHandle h(container_id);
  IdList ids = ir_store_call(kFile, __LINE__, container_id, [&] {
    return store_->IRLookupName(h, search_name, levels_to_search, limit_type,
                                exclude_inherited);
  });
  CORBA::ContainedSeq_var out =
      ir_contained_seq(store_, ids, kFile, __LINE__, container_id);
  ir_check_reply_size(out.in(), "CORBA::Container::lookup_name");
  return out._retn();
}

CORBA::Container::DescriptionSeq* CORBA_Container_Impl::describe_contents(
    CORBA::DefinitionKind limit_type, CORBA::Boolean exclude_inherited,
    CORBA::Long max_returned_objs, const char* container_id) {
  ir_check_limit_type(limit_type, kFile, __LINE__,
                      "CORBA::Container::describe_contents::limit_type");
  StoreHandle h(container_id);
  IdList ids = ir_store_call(kFile, __LINE__, container_id, [&] {
    return store_->IRContents(h, limit_type, exclude_inherited,
                              max_returned_objs);
  });
  CORBA::Container::DescriptionSeq_var out =
      new CORBA::Container::DescriptionSeq;
  out->length(0);
  for (const std::string& id : ids) {
    Servant_ref<CORBA_Contained_Impl> s(
        ir_fetch_object(store_, id, kFile, __LINE__, id.c_str()));
    if (!s.in()) continue;
    CORBA::Contained::Description_var d = s->describe();
    CORBA::ULong n = out->length();
    out->length(n + 1);
    out[n].contained_object = ir_ref_as<CORBA::Contained>(s.in());
    out[n].kind = d->kind;
    out[n].value = d->value;
  }
  ir_check_reply_size(out.in(), "CORBA::Container::describe_contents");
  return out._retn();
}

// --- creation ---------------------------------------------------------------

template <class Build, class After>
CORBA_Contained_Impl* CORBA_Container_Impl::create_common(
    const char* id, const char* name, const char* container_id,
    const char* context, Build&& build, After&& after) {
  StoreHandle container(container_id);
  Servant_ref<CORBA_Contained_Impl> servant;
  ir_in_update(store_, kFile, __LINE__, context, [&](IrUpdate& update) {
    if (!TransOn && store_->IRChildByName(container, name)) {
      update.cancel();
      ir_throw_bad_param(3, kFile, __LINE__, context);
    }
    servant = build();
    if (!servant.in()) {
      update.cancel();
      kaldNoMemory(kFile, __LINE__);
    }
    store_->IRInsertObject(servant.in());
    after(servant.in());
  });
  irobj_put_in_cache(id, servant.in());
  add_to_contents(servant.in());
  return servant._retn();
}

namespace {
void no_after(CORBA_Contained_Impl*) {}
}  // namespace

template <class Impl>
CORBA_Contained_Impl* CORBA_Container_Impl::create_plain(
    const char* id, const char* name, const char* version,
    const char* container_id, const char* context) {
  if (!id || !name || !version)
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_module::null_input");
  check_name_length(name, "CORBA::Container::create_module::name");
  return create_common(
      id, name, container_id, context,
      [&] { return new Impl(id, name, version, container_id); }, no_after);
}

CORBA::ModuleDef_ptr CORBA_Container_Impl::create_module(
    const char* id, const char* name, const char* version,
    const char* container_id) {
  Servant_ref<CORBA_Contained_Impl> s(create_plain<CORBA_ModuleDef_Impl>(
      id, name, version, container_id, "CORBA::Container::create_module"));
  return ir_ref_as<CORBA::ModuleDef>(s.in());
}

CORBA::InterfaceDef_ptr CORBA_Container_Impl::create_interface(
    const char* id, const char* name, const char* version,
    const CORBA::InterfaceDefSeq& base_interfaces, const char* container_id) {
  if (!id || !name || !version)
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_interface::null_input");
  check_name_length(name, "CORBA::Container::create_interface::name");
  CORBA_InterfaceDef_Impl::check_base_list(
      base_interfaces, false, kFile, __LINE__,
      "CORBA::Container::create_interface::base_interfaces");
  CORBA::InterfaceDefSeq bases = base_interfaces;
  if (bases.length() == 0) {
    CORBA_Repository_Impl::init_Object_interface_ptr();
    bases.length(1);
    bases[0] = CORBA::InterfaceDef::_duplicate(Object_interface_ptr);
  }
  Servant_ref<CORBA_Contained_Impl> s(create_common(
      id, name, container_id, "CORBA::Container::create_interface",
      [&] {
        CORBA::TypeCode_var tc = ir_orb()->create_interface_tc(id, name);
        return new CORBA_InterfaceDef_Impl(id, name, version, container_id,
                                           tc._retn());
      },
      [&](CORBA_Contained_Impl* c) {
        CORBA_InterfaceDef_Impl::interface_view(c)->set_bases(bases);
        c->write_record();
      }));
  return ir_ref_as<CORBA::InterfaceDef>(s.in());
}

namespace {
// The named type behind `type` as a list of at most one use.
std::vector<std::string> uses_of(CORBA::IDLType_ptr type) {
  std::string id;
  if (ir_named_type_id(type, id) && !id.empty()) return {id};
  return {};
}
}  // namespace

CORBA::AbstractInterfaceDef_ptr
CORBA_Container_Impl::create_abstract_interface_i(
    const char* id, const char* name, const char* version,
    const CORBA::AbstractInterfaceDefSeq& base_interfaces,
    const char* container_id) {
  if (!id || !name || !version)
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_abstract_interface::null_input");
  check_name_length(name, "CORBA::Container::create_abstract_interface::name");
  CORBA::InterfaceDefSeq bases;
  bases.length(base_interfaces.length());
  for (CORBA::ULong i = 0; i < base_interfaces.length(); ++i)
    bases[i] = CORBA::InterfaceDef::_duplicate(base_interfaces[i]);
  CORBA_InterfaceDef_Impl::check_base_list(
      bases, true, kFile, __LINE__,
      "CORBA::Container::create_abstract_interface::base_interfaces");
  // No bases means no bases here: an abstract interface does not derive
  // from Object.
  Servant_ref<CORBA_Contained_Impl> s(create_common(
      id, name, container_id, "CORBA::Container::create_abstract_interface",
      [&] {
        CORBA::TypeCode_var tc =
            CORBA_AbstractInterfaceDef_Impl::abstract_typecode(id, name);
        return new CORBA_AbstractInterfaceDef_Impl(id, name, version,
                                                   container_id, tc._retn());
      },
      [&](CORBA_Contained_Impl* c) {
        CORBA_InterfaceDef_Impl::interface_view(c)->set_bases(bases);
        c->write_record();
      }));
  return ir_ref_as<CORBA::AbstractInterfaceDef>(s.in());
}

CORBA::ConstantDef_ptr CORBA_Container_Impl::create_constant(
    const char* id, const char* name, const char* version,
    CORBA::IDLType_ptr type, const CORBA::Any& value,
    const char* container_id) {
  if (!id || !name || !version || CORBA::is_nil(type))
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_constant::null_input");
  check_name_length(name, "CORBA::Container::create_constant::name");
  if (!ck_idltype(ir_type_kind(type)))
    ir_throw_bad_param(4, kFile, __LINE__, "CORBA::Container::create_constant");
  if (CORBA_ConstantDef_Impl::type_refusal(type, true))
    kaldBadArgument(kFile, __LINE__, "CORBA::Container::create_constant::type");
  CORBA::TypeCode_var type_tc = ir_type_of(type);
  CORBA::TypeCode_var value_tc = value.type();
  if (CORBA::is_nil(type_tc.in()) || !value_tc->equal(type_tc))
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_constant::value");
  Servant_ref<CORBA_Contained_Impl> s(create_common(
      id, name, container_id, "CORBA::Container::create_constant",
      [&] {
        return new CORBA_ConstantDef_Impl(id, name, version, container_id, type,
                                          &value);
      },
      no_after));
  return ir_ref_as<CORBA::ConstantDef>(s.in());
}

CORBA::StructDef_ptr CORBA_Container_Impl::create_struct(
    const char* id, const char* name, const char* version,
    const CORBA::StructMemberSeq& members, const char* container_id) {
  const char* const context = "CORBA::Container::create_struct";
  if (!id || !name || !version || members.length() == 0)
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_struct::null_input");
  check_name_length(name, "CORBA::Container::create_struct::name");
  if (!ir_members_complete(members))
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_struct::members");
  if (!ir_member_kinds_ok(members))
    ir_throw_bad_param(4, kFile, __LINE__, context);
  // Clients send the member types as tk_void: they are filled from the
  // type definitions before any TypeCode is built.
  CORBA::StructMemberSeq filled(members);
  std::vector<std::string> uses;
  if (!ir_fill_member_types(filled,
                            ir_recursion_scope(store_, id, container_id), uses))
    ir_throw_bad_param(4, kFile, __LINE__, context);
  Servant_ref<CORBA_Contained_Impl> s(create_common(
      id, name, container_id, context,
      [&] {
        CORBA::TypeCode_var tc = ir_orb()->create_struct_tc(id, name, filled);
        return new CORBA_StructDef_Impl(id, name, version, container_id, filled,
                                        tc._retn());
      },
      [&](CORBA_Contained_Impl* c) {
        ir_replace_uses(store_, c->id_handle(), {}, uses);
      }));
  return ir_ref_as<CORBA::StructDef>(s.in());
}

CORBA::UnionDef_ptr CORBA_Container_Impl::create_union(
    const char* id, const char* name, const char* version,
    CORBA::IDLType_ptr discriminator_type, const CORBA::UnionMemberSeq& members,
    const char* container_id) {
  const char* const context = "CORBA::Container::create_union";
  if (!id || !name || !version || CORBA::is_nil(discriminator_type) ||
      members.length() == 0)
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_union::null_input");
  check_name_length(name, "CORBA::Container::create_union::name");
  if (!ck_idltype(ir_type_kind(discriminator_type)))
    ir_throw_bad_param(4, kFile, __LINE__, context);
  if (CORBA_UnionDef_Impl::discriminator_refusal(discriminator_type))
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_union::discriminator_type");
  if (!ir_member_kinds_ok(members))
    ir_throw_bad_param(4, kFile, __LINE__, context);
  if (!ir_members_complete(members))
    kaldBadArgument(kFile, __LINE__, "CORBA::Container::create_union::members");
  CORBA::TypeCode_var disc_tc = ir_type_of(discriminator_type);
  for (CORBA::ULong i = 0; i < members.length(); ++i)
    if (!CORBA_UnionDef_Impl::label_fits(members[i].label, disc_tc))
      kaldBadArgument(kFile, __LINE__,
                      "CORBA::Container::create_union::members.label");
  CORBA::UnionMemberSeq filled(members);
  std::vector<std::string> uses;
  if (!ir_fill_member_types(filled,
                            ir_recursion_scope(store_, id, container_id), uses))
    ir_throw_bad_param(4, kFile, __LINE__, context);
  if (ir_type_kind(discriminator_type) == CORBA::dk_Enum) {
    std::vector<std::string> disc = uses_of(discriminator_type);
    uses.insert(uses.begin(), disc.begin(), disc.end());
  }
  Servant_ref<CORBA_Contained_Impl> s(create_common(
      id, name, container_id, context,
      [&] {
        // The ORB refuses lists it cannot describe, such as duplicate
        // labels: the update is then cancelled.
        CORBA::TypeCode_var tc =
            ir_orb()->create_union_tc(id, name, disc_tc, filled);
        return new CORBA_UnionDef_Impl(id, name, version, container_id,
                                       discriminator_type, filled, tc._retn());
      },
      [&](CORBA_Contained_Impl* c) {
        ir_replace_uses(store_, c->id_handle(), {}, uses);
      }));
  return ir_ref_as<CORBA::UnionDef>(s.in());
}

CORBA::EnumDef_ptr CORBA_Container_Impl::create_enum(
    const char* id, const char* name, const char* version,
    const CORBA::EnumMemberSeq& members, const char* container_id) {
  if (!id || !name || !version || members.length() == 0)
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_enum::null_input");
  check_name_length(name, "CORBA::Container::create_enum::name");
  if (CORBA_EnumDef_Impl::members_refusal(members))
    kaldBadArgument(kFile, __LINE__, "CORBA::Container::create_enum::members");
  Servant_ref<CORBA_Contained_Impl> s(create_common(
      id, name, container_id, "CORBA::Container::create_enum",
      [&] {
        CORBA::TypeCode_var tc = ir_orb()->create_enum_tc(id, name, members);
        return new CORBA_EnumDef_Impl(id, name, version, container_id, members,
                                      tc._retn());
      },
      no_after));
  return ir_ref_as<CORBA::EnumDef>(s.in());
}

template <class Impl, class Traits, class Refuse>
CORBA_Contained_Impl* CORBA_Container_Impl::create_with_original(
    const char* id, const char* name, const char* version,
    CORBA::IDLType_ptr original_type, const char* container_id,
    const char* context, Refuse&& refuse) {
  CORBA::TypeCode_var original = ir_use_typecode(
      original_type, ir_recursion_scope(store_, id, container_id));
  if (CORBA::is_nil(original.in())) refuse();
  std::vector<std::string> uses = uses_of(original_type);
  return create_common(
      id, name, container_id, context,
      [&] {
        CORBA::TypeCode_var tc = Traits::make_tc(id, name, original);
        return new Impl(id, name, version, container_id, original_type,
                        tc._retn());
      },
      [&](CORBA_Contained_Impl* c) {
        ir_replace_uses(store_, c->id_handle(), {}, uses);
      });
}

CORBA::AliasDef_ptr CORBA_Container_Impl::create_alias(
    const char* id, const char* name, const char* version,
    CORBA::IDLType_ptr original_type, const char* container_id) {
  const char* const context = "CORBA::Container::create_alias";
  if (!id || !name || !version || CORBA::is_nil(original_type))
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_alias::null_input");
  if (!ck_idltype(ir_type_kind(original_type)))
    ir_throw_bad_param(4, kFile, __LINE__, context);
  check_name_length(name, "CORBA::Container::create_alias::name");
  Servant_ref<CORBA_Contained_Impl> s(
      create_with_original<CORBA_AliasDef_Impl, IrAliasTraits>(
          id, name, version, original_type, container_id, context,
          [&] { ir_throw_bad_param(4, kFile, __LINE__, context); }));
  return ir_ref_as<CORBA::AliasDef>(s.in());
}

CORBA::ExceptionDef_ptr CORBA_Container_Impl::create_exception(
    const char* id, const char* name, const char* version,
    const CORBA::StructMemberSeq& members, const char* container_id) {
  const char* const context = "CORBA::Container::create_exception";
  if (!id || !name || !version)
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_exception::null_input");
  check_name_length(name, "CORBA::Container::create_exception::name");
  if (!ir_members_complete(members))
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_exception::members");
  std::vector<std::string> uses;
  if (!ir_member_kinds_ok(members) || !ir_member_uses(members, uses))
    ir_throw_bad_param(4, kFile, __LINE__, context);
  Servant_ref<CORBA_Contained_Impl> s(create_common(
      id, name, container_id, context,
      [&] {
        return new CORBA_ExceptionDef_Impl(id, name, version, container_id,
                                           members);
      },
      [&](CORBA_Contained_Impl* c) {
        ir_replace_uses(store_, c->id_handle(), {}, uses);
      }));
  return ir_ref_as<CORBA::ExceptionDef>(s.in());
}

CORBA::ValueDef_ptr CORBA_Container_Impl::create_value_i(
    const char* id, const char* name, const char* version,
    CORBA::Boolean is_custom, CORBA::Boolean is_abstract,
    CORBA::ValueDef_ptr base_value, CORBA::Boolean is_truncatable,
    const CORBA::ValueDefSeq& abstract_base_values,
    const CORBA::InterfaceDefSeq& supported_interfaces,
    const CORBA::InitializerSeq& initializers, const char* container_id) {
  const char* const context = "CORBA::Container::create_value";
  if (!id || !name || !version)
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_value::null_input");
  check_name_length(name, "CORBA::Container::create_value::name");
  if (!CORBA_ValueDef_Impl::supported_interfaces_ok(supported_interfaces))
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_value::supported_interfaces");
  if (!CORBA_ValueDef_Impl::abstract_bases_ok(abstract_base_values))
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_value::abstract_base_values");
  // The types that the value type names: its base and the members of its
  // initializers.
  if (!CORBA::is_nil(base_value) &&
      ir_kind_behind(base_value) != CORBA::dk_Value)
    ir_throw_bad_param(4, kFile, __LINE__, context);
  for (CORBA::ULong i = 0; i < initializers.length(); ++i) {
    std::vector<std::string> uses;
    if (!ir_member_kinds_ok(initializers[i].members) ||
        !ir_member_uses(initializers[i].members, uses))
      ir_throw_bad_param(4, kFile, __LINE__, context);
  }
  Servant_ref<CORBA_Contained_Impl> s(create_common(
      id, name, container_id, context,
      [&] {
        // The ORB refuses names that are not identifiers: the update is
        // then cancelled.
        CORBA::TypeCode_var tc = CORBA_ValueDef_Impl::initial_typecode(
            id, name,
            CORBA_ValueDef_Impl::modifier_of(is_custom, is_abstract,
                                             is_truncatable),
            base_value);
        return new CORBA_ValueDef_Impl(
            id, name, version, container_id, is_custom, is_abstract, base_value,
            is_truncatable, abstract_base_values, supported_interfaces,
            initializers, tc._retn());
      },
      [&](CORBA_Contained_Impl* c) {
        CORBA_ValueDef_Impl::_narrow(c)->add_links();
      }));
  return ir_ref_as<CORBA::ValueDef>(s.in());
}

CORBA::ValueBoxDef_ptr CORBA_Container_Impl::create_value_box_i(
    const char* id, const char* name, const char* version,
    CORBA::IDLType_ptr original_type_def, const char* container_id) {
  const char* const context = "CORBA::Container::create_value_box";
  auto refuse_type = [] {
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_value_box::original_type");
  };
  if (!id || !name || !version || CORBA::is_nil(original_type_def))
    kaldBadArgument(kFile, __LINE__,
                    "CORBA::Container::create_value_box::null_input");
  if (!ck_idltype(ir_type_kind(original_type_def))) refuse_type();
  check_name_length(name, "CORBA::Container::create_value_box::name");
  Servant_ref<CORBA_Contained_Impl> s(
      create_with_original<CORBA_ValueBoxDef_Impl, IrValueBoxTraits>(
          id, name, version, original_type_def, container_id, context,
          refuse_type));
  return ir_ref_as<CORBA::ValueBoxDef>(s.in());
}

// Natives report their argument failures with the strings of
// create_module, as existing clients expect.
CORBA::NativeDef_ptr CORBA_Container_Impl::create_native(
    const char* id, const char* name, const char* version,
    const char* container_id) {
  Servant_ref<CORBA_Contained_Impl> s(create_plain<CORBA_NativeDef_Impl>(
      id, name, version, container_id, "CORBA::Container::create_native"));
  return ir_ref_as<CORBA::NativeDef>(s.in());
}
