#include "definition_feeder.h"

#include "client/corba_text.h"
#include "client/description_fields.h"
#include "client/outside_uses.h"
#include "irext.hh"
#include "platform/kald_error.h"
#include "request_tracker.h"

namespace {

constexpr CORBA::ULong kOmgMinorIdInUse = 0x4f4d0000UL | 2;

// At most this many users are named in a refusal.
constexpr std::size_t kUsersNamed = 5;

}  // namespace

CORBA::DefinitionKind repository_kind(const DefRecord& d) {
  switch (d.kind) {
    case DefKind::kModule:
      return CORBA::dk_Module;
    case DefKind::kForward:
      if (d.flavour == "struct") return CORBA::dk_Struct;
      if (d.flavour == "union") return CORBA::dk_Union;
      if (d.flavour == "value" || d.flavour == "abstract_value")
        return CORBA::dk_Value;
      return d.flavour == "abstract_interface" ? CORBA::dk_AbstractInterface
                                               : CORBA::dk_Interface;
    case DefKind::kInterface:
      return d.flavour == "abstract" ? CORBA::dk_AbstractInterface
                                     : CORBA::dk_Interface;
    case DefKind::kValue:
      return CORBA::dk_Value;
    case DefKind::kValueBox:
      return CORBA::dk_ValueBox;
    case DefKind::kStruct:
      return CORBA::dk_Struct;
    case DefKind::kException:
      return CORBA::dk_Exception;
    case DefKind::kUnion:
      return CORBA::dk_Union;
    case DefKind::kEnum:
      return CORBA::dk_Enum;
    case DefKind::kAlias:
      return CORBA::dk_Alias;
    case DefKind::kNative:
      return CORBA::dk_Native;
    case DefKind::kConst:
      return CORBA::dk_Constant;
    case DefKind::kOperation:
      return CORBA::dk_Operation;
    case DefKind::kAttribute:
      return CORBA::dk_Attribute;
    case DefKind::kValueMember:
      return CORBA::dk_ValueMember;
  }
  return CORBA::dk_none;
}

long long integer_of(const std::string& text) {
  return std::strtoll(text.c_str(), nullptr, 10);
}

struct DefinitionFeeder::ChildEntry : ExistingDefinition {
  bool from_repository = false;  // false: created by this transaction
  bool shell = false;            // created early; its full record follows
};

struct DefinitionFeeder::Scope {
  std::string id;  // "" for the repository itself
  const DefRecord* def = nullptr;
  CORBA::Container_var ref;
  CORBA::Contained_var self;  // the container as a definition
  bool preexisting = false;   // its children come from the repository
  bool loaded = false;
  bool complete_at_end = false;  // members and the like are set at its end
  std::map<std::string, ChildEntry> children;
  std::set<std::string> seen;  // names that the file defines in it
};

DefinitionFeeder::DefinitionFeeder(RepositorySession& session, FeederMode mode)
    : session_(session),
      mode_(mode),
      codec_(session.orb()),
      types_(session.repo(), *this, [this] { before_change(); }),
      values_(codec_, types_),
      comparer_(codec_, values_),
      creator_(session.repo(), types_, values_, *this,
               [this] { before_change(); }) {}

DefinitionFeeder::~DefinitionFeeder() = default;

// --- messages ---------------------------------------------------------------

std::string DefinitionFeeder::def_text(const std::string& id) const {
  std::string name = scoped_name_in(by_id_, id);
  return name == id ? id : name + " (" + id + ")";
}

void DefinitionFeeder::fail(const std::string& what) {
  std::string where = path_;
  if (current_) where += ":" + std::to_string(current_->line);
  std::string text = where + ": ";
  if (current_) text += def_text(current_->id) + ": ";
  throw FeedFailure(text + what);
}

void DefinitionFeeder::note_difference(const DefRecord& d,
                                       const std::string& text) {
  report_.differences.push_back(
      FeedDifference{d.line, scoped_name_in(by_id_, d.id), d.id, text});
}

// --- the file
// -----------------------------------------------------------------

FeedReport DefinitionFeeder::feed_file(
    const IdlRecords& records, const IdlTree& tree, int file,
    const std::string& path, const std::function<void(int)>& progress) {
  records_ = &records;
  tree_ = &tree;
  file_ = file;
  path_ = path;
  by_id_.clear();
  position_.clear();
  for (std::size_t i = 0; i < tree.items.size(); ++i) {
    const TreeItem& item = tree.items[i];
    if (item.is_end) continue;
    const DefRecord& d = item.def;
    if (d.kind == DefKind::kForward) {
      by_id_.emplace(d.id, &d);
    } else {
      by_id_[d.id] = &d;
      position_.emplace(d.id, i);
    }
  }
  scopes_.clear();
  pending_.clear();
  absent_.clear();
  transaction_ids_.clear();
  report_ = FeedReport();
  current_ = nullptr;
  in_transaction_ = false;

  auto root = std::make_unique<Scope>();
  root->ref = CORBA::Container::_duplicate(session_.repo());
  root->preexisting = true;
  scopes_[""] = std::move(root);

  std::string failure;
  try {
    int done = 0;
    for (std::size_t i = 0; i < tree.items.size(); ++i) {
      const TreeItem& item = tree.items[i];
      if (item.file != file) continue;
      if (item.is_end) {
        process_end(item.end_id);
      } else {
        process_definition(item.def, i);
        if (progress) progress(++done);
      }
    }
    current_ = nullptr;
    if (in_transaction_) {
      step_ = "committing the user transaction";
      session_.ext()->ext_endUserTransaction();
      in_transaction_ = false;
    }
    return report_;
  } catch (const FeedFailure& e) {
    failure = e.what();
  } catch (const DefinitionError& e) {
    try {
      fail(e.what());
    } catch (const FeedFailure& located) {
      failure = located.what();
    }
  } catch (const CORBA::Exception& e) {
    try {
      fail(step_ + ": " + failure_text(e));
    } catch (const FeedFailure& located) {
      failure = located.what();
    }
  }
  forget_transaction();
  if (in_transaction_) {
    in_transaction_ = false;
    try {
      session_.ext()->ext_cancelUserTransaction();
    } catch (const CORBA::Exception& e) {
      failure +=
          "; cancelling the user transaction failed too: " + failure_text(e);
    }
  }
  throw FeedFailure(failure);
}

void DefinitionFeeder::before_change() {
  if (mode_.check) fail("--check would change the repository here");
  if (in_transaction_) return;
  session_.ext()->ext_beginUserTransaction();
  in_transaction_ = true;
}

void DefinitionFeeder::forget_references() {
  // References to what was inside a removed definition may be cached.
  known_.clear();
  types_.forget();
}

void DefinitionFeeder::forget_transaction() {
  for (const std::string& id : transaction_ids_) known_.erase(id);
  transaction_ids_.clear();
  // Anonymous types may name definitions of the cancelled transaction.
  types_.forget();
}

DefinitionFeeder::Scope& DefinitionFeeder::open_scope(const DefRecord* d,
                                                      CORBA::Container_ptr ref,
                                                      bool preexisting) {
  std::unique_ptr<Scope>& slot = scopes_[d->id];
  if (!slot) {
    slot = std::make_unique<Scope>();
    slot->id = d->id;
    slot->def = d;
    slot->ref = CORBA::Container::_duplicate(ref);
    slot->self = CORBA::Contained::_unchecked_narrow(ref);
    slot->preexisting = preexisting;
    slot->loaded = !preexisting;
  }
  slot->def = d;
  return *slot;
}

void DefinitionFeeder::load_children(Scope& s) {
  s.loaded = true;
  if (!s.preexisting) return;
  std::string saved = step_;
  step_ = "reading the contents of " +
          (s.id.empty() ? std::string("the repository") : def_text(s.id));
  CORBA::Container::DescriptionSeq_var all =
      s.ref->describe_contents(CORBA::dk_all, true, -1);
  for (CORBA::ULong i = 0; i < all->length(); ++i) {
    const CORBA::Container::Description& d = all[i];
    DescriptionFields f = description_fields(d.kind, d.value);
    if (!f.known) continue;
    ChildEntry& c = s.children[f.name];
    c.id = f.id;
    c.kind = d.kind;
    c.ref = CORBA::Contained::_duplicate(d.contained_object.in());
    c.description = d.value;
    c.from_repository = true;
  }
  step_ = saved;
}

DefinitionFeeder::ChildEntry* DefinitionFeeder::find_child(
    Scope& s, const std::string& name) {
  if (!s.loaded) load_children(s);
  auto it = s.children.find(name);
  return it == s.children.end() ? nullptr : &it->second;
}

// --- references
// -----------------------------------------------------------------

CORBA::Contained_ptr DefinitionFeeder::reference(const std::string& id) {
  auto it = known_.find(id);
  if (it != known_.end()) return CORBA::Contained::_duplicate(it->second);
  if (pending_.count(id)) {
    create_pending_shell(id);
    return CORBA::Contained::_duplicate(known_[id]);
  }
  std::string saved = step_;
  step_ = "looking up " + def_text(id);
  CORBA::Contained_var found = session_.repo()->lookup_id(id.c_str());
  step_ = saved;
  if (CORBA::is_nil(found)) {
    std::string hint = " (feed the file that defines it first)";
    for (const IdlTree& tree : records_->trees) {
      for (const TreeItem& item : tree.items) {
        if (item.is_end || item.def.id != id ||
            item.def.kind == DefKind::kForward)
          continue;
        hint = "; it is defined in " + records_->files[item.file].path;
        hint += item.file == file_ ? "" : ", which is not fed yet or failed";
      }
    }
    throw DefinitionError("refers to " + def_text(id) +
                          ", which is not in the repository" + hint);
  }
  known_[id] = CORBA::Contained::_duplicate(found);
  return found._retn();
}

// --- records
// --------------------------------------------------------------------

void DefinitionFeeder::process_forward(const DefRecord& d) {
  current_ = &d;
  if (known_.count(d.id) || pending_.count(d.id)) return;
  auto scope = scopes_.find(d.container);
  if (scope != scopes_.end()) {
    ChildEntry* c = find_child(*scope->second, d.name);
    if (c && c->id == d.id) {
      known_[d.id] = CORBA::Contained::_duplicate(c->ref);
      return;
    }
  }
  // Created on first use: a forward declaration alone leaves nothing.
  pending_[d.id] = &d;
}

void DefinitionFeeder::process_definition(const DefRecord& d,
                                          std::size_t index) {
  current_ = &d;
  if (d.kind == DefKind::kForward) {
    process_forward(d);
    return;
  }
  bool container = def_kind_is_container(d.kind);
  if (mode_.check && absent_.count(d.container)) {
    // Inside a definition the repository lacks: reported with it.
    if (container) absent_.insert(d.id);
    return;
  }
  auto found = scopes_.find(d.container);
  if (found == scopes_.end()) {
    // The container came from another file (an #include inside a module).
    step_ = "looking up its container";
    CORBA::Contained_var c;
    try {
      c = reference(d.container);
    } catch (const DefinitionError& e) {
      if (!mode_.check) throw;
      note_difference(d, std::string("its container ") + e.what());
      if (container) absent_.insert(d.id);
      return;
    }
    auto scope = std::make_unique<Scope>();
    scope->id = d.container;
    scope->def = by_id_.count(d.container) ? by_id_[d.container] : nullptr;
    scope->ref = CORBA::Container::_unchecked_narrow(c);
    scope->self = CORBA::Contained::_duplicate(c);
    scope->preexisting = true;
    found = scopes_.emplace(d.container, std::move(scope)).first;
  }
  Scope& s = *found->second;
  s.seen.insert(d.name);

  step_ = "checking what the repository has";
  ChildEntry* c = find_child(s, d.name);
  if (c && c->id != d.id) {
    if (mode_.check) {
      note_difference(d, "the repository has " + c->id + " under its name");
      if (container) absent_.insert(d.id);
      return;
    }
    if (!mode_.replace)
      fail("the name is already used by " + c->id +
           " in the repository (--replace removes it)");
    remove({CORBA::Contained::_duplicate(c->ref)}, "which uses the name");
    s.children.erase(d.name);
    c = nullptr;
  }

  if (!c) {
    if (mode_.check) {
      CORBA::Contained_var other = session_.repo()->lookup_id(d.id.c_str());
      std::string where;
      if (!CORBA::is_nil(other))
        where = CORBA::String_var(other->absolute_name()).in();
      note_difference(d, where.empty() ? "not in the repository"
                                       : "not in the repository; its "
                                         "repository id is used by " +
                                             where);
      if (container) absent_.insert(d.id);
      return;
    }
    create_new(d, s, index);
    apply_comment(d, known_[d.id], true);
    return;
  }

  if (!c->from_repository) {
    // Made by this transaction: a module opened again, or the early
    // shell of a definition whose full record this is.
    if (d.kind == DefKind::kModule) {
      open_scope(&d, CORBA::Container::_unchecked_narrow(c->ref), false);
      return;
    }
    if (!c->shell) fail("defined twice");
    c->shell = false;
    step_ = "completing";
    CORBA::Contained_var obj = CORBA::Contained::_duplicate(c->ref);
    creator_.set_header(d, obj, nullptr);
    if (container) {
      Scope& opened =
          open_scope(&d, CORBA::Container::_unchecked_narrow(obj), false);
      opened.complete_at_end = true;
    } else {
      creator_.complete(d, obj);
    }
    apply_comment(d, obj, true);
    return;
  }
  process_existing(d, index, s, *c);
}

void DefinitionFeeder::process_existing(const DefRecord& d, std::size_t index,
                                        Scope& s, ChildEntry& c) {
  bool container = def_kind_is_container(d.kind);
  const CORBA::DefinitionKind kind = repository_kind(d);
  CORBA::Contained_var obj = CORBA::Contained::_duplicate(c.ref);
  known_[d.id] = CORBA::Contained::_duplicate(obj);
  step_ = "comparing with the repository";
  Comparison cmp;
  if (c.kind != kind) {
    cmp.differences.push_back("it is " + kind_name(c.kind) +
                              " in the repository");
  } else {
    try {
      cmp = comparer_.compare(d, c);
    } catch (const DefinitionError& e) {
      if (!mode_.check) throw;
      cmp.differences.push_back(e.what());
    }
  }
  bool placeholder =
      c.kind == kind && !cmp.same() && comparer_.is_placeholder(d, c);

  if (mode_.check) {
    if (placeholder)
      cmp.differences = {
          "the repository has only an empty forward "
          "declaration of it"};
    if (comments_offered_) {
      std::string want =
          comments_.before(records_->files[d.file].location.empty()
                               ? records_->files[d.file].path
                               : records_->files[d.file].location,
                           d.line);
      try {
        IRExt::Contained_var ext = IRExt::Contained::_unchecked_narrow(obj);
        CORBA::String_var have = ext->ext_get_comment();
        if (want != have.in()) cmp.differences.push_back("its comment differs");
      } catch (const CORBA::SystemException& e) {
        if (!is_not_offered(e)) throw;
        comments_offered_ = false;
      }
    }
    if (cmp.same()) {
      ++report_.counts.unchanged;
    } else {
      note_difference(d, cmp.text());
    }
    if (container) {
      if (c.kind == kind)
        open_scope(&d, CORBA::Container::_unchecked_narrow(obj), true);
      else
        absent_.insert(d.id);
    }
    return;
  }

  if (cmp.same()) {
    ++report_.counts.unchanged;
    if (container)
      open_scope(&d, CORBA::Container::_unchecked_narrow(obj), true);
    apply_comment(d, obj, false);
    return;
  }
  if (!placeholder && !mode_.replace)
    fail("differs from the repository's definition: " + cmp.text() +
         " (--replace changes it)");
  // Nothing refers to operations, attributes, constants and value
  // members: a different one is made again rather than changed field by
  // field (some fields, such as an empty context list, have no setter).
  bool remake = c.kind != kind || d.kind == DefKind::kOperation ||
                d.kind == DefKind::kAttribute || d.kind == DefKind::kConst ||
                d.kind == DefKind::kValueMember;
  if (remake) {
    step_ = "removing the repository's definition to make it again";
    destroy_for_remake(obj);
    s.children.erase(d.name);
    create_new(d, s, index);
    // Counted once, as replaced.
    --report_.counts.created;
    ++report_.counts.replaced;
    apply_comment(d, known_[d.id], true);
    return;
  }
  step_ = "changing it to the file's definition";
  DescriptionFields fields = description_fields(c.kind, c.description);
  if (fields.version != d.version()) {
    before_change();
    obj->version(d.version().c_str());
  }
  creator_.set_header(d, obj, &c.description);
  // Completing a placeholder finishes a definition counted where it was
  // made; a replaced definition counts here.
  if (!placeholder) ++report_.counts.replaced;
  if (container) {
    Scope& opened =
        open_scope(&d, CORBA::Container::_unchecked_narrow(obj), true);
    opened.complete_at_end = true;
  } else if (!cmp.only_version()) {
    creator_.update(d, obj);
  }
  apply_comment(d, obj, false);
}

void DefinitionFeeder::create_new(const DefRecord& d, Scope& s,
                                  std::size_t index) {
  bool shell = needs_shell(d, index);
  CORBA::Contained_var obj = create(d, s, shell, false);
  if (!def_kind_is_container(d.kind)) return;
  Scope& opened =
      open_scope(&d, CORBA::Container::_unchecked_narrow(obj), false);
  opened.complete_at_end =
      shell || (d.kind == DefKind::kValue && !d.initializers.empty());
}

void DefinitionFeeder::process_end(const std::string& id) {
  auto found = scopes_.find(id);
  if (found == scopes_.end()) return;
  Scope& s = *found->second;
  current_ = s.def;
  if (s.complete_at_end && s.def) {
    step_ = "setting its members";
    creator_.complete(*s.def, s.self);
    s.complete_at_end = false;
  }
  if (!s.preexisting || !s.def || s.def->kind == DefKind::kModule) return;
  if (!s.loaded) load_children(s);
  std::vector<std::string> extra;
  for (const auto& child : s.children)
    if (child.second.from_repository && !s.seen.count(child.first))
      extra.push_back(child.first);
  if (extra.empty()) return;
  std::string listed;
  for (const std::string& name : extra)
    listed +=
        (listed.empty() ? "" : ", ") + name + " (" + s.children[name].id + ")";
  std::string text = "the repository also has " + listed + " inside it";
  if (mode_.check) {
    note_difference(*s.def, text);
    return;
  }
  if (!mode_.replace)
    fail("differs from the repository's definition: " + text +
         " (--replace removes " + (extra.size() == 1 ? "it" : "them") + ")");
  std::vector<CORBA::Contained_var> doomed;
  for (const std::string& name : extra)
    doomed.push_back(CORBA::Contained::_duplicate(s.children[name].ref));
  remove(doomed, "which the file no longer has");
  for (const std::string& name : extra) s.children.erase(name);
}

// --- removing
// -----------------------------------------------------------------

void DefinitionFeeder::remove(const std::vector<CORBA::Contained_var>& doomed,
                              const std::string& why) {
  std::vector<DefinitionRef> removed;
  for (const CORBA::Contained_var& obj : doomed) {
    CORBA::String_var id = obj->id();
    CORBA::String_var name = obj->absolute_name();
    removed.push_back(DefinitionRef{id.in(), name.in()});
  }
  std::string names;
  for (const DefinitionRef& r : removed)
    names += (names.empty() ? "" : ", ") + r.name + " (" + r.id + ")";
  if (!mode_.force) {
    step_ = "asking what still uses " + names;
    std::vector<std::string> users;
    for (const CORBA::Contained_var& obj : doomed) {
      for (const OutsideUse& use : outside_uses(session_.repo(), obj)) {
        bool inside = false;
        for (const DefinitionRef& r : removed)
          inside = inside || is_within(use.user.scoped_name, r.name);
        // What the file defines is brought to the file's form anyway.
        if (inside || by_id_.count(use.user.id)) continue;
        users.push_back(use.user.scoped_name + " (" + use.user.id + ") uses " +
                        use.used_name);
      }
    }
    if (!users.empty()) {
      std::string listed;
      for (std::size_t i = 0; i < users.size() && i < kUsersNamed; ++i)
        listed += (i ? "; " : "") + users[i];
      if (users.size() > kUsersNamed)
        listed +=
            "; and " + std::to_string(users.size() - kUsersNamed) + " more";
      fail("--replace would remove " + names + ", " + why +
           ", but definitions outside it still use it: " + listed +
           " (--force removes it anyway)");
    }
  }
  for (std::size_t i = 0; i < doomed.size(); ++i) {
    step_ = "removing " + removed[i].name + ", " + why;
    before_change();
    doomed[i]->destroy();
    ++report_.counts.removed;
    report_.removed.push_back(removed[i]);
  }
  forget_references();
}

void DefinitionFeeder::destroy_for_remake(CORBA::Contained_ptr obj) {
  before_change();
  obj->destroy();
  forget_references();
}

// --- comments
// -----------------------------------------------------------------

void DefinitionFeeder::apply_comment(const DefRecord& d,
                                     CORBA::Contained_ptr obj, bool fresh) {
  if (!comments_offered_ || d.kind == DefKind::kForward) return;
  const IdlFile& f = records_->files[d.file];
  std::string want =
      comments_.before(f.location.empty() ? f.path : f.location, d.line);
  if (fresh && want.empty()) return;
  std::string saved = step_;
  try {
    IRExt::Contained_var ext = IRExt::Contained::_unchecked_narrow(obj);
    if (!fresh) {
      step_ = "reading its comment";
      CORBA::String_var have = ext->ext_get_comment();
      if (want == have.in()) {
        step_ = saved;
        return;
      }
    }
    step_ = "setting its comment";
    before_change();
    ext->ext_set_comment(want.c_str());
  } catch (const CORBA::SystemException& e) {
    if (!is_not_offered(e)) throw;
    comments_offered_ = false;
  }
  step_ = saved;
}

// --- creating
// -----------------------------------------------------------------

bool DefinitionFeeder::needs_shell(const DefRecord& d, std::size_t index) {
  if (d.kind != DefKind::kStruct && d.kind != DefKind::kUnion &&
      d.kind != DefKind::kException)
    return false;
  // Nested definitions live inside the new one: it must exist first.
  for (std::size_t i = index + 1; i < tree_->items.size(); ++i) {
    const TreeItem& next = tree_->items[i];
    if (next.file != file_) continue;
    if (!next.is_end && next.def.container == d.id) return true;
    break;
  }
  bool later = false;
  auto check = [&](const std::string& id) {
    if (id == d.id) later = true;
    if (known_.count(id) || pending_.count(id)) return;
    auto pos = position_.find(id);
    if (pos != position_.end() && pos->second > index) later = true;
  };
  for (const MemberExpr& m : d.members) m.type.for_each_ref(check);
  if (d.kind == DefKind::kUnion) d.type.for_each_ref(check);
  return later;
}

void DefinitionFeeder::create_pending_shell(const std::string& id) {
  const DefRecord* fwd = pending_[id];
  pending_.erase(id);
  const DefRecord* saved = current_;
  std::string saved_step = step_;
  auto full = by_id_.find(id);
  // The full record gives the flags a shell needs (abstract or not);
  // without one the forward declaration says what it can.
  DefRecord shell_def =
      full != by_id_.end() && full->second->kind != DefKind::kForward
          ? *full->second
          : *fwd;
  if (shell_def.kind == DefKind::kForward) {
    const std::string& f = fwd->flavour;
    if (f == "struct") {
      shell_def.kind = DefKind::kStruct;
    } else if (f == "union") {
      shell_def.kind = DefKind::kUnion;
    } else if (f == "value" || f == "abstract_value") {
      shell_def.kind = DefKind::kValue;
      shell_def.is_abstract = f == "abstract_value";
    } else {
      shell_def.kind = DefKind::kInterface;
      shell_def.flavour = f == "abstract_interface" ? "abstract" : "plain";
    }
  }
  current_ = fwd;
  auto scope = scopes_.find(fwd->container);
  if (scope == scopes_.end()) fail("its container is not open");
  // The name may be taken in a container that the repository had.
  ChildEntry* c = find_child(*scope->second, fwd->name);
  if (c && c->id != id) {
    if (!mode_.replace)
      fail("the name is already used by " + c->id +
           " in the repository (--replace removes it)");
    remove({CORBA::Contained::_duplicate(c->ref)}, "which uses the name");
    scope->second->children.erase(fwd->name);
    c = nullptr;
  }
  if (c) {
    known_[id] = CORBA::Contained::_duplicate(c->ref);
  } else {
    CORBA::Contained_var made = create(shell_def, *scope->second, true, true);
  }
  current_ = saved;
  step_ = saved_step;
}

CORBA::Contained_ptr DefinitionFeeder::create(const DefRecord& d, Scope& in,
                                              bool shell, bool record_follows) {
  step_ = shell ? "creating it (members follow)" : "creating it";
  bool in_value = in.def && in.def->kind == DefKind::kValue;
  CORBA::Contained_var obj;
  try {
    obj = creator_.create(d, in.ref, in_value, shell);
  } catch (const CORBA::BAD_PARAM& e) {
    if (e.minor() != IR_MINOR_CLASH && e.minor() != kOmgMinorIdInUse) throw;
    step_ = "looking up the definition that has its repository id";
    CORBA::Contained_var other = session_.repo()->lookup_id(d.id.c_str());
    if (CORBA::is_nil(other)) throw;
    CORBA::String_var where = other->absolute_name();
    if (!mode_.replace)
      fail("its repository id is already used by " + std::string(where.in()) +
           " (--replace removes that)");
    remove({CORBA::Contained::_duplicate(other)}, "which has its id");
    step_ = "creating it";
    obj = creator_.create(d, in.ref, in_value, shell);
  }
  ChildEntry& c = in.children[d.name];
  c.id = d.id;
  c.kind = repository_kind(d);
  c.ref = CORBA::Contained::_duplicate(obj);
  c.from_repository = false;
  c.shell = record_follows;
  known_[d.id] = CORBA::Contained::_duplicate(obj);
  transaction_ids_.push_back(d.id);
  ++report_.counts.created;
  return obj._retn();
}
