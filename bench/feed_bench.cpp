// Feeding the COS corpus: wall time of `irctl feed` into a fresh
// repository against omniidl parsing the same files, then of `irctl rm`.
//
// Usage: feed_bench [rounds]   (default 3; the best round is reported)
// $IRBENCH_IRSERVER names another irserver to measure;
// $IRBENCH_IRSERVER_ARGS adds arguments to it ("--sync normal").
// Every IDL file of /usr/share/idl/omniORB/COS that omniidl accepts goes
// in with the files it includes (--include-deps), each file as one user
// transaction.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "bench_process.h"

namespace fs = std::filesystem;

namespace {

// $IRBENCH_IRSERVER, else the irserver of this build.
std::string irserver_path() {
  const char* env = std::getenv("IRBENCH_IRSERVER");
  return env && *env ? env : IRSERVER_PATH;
}

// The words of $IRBENCH_IRSERVER_ARGS.
std::vector<std::string> irserver_args() {
  std::vector<std::string> words;
  const char* env = std::getenv("IRBENCH_IRSERVER_ARGS");
  std::string text = env ? env : "";
  std::size_t pos = 0;
  while ((pos = text.find_first_not_of(' ', pos)) != std::string::npos) {
    std::size_t end = text.find(' ', pos);
    words.push_back(text.substr(pos, end - pos));
    pos = end;
  }
  return words;
}

const char kCosDir[] = "/usr/share/idl/omniORB/COS";
const char kIdlDir[] = "/usr/share/idl/omniORB";

long sum_of(const std::string& text, const std::regex& pattern) {
  long total = 0;
  for (auto it = std::sregex_iterator(text.begin(), text.end(), pattern);
       it != std::sregex_iterator(); ++it)
    total += std::atol((*it)[1].str().c_str());
  return total;
}

struct Round {
  double parse = 0, feed = 0, remove = 0;
  long created = 0, removed = 0;
  int files = 0;
};

}  // namespace

int main(int argc, char** argv) {
  int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
  std::vector<std::string> all, accepted, refused;
  for (const auto& e : fs::directory_iterator(kCosDir))
    if (e.path().extension() == ".idl") all.push_back(e.path());
  std::sort(all.begin(), all.end());
  for (const std::string& f : all) {
    ToolRun r = run_timed({"omniidl", std::string("-I") + kCosDir,
                           std::string("-I") + kIdlDir, f});
    (r.status == 0 ? accepted : refused).push_back(f);
  }
  std::printf("COS corpus: %zu files accepted by omniidl, %zu refused:",
              accepted.size(), refused.size());
  for (const std::string& f : refused)
    std::printf(" %s", fs::path(f).filename().c_str());
  std::printf("\n");

  std::vector<std::string> options{"--include-deps",
                                   std::string("-I") + kCosDir,
                                   std::string("-I") + kIdlDir};
  std::vector<Round> results;
  for (int round = 0; round < rounds; ++round) {
    Round r;
    std::vector<std::string> parse{"omniidl", std::string("-I") + kCosDir,
                                   std::string("-I") + kIdlDir};
    parse.insert(parse.end(), accepted.begin(), accepted.end());
    r.parse = run_timed(parse).seconds;

    std::string dir = fs::temp_directory_path() /
                      ("irbench-feed-" + std::to_string(getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
    int port = free_port();
    std::string url =
        "corbaloc::127.0.0.1:" + std::to_string(port) + "/InterfaceRepository";
    {
      std::vector<std::string> argv{
          irserver_path(), "--db", dir + "/ir.db", "--endpoint",
          "giop:tcp:127.0.0.1:" + std::to_string(port), "--http", "off"};
      for (const std::string& a : irserver_args()) argv.push_back(a);
      BenchServer server(argv);
      if (!server.problem().empty()) {
        std::fprintf(stderr, "feed_bench: %s\n", server.problem().c_str());
        return 1;
      }
      std::vector<std::string> feed{IRCTL_PATH, "--ir", url, "feed", "--quiet"};
      feed.insert(feed.end(), options.begin(), options.end());
      feed.insert(feed.end(), accepted.begin(), accepted.end());
      ToolRun fed = run_timed(feed);
      if (fed.status != 0) {
        std::fprintf(stderr, "feed_bench: feed failed:\n%s%s", fed.out.c_str(),
                     fed.err.c_str());
        return 1;
      }
      r.feed = fed.seconds;
      r.created = sum_of(fed.out, std::regex("\\((\\d+) definitions created"));
      r.files =
          static_cast<int>(sum_of(fed.out, std::regex("(\\d+) files fed")));

      std::vector<std::string> rm{IRCTL_PATH, "--ir", url, "rm"};
      rm.insert(rm.end(), options.begin(), options.end());
      rm.insert(rm.end(), accepted.begin(), accepted.end());
      ToolRun removed = run_timed(rm);
      if (removed.status != 0) {
        std::fprintf(stderr, "feed_bench: rm failed:\n%s", removed.err.c_str());
        return 1;
      }
      r.remove = removed.seconds;
      r.removed =
          sum_of(removed.out, std::regex("(\\d+) definitions? removed"));
    }
    fs::remove_all(dir);
    std::printf("round %d: omniidl %.3f s, feed %.3f s, rm %.3f s\n", round + 1,
                r.parse, r.feed, r.remove);
    results.push_back(r);
  }
  auto best = [&](double Round::*field) {
    double v = results[0].*field;
    for (const Round& r : results) v = std::min(v, r.*field);
    return v;
  };
  double parse = best(&Round::parse), feed = best(&Round::feed),
         remove = best(&Round::remove);
  const Round& last = results.back();
  std::printf("best of %d rounds:\n", rounds);
  std::printf("  omniidl alone: %.3f s to parse the %zu files\n", parse,
              accepted.size());
  std::printf(
      "  feed:   %.3f s, %ld definitions created in %d files (one "
      "transaction each), %.0f definitions/s, ratio to omniidl %.2f\n",
      feed, last.created, last.files, last.created / feed, feed / parse);
  std::printf(
      "  remove: %.3f s, %ld definitions removed, %.0f definitions/s, "
      "ratio to omniidl %.2f\n",
      remove, last.removed, last.removed / remove, remove / parse);
  return 0;
}
