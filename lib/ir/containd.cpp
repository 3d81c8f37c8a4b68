#include "ir/containd.h"

#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "ir/containr.h"
#include "ir/ext_listing.h"
#include "ir/reply_limit.h"
#include "ir/reposito.h"
#include "ir/servant_locator.h"
#include "platform/qor_log.h"

namespace {
const char kFile[] = "lib/ir/containd";
// Longer documentation comments are refused.
constexpr std::size_t kMaxCommentLength = 64 * 1024;

char* copy_or_fail(const char* s, int line) {
  if (!s) kaldNoMemory(kFile, line);
  return CORBA::string_dup(s);
}
}  // namespace

bool dont_use_contents_cache = false;

CORBA_Contained_Impl::CORBA_Contained_Impl() = default;

CORBA_Contained_Impl::CORBA_Contained_Impl(const char* id, const char* name,
                                           const char* version,
                                           const char* defined_in)
    : id_handle_(
          new StoreHandle(CORBA::String_var(copy_or_fail(id, __LINE__)).in())),
      name_(copy_or_fail(name, __LINE__)),
      version_(copy_or_fail(version, __LINE__)),
      defined_in_(copy_or_fail(defined_in, __LINE__)),
      repository_(get_repository_impl()) {
  store_ = repository_ ? repository_->get_irs() : nullptr;
}

CORBA_Contained_Impl::CORBA_Contained_Impl(const char* id, const char* name,
                                           const char* version,
                                           CORBA_Repository_Impl* repository,
                                           const char* defined_in)
    : id_handle_(
          new StoreHandle(CORBA::String_var(copy_or_fail(id, __LINE__)).in())),
      name_(name ? CORBA::string_dup(name) : nullptr),
      version_(version ? CORBA::string_dup(version) : nullptr),
      defined_in_(defined_in ? CORBA::string_dup(defined_in) : nullptr),
      repository_(repository) {
  store_ = repository_ ? repository_->get_irs() : nullptr;
}

CORBA_Contained_Impl::~CORBA_Contained_Impl() = default;

void CORBA_Contained_Impl::object_to_stream(Encapsulation& e) {
  e.put_string(own_version());
}

void CORBA_Contained_Impl::stream_to_object(const char* name, const char* id,
                                            Encapsulation& e) {
  if (!name_.in() || std::strcmp(name, name_.in()) != 0)
    name_ = CORBA::string_dup(name);
  if (std::strcmp(id, own_id()) != 0) set_id(id);
  version_ = e.get_string();
  std::unique_ptr<StoreHandle> parent = ir_store_call(
      kFile, __LINE__, id, [&] { return store_->IRParentOf(*id_handle_); });
  defined_in_ = CORBA::string_dup(parent ? parent->key() : "");
}

std::vector<std::uint8_t> CORBA_Contained_Impl::store_body() {
  EncapIIOP e;
  object_to_stream(e);
  return e.bytes();
}

void CORBA_Contained_Impl::write_record() { store_->IRStoreObject(this); }

void CORBA_Contained_Impl::changeID(const char*, const char*) {}

std::string CORBA_Contained_Impl::object_key() {
  return key_ > 0 ? ir_key_object_id(key_) : std::string(own_id());
}

CORBA_IRObject_Impl* CORBA_Contained_Impl::_has_kind_contained(
    CORBA::DefinitionKind) {
  return this;
}

CORBA_Contained_Impl* CORBA_Contained_Impl::is_contained() {
  return is_contained_def_kind(def_kind_) ? this : nullptr;
}

CORBA_Contained_Impl* CORBA_Contained_Impl::_narrow(CORBA_IRObject_Impl* p) {
  if (!p || !p->_has_kind_contained(CORBA::dk_all)) return nullptr;
  return dynamic_cast<CORBA_Contained_Impl*>(p);
}

void CORBA_Contained_Impl::set_id(const char* id) {
  id_handle_.reset(new StoreHandle(id));
}

void CORBA_Contained_Impl::stream_in_line(Encapsulation& e) {
  e.put_ulong(static_cast<CORBA::ULong>(def_kind_));
  e.put_string(own_id());
}

const char* CORBA_Contained_Impl::described_defined_in() const {
  return std::strcmp(own_defined_in(), repository_base_rep_id) == 0
             ? ""
             : own_defined_in();
}

// --- getters -----------------------------------------------------------------

char* CORBA_Contained_Impl::id() { return CORBA::string_dup(own_id()); }

char* CORBA_Contained_Impl::name() { return CORBA::string_dup(own_name()); }

char* CORBA_Contained_Impl::version() {
  return CORBA::string_dup(own_version());
}

CORBA::Container_ptr CORBA_Contained_Impl::defined_in() {
  if (std::strcmp(own_defined_in(), repository_base_rep_id) == 0) {
    CORBA::Object_var root = repository_->_ref();
    return CORBA::Container::_narrow(root);
  }
  Servant_ref<CORBA_Contained_Impl> parent(ir_fetch_object(
      store_, own_defined_in(), kFile, __LINE__, own_defined_in()));
  if (!parent.in()) return CORBA::Container::_nil();
  CORBA::Object_var obj = parent->_ref();
  return CORBA::Container::_narrow(obj);
}

char* CORBA_Contained_Impl::absolute_name() {
  if (absolute_name_cache_.in()) return CORBA::string_dup(absolute_name_cache_);
  // Walk up the parent links to the root, outermost scope last.
  std::vector<std::string> names;
  std::string current = own_id();
  ir_store_call(kFile, __LINE__, "CORBA::Contained::absolute_name", [&] {
    int guard = 0;
    while (current != repository_base_rep_id) {
      StoreHandle h(current);
      names.push_back(store_->IRNameOf(h));
      std::unique_ptr<StoreHandle> parent = store_->IRParentOf(h);
      if (!parent || ++guard > 10000)
        throw IRStore::Exception(IRStore::kBadState, "broken parent chain");
      current = parent->key_string();
    }
    return 0;
  });
  std::string scoped;
  for (auto it = names.rbegin(); it != names.rend(); ++it) scoped += "::" + *it;
  absolute_name_cache_ = CORBA::string_dup(scoped.c_str());
  return CORBA::string_dup(absolute_name_cache_);
}

CORBA::Repository_ptr CORBA_Contained_Impl::containing_repository() {
  CORBA::Object_var root = repository_->_ref();
  return CORBA::Repository::_narrow(root);
}

CORBA::Contained::Description* CORBA_Contained_Impl::describe() {
  kaldError(IR_MINOR_NOT_SUPPORTED, CORBA::COMPLETED_NO, kFile, __LINE__,
            nullptr, 0, 0);
}

void CORBA_Contained_Impl::move(CORBA::Container_ptr, const char*,
                                const char*) {
  kaldError(IR_MINOR_NOT_SUPPORTED, CORBA::COMPLETED_NO, kFile, __LINE__,
            nullptr, 0, 0);
}

// --- setters -----------------------------------------------------------------

void CORBA_Contained_Impl::id(const char* new_id) {
  if (!new_id) kaldBadArgument(kFile, __LINE__, "CORBA::Contained:id(...)");
  StoreHandle new_handle(new_id);
  {
    IrUpdate probe(store_, kFile, __LINE__, "CORBA::Contained:id(...)");
    bool exists = false;
    try {
      Servant_ref<CORBA_Contained_Impl> other(ir_find_object(store_, new_id));
      exists = other.in() != nullptr;
    } catch (const IRStore::Exception& e) {
      if (e.code() != IRStore::kNoSuchRecord) probe.store_failure(e);
    }
    if (exists) {
      probe.cancel();
      ir_throw_bad_param(2, kFile, __LINE__, "CORBA::Contained:id(...)");
    }
    // The probe's update is cancelled here; the change runs in its own.
  }
  std::string old_id = own_id();
  // The servant cache is keyed by id.  While the users rewrite their
  // records, references under either id must reach this servant: the
  // users refer to it by the new id already, the store still by the old.
  irobj_put_in_cache(new_id, this);
  struct NewIdEntry {
    const char* id;
    bool keep = false;
    ~NewIdEntry() {
      if (!keep) irobj_remove_from_cache(id);
    }
  } new_entry{new_id};
  ir_in_update(
      store_, kFile, __LINE__, "CORBA::Contained::id (...)", [&](IrUpdate&) {
        StoreHandle old_handle(old_id);
        IdList users = store_->IRReferring(old_handle, 0);
        set_id(new_id);
        bool refers_to_itself = false;
        try {
          // The users re-point their references to the new id and write
          // them out before the record is re-keyed.
          for (const std::string& user : users) {
            if (user == old_id) {
              refers_to_itself = true;
              continue;
            }
            Servant_ref<CORBA_Contained_Impl> s(ir_find_object(store_, user));
            if (!s.in()) continue;
            s->changeID(old_id.c_str(), new_id);
            s->write_record();
          }
          store_->IRReKey(old_handle, new_handle);
          // A definition that uses itself (a struct holding a sequence of
          // itself) rewrites its own record under the new key.
          if (refers_to_itself) {
            changeID(old_id.c_str(), new_id);
            write_record();
          }
          // Servants of the children hold their parent's id.
          for (const std::string& child :
               store_->IRChildren(new_handle, CORBA::dk_all)) {
            Servant_ref<CORBA_Contained_Impl> c(
                irobj_get_from_cache(child.c_str()));
            if (c.in()) c->defined_in_ = CORBA::string_dup(new_id);
          }
        } catch (...) {
          set_id(old_id.c_str());
          throw;
        }
      });
  new_entry.keep = true;
  irobj_remove_from_cache(old_id.c_str());
  drop_parent_contents_cache();
}

void CORBA_Contained_Impl::name(const char* new_name) {
  if (!new_name)
    kaldBadArgument(kFile, __LINE__, "CORBA::Contained::name(...)");
  StoreHandle parent(own_defined_in());
  ir_in_update(
      store_, kFile, __LINE__, "CORBA::Contained::name(...)",
      [&](IrUpdate& update) {
        if (!TransOn) {
          if (store_->IRChildByName(parent, new_name)) {
            update.cancel();
            kaldError(IR_MINOR_CLASH, CORBA::COMPLETED_NO, kFile, __LINE__,
                      nullptr, 0, IR_MSG_CLASH, 0, CORBA::_tc_string,
                      "CORBA::Contained::name(...)", 0);
          }
          if (def_kind_ == CORBA::dk_Attribute ||
              def_kind_ == CORBA::dk_Operation) {
            for (CORBA::DefinitionKind k :
                 {CORBA::dk_Operation, CORBA::dk_Attribute}) {
              if (!store_->IRLookupName(parent, new_name, -1, k, false)
                       .empty()) {
                update.cancel();
                kaldError(IR_MINOR_CLASH, CORBA::COMPLETED_NO, kFile, __LINE__,
                          nullptr, 0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
                          "CORBA::Contained::name(...)", 0);
              }
            }
          }
          if (store_->IRNameInContents(parent, new_name)) {
            update.cancel();
            ir_throw_bad_param(1, kFile, __LINE__,
                               "CORBA::Contained::name(...)");
          }
        }
        store_->IRRename(*id_handle_, new_name);
      });
  name_ = CORBA::string_dup(new_name);
  absolute_name_cache_ = static_cast<char*>(nullptr);
  drop_parent_contents_cache();
}

void CORBA_Contained_Impl::drop_parent_contents_cache() {
  // The container's contents cache indexes its contents by name and id.
  Servant_ref<CORBA_Container_Impl> container;
  try {
    container =
        CORBA_Container_Impl::container_from_sh(StoreHandle(own_defined_in()));
  } catch (const CORBA::SystemException&) {
    return;
  }
  if (container.in()) container->drop_contents_cache();
}

void CORBA_Contained_Impl::version(const char* v) {
  if (!v) kaldBadArgument(kFile, __LINE__, "CORBA::Contained::version(...)");
  CORBA::String_var old = version_._retn();
  version_ = CORBA::string_dup(v);
  try {
    ir_in_update(store_, kFile, __LINE__, "CORBA::Contained::version(...)",
                 [&](IrUpdate&) {
                   store_->IRObjectOp(*id_handle_);
                   write_record();
                 });
  } catch (...) {
    version_ = old._retn();
    throw;
  }
}

// --- destroy and the extension queries -------------------------------------

void CORBA_Contained_Impl::destroy() {
  if (std::strcmp(own_id(), "IDL:Object:1.0") == 0)
    kaldBadArgument(kFile, __LINE__, "CORBA::Contained::destroy");
  CORBA::String_var who = identify_principal();
  IdList doomed = ir_in_update(store_, kFile, __LINE__,
                               "CORBA::Contained::destroy", [&](IrUpdate&) {
                                 IdList ids = store_->IRSubtree(*id_handle_);
                                 store_->IRRemove(*id_handle_);
                                 return ids;
                               });
  std::string text = std::string("destroyed ") + own_id() + " (" +
                     std::to_string(doomed.size()) + " records) for " +
                     who.in();
  if (QORIRTrace) QORTraceString(kFile, __LINE__, "", text.c_str());
  for (const std::string& id : doomed) irobj_remove_from_cache(id.c_str());
  dont_use_contents_cache = true;
}

CORBA::ContainedSeq* CORBA_Contained_Impl::ext_get_refs_object(
    const char* which) {
  int link_kind;
  std::string w = which ? which : "";
  if (w.empty() || w == "all")
    link_kind = 0;
  else if (w == "uses")
    link_kind = IRStore::kUseLink;
  else if (w == "derives")
    link_kind = IRStore::kInheritLink;
  else
    kaldBadArgument(kFile, __LINE__, "IRExt::Contained::ext_get_refs_object");
  StoreHandle self(own_id());
  IdList ids = ir_store_call(kFile, __LINE__, own_id(), [&] {
    return store_->IRReferring(self, link_kind);
  });
  CORBA::ContainedSeq_var out =
      ir_contained_seq(store_, ids, kFile, __LINE__, own_id());
  ir_check_reply_size(out.in(), "IRExt::Contained::ext_get_refs_object");
  return out._retn();
}

CORBA::ContainedSeq* CORBA_Contained_Impl::ext_get_objects_2b_deleted() {
  StoreHandle self(own_id());
  IdList ids = ir_store_call(kFile, __LINE__, own_id(),
                             [&] { return store_->IRSubtree(self); });
  CORBA::ContainedSeq_var out =
      ir_contained_seq(store_, ids, kFile, __LINE__, own_id());
  ir_check_reply_size(out.in(), "IRExt::Contained::ext_get_objects_2b_deleted");
  return out._retn();
}

IRExt::ExtReferenceSeq* CORBA_Contained_Impl::ext_outside_refs() {
  const char* const context = "IRExt::Contained::ext_outside_refs";
  std::vector<StoreOutsideRef> refs;
  std::vector<StoreSummary> users;
  ir_store_call(kFile, __LINE__, context, [&] {
    refs = store_->IROutsideRefs(*id_handle_);
    KeyList keys;
    for (const StoreOutsideRef& r : refs)
      if (keys.empty() || keys.back() != r.user_key) keys.push_back(r.user_key);
    users = store_->IRSummaries(keys);
    return 0;
  });
  std::unordered_map<std::int64_t, const StoreSummary*> by_key;
  for (const StoreSummary& u : users) by_key.emplace(u.key, &u);
  IRExt::ExtReferenceSeq_var out = new IRExt::ExtReferenceSeq;
  out->length(0);
  for (const StoreOutsideRef& r : refs) {
    auto user = by_key.find(r.user_key);
    if (user == by_key.end()) continue;
    CORBA::ULong n = out->length();
    out->length(n + 1);
    ir_fill_summary(store_, *user->second, out[n].user, context);
    out[n].used = r.used.c_str();
  }
  ir_check_reply_size(out.in(), context);
  return out._retn();
}

// Comments live in the store only (no servant holds one), so that a
// cancelled user transaction or a failed update leaves nothing stale.
char* CORBA_Contained_Impl::ext_get_comment() {
  std::string text =
      ir_store_call(kFile, __LINE__, "IRExt::Contained::ext_get_comment",
                    [&] { return store_->IRGetComment(*id_handle_); });
  return CORBA::string_dup(text.c_str());
}

void CORBA_Contained_Impl::ext_set_comment(const char* text) {
  const char* const context = "IRExt::Contained::ext_set_comment";
  if (!text || std::strlen(text) > kMaxCommentLength)
    kaldBadArgument(kFile, __LINE__, context);
  ir_in_update(store_, kFile, __LINE__, context,
               [&](IrUpdate&) { store_->IRSetComment(*id_handle_, text); });
}

CORBA::Contained_ptr get_next_contained(Encapsulation& e, IRStore* store) {
  e.get_ulong();  // the kind: the record's own kind is what counts
  CORBA::String_var id = e.get_string();
  Servant_ref<CORBA_Contained_Impl> s(
      ir_fetch_object(store, id.in(), kFile, __LINE__, id.in()));
  return ir_ref_as<CORBA::Contained>(s.in());
}
