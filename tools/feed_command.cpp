// irctl feed: parse IDL files and create their definitions (or, with
// --check, compare them with the repository).
#include <chrono>
#include <fstream>
#include <map>
#include <set>

#include "command_support.h"
#include "commands.h"
#include "definition_feeder.h"
#include "feed_plan.h"
#include "idl_parser.h"

namespace {

// The progress line on the terminal: rewritten in place, cleared before
// any other output.
class ProgressLine {
 public:
  ProgressLine(std::ostream& err, bool enabled) : err_(err), on_(enabled) {}
  ~ProgressLine() { clear(); }
  void show(const std::string& text) {
    if (!on_) return;
    auto now = std::chrono::steady_clock::now();
    if (shown_ && now - last_ < std::chrono::milliseconds(100)) return;
    last_ = now;
    std::string line = text.substr(0, 78);
    err_ << '\r' << line
         << std::string(width_ > line.size() ? width_ - line.size() : 0, ' ')
         << '\r' << std::flush;
    width_ = line.size();
    shown_ = true;
  }
  void clear() {
    if (!shown_) return;
    err_ << '\r' << std::string(width_, ' ') << '\r' << std::flush;
    shown_ = false;
    width_ = 0;
  }

 private:
  std::ostream& err_;
  bool on_;
  bool shown_ = false;
  std::size_t width_ = 0;
  std::chrono::steady_clock::time_point last_;
};

// The first error omniidl reported (its warnings skipped).
std::string first_error(const std::string& text) {
  std::size_t start = 0;
  std::string fallback;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    if (fallback.empty()) fallback = line;
    if (line.find("Warning:") == std::string::npos) return line;
    start = end + 1;
  }
  return fallback;
}

// What happened to one file.
struct FileResult {
  std::string path;    // as the user gave it (included files: as found)
  std::string status;  // "fed", "failed", "refused", "unreadable",
                       // "matches", "differs"
  FeedReport report;
  std::string error;  // failed, refused, unreadable: the reason
};

nlohmann::json file_json(const FileResult& r) {
  nlohmann::json j = {{"path", r.path}, {"status", r.status}};
  const FeedCounts& c = r.report.counts;
  if (r.status == "fed") {
    j["created"] = c.created;
    j["unchanged"] = c.unchanged;
    j["replaced"] = c.replaced;
    j["removed"] = c.removed;
    nlohmann::json removed = nlohmann::json::array();
    for (const DefinitionRef& d : r.report.removed)
      removed.push_back({{"name", d.name}, {"id", d.id}});
    j["removed_definitions"] = removed;
  }
  if (r.status == "matches" || r.status == "differs") {
    nlohmann::json diffs = nlohmann::json::array();
    for (const FeedDifference& d : r.report.differences)
      diffs.push_back({{"line", d.line},
                       {"name", d.name},
                       {"id", d.id},
                       {"difference", d.text}});
    j["differences"] = diffs;
  }
  if (!r.error.empty()) j["error"] = r.error;
  return j;
}

// Feeds each tree as soon as omniidl has printed it and the named files
// it includes are done, so that the repository works while omniidl parses
// the next files.  Each file is fed once, as one user transaction.
class FeedScheduler : public IdlParseListener {
 public:
  FeedScheduler(CommandContext& ctx, DefinitionFeeder& feeder,
                const FeedOptions& options)
      : ctx_(ctx),
        feeder_(feeder),
        include_deps_(options.input.include_deps),
        check_(options.check),
        quiet_(options.quiet || ctx.json),
        progress_(ctx.err, ctx.terminal && !options.quiet && !ctx.json) {}

  // A file named on the command line, as the user wrote it.
  void add_named(const std::string& path) {
    std::string where = canonical_path(path);
    named_.insert(where);
    given_path_.emplace(where, path);
  }

  void tree_done(IdlRecords& records, std::size_t tree) override {
    records_ = &records;
    pending_.push_back(tree);
    feed_ready(false);
  }

  void file_refused(const IdlParseFailure& f) override {
    progress_.clear();
    // omniidl's own messages name the file, the line and the error: they
    // are the one report of it.
    ctx_.err << f.message << std::endl;
    std::string path = user_path(canonical_path(f.file), f.file);
    ctx_.error("feed", path + ": omniidl refused the file; nothing of it " +
                           std::string(check_ ? "was compared" : "went in"));
    add_result({path, "refused", FeedReport(), first_error(f.message)});
    done_.insert(canonical_path(f.file));
    feed_ready(false);
  }

  void add_unreadable(const std::string& path) {
    ctx_.error("feed", path + ": cannot read the file");
    add_result({path, "unreadable", FeedReport(), "cannot read the file"});
  }

  // After the last tree: the trees still waiting go in, in an order
  // where included files come first as far as possible.
  void finish() { feed_ready(true); }

  const std::vector<FileResult>& results() const { return results_; }

 private:
  std::string user_path(const std::string& location,
                        const std::string& fallback) const {
    auto it = given_path_.find(location);
    return it == given_path_.end() ? fallback : it->second;
  }

  void add_result(FileResult r) { results_.push_back(std::move(r)); }

  bool ready(std::size_t tree) const {
    for (int inc : records_->trees[tree].includes) {
      const std::string& where = records_->files[inc].location;
      if (named_.count(where) && !done_.count(where)) return false;
    }
    return true;
  }

  void feed_ready(bool at_end) {
    if (!records_) return;
    while (!pending_.empty()) {
      auto pick = pending_.end();
      for (auto it = pending_.begin(); it != pending_.end(); ++it) {
        if (include_deps_ || ready(*it)) {
          pick = it;
          break;
        }
      }
      if (pick == pending_.end()) {
        if (!at_end) return;
        pick = pending_.begin();
      }
      std::size_t tree = *pick;
      pending_.erase(pick);
      feed_tree(tree);
    }
  }

  void feed_tree(std::size_t t) {
    for (int f : tree_files(records_->trees[t], include_deps_)) {
      const std::string& where = records_->files[f].location;
      if (!done_.insert(where).second) continue;
      feed_file(t, f);
    }
  }

  void feed_file(std::size_t t, int f) {
    const IdlFile& file = records_->files[f];
    std::string path = user_path(file.location, file.path);
    FileResult result{path, "", FeedReport(), ""};
    std::string head =
        "irctl: feed: file " + std::to_string(results_.size() + 1) + ", ";
    try {
      result.report = feeder_.feed_file(
          *records_, records_->trees[t], f, path, [&](int done) {
            progress_.show(head +
                           count_text(definitions_ + done, "definition") +
                           ": " + path);
          });
      progress_.clear();
      const FeedCounts& c = result.report.counts;
      definitions_ += c.created + c.unchanged + c.replaced;
      if (check_)
        result.status =
            result.report.differences.empty() ? "matches" : "differs";
      else
        result.status = "fed";
      print_file(result);
    } catch (const FeedFailure& e) {
      progress_.clear();
      result.status = "failed";
      result.error = e.what();
      ctx_.error("feed", std::string(e.what()) + "; nothing of " + path +
                             (check_ ? " was compared" : " went in"));
    }
    add_result(std::move(result));
  }

  void print_file(const FileResult& r) {
    if (ctx_.json) return;
    const FeedCounts& c = r.report.counts;
    if (check_) {
      for (const FeedDifference& d : r.report.differences)
        ctx_.out << r.path << ":" << d.line << ": " << d.name << " (" << d.id
                 << "): " << d.text << "\n";
      if (!quiet_)
        ctx_.out << "checked " << r.path << ": "
                 << (r.report.differences.empty()
                         ? std::string("matches the repository")
                         : count_text(
                               static_cast<long>(r.report.differences.size()),
                               "difference"))
                 << "\n";
      ctx_.out << std::flush;
      return;
    }
    for (const DefinitionRef& d : r.report.removed)
      ctx_.out << "removed " << d.name << " (" << d.id << ")\n";
    if (quiet_) return;
    ctx_.out << "fed " << r.path << ": " << c.created << " created, "
             << c.unchanged << " unchanged";
    if (c.replaced) ctx_.out << ", " << c.replaced << " replaced";
    if (c.removed) ctx_.out << ", " << c.removed << " removed";
    ctx_.out << std::endl;
  }

  CommandContext& ctx_;
  DefinitionFeeder& feeder_;
  bool include_deps_;
  bool check_;
  bool quiet_;
  ProgressLine progress_;
  IdlRecords* records_ = nullptr;
  std::set<std::string> named_;  // the files given, by location
  std::map<std::string, std::string> given_path_;  // location -> as given
  std::set<std::string> done_;  // files fed, failed or refused
  std::vector<std::size_t> pending_;
  std::vector<FileResult> results_;
  int definitions_ = 0;
};

}  // namespace

int feed_command(CommandContext& ctx, const FeedOptions& o) {
  IdlParseOptions options;
  options.include_dirs = o.input.include_dirs;
  options.defines = o.input.defines;
  options.include_deps = o.input.include_deps;

  FeederMode mode;
  mode.replace = o.replace;
  mode.force = o.force;
  mode.check = o.check;
  DefinitionFeeder feeder(ctx.session, mode);
  FeedScheduler scheduler(ctx, feeder, o);
  std::vector<std::string> files;
  for (const std::string& f : o.files) {
    std::ifstream probe(f);
    if (!probe) {
      scheduler.add_unreadable(f);
      continue;
    }
    files.push_back(f);
    scheduler.add_named(f);
  }
  try {
    parse_idl(files, options, &scheduler);
  } catch (const IdlParserError& e) {
    ctx.error("feed", e.what());
    return 1;
  } catch (const RecordError& e) {
    ctx.error("feed", e.what());
    return 1;
  }
  scheduler.finish();

  FeedCounts total;
  int ok = 0, failed = 0, differing = 0;
  long differences = 0;
  nlohmann::json file_docs = nlohmann::json::array();
  for (const FileResult& r : scheduler.results()) {
    file_docs.push_back(file_json(r));
    const FeedCounts& c = r.report.counts;
    total.created += c.created;
    total.unchanged += c.unchanged;
    total.replaced += c.replaced;
    total.removed += c.removed;
    differences += static_cast<long>(r.report.differences.size());
    if (r.status == "fed" || r.status == "matches")
      ++ok;
    else if (r.status == "differs")
      ++differing;
    else
      ++failed;
  }
  int status = failed == 0 && differing == 0 ? 0 : 1;
  if (ctx.json) {
    nlohmann::json doc = {{"files", file_docs}, {"failed", failed}};
    if (o.check) {
      doc["differences"] = differences;
    } else {
      doc["created"] = total.created;
      doc["unchanged"] = total.unchanged;
      doc["replaced"] = total.replaced;
      doc["removed"] = total.removed;
    }
    ctx.print_json(doc);
    return status;
  }
  if (o.check) {
    ctx.out << "irctl: feed --check: "
            << count_text(ok + differing + failed, "file") << " checked, "
            << count_text(differences, "difference") << " in "
            << count_text(differing, "file") << ", " << failed << " failed"
            << std::endl;
  } else {
    ctx.out << "irctl: feed: " << count_text(ok, "file") << " fed ("
            << count_text(total.created, "definition") << " created, "
            << total.unchanged << " unchanged, " << total.replaced
            << " replaced, " << total.removed << " removed), " << failed
            << " failed" << std::endl;
  }
  return status;
}
