// irctl feed: parse IDL files and create their definitions.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>

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

  int failed = 0;
  std::vector<std::string> files;
  for (const std::string& f : parsed.positional) {
    std::ifstream probe(f);
    if (!probe) {
      ctx.err << "irctl: " << f << ": cannot read the file" << std::endl;
      ++failed;
      continue;
    }
    files.push_back(f);
  }

  IdlParseResult parse;
  try {
    parse = parse_idl(files, options);
  } catch (const std::exception& e) {
    ctx.err << "irctl: feed: " << e.what() << std::endl;
    return 1;
  }
  for (const IdlParseFailure& f : parse.failures) {
    ctx.err << f.message << "\n"
            << "irctl: " << f.file << ": omniidl refused the file ("
            << first_error(f.message) << "); nothing of it went in"
            << std::endl;
    ++failed;
  }

  std::vector<FeedStep> plan = plan_feed(parse.records, options.include_deps);
  DefinitionFeeder feeder(ctx.session, parsed.has("--replace"));
  ProgressLine progress(ctx.err, ctx.terminal && !quiet);
  FeedCounts total;
  int fed = 0;
  int definitions_done = 0;
  for (std::size_t i = 0; i < plan.size(); ++i) {
    const FeedStep& step = plan[i];
    const std::string& path = parse.records.files[step.file].path;
    std::string head = "irctl: feed [" + std::to_string(i + 1) + "/" +
                       std::to_string(plan.size()) + " files, ";
    try {
      FeedCounts c = feeder.feed_file(
          parse.records, parse.records.trees[step.tree], step.file,
          [&](int done) {
            progress.show(head + std::to_string(definitions_done + done) +
                          " definitions] " + path);
          });
      progress.clear();
      definitions_done += c.created + c.unchanged + c.replaced;
      total.created += c.created;
      total.unchanged += c.unchanged;
      total.replaced += c.replaced;
      total.removed += c.removed;
      ++fed;
      if (!quiet) {
        ctx.out << "fed " << path << ": " << c.created << " created, "
                << c.unchanged << " unchanged";
        if (c.replaced) ctx.out << ", " << c.replaced << " replaced";
        if (c.removed) ctx.out << ", " << c.removed << " removed";
        ctx.out << std::endl;
      }
    } catch (const FeedFailure& e) {
      progress.clear();
      ctx.err << "irctl: " << e.what() << "; nothing of " << path << " went in"
              << std::endl;
      ++failed;
    }
  }
  progress.clear();
  ctx.out << "irctl: feed: " << fed << " file" << (fed == 1 ? "" : "s")
          << " fed (" << total.created << " definitions created, "
          << total.unchanged << " unchanged, " << total.replaced
          << " replaced, " << total.removed << " removed), " << failed
          << " failed" << std::endl;
  return failed == 0 ? 0 : 1;
}
