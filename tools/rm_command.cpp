// irctl rm: remove what IDL files defined, or named definitions, refusing
// removals that would leave definitions outside them referring to
// nothing.
#include <algorithm>
#include <memory>
#include <set>

#include "client/corba_text.h"
#include "client/definition_json.h"
#include "client/listing.h"
#include "client/outside_uses.h"
#include "command_support.h"
#include "commands.h"
#include "feed_plan.h"
#include "feed_support.h"
#include "idl_parser.h"
#include "irext.hh"
#include "request_tracker.h"

namespace {

const char kObjectId[] = "IDL:Object:1.0";

// One definition removed with everything inside it.
struct Target {
  CORBA::Contained_var ref;
  DefinitionRef def;
  CORBA::DefinitionKind kind = CORBA::dk_none;
  long inside = 0;  // definitions below it
};

// A use that a removal would leave dangling.
struct Dangling {
  DefinitionSummary user;
  DefinitionRef used;
};

// What one user transaction removes (or, in a dry run, would remove).
class Removal {
 public:
  Removal(CommandContext& ctx, RepositoryListing& listing)
      : ctx_(ctx), listing_(listing) {}

  // The target of `ref`, read from the repository (four calls).
  Target target_of(CORBA::Contained_ptr ref) {
    Target t;
    t.ref = CORBA::Contained::_duplicate(ref);
    CORBA::String_var name = ref->absolute_name();
    CORBA::String_var id = ref->id();
    t.def = DefinitionRef{id.in(), name.in()};
    t.kind = ref->def_kind();
    if (is_container_kind(t.kind))
      t.inside = listing_.count_below(ref, t.def.id);
    return t;
  }

  // Adds `t` unless it lies inside a target already added (or is one).
  void add(Target t) {
    for (const Target& old : targets_)
      if (is_within(t.def.name, old.def.name)) return;
    // A target inside the new one is part of it now.
    targets_.erase(std::remove_if(targets_.begin(), targets_.end(),
                                  [&](const Target& old) {
                                    return is_within(old.def.name, t.def.name);
                                  }),
                   targets_.end());
    targets_.push_back(std::move(t));
  }

  bool empty() const { return targets_.empty(); }
  const std::vector<Target>& targets() const { return targets_; }
  bool covers(const std::string& name) const {
    for (const Target& t : targets_)
      if (is_within(name, t.def.name)) return true;
    return false;
  }

  // Asks the repository what uses the targets from outside them (a call
  // per target).
  void collect_uses() {
    uses_.clear();
    for (const Target& t : targets_)
      for (const OutsideUse& use : outside_uses(ctx_.session.repo(), t.ref))
        uses_.push_back(use);
  }

  // The uses collected of the targets from definitions that are neither
  // targets nor below one, nor below one of `also_gone` (scoped names
  // removed by an earlier step of the same run), nor among `run_ids` (the
  // ids of what the whole run removes).
  std::vector<Dangling> dangling(const std::vector<std::string>& also_gone,
                                 const std::set<std::string>& run_ids) const {
    std::vector<Dangling> out;
    for (const OutsideUse& use : uses_) {
      if (covers(use.user.scoped_name) || run_ids.count(use.user.id)) continue;
      bool gone = false;
      for (const std::string& g : also_gone)
        gone = gone || is_within(use.user.scoped_name, g);
      if (!gone) out.push_back({use.user, {use.used_id, use.used_name}});
    }
    return out;
  }

  // Destroys the targets in the order added.  Throws the CORBA exception
  // of a failed call.
  void destroy_all() {
    for (const Target& t : targets_) {
      step_ = "removing " + t.def.name;
      t.ref->destroy();
    }
  }

  const std::string& step() const { return step_; }
  void set_step(const std::string& s) { step_ = s; }

 private:
  CommandContext& ctx_;
  RepositoryListing& listing_;
  std::vector<Target> targets_;
  std::vector<OutsideUse> uses_;
  std::string step_;
};

std::string target_line(const Target& t) {
  std::string line = t.def.name + " (" + t.def.id + ")";
  if (t.inside > 0)
    line += " and " + count_text(t.inside, "definition") + " inside it";
  return line;
}

std::string dangling_line(const Dangling& d) {
  return d.user.scoped_name + " (" + d.user.id + ") uses " + d.used.name;
}

// The run's report: printed as it goes (text) or at the end (JSON).
class RmReport {
 public:
  RmReport(CommandContext& ctx, const RmOptions& o) : ctx_(ctx), o_(o) {}

  void removed(const std::vector<Target>& targets) {
    for (const Target& t : targets) {
      removed_.push_back(t);
      if (!ctx_.json)
        ctx_.out << (o_.dry_run ? "would remove " : "removed ")
                 << target_line(t) << "\n";
    }
    ctx_.out << std::flush;
  }

  void dangling(const std::vector<Dangling>& uses, bool left) {
    for (const Dangling& d : uses) {
      dangling_.push_back(d);
      if (ctx_.json) continue;
      if (o_.dry_run)
        ctx_.out << "would leave dangling: " << dangling_line(d) << "\n";
      else if (left)
        ctx_.error("rm", "warning: " + dangling_line(d) +
                             ", which is removed: the reference is left "
                             "dangling");
    }
    ctx_.out << std::flush;
  }

  void refused(const std::vector<Dangling>& uses) {
    refused_ = true;
    ctx_.error("rm",
               "refused: definitions outside what would be removed still use "
               "it:");
    for (const Dangling& d : uses) ctx_.err << "  " << dangling_line(d) << "\n";
    ctx_.error("rm",
               "nothing was removed (--force removes it anyway, leaving "
               "those references dangling; --dry-run shows the whole "
               "removal)");
    for (const Dangling& d : uses) dangling_.push_back(d);
  }

  void file(nlohmann::json entry) { files_.push_back(std::move(entry)); }

  void finish(bool file_mode) {
    if (!ctx_.json) return;
    nlohmann::json removed = nlohmann::json::array();
    for (const Target& t : removed_)
      removed.push_back({{"kind", kind_name(t.kind)},
                         {"name", t.def.name},
                         {"id", t.def.id},
                         {"inside", t.inside}});
    nlohmann::json dangling = nlohmann::json::array();
    for (const Dangling& d : dangling_)
      dangling.push_back(
          {{"user", summary_json(d.user)}, {"uses", ref_json(d.used)}});
    nlohmann::json doc = {{"dry_run", o_.dry_run},
                          {"force", o_.force},
                          {"refused", refused_},
                          {"removed", removed},
                          {"dangling", dangling}};
    if (file_mode) doc["files"] = files_;
    ctx_.print_json(doc);
  }

 private:
  CommandContext& ctx_;
  const RmOptions& o_;
  std::vector<Target> removed_;
  std::vector<Dangling> dangling_;
  nlohmann::json files_ = nlohmann::json::array();
  bool refused_ = false;
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
      ctx.error("rm",
                "cancelling the user transaction failed: " + failure_text(e));
    }
    throw;
  }
  ext->ext_endUserTransaction();
}

// Carries out (or, in a dry run, shows) one removal, with the modules of
// `modules_after` (innermost first) that it leaves empty.
// `gone` holds the scoped names that earlier removals of the run took (a
// dry run removes nothing, so a later file must not count their users);
// what this one removes is added.  Returns false when it was refused.  Throws
// the CORBA exception of a failed call, after cancelling the transaction.
bool carry_out(CommandContext& ctx, const RmOptions& o, RmReport& report,
               Removal& removal, RepositoryListing& listing,
               std::vector<std::string>* gone,
               const std::set<std::string>& run_ids,
               const std::vector<Target>& modules_after, int* removed_count) {
  removal.set_step("asking what uses what is removed");
  const std::vector<std::string>& also_gone = *gone;
  std::vector<Dangling> uses = removal.dangling(also_gone, run_ids);
  if (!uses.empty() && !o.force && !o.dry_run) {
    report.refused(uses);
    return false;
  }
  // A module of the file that the removal empties goes as a whole, with
  // one destroy instead of one per definition inside it; modules that
  // keep other contents stay.
  auto covered = [&](const std::string& name) {
    if (removal.covers(name)) return true;
    for (const std::string& g : also_gone)
      if (is_within(name, g)) return true;
    return false;
  };
  for (const Target& m : modules_after) {
    if (covered(m.def.name)) continue;
    removal.set_step("reading " + m.def.name);
    bool all_gone = true;
    for (const DefinitionSummary& child :
         listing.children(m.def.id, m.def.name))
      all_gone = all_gone && covered(child.scoped_name);
    if (!all_gone) continue;
    Target whole = m;
    for (const Target& t : removal.targets())
      if (is_within(t.def.name, m.def.name)) whole.inside += 1 + t.inside;
    removal.add(whole);
  }
  if (!o.dry_run) in_transaction(ctx, [&] { removal.destroy_all(); });
  report.removed(removal.targets());
  report.dangling(uses, !o.dry_run);
  for (const Target& t : removal.targets()) {
    *removed_count += 1 + static_cast<int>(t.inside);
    gone->push_back(t.def.name);
  }
  return !o.dry_run || uses.empty() || o.force;
}

int remove_names(CommandContext& ctx, const RmOptions& o) {
  RepositoryListing listing(ctx.session.repo());
  Removal removal(ctx, listing);
  for (const std::string& name : o.names) {
    CORBA::Contained_var c = find_definition(ctx, "rm", name);
    if (CORBA::is_nil(c)) {
      ctx.error("rm", "nothing was removed");
      return 1;
    }
    CORBA::String_var id = c->id();
    if (std::string(id.in()) == kObjectId) {
      ctx.error("rm",
                name + ": the built-in Object interface cannot be removed");
      return 1;
    }
    removal.add(removal.target_of(c));
  }
  RmReport report(ctx, o);
  int count = 0;
  bool ok = false;
  try {
    removal.set_step("asking what uses what is removed");
    removal.collect_uses();
    std::vector<std::string> gone;
    ok = carry_out(ctx, o, report, removal, listing, &gone, {}, {}, &count);
  } catch (const CORBA::Exception& e) {
    ctx.error("rm", removal.step() + ": " + failure_text(e) +
                        "; nothing was removed");
    return 1;
  }
  report.finish(false);
  return ok ? 0 : 1;
}

// One file's removal, prepared from its records and the repository.
struct FilePlan {
  std::string path;
  std::unique_ptr<Removal> removal;
  std::vector<Target> modules;  // the file's modules, innermost first
  int missing = 0;              // definitions of the file not in the repository
  std::string error;            // a call that failed while preparing
};

// Prepares the removal of each file as soon as omniidl has printed its
// tree, while omniidl goes on with the next files: the lookups and the
// questions about users cost nothing then.  Nothing is removed here.
class RemovalPreparer : public IdlParseListener {
 public:
  RemovalPreparer(CommandContext& ctx, RepositoryListing& listing,
                  const std::map<std::string, std::string>& given,
                  bool include_deps)
      : ctx_(ctx),
        listing_(listing),
        given_(given),
        include_deps_(include_deps) {}

  void tree_done(IdlRecords& records, std::size_t tree) override {
    for (int f : tree_files(records.trees[tree], include_deps_)) {
      const std::string& where = records.files[f].location;
      if (plans_.count(where)) continue;
      plans_[where] = prepare(records, records.trees[tree], f);
    }
  }
  void file_refused(const IdlParseFailure&) override {}

  // The plan of the file at `location` (nullptr when none was made).
  FilePlan* plan(const std::string& location) {
    auto it = plans_.find(location);
    return it == plans_.end() ? nullptr : &it->second;
  }

 private:
  FilePlan prepare(const IdlRecords& records, const IdlTree& tree, int file) {
    FilePlan plan;
    const IdlFile& f = records.files[file];
    auto named = given_.find(f.location);
    plan.path = named == given_.end() ? f.path : named->second;
    plan.removal = std::make_unique<Removal>(ctx_, listing_);

    std::map<std::string, const DefRecord*> by_id;
    std::set<std::string> full;
    // The number of definitions of the file below each of its containers.
    std::map<std::string, long> inside;
    std::vector<std::string> open;
    for (const TreeItem& item : tree.items) {
      if (item.is_end) {
        if (!open.empty()) open.pop_back();
        continue;
      }
      by_id.emplace(item.def.id, &item.def);
      if (item.def.kind != DefKind::kForward) {
        by_id[item.def.id] = &item.def;
        full.insert(item.def.id);
        if (item.file == file)
          for (const std::string& c : open) ++inside[c];
      }
      if (def_kind_is_container(item.def.kind)) open.push_back(item.def.id);
    }
    // The file's units (definitions directly in a module or at the top),
    // latest first; its modules, innermost first.
    std::vector<const DefRecord*> units, forwards;
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
    std::stable_sort(modules.begin(), modules.end(),
                     [&](const std::string& a, const std::string& b) {
                       return scoped_name_in(by_id, a).size() >
                              scoped_name_in(by_id, b).size();
                     });

    Removal& removal = *plan.removal;
    // What a target holds is known from the file's records.
    auto target = [&](const DefRecord* d, CORBA::Contained_ptr c) {
      Target t;
      t.ref = CORBA::Contained::_duplicate(c);
      t.def = DefinitionRef{d->id, scoped_name_in(by_id, d->id)};
      t.kind = repository_kind(*d);
      t.inside = inside[d->id];
      return t;
    };
    try {
      CORBA::Repository_ptr repo = ctx_.session.repo();
      for (const DefRecord* d : units) {
        removal.set_step("looking up " + scoped_name_in(by_id, d->id));
        CORBA::Contained_var c = repo->lookup_id(d->id.c_str());
        if (CORBA::is_nil(c))
          ++plan.missing;
        else
          removal.add(target(d, c));
      }
      // A forward declaration alone left an empty interface or value.
      for (const DefRecord* d : forwards) {
        removal.set_step("looking up " + scoped_name_in(by_id, d->id));
        CORBA::Contained_var c = repo->lookup_id(d->id.c_str());
        if (CORBA::is_nil(c)) continue;
        CORBA::Container_var holder = CORBA::Container::_unchecked_narrow(c);
        CORBA::ContainedSeq_var contents =
            holder->contents(CORBA::dk_all, true);
        if (contents->length() == 0) removal.add(target(d, c));
      }
      for (const std::string& id : modules) {
        CORBA::Contained_var m = repo->lookup_id(id.c_str());
        if (CORBA::is_nil(m)) continue;
        Target t;
        t.ref = CORBA::Contained::_duplicate(m);
        t.def = DefinitionRef{id, scoped_name_in(by_id, id)};
        t.kind = CORBA::dk_Module;
        plan.modules.push_back(t);
      }
      removal.set_step("asking what uses what is removed");
      removal.collect_uses();
    } catch (const CORBA::Exception& e) {
      plan.error = removal.step() + ": " + failure_text(e);
    }
    return plan;
  }

  CommandContext& ctx_;
  RepositoryListing& listing_;
  const std::map<std::string, std::string>& given_;
  bool include_deps_;
  std::map<std::string, FilePlan> plans_;  // by file location
};

int remove_files(CommandContext& ctx, const RmOptions& o) {
  IdlParseOptions options;
  options.include_dirs = o.input.include_dirs;
  options.defines = o.input.defines;
  options.include_deps = o.input.include_deps;
  std::map<std::string, std::string> given;
  for (const std::string& f : o.files) given.emplace(canonical_path(f), f);
  RepositoryListing listing(ctx.session.repo());
  RemovalPreparer preparer(ctx, listing, given, options.include_deps);
  IdlParseResult parse;
  try {
    parse = parse_idl(o.files, options, &preparer);
  } catch (const std::exception& e) {
    ctx.error("rm", e.what());
    return 1;
  }
  RmReport report(ctx, o);
  int failed = 0;
  for (const IdlParseFailure& f : parse.failures) {
    ctx.err << f.message << std::endl;
    ctx.error("rm",
              f.file + ": omniidl refused the file; nothing of it was removed");
    report.file({{"path", f.file}, {"status", "refused"}, {"removed", 0}});
    ++failed;
  }
  std::vector<std::string> gone;  // scoped names removed by earlier files
  std::vector<FeedStep> plan = plan_feed(parse.records, options.include_deps);
  std::reverse(plan.begin(), plan.end());
  // Definitions of any file of the run may use each other (forward
  // declarations make cycles between files): none of them counts as a
  // user left behind.
  std::set<std::string> run_ids;
  std::set<std::pair<int, int>> planned;
  for (const FeedStep& step : plan) planned.insert({step.tree, step.file});
  for (std::size_t t = 0; t < parse.records.trees.size(); ++t)
    for (const TreeItem& item : parse.records.trees[t].items)
      if (!item.is_end && item.def.kind != DefKind::kForward &&
          planned.count({static_cast<int>(t), item.file}))
        run_ids.insert(item.def.id);
  for (const FeedStep& step : plan) {
    FilePlan* file = preparer.plan(parse.records.files[step.file].location);
    if (!file) continue;
    int count = 0;
    bool ok = false;
    std::string error = file->error;
    if (error.empty()) {
      try {
        ok = carry_out(ctx, o, report, *file->removal, listing, &gone, run_ids,
                       file->modules, &count);
      } catch (const CORBA::Exception& e) {
        error = file->removal->step() + ": " + failure_text(e);
      }
    }
    const std::string& path = file->path;
    if (!error.empty()) {
      ctx.error("rm",
                path + ": " + error + "; nothing of the file was removed");
      report.file({{"path", path}, {"status", "failed"}, {"removed", 0}});
      ++failed;
      continue;
    }
    int missing = file->missing;
    if (missing)
      ctx.error("rm", "warning: " + count_text(missing, "definition") + " of " +
                          path + (missing == 1 ? " was" : " were") +
                          " not in the repository");
    report.file(
        {{"path", path},
         {"status", ok ? (o.dry_run ? "would-remove" : "removed") : "refused"},
         {"removed", count},
         {"missing", missing}});
    if (!ok) {
      ++failed;
      continue;
    }
    if (!ctx.json)
      ctx.out << "irctl: rm " << path << ": " << count_text(count, "definition")
              << (o.dry_run ? " would be removed" : " removed") << std::endl;
  }
  report.finish(true);
  return failed == 0 ? 0 : 1;
}

}  // namespace

int rm_command(CommandContext& ctx, const RmOptions& o) {
  if (!o.files.empty()) return remove_files(ctx, o);
  return remove_names(ctx, o);
}
