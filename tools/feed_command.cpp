// irctl feed: parse IDL files and create their definitions.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <set>

#include "command_line.h"
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

// Feeds each tree as soon as omniidl has printed it and the named files
// it includes are done, so that the repository works while omniidl parses
// the next files.  Each file is fed once, as one user transaction.
class FeedScheduler : public IdlParseListener {
 public:
  FeedScheduler(CommandContext& ctx, DefinitionFeeder& feeder,
                const std::vector<std::string>& files, bool include_deps,
                bool quiet)
      : ctx_(ctx),
        feeder_(feeder),
        include_deps_(include_deps),
        quiet_(quiet),
        progress_(ctx.err, ctx.terminal && !quiet) {
    for (const std::string& f : files) named_.insert(canonical_path(f));
  }

  void tree_done(IdlRecords& records, std::size_t tree) override {
    records_ = &records;
    pending_.push_back(tree);
    feed_ready(false);
  }

  void file_refused(const IdlParseFailure& f) override {
    progress_.clear();
    ctx_.err << f.message << "\n"
             << "irctl: " << f.file << ": omniidl refused the file ("
             << first_error(f.message) << "); nothing of it went in"
             << std::endl;
    ++failed_;
    done_.insert(canonical_path(f.file));
    feed_ready(false);
  }

  // After the last tree: the trees still waiting go in, in an order
  // where included files come first as far as possible.
  void finish() { feed_ready(true); }

  int failed() const { return failed_; }
  int fed() const { return fed_; }
  const FeedCounts& total() const { return total_; }
  void add_failure() { ++failed_; }

 private:
  bool ready(std::size_t tree) const {
    if (include_deps_) return true;
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
        if (ready(*it)) {
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
    const std::string& path = records_->files[f].path;
    std::string head =
        "irctl: feed: file " + std::to_string(fed_ + failed_ + 1) + ", ";
    try {
      FeedCounts c =
          feeder_.feed_file(*records_, records_->trees[t], f, [&](int done) {
            progress_.show(head + std::to_string(definitions_ + done) +
                           " definitions: " + path);
          });
      progress_.clear();
      definitions_ += c.created + c.unchanged + c.replaced;
      total_.created += c.created;
      total_.unchanged += c.unchanged;
      total_.replaced += c.replaced;
      total_.removed += c.removed;
      ++fed_;
      if (!quiet_) {
        ctx_.out << "fed " << path << ": " << c.created << " created, "
                 << c.unchanged << " unchanged";
        if (c.replaced) ctx_.out << ", " << c.replaced << " replaced";
        if (c.removed) ctx_.out << ", " << c.removed << " removed";
        ctx_.out << std::endl;
      }
    } catch (const FeedFailure& e) {
      progress_.clear();
      ctx_.err << "irctl: " << e.what() << "; nothing of " << path << " went in"
               << std::endl;
      ++failed_;
    }
  }

  CommandContext& ctx_;
  DefinitionFeeder& feeder_;
  bool include_deps_;
  bool quiet_;
  ProgressLine progress_;
  IdlRecords* records_ = nullptr;
  std::set<std::string> named_;  // the files given, by location
  std::set<std::string> done_;   // files fed, failed or refused
  std::vector<std::size_t> pending_;
  FeedCounts total_;
  int fed_ = 0;
  int failed_ = 0;
  int definitions_ = 0;
};

}  // namespace

int feed_command(CommandContext& ctx, const Args& args) {
  ParsedArgs parsed = parse_args(args, {{"-I", true},
                                        {"-D", true},
                                        {"--include-deps", false},
                                        {"--replace", false},
                                        {"--quiet", false}});
  if (parsed.positional.empty()) throw UsageError("no IDL file given");
  IdlParseOptions options;
  options.include_dirs = parsed.values("-I");
  options.defines = parsed.values("-D");
  options.include_deps = parsed.has("--include-deps");
  bool quiet = parsed.has("--quiet");

  std::vector<std::string> files;
  int unreadable = 0;
  for (const std::string& f : parsed.positional) {
    std::ifstream probe(f);
    if (!probe) {
      ctx.err << "irctl: " << f << ": cannot read the file" << std::endl;
      ++unreadable;
      continue;
    }
    files.push_back(f);
  }

  DefinitionFeeder feeder(ctx.session, parsed.has("--replace"));
  FeedScheduler scheduler(ctx, feeder, files, options.include_deps, quiet);
  for (int i = 0; i < unreadable; ++i) scheduler.add_failure();
  try {
    parse_idl(files, options, &scheduler);
  } catch (const IdlParserError& e) {
    ctx.err << "irctl: feed: " << e.what() << std::endl;
    return 1;
  } catch (const RecordError& e) {
    ctx.err << "irctl: feed: " << e.what() << std::endl;
    return 1;
  }
  scheduler.finish();
  const FeedCounts& total = scheduler.total();
  int fed = scheduler.fed();
  int failed = scheduler.failed();
  ctx.out << "irctl: feed: " << fed << " file" << (fed == 1 ? "" : "s")
          << " fed (" << total.created << " definitions created, "
          << total.unchanged << " unchanged, " << total.replaced
          << " replaced, " << total.removed << " removed), " << failed
          << " failed" << std::endl;
  return failed == 0 ? 0 : 1;
}
