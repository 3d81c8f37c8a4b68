// irctl rm: remove what IDL files defined, or named definitions.
#include <algorithm>
#include <fstream>
#include <set>
#include <stdexcept>
#include <unordered_map>

#include "command_line.h"
#include "commands.h"
#include "client/corba_text.h"
#include "feed_plan.h"
#include "idl_parser.h"

namespace {

const char kObjectId[] = "IDL:Object:1.0";

// A removal that failed; what() names the step and the exception.
class RemoveFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A set of object references, compared with _is_equivalent (no remote
// call in omniORB) and bucketed by _hash.
class ReferenceSet {
 public:
  bool contains(CORBA::Object_ptr obj) const {
    auto range = buckets_.equal_range(obj->_hash(kHashBound));
    for (auto it = range.first; it != range.second; ++it)
      if (obj->_is_equivalent(it->second.in())) return true;
    return false;
  }
  void add(CORBA::Object_ptr obj) {
    if (contains(obj)) return;
    buckets_.emplace(obj->_hash(kHashBound), CORBA::Object::_duplicate(obj));
  }

 private:
  static constexpr CORBA::ULong kHashBound = 0x7fffffff;
  std::unordered_multimap<CORBA::ULong, CORBA::Object_var> buckets_;
};

// The definitions that one user transaction removes: their subtrees are
// known before anything is destroyed, so that the warnings name only
// definitions that stay.  What it did is printed by print() once the
// transaction has been committed; step() says what it was doing when a
// call failed.
class Removal {
 public:
  // Adds `ref` (described by `label`) unless it lies inside a definition
  // already added; returns whether it was added.
  bool add(CORBA::Contained_ptr ref, const std::string& label) {
    if (doomed_.contains(ref)) return false;
    step_ = "reading what " + label + " holds";
    IRExt::Contained_var ext = IRExt::Contained::_unchecked_narrow(ref);
    CORBA::ContainedSeq_var subtree = ext->ext_get_objects_2b_deleted();
    for (CORBA::ULong i = 0; i < subtree->length(); ++i) {
      doomed_.add(subtree[i]);
      members_.push_back(CORBA::Contained::_duplicate(subtree[i]));
    }
    doomed_.add(ref);
    targets_.push_back(
        {CORBA::Contained::_duplicate(ref), label, subtree->length()});
    return true;
  }

  // Notes a warning for every definition outside the removal that refers
  // to a definition inside it.
  void find_referrers() {
    for (const CORBA::Contained_var& m : members_) {
      step_ = "asking what refers to the removed definitions";
      IRExt::Contained_var ext = IRExt::Contained::_unchecked_narrow(m);
      CORBA::ContainedSeq_var refs = ext->ext_get_refs_object("all");
      for (CORBA::ULong i = 0; i < refs->length(); ++i) {
        if (doomed_.contains(refs[i])) continue;
        CORBA::String_var who = refs[i]->absolute_name();
        CORBA::String_var what = m->absolute_name();
        warnings_.push_back(std::string("irctl: warning: ") + who.in() +
                            " still refers to " + what.in() +
                            ", which is removed");
      }
    }
  }

  // Destroys the definitions in the order added; returns how many
  // definitions went.
  int destroy_all() {
    int removed = 0;
    for (const Target& t : targets_) {
      step_ = "removing " + t.label;
      t.ref->destroy();
      std::string line = "removed " + t.label;
      if (t.inside > 1)
        line +=
            " and " + std::to_string(t.inside - 1) + " definitions inside it";
      report_.push_back(line);
      removed += static_cast<int>(t.inside);
    }
    return removed;
  }

  // Notes one more removal made outside destroy_all.
  void note(const std::string& line) { report_.push_back(line); }
  void set_step(const std::string& step) { step_ = step; }
  const std::string& step() const { return step_; }

  void print(CommandContext& ctx) const {
    for (const std::string& w : warnings_) ctx.err << w << std::endl;
    for (const std::string& r : report_) ctx.out << r << std::endl;
  }

 private:
  struct Target {
    CORBA::Contained_var ref;
    std::string label;
    CORBA::ULong inside;  // the size of its subtree, itself included
  };
  ReferenceSet doomed_;
  std::vector<CORBA::Contained_var> members_;
  std::vector<Target> targets_;
  std::vector<std::string> warnings_;
  std::vector<std::string> report_;
  std::string step_;
};

// Runs `body` inside one user transaction, cancelled when it throws.
template <class Body>
void in_transaction(CommandContext& ctx, Body body) {
  IRExt::Repository_ptr ext = ctx.session.ext();
  ext->ext_beginUserTransaction();
  try {
    body();
  } catch (...) {
    try {
      ext->ext_cancelUserTransaction();
    } catch (const CORBA::Exception& e) {
      ctx.err << "irctl: rm: cancelling the user transaction failed: "
              << exception_text(e) << std::endl;
    }
    throw;
  }
  ext->ext_endUserTransaction();
}

bool is_idl_file(const std::string& arg) {
  if (arg.size() > 4 && arg.compare(arg.size() - 4, 4, ".idl") == 0)
    return true;
  std::ifstream probe(arg);
  return looks_like_repository_id(arg) ? false : bool(probe);
}

// Removes what one file defines in one tree; returns the number of
// definitions removed.
int remove_file(CommandContext& ctx, const IdlRecords& records,
                const IdlTree& tree, int file) {
  std::map<std::string, const DefRecord*> by_id;
  std::set<std::string> full;
  for (const TreeItem& item : tree.items) {
    if (item.is_end) continue;
    by_id.emplace(item.def.id, &item.def);
    if (item.def.kind != DefKind::kForward) {
      by_id[item.def.id] = &item.def;
      full.insert(item.def.id);
    }
  }
  // Top-level units of the file (definitions directly in a module or at
  // the top), latest first; modules separately, innermost first.
  std::vector<const DefRecord*> units;
  std::vector<const DefRecord*> forwards;
  std::vector<std::string> modules;
  for (auto it = tree.items.rbegin(); it != tree.items.rend(); ++it) {
    if (it->is_end || it->file != file) continue;
    const DefRecord& d = it->def;
    if (!d.container.empty()) {
      auto parent = by_id.find(d.container);
      if (parent != by_id.end() && parent->second->kind != DefKind::kModule)
        continue;
    }
    if (d.kind == DefKind::kModule) {
      if (std::find(modules.begin(), modules.end(), d.id) == modules.end())
        modules.push_back(d.id);
    } else if (d.kind == DefKind::kForward) {
      if (!full.count(d.id)) forwards.push_back(&d);
    } else {
      units.push_back(&d);
    }
  }
  int removed = 0;
  int missing = 0;
  Removal removal;
  try {
    in_transaction(ctx, [&] {
      CORBA::Repository_ptr repo = ctx.session.repo();
      for (const DefRecord* d : units) {
        removal.set_step("looking up " + scoped_name_in(by_id, d->id));
        CORBA::Contained_var c = repo->lookup_id(d->id.c_str());
        if (CORBA::is_nil(c)) {
          ++missing;
          continue;
        }
        removal.add(c, scoped_name_in(by_id, d->id) + " (" + d->id + ")");
      }
      // A forward declaration alone left an empty interface or value.
      for (const DefRecord* d : forwards) {
        removal.set_step("looking up " + scoped_name_in(by_id, d->id));
        CORBA::Contained_var c = repo->lookup_id(d->id.c_str());
        if (CORBA::is_nil(c)) continue;
        CORBA::Container_var inside = CORBA::Container::_unchecked_narrow(c);
        CORBA::ContainedSeq_var contents =
            inside->contents(CORBA::dk_all, true);
        if (contents->length() == 0)
          removal.add(c, scoped_name_in(by_id, d->id) + " (" + d->id + ")");
      }
      removal.find_referrers();
      removed += removal.destroy_all();
      // Modules go when nothing is left in them; innermost first.
      std::sort(modules.begin(), modules.end(),
                [&](const std::string& a, const std::string& b) {
                  return scoped_name_in(by_id, a).size() >
                         scoped_name_in(by_id, b).size();
                });
      for (const std::string& id : modules) {
        std::string label = scoped_name_in(by_id, id) + " (" + id + ")";
        removal.set_step("removing " + label);
        CORBA::Contained_var c = repo->lookup_id(id.c_str());
        if (CORBA::is_nil(c)) continue;
        CORBA::Container_var m = CORBA::Container::_unchecked_narrow(c);
        CORBA::ContainedSeq_var contents = m->contents(CORBA::dk_all, false);
        if (contents->length() != 0) continue;
        c->destroy();
        removal.note("removed " + label);
        ++removed;
      }
    });
  } catch (const CORBA::Exception& e) {
    throw RemoveFailure(removal.step() + ": " + exception_text(e));
  }
  removal.print(ctx);
  if (missing)
    ctx.err << "irctl: warning: " << missing << " definition"
            << (missing == 1 ? "" : "s") << " of " << records.files[file].path
            << (missing == 1 ? " was" : " were") << " not in the repository"
            << std::endl;
  return removed;
}

int remove_files(CommandContext& ctx, const ParsedArgs& parsed) {
  IdlParseOptions options;
  options.include_dirs = parsed.values("-I");
  options.defines = parsed.values("-D");
  options.include_deps = parsed.has("--include-deps");
  IdlParseResult parse;
  try {
    parse = parse_idl(parsed.positional, options);
  } catch (const std::exception& e) {
    ctx.err << "irctl: rm: " << e.what() << std::endl;
    return 1;
  }
  int failed = 0;
  for (const IdlParseFailure& f : parse.failures) {
    ctx.err << f.message << "\n"
            << "irctl: " << f.file
            << ": omniidl refused the file; nothing of it was removed"
            << std::endl;
    ++failed;
  }
  std::vector<FeedStep> plan = plan_feed(parse.records, options.include_deps);
  std::reverse(plan.begin(), plan.end());
  for (const FeedStep& step : plan) {
    const std::string& path = parse.records.files[step.file].path;
    try {
      int removed = remove_file(ctx, parse.records,
                                parse.records.trees[step.tree], step.file);
      ctx.out << "irctl: rm " << path << ": " << removed << " definition"
              << (removed == 1 ? "" : "s") << " removed" << std::endl;
    } catch (const RemoveFailure& e) {
      ctx.err << "irctl: rm " << path << ": " << e.what()
              << "; nothing of the file was removed" << std::endl;
      ++failed;
    }
  }
  return failed == 0 ? 0 : 1;
}

int remove_names(CommandContext& ctx, const std::vector<std::string>& names) {
  std::vector<std::pair<CORBA::Contained_var, std::string>> found;
  for (const std::string& name : names) {
    CORBA::Contained_var c = ctx.session.find(name);
    if (CORBA::is_nil(c)) {
      ctx.err << "irctl: rm: " << name << ": no such definition" << std::endl;
      return 1;
    }
    CORBA::String_var id = c->id();
    CORBA::String_var abs = c->absolute_name();
    if (std::string(id.in()) == kObjectId) {
      ctx.err << "irctl: rm: " << name
              << ": the built-in Object interface cannot be removed"
              << std::endl;
      return 1;
    }
    found.emplace_back(c, std::string(abs.in()) + " (" + id.in() + ")");
  }
  Removal removal;
  try {
    in_transaction(ctx, [&] {
      for (auto& f : found) removal.add(f.first, f.second);
      removal.find_referrers();
      removal.destroy_all();
    });
  } catch (const CORBA::Exception& e) {
    ctx.err << "irctl: rm: " << removal.step() << ": " << exception_text(e)
            << "; nothing was removed" << std::endl;
    return 1;
  }
  removal.print(ctx);
  return 0;
}

}  // namespace

int rm_command(CommandContext& ctx, const Args& args) {
  ParsedArgs parsed =
      parse_args(args, {{"-I", true}, {"-D", true}, {"--include-deps", false}});
  if (parsed.positional.empty())
    throw UsageError("nothing to remove: give IDL files or names");
  std::vector<std::string> files, names;
  for (const std::string& a : parsed.positional)
    (is_idl_file(a) ? files : names).push_back(a);
  if (!files.empty() && !names.empty())
    throw UsageError("give either IDL files or names, not both");
  if (!files.empty()) return remove_files(ctx, parsed);
  if (parsed.has("-I") || parsed.has("-D") || parsed.has("--include-deps"))
    throw UsageError("-I, -D and --include-deps apply to IDL files only");
  return remove_names(ctx, names);
}
