#include "definition_feeder.h"

#include <cstdlib>
#include <cstring>

#include "client/corba_text.h"
#include "client/description_fields.h"
#include "platform/kald_error.h"

namespace {

constexpr CORBA::ULong kOmgMinorIdInUse = 0x4f4d0000UL | 2;
const char kObjectInterfaceId[] = "IDL:Object:1.0";

struct PrimitiveName {
  const char* name;
  CORBA::PrimitiveKind kind;
};

constexpr PrimitiveName kPrimitives[] = {
    {"void", CORBA::pk_void},
    {"short", CORBA::pk_short},
    {"long", CORBA::pk_long},
    {"ushort", CORBA::pk_ushort},
    {"ulong", CORBA::pk_ulong},
    {"float", CORBA::pk_float},
    {"double", CORBA::pk_double},
    {"boolean", CORBA::pk_boolean},
    {"char", CORBA::pk_char},
    {"octet", CORBA::pk_octet},
    {"any", CORBA::pk_any},
    {"TypeCode", CORBA::pk_TypeCode},
    {"Principal", CORBA::pk_Principal},
    {"Object", CORBA::pk_objref},
    {"longlong", CORBA::pk_longlong},
    {"ulonglong", CORBA::pk_ulonglong},
    {"longdouble", CORBA::pk_longdouble},
    {"wchar", CORBA::pk_wchar},
    {"ValueBase", CORBA::pk_value_base},
};

CORBA::DefinitionKind repository_kind(const DefRecord& d) {
  switch (d.kind) {
    case DefKind::kModule:
      return CORBA::dk_Module;
    case DefKind::kForward:
    case DefKind::kInterface:
      return d.flavour == "abstract" || d.flavour == "abstract_interface"
                 ? CORBA::dk_AbstractInterface
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

std::vector<std::string> id_list(const CORBA::RepositoryIdSeq& seq,
                                 bool drop_object) {
  std::vector<std::string> out;
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    if (drop_object && std::strcmp(seq[i].in(), kObjectInterfaceId) == 0)
      continue;
    out.push_back(seq[i].in());
  }
  return out;
}

// "" when the members of `tc` (struct, exception) have the names and
// types of `members`.
bool same_members(CORBA::TypeCode_ptr tc,
                  const std::vector<MemberExpr>& members) {
  if (tc->member_count() != members.size()) return false;
  for (CORBA::ULong i = 0; i < members.size(); ++i) {
    CORBA::TypeCode_var mt = tc->member_type(i);
    if (members[i].name != tc->member_name(i) ||
        members[i].type.signature() != type_signature(mt))
      return false;
  }
  return true;
}

long long integer_of(const std::string& text) {
  return std::strtoll(text.c_str(), nullptr, 10);
}

}  // namespace

struct DefinitionFeeder::ChildEntry {
  std::string id;
  CORBA::DefinitionKind kind = CORBA::dk_none;
  CORBA::Contained_var ref;
  CORBA::Any description;        // repository children only
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

DefinitionFeeder::DefinitionFeeder(RepositorySession& session, bool replace)
    : session_(session), replace_(replace), codec_(session.orb()) {}

DefinitionFeeder::~DefinitionFeeder() = default;

// --- messages ---------------------------------------------------------------

std::string DefinitionFeeder::def_text(const std::string& id) const {
  std::string name = scoped_name_in(by_id_, id);
  return name == id ? id : name + " (" + id + ")";
}

void DefinitionFeeder::fail(const std::string& what) {
  std::string where = records_->files[file_].path;
  if (current_) where += ":" + std::to_string(current_->line);
  std::string text = where + ": ";
  if (current_) text += def_text(current_->id) + ": ";
  throw FeedFailure(text + what);
}

// --- the file
// -----------------------------------------------------------------

FeedCounts DefinitionFeeder::feed_file(
    const IdlRecords& records, const IdlTree& tree, int file,
    const std::function<void(int)>& progress) {
  records_ = &records;
  tree_ = &tree;
  file_ = file;
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
  transaction_ids_.clear();
  counts_ = FeedCounts();
  current_ = nullptr;

  auto root = std::make_unique<Scope>();
  root->ref = CORBA::Container::_duplicate(session_.repo());
  root->preexisting = true;
  scopes_[""] = std::move(root);

  step_ = "starting the user transaction";
  try {
    session_.ext()->ext_beginUserTransaction();
  } catch (const CORBA::Exception& e) {
    throw FeedFailure(records.files[file].path + ": " + step_ + ": " +
                      exception_text(e));
  }
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
    step_ = "committing the user transaction";
    session_.ext()->ext_endUserTransaction();
    return counts_;
  } catch (const FeedFailure& e) {
    failure = e.what();
  } catch (const CORBA::Exception& e) {
    std::string where = records.files[file].path;
    if (current_) where += ":" + std::to_string(current_->line);
    failure = where + ": ";
    if (current_) failure += def_text(current_->id) + ": ";
    failure += step_ + ": " + exception_text(e);
  }
  forget_transaction();
  try {
    session_.ext()->ext_cancelUserTransaction();
  } catch (const CORBA::Exception& e) {
    failure +=
        "; cancelling the user transaction failed too: " + exception_text(e);
  }
  throw FeedFailure(failure);
}

void DefinitionFeeder::destroy(CORBA::Contained_ptr obj) {
  obj->destroy();
  ++counts_.removed;
  // References to what was inside it may be cached; look them up again.
  known_.clear();
  anonymous_.clear();
}

void DefinitionFeeder::forget_transaction() {
  for (const std::string& id : transaction_ids_) known_.erase(id);
  transaction_ids_.clear();
  // Anonymous types may name definitions of the cancelled transaction.
  anonymous_.clear();
}

void DefinitionFeeder::remember(const std::string& id,
                                CORBA::Contained_ptr ref) {
  known_[id] = CORBA::Contained::_duplicate(ref);
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

// --- records
// --------------------------------------------------------------------

void DefinitionFeeder::process_forward(const DefRecord& d) {
  current_ = &d;
  if (known_.count(d.id) || pending_.count(d.id)) return;
  auto scope = scopes_.find(d.container);
  if (scope != scopes_.end()) {
    ChildEntry* c = find_child(*scope->second, d.name);
    if (c && c->id == d.id) {
      remember(d.id, c->ref);
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
  auto found = scopes_.find(d.container);
  if (found == scopes_.end()) {
    // The container came from another file (an #include inside a module).
    step_ = "looking up its container";
    CORBA::Contained_var c = reference(d.container);
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
  bool container = def_kind_is_container(d.kind);
  const CORBA::DefinitionKind kind = repository_kind(d);

  step_ = "checking what the repository has";
  ChildEntry* c = find_child(s, d.name);
  if (c && c->id != d.id) {
    if (!replace_)
      fail("the name is already used by " + c->id +
           " in the repository (--replace removes it)");
    step_ = "removing " + c->id + ", which uses the name";
    destroy(c->ref);
    s.children.erase(d.name);
    c = nullptr;
  }

  if (!c) {
    create_new(d, s, index);
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
    set_header(d, obj, nullptr);
    if (container) {
      Scope& opened =
          open_scope(&d, CORBA::Container::_unchecked_narrow(obj), false);
      opened.complete_at_end = true;
    } else {
      complete(d, obj);
    }
    return;
  }

  // A definition of the repository with this name and id.
  CORBA::Contained_var obj = CORBA::Contained::_duplicate(c->ref);
  remember(d.id, obj);
  step_ = "comparing with the repository";
  std::string diff = c->kind == kind
                         ? differences(d, *c)
                         : "it is " + kind_name(c->kind) + " in the repository";
  if (diff.empty()) {
    ++counts_.unchanged;
    if (container)
      open_scope(&d, CORBA::Container::_unchecked_narrow(obj), true);
    return;
  }
  bool placeholder = c->kind == kind && is_placeholder(d, *c);
  if (!placeholder && !replace_)
    fail("differs from the repository's definition: " + diff +
         " (--replace changes it)");
  // Nothing refers to operations, attributes, constants and value
  // members: a different one is made again rather than changed field by
  // field (some fields, such as an empty context list, have no setter).
  bool remake = c->kind != kind || d.kind == DefKind::kOperation ||
                d.kind == DefKind::kAttribute || d.kind == DefKind::kConst ||
                d.kind == DefKind::kValueMember;
  if (remake) {
    step_ = "removing the repository's definition";
    destroy(obj);
    s.children.erase(d.name);
    create_new(d, s, index);
    // Counted once, as replaced.
    --counts_.created;
    --counts_.removed;
    ++counts_.replaced;
    return;
  }
  step_ = "changing it to the file's definition";
  DescriptionFields fields = description_fields(c->kind, c->description);
  if (fields.version != d.version()) obj->version(d.version().c_str());
  set_header(d, obj, &c->description);
  // Completing a placeholder finishes a definition counted where it was
  // made; a replaced definition counts here.
  if (!placeholder) ++counts_.replaced;
  if (container) {
    Scope& opened =
        open_scope(&d, CORBA::Container::_unchecked_narrow(obj), true);
    opened.complete_at_end = true;
  } else if (diff.compare(0, 11, "its version") != 0) {
    update(d, obj);
  }
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
    complete(*s.def, s.self);
    s.complete_at_end = false;
  }
  if (!s.preexisting || !s.def || s.def->kind == DefKind::kModule) return;
  if (!s.loaded) load_children(s);
  for (auto it = s.children.begin(); it != s.children.end();) {
    if (!it->second.from_repository || s.seen.count(it->first)) {
      ++it;
      continue;
    }
    if (!replace_)
      fail(
          "differs from the repository's definition: the repository also "
          "has " +
          it->first + " (" + it->second.id +
          ") inside it (--replace removes it)");
    step_ = "removing " + it->second.id + ", which the file no longer has";
    destroy(it->second.ref);
    it = s.children.erase(it);
  }
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
    if (!replace_)
      fail("the name is already used by " + c->id +
           " in the repository (--replace removes it)");
    step_ = "removing " + c->id + ", which uses the name";
    destroy(c->ref);
    scope->second->children.erase(fwd->name);
    c = nullptr;
  }
  if (c) {
    remember(id, c->ref);
  } else {
    CORBA::Contained_var made = create(shell_def, *scope->second, true, true);
  }
  current_ = saved;
  step_ = saved_step;
}

CORBA::Contained_ptr DefinitionFeeder::create(const DefRecord& d, Scope& in,
                                              bool shell, bool record_follows) {
  step_ = shell ? "creating it (members follow)" : "creating it";
  CORBA::Contained_var obj;
  try {
    obj = create_call(d, in, shell);
  } catch (const CORBA::BAD_PARAM& e) {
    if (e.minor() != IR_MINOR_CLASH && e.minor() != kOmgMinorIdInUse) throw;
    step_ = "looking up the definition that has its repository id";
    CORBA::Contained_var other = session_.repo()->lookup_id(d.id.c_str());
    if (CORBA::is_nil(other)) throw;
    CORBA::String_var where = other->absolute_name();
    if (!replace_)
      fail("its repository id is already used by " + std::string(where.in()) +
           " (--replace removes that)");
    step_ = "removing " + std::string(where.in()) + ", which has its id";
    destroy(other);
    step_ = "creating it";
    obj = create_call(d, in, shell);
  }
  ChildEntry& c = in.children[d.name];
  c.id = d.id;
  c.kind = repository_kind(d);
  c.ref = CORBA::Contained::_duplicate(obj);
  c.from_repository = false;
  c.shell = record_follows;
  remember(d.id, obj);
  transaction_ids_.push_back(d.id);
  ++counts_.created;
  return obj._retn();
}

CORBA::Contained_ptr DefinitionFeeder::create_call(const DefRecord& d,
                                                   Scope& in, bool shell) {
  CORBA::Container_ptr c = in.ref.in();
  const char* id = d.id.c_str();
  const char* name = d.name.c_str();
  std::string version = d.version();
  const char* v = version.c_str();
  switch (d.kind) {
    case DefKind::kModule:
      return c->create_module(id, name, v);
    case DefKind::kInterface:
    case DefKind::kForward: {
      if (d.flavour == "abstract" || d.flavour == "abstract_interface") {
        CORBA::AbstractInterfaceDefSeq bases;
        if (!shell) {
          CORBA::InterfaceDefSeq all = interfaces(d.bases);
          bases.length(all.length());
          for (CORBA::ULong i = 0; i < all.length(); ++i)
            bases[i] = CORBA::AbstractInterfaceDef::_unchecked_narrow(all[i]);
        }
        return c->create_abstract_interface(id, name, v, bases);
      }
      CORBA::InterfaceDefSeq bases;
      if (!shell) bases = interfaces(d.bases);
      return c->create_interface(id, name, v, bases);
    }
    case DefKind::kValue: {
      CORBA::InitializerSeq none;
      if (shell) {
        return c->create_value(
            id, name, v, false, d.is_abstract, CORBA::ValueDef::_nil(), false,
            CORBA::ValueDefSeq(), CORBA::InterfaceDefSeq(), none);
      }
      CORBA::ValueDef_var base;
      if (!d.base_value.empty()) {
        CORBA::Contained_var b = reference(d.base_value);
        base = CORBA::ValueDef::_unchecked_narrow(b);
      }
      return c->create_value(id, name, v, d.is_custom, d.is_abstract, base,
                             d.is_truncatable, values(d.bases),
                             interfaces(d.supports), none);
    }
    case DefKind::kValueBox: {
      CORBA::IDLType_var t = resolve(d.type);
      return c->create_value_box(id, name, v, t);
    }
    case DefKind::kStruct: {
      if (shell) {
        CORBA::StructMemberSeq placeholder;
        placeholder.length(1);
        placeholder[0].name =
            d.members.empty() ? "placeholder" : d.members[0].name.c_str();
        placeholder[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
        placeholder[0].type_def =
            session_.repo()->get_primitive(CORBA::pk_long);
        return c->create_struct(id, name, v, placeholder);
      }
      return c->create_struct(id, name, v, struct_members(d.members));
    }
    case DefKind::kException:
      return c->create_exception(
          id, name, v,
          shell ? CORBA::StructMemberSeq() : struct_members(d.members));
    case DefKind::kUnion: {
      if (shell) {
        CORBA::IDLType_var disc =
            session_.repo()->get_primitive(CORBA::pk_long);
        CORBA::UnionMemberSeq placeholder;
        placeholder.length(1);
        placeholder[0].name =
            d.members.empty() ? "placeholder" : d.members[0].name.c_str();
        placeholder[0].label <<= CORBA::Any::from_octet(0);
        placeholder[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
        placeholder[0].type_def = CORBA::IDLType::_duplicate(disc);
        return c->create_union(id, name, v, disc, placeholder);
      }
      CORBA::IDLType_var disc = resolve(d.type);
      return c->create_union(id, name, v, disc, union_members(d));
    }
    case DefKind::kEnum:
      return c->create_enum(id, name, v, enumerators(d));
    case DefKind::kAlias: {
      CORBA::IDLType_var t = resolve(d.type);
      return c->create_alias(id, name, v, t);
    }
    case DefKind::kNative:
      return c->create_native(id, name, v);
    case DefKind::kConst: {
      CORBA::IDLType_var t = resolve(d.type);
      CORBA::Any_var value = constant_any(d);
      return c->create_constant(id, name, v, t, value.in());
    }
    case DefKind::kOperation: {
      CORBA::IDLType_var result = resolve(d.type);
      CORBA::OperationMode mode = d.flag ? CORBA::OP_ONEWAY : CORBA::OP_NORMAL;
      if (in.def && in.def->kind == DefKind::kValue) {
        CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(c);
        return value->create_operation(id, name, v, result, mode, parameters(d),
                                       exceptions(d), contexts(d));
      }
      CORBA::InterfaceDef_var iface = CORBA::InterfaceDef::_unchecked_narrow(c);
      return iface->create_operation(id, name, v, result, mode, parameters(d),
                                     exceptions(d), contexts(d));
    }
    case DefKind::kAttribute: {
      CORBA::IDLType_var t = resolve(d.type);
      CORBA::AttributeMode mode =
          d.flag ? CORBA::ATTR_READONLY : CORBA::ATTR_NORMAL;
      if (in.def && in.def->kind == DefKind::kValue) {
        CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(c);
        return value->create_attribute(id, name, v, t, mode);
      }
      CORBA::InterfaceDef_var iface = CORBA::InterfaceDef::_unchecked_narrow(c);
      return iface->create_attribute(id, name, v, t, mode);
    }
    case DefKind::kValueMember: {
      CORBA::IDLType_var t = resolve(d.type);
      CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(c);
      return value->create_value_member(
          id, name, v, t,
          d.flag ? CORBA::PUBLIC_MEMBER : CORBA::PRIVATE_MEMBER);
    }
  }
  fail("cannot create a definition of this kind");
}

void DefinitionFeeder::set_header(const DefRecord& d, CORBA::Contained_ptr obj,
                                  const CORBA::Any* description) {
  if (d.kind == DefKind::kInterface) {
    CORBA::InterfaceDef_var iface = CORBA::InterfaceDef::_unchecked_narrow(obj);
    iface->base_interfaces(interfaces(d.bases));
    return;
  }
  if (d.kind != DefKind::kValue) return;
  // Only what differs is set: from the repository's description, or from
  // what a shell starts with.
  CORBA::ValueDescription shell;
  shell.is_abstract = d.is_abstract;
  shell.is_custom = false;
  shell.is_truncatable = false;
  shell.base_value = "";
  const CORBA::ValueDescription* now = &shell;
  if (description) *description >>= now;
  CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(obj);
  if (d.is_abstract != static_cast<bool>(now->is_abstract))
    value->is_abstract(d.is_abstract);
  if (d.is_custom != static_cast<bool>(now->is_custom))
    value->is_custom(d.is_custom);
  if (d.base_value != now->base_value.in()) {
    CORBA::ValueDef_var base;
    if (!d.base_value.empty()) {
      CORBA::Contained_var b = reference(d.base_value);
      base = CORBA::ValueDef::_unchecked_narrow(b);
    }
    value->base_value(base);
  }
  if (d.is_truncatable != static_cast<bool>(now->is_truncatable))
    value->is_truncatable(d.is_truncatable);
  if (d.bases != id_list(now->abstract_base_values, false))
    value->abstract_base_values(values(d.bases));
  if (d.supports != id_list(now->supported_interfaces, false))
    value->supported_interfaces(interfaces(d.supports));
}

void DefinitionFeeder::complete(const DefRecord& d, CORBA::Contained_ptr obj) {
  switch (d.kind) {
    case DefKind::kStruct: {
      CORBA::StructDef_var s = CORBA::StructDef::_unchecked_narrow(obj);
      s->members(struct_members(d.members));
      break;
    }
    case DefKind::kException: {
      CORBA::ExceptionDef_var e = CORBA::ExceptionDef::_unchecked_narrow(obj);
      e->members(struct_members(d.members));
      break;
    }
    case DefKind::kUnion: {
      CORBA::UnionDef_var u = CORBA::UnionDef::_unchecked_narrow(obj);
      CORBA::IDLType_var disc = resolve(d.type);
      u->discriminator_type_def(disc);
      u->members(union_members(d));
      break;
    }
    case DefKind::kValue: {
      CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(obj);
      value->initializers(initializers(d));
      break;
    }
    case DefKind::kInterface:
    case DefKind::kModule:
      break;
    default:
      update(d, obj);
      break;
  }
}

void DefinitionFeeder::update(const DefRecord& d, CORBA::Contained_ptr obj) {
  switch (d.kind) {
    case DefKind::kAlias: {
      CORBA::AliasDef_var a = CORBA::AliasDef::_unchecked_narrow(obj);
      CORBA::IDLType_var t = resolve(d.type);
      a->original_type_def(t);
      break;
    }
    case DefKind::kValueBox: {
      CORBA::ValueBoxDef_var b = CORBA::ValueBoxDef::_unchecked_narrow(obj);
      CORBA::IDLType_var t = resolve(d.type);
      b->original_type_def(t);
      break;
    }
    case DefKind::kEnum: {
      CORBA::EnumDef_var e = CORBA::EnumDef::_unchecked_narrow(obj);
      e->members(enumerators(d));
      break;
    }
    case DefKind::kConst: {
      CORBA::ConstantDef_var k = CORBA::ConstantDef::_unchecked_narrow(obj);
      CORBA::IDLType_var t = resolve(d.type);
      k->type_def(t);
      CORBA::Any_var value = constant_any(d);
      k->value(value.in());
      break;
    }
    case DefKind::kOperation: {
      CORBA::OperationDef_var op = CORBA::OperationDef::_unchecked_narrow(obj);
      CORBA::IDLType_var result = resolve(d.type);
      op->result_def(result);
      op->params(parameters(d));
      op->mode(d.flag ? CORBA::OP_ONEWAY : CORBA::OP_NORMAL);
      op->exceptions(exceptions(d));
      op->contexts(contexts(d));
      break;
    }
    case DefKind::kAttribute: {
      CORBA::AttributeDef_var a = CORBA::AttributeDef::_unchecked_narrow(obj);
      CORBA::IDLType_var t = resolve(d.type);
      a->type_def(t);
      a->mode(d.flag ? CORBA::ATTR_READONLY : CORBA::ATTR_NORMAL);
      break;
    }
    case DefKind::kValueMember: {
      CORBA::ValueMemberDef_var m =
          CORBA::ValueMemberDef::_unchecked_narrow(obj);
      CORBA::IDLType_var t = resolve(d.type);
      m->type_def(t);
      m->access(d.flag ? CORBA::PUBLIC_MEMBER : CORBA::PRIVATE_MEMBER);
      break;
    }
    default:
      break;
  }
}

// --- comparing
// --------------------------------------------------------------------

bool DefinitionFeeder::is_placeholder(const DefRecord& d, const ChildEntry& c) {
  // What a forward declaration of an interface or value type leaves in
  // the repository: the definition with no bases and no contents.  A full
  // definition from another file completes it.
  if (d.kind != DefKind::kInterface && d.kind != DefKind::kValue) return false;
  if (d.kind == DefKind::kInterface) {
    const CORBA::InterfaceDescription* desc = nullptr;
    if (!(c.description >>= desc) ||
        !id_list(desc->base_interfaces, true).empty())
      return false;
  } else {
    const CORBA::ValueDescription* desc = nullptr;
    if (!(c.description >>= desc) || desc->base_value.in()[0] ||
        desc->abstract_base_values.length() ||
        desc->supported_interfaces.length() || desc->is_custom ||
        desc->is_truncatable)
      return false;
  }
  CORBA::Container_var container = CORBA::Container::_unchecked_narrow(c.ref);
  CORBA::ContainedSeq_var inside = container->contents(CORBA::dk_all, true);
  return inside->length() == 0;
}

std::string DefinitionFeeder::differences(const DefRecord& d,
                                          const ChildEntry& c) {
  DescriptionFields fields = description_fields(c.kind, c.description);
  if (!fields.known) return "its description cannot be read";
  if (fields.version != d.version())
    return "its version is " + fields.version + ", the file's " + d.version();
  switch (d.kind) {
    case DefKind::kModule:
    case DefKind::kNative:
      return "";
    case DefKind::kInterface: {
      const CORBA::InterfaceDescription* desc = nullptr;
      c.description >>= desc;
      if (id_list(desc->base_interfaces, true) != d.bases)
        return "its base interfaces differ";
      return "";
    }
    case DefKind::kStruct:
    case DefKind::kUnion:
    case DefKind::kEnum:
    case DefKind::kAlias:
    case DefKind::kValueBox: {
      const CORBA::TypeDescription* desc = nullptr;
      c.description >>= desc;
      CORBA::TypeCode_ptr tc = desc->type.in();
      if (d.kind == DefKind::kStruct)
        return same_members(tc, d.members) ? "" : "its members differ";
      if (d.kind == DefKind::kEnum) {
        if (tc->member_count() != d.members.size())
          return "its enumerators differ";
        for (CORBA::ULong i = 0; i < d.members.size(); ++i)
          if (d.members[i].name != tc->member_name(i))
            return "its enumerators differ";
        return "";
      }
      if (d.kind == DefKind::kAlias || d.kind == DefKind::kValueBox) {
        CORBA::TypeCode_var content = tc->content_type();
        return type_signature(content) == d.type.signature()
                   ? ""
                   : "its original type differs";
      }
      CORBA::TypeCode_var disc = tc->discriminator_type();
      if (type_signature(disc) != d.type.signature())
        return "its discriminator type differs";
      if (tc->member_count() != d.members.size()) return "its members differ";
      CORBA::Long def = tc->default_index();
      for (CORBA::ULong i = 0; i < d.members.size(); ++i) {
        CORBA::TypeCode_var mt = tc->member_type(i);
        const MemberExpr& m = d.members[i];
        if (m.name != tc->member_name(i) ||
            m.type.signature() != type_signature(mt))
          return "its members differ";
        bool is_default = static_cast<CORBA::Long>(i) == def;
        if (is_default != (m.label == "default")) return "its labels differ";
        if (!is_default) {
          CORBA::Any_var label = tc->member_label(i);
          long long value = 0;
          if (!codec_.integer(label.in(), &value) ||
              value != integer_of(m.label))
            return "its labels differ";
        }
      }
      return "";
    }
    case DefKind::kException: {
      const CORBA::ExceptionDescription* desc = nullptr;
      c.description >>= desc;
      return same_members(desc->type.in(), d.members) ? ""
                                                      : "its members differ";
    }
    case DefKind::kConst: {
      const CORBA::ConstantDescription* desc = nullptr;
      c.description >>= desc;
      if (type_signature(desc->type.in()) != d.type.signature())
        return "its type differs";
      CORBA::Any_var expected = constant_any(d);
      auto by_name = [](CORBA::TypeCode_ptr, const char* e) {
        return std::string(e);
      };
      if (codec_.literal(expected.in(), by_name) !=
          codec_.literal(desc->value, by_name))
        return "its value differs";
      return "";
    }
    case DefKind::kOperation: {
      const CORBA::OperationDescription* desc = nullptr;
      c.description >>= desc;
      if (type_signature(desc->result.in()) != d.type.signature())
        return "its result type differs";
      if ((desc->mode == CORBA::OP_ONEWAY) != d.flag) return "its mode differs";
      if (desc->parameters.length() != d.members.size())
        return "its parameters differ";
      for (CORBA::ULong i = 0; i < d.members.size(); ++i) {
        const CORBA::ParameterDescription& p = desc->parameters[i];
        const MemberExpr& m = d.members[i];
        static const char* const kModes[] = {"in", "out", "inout"};
        if (m.name != p.name.in() ||
            m.type.signature() != type_signature(p.type.in()) ||
            m.direction != kModes[p.mode])
          return "its parameters differ";
      }
      std::vector<std::string> raised;
      for (CORBA::ULong i = 0; i < desc->exceptions.length(); ++i)
        raised.push_back(desc->exceptions[i].id.in());
      if (raised != d.raises) return "its exceptions differ";
      std::vector<std::string> contexts;
      for (CORBA::ULong i = 0; i < desc->contexts.length(); ++i)
        contexts.push_back(desc->contexts[i].in());
      if (contexts != d.contexts) return "its contexts differ";
      return "";
    }
    case DefKind::kAttribute: {
      const CORBA::AttributeDescription* desc = nullptr;
      c.description >>= desc;
      if (type_signature(desc->type.in()) != d.type.signature())
        return "its type differs";
      if ((desc->mode == CORBA::ATTR_READONLY) != d.flag)
        return "its mode differs";
      return "";
    }
    case DefKind::kValueMember: {
      const CORBA::ValueMember* desc = nullptr;
      c.description >>= desc;
      if (type_signature(desc->type.in()) != d.type.signature())
        return "its type differs";
      if ((desc->access == CORBA::PUBLIC_MEMBER) != d.flag)
        return "its access differs";
      return "";
    }
    case DefKind::kValue: {
      const CORBA::ValueDescription* desc = nullptr;
      c.description >>= desc;
      if (desc->is_abstract != d.is_abstract ||
          desc->is_custom != d.is_custom ||
          desc->is_truncatable != d.is_truncatable)
        return "its modifiers differ";
      if (d.base_value != desc->base_value.in())
        return "its base value differs";
      if (id_list(desc->abstract_base_values, false) != d.bases)
        return "its abstract base values differ";
      if (id_list(desc->supported_interfaces, false) != d.supports)
        return "its supported interfaces differ";
      CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(c.ref);
      CORBA::ValueDef::FullValueDescription_var full = value->describe_value();
      if (full->initializers.length() != d.initializers.size())
        return "its initializers differ";
      for (CORBA::ULong i = 0; i < d.initializers.size(); ++i) {
        const CORBA::Initializer& init = full->initializers[i];
        const InitializerExpr& mine = d.initializers[i];
        if (mine.name != init.name.in() ||
            init.members.length() != mine.params.size())
          return "its initializers differ";
        for (CORBA::ULong j = 0; j < mine.params.size(); ++j)
          if (mine.params[j].name != init.members[j].name.in() ||
              mine.params[j].type.signature() !=
                  type_signature(init.members[j].type.in()))
            return "its initializers differ";
      }
      return "";
    }
    case DefKind::kForward:
      return "";
  }
  return "";
}

// --- types
// ------------------------------------------------------------------------

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
    std::string hint =
        " (feed the file that defines it first, or use --include-deps)";
    for (const IdlTree& tree : records_->trees) {
      for (const TreeItem& item : tree.items) {
        if (item.is_end || item.def.id != id ||
            item.def.kind == DefKind::kForward)
          continue;
        hint = "; it is defined in " + records_->files[item.file].path;
        hint += item.file == file_ ? "" : ", which is not fed yet or failed";
      }
    }
    fail("refers to " + def_text(id) + ", which is not in the repository" +
         hint);
  }
  remember(id, found);
  return found._retn();
}

CORBA::IDLType_ptr DefinitionFeeder::resolve(const TypeExpr& t) {
  switch (t.kind) {
    case TypeExpr::kPrimitive: {
      auto cached = primitives_.find(t.name);
      if (cached != primitives_.end())
        return CORBA::IDLType::_duplicate(cached->second);
      for (const PrimitiveName& p : kPrimitives) {
        if (t.name != p.name) continue;
        CORBA::PrimitiveDef_var prim = session_.repo()->get_primitive(p.kind);
        CORBA::IDLType_var as_type = CORBA::IDLType::_duplicate(prim);
        primitives_[t.name] = as_type;
        return as_type._retn();
      }
      fail("unknown primitive type " + t.name);
    }
    case TypeExpr::kRef: {
      CORBA::Contained_var c = reference(t.name);
      return CORBA::IDLType::_unchecked_narrow(c);
    }
    case TypeExpr::kString:
    case TypeExpr::kWstring:
      if (t.bound == 0) {
        TypeExpr prim;
        prim.name = t.kind == TypeExpr::kString ? "string" : "wstring";
        CORBA::PrimitiveKind pk =
            t.kind == TypeExpr::kString ? CORBA::pk_string : CORBA::pk_wstring;
        auto cached = primitives_.find(prim.name);
        if (cached != primitives_.end())
          return CORBA::IDLType::_duplicate(cached->second);
        CORBA::PrimitiveDef_var p = session_.repo()->get_primitive(pk);
        CORBA::IDLType_var as_type = CORBA::IDLType::_duplicate(p);
        primitives_[prim.name] = as_type;
        return as_type._retn();
      }
      break;
    default:
      break;
  }
  std::string sig = t.signature();
  auto cached = anonymous_.find(sig);
  if (cached != anonymous_.end())
    return CORBA::IDLType::_duplicate(cached->second);
  CORBA::IDLType_var made;
  CORBA::Repository_ptr repo = session_.repo();
  switch (t.kind) {
    case TypeExpr::kString:
      made = repo->create_string(t.bound);
      break;
    case TypeExpr::kWstring:
      made = repo->create_wstring(t.bound);
      break;
    case TypeExpr::kSequence: {
      CORBA::IDLType_var element = resolve(*t.element);
      made = repo->create_sequence(t.bound, element);
      break;
    }
    case TypeExpr::kArray: {
      CORBA::IDLType_var element = resolve(*t.element);
      made = repo->create_array(t.bound, element);
      break;
    }
    case TypeExpr::kFixed:
      made = repo->create_fixed(t.digits, t.scale);
      break;
    default:
      break;
  }
  anonymous_[sig] = made;
  return made._retn();
}

CORBA::TypeCode_ptr DefinitionFeeder::type_code_of(const TypeExpr& t) {
  CORBA::IDLType_var type = resolve(t);
  return type->type();
}

CORBA::StructMemberSeq DefinitionFeeder::struct_members(
    const std::vector<MemberExpr>& ms) {
  CORBA::StructMemberSeq seq;
  seq.length(static_cast<CORBA::ULong>(ms.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    seq[i].name = ms[i].name.c_str();
    seq[i].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    seq[i].type_def = resolve(ms[i].type);
  }
  return seq;
}

CORBA::UnionMemberSeq DefinitionFeeder::union_members(const DefRecord& d) {
  CORBA::UnionMemberSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.members.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    seq[i].name = d.members[i].name.c_str();
    CORBA::Any_var label = label_any(d, d.members[i].label);
    seq[i].label = label.in();
    seq[i].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    seq[i].type_def = resolve(d.members[i].type);
  }
  return seq;
}

namespace {
// Puts `v` into `a` as the integral, boolean or character primitive
// named `type` (the back-end's names); false for any other type.
bool put_integral(CORBA::Any& a, const std::string& type, long long v) {
  if (type == "short") {
    a <<= static_cast<CORBA::Short>(v);
  } else if (type == "long") {
    a <<= static_cast<CORBA::Long>(v);
  } else if (type == "ushort") {
    a <<= static_cast<CORBA::UShort>(v);
  } else if (type == "ulong") {
    a <<= static_cast<CORBA::ULong>(v);
  } else if (type == "longlong") {
    a <<= static_cast<CORBA::LongLong>(v);
  } else if (type == "ulonglong") {
    a <<= static_cast<CORBA::ULongLong>(v);
  } else if (type == "boolean") {
    a <<= CORBA::Any::from_boolean(v != 0);
  } else if (type == "char") {
    a <<= CORBA::Any::from_char(static_cast<CORBA::Char>(v));
  } else if (type == "wchar") {
    a <<= CORBA::Any::from_wchar(static_cast<CORBA::WChar>(v));
  } else if (type == "octet") {
    a <<= CORBA::Any::from_octet(static_cast<CORBA::Octet>(v));
  } else {
    return false;
  }
  return true;
}
}  // namespace

CORBA::Any* DefinitionFeeder::label_any(const DefRecord& d,
                                        const std::string& label) {
  CORBA::Any_var a = new CORBA::Any;
  if (label == "default") {
    a <<= CORBA::Any::from_octet(0);
    return a._retn();
  }
  long long v = integer_of(label);
  const TypeExpr& disc = d.type;
  if (disc.kind == TypeExpr::kRef) {
    CORBA::TypeCode_var tc = type_code_of(disc);
    return codec_.make_enum(tc, static_cast<CORBA::ULong>(v));
  }
  if (!put_integral(a.inout(), disc.name, v))
    fail("a union cannot switch on " + disc.name);
  return a._retn();
}

CORBA::Any* DefinitionFeeder::constant_any(const DefRecord& d) {
  CORBA::Any_var a = new CORBA::Any;
  const TypeExpr& t = d.type;
  const std::string& value = d.value;
  switch (t.kind) {
    case TypeExpr::kRef: {
      CORBA::TypeCode_var tc = type_code_of(t);
      return codec_.make_enum(tc, static_cast<CORBA::ULong>(integer_of(value)));
    }
    case TypeExpr::kString:
      a <<= CORBA::Any::from_string(value.c_str(), t.bound);
      return a._retn();
    case TypeExpr::kWstring: {
      std::vector<CORBA::WChar> chars;
      std::string codes = value.compare(0, 2, "w:") == 0 ? value.substr(2) : "";
      std::size_t pos = 0;
      while (pos < codes.size()) {
        std::size_t comma = codes.find(',', pos);
        if (comma == std::string::npos) comma = codes.size();
        chars.push_back(static_cast<CORBA::WChar>(
            std::strtoul(codes.substr(pos, comma - pos).c_str(), nullptr, 10)));
        pos = comma + 1;
      }
      chars.push_back(0);
      a <<= CORBA::Any::from_wstring(chars.data(), t.bound);
      return a._retn();
    }
    case TypeExpr::kFixed: {
      CORBA::Fixed f(value.c_str());
      a <<= CORBA::Any::from_fixed(f, t.digits, t.scale);
      return a._retn();
    }
    case TypeExpr::kPrimitive:
      break;
    default:
      fail("a constant cannot have this type");
  }
  const std::string& n = t.name;
  if (n == "float") {
    a <<= static_cast<CORBA::Float>(std::strtod(value.c_str(), nullptr));
  } else if (n == "double" || n == "longdouble") {
    a <<= static_cast<CORBA::Double>(std::strtod(value.c_str(), nullptr));
  } else if (n == "ulonglong") {
    a <<= static_cast<CORBA::ULongLong>(
        std::strtoull(value.c_str(), nullptr, 10));
  } else if (!put_integral(a.inout(), n, integer_of(value))) {
    fail("a constant cannot have the type " + n);
  }
  return a._retn();
}

CORBA::ParDescriptionSeq DefinitionFeeder::parameters(const DefRecord& d) {
  CORBA::ParDescriptionSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.members.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    const MemberExpr& m = d.members[i];
    seq[i].name = m.name.c_str();
    seq[i].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    seq[i].type_def = resolve(m.type);
    seq[i].mode = m.direction == "out"     ? CORBA::PARAM_OUT
                  : m.direction == "inout" ? CORBA::PARAM_INOUT
                                           : CORBA::PARAM_IN;
  }
  return seq;
}

CORBA::ExceptionDefSeq DefinitionFeeder::exceptions(const DefRecord& d) {
  CORBA::ExceptionDefSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.raises.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    CORBA::Contained_var c = reference(d.raises[i]);
    seq[i] = CORBA::ExceptionDef::_unchecked_narrow(c);
  }
  return seq;
}

CORBA::ContextIdSeq DefinitionFeeder::contexts(const DefRecord& d) {
  CORBA::ContextIdSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.contexts.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i)
    seq[i] = d.contexts[i].c_str();
  return seq;
}

CORBA::InterfaceDefSeq DefinitionFeeder::interfaces(
    const std::vector<std::string>& ids) {
  CORBA::InterfaceDefSeq seq;
  seq.length(static_cast<CORBA::ULong>(ids.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    CORBA::Contained_var c = reference(ids[i]);
    seq[i] = CORBA::InterfaceDef::_unchecked_narrow(c);
  }
  return seq;
}

CORBA::ValueDefSeq DefinitionFeeder::values(
    const std::vector<std::string>& ids) {
  CORBA::ValueDefSeq seq;
  seq.length(static_cast<CORBA::ULong>(ids.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    CORBA::Contained_var c = reference(ids[i]);
    seq[i] = CORBA::ValueDef::_unchecked_narrow(c);
  }
  return seq;
}

CORBA::InitializerSeq DefinitionFeeder::initializers(const DefRecord& d) {
  CORBA::InitializerSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.initializers.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    seq[i].name = d.initializers[i].name.c_str();
    seq[i].members = struct_members(d.initializers[i].params);
  }
  return seq;
}

CORBA::EnumMemberSeq DefinitionFeeder::enumerators(const DefRecord& d) {
  CORBA::EnumMemberSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.members.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i)
    seq[i] = d.members[i].name.c_str();
  return seq;
}
