// Whole-repository scale: listing and searching 100,000 definitions,
// restarting on 1,000,000 and walking all of them, and removing the COS
// corpus.
//
// Usage: scale_bench [--rebuild] [DIR]
//   DIR (default /tmp/irbench-scale) keeps the two databases between runs;
//   --rebuild makes them again.  $IRBENCH_IRSERVER names another irserver.
//
// The databases are built in this process through the library (one user
// transaction per thousand definitions):
//   big.db   the module ::Big holding 100,000 modules T0 ... T99999
//   huge.db  1,000 modules M0 ... M999 holding 999 definitions each
//            (900 modules and 99 structs): 1,000,000 definitions
// Then irserver serves them and this process is its IIOP client.  Printed:
//   - ext_list of ::Big and ext_search "T*" (100,000 rows each), and the
//     wall time of `irctl ls ::Big` and `irctl find 'T*'` as they are;
//   - the time from starting irserver on huge.db to the first answer of
//     lookup_id (a client polling every millisecond), best and median of
//     five restarts;
//   - irserver's resident memory after describe_contents of every module
//     of huge.db (every definition's servant built once), current and peak;
//   - the removal of the COS corpus against omniidl's parse time
//     (bench/feed_bench, one round).
#include <omniORB4/CORBA.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench_process.h"
#include "ir/irglob.h"
#include "ir/reposito.h"
#include "ir/servant_locator.h"
#include "irext.hh"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string irserver_path() {
  const char* env = std::getenv("IRBENCH_IRSERVER");
  return env && *env ? env : IRSERVER_PATH;
}

CORBA::ORB_var orb;

// Builds a database in this process with `fill`, which gets the root.
template <class Fill>
void build(const std::string& path, Fill fill) {
  std::printf("building %s ...\n", path.c_str());
  std::fflush(stdout);
  auto start = Clock::now();
  fs::remove(path);
  ir_poa_init(orb);
  CORBA_Repository_Impl* root =
      CORBA_Repository_Impl::theRepository(path.c_str());
  ir_poa_activate();
  {
    CORBA::Object_var obj = root->_ref();
    IRExt::Repository_var repo = IRExt::Repository::_narrow(obj);
    fill(repo.in());
  }
  kaldIrGlobalObject->reset();
  std::printf("  built in %.0f s\n", seconds_since(start));
}

// Commits every `every` calls of step().
class Batches {
 public:
  Batches(IRExt::Repository_ptr repo, int every) : repo_(repo), every_(every) {
    repo_->ext_beginUserTransaction();
  }
  ~Batches() { repo_->ext_endUserTransaction(); }
  void step() {
    if (++count_ % every_ != 0) return;
    repo_->ext_endUserTransaction();
    repo_->ext_beginUserTransaction();
  }

 private:
  IRExt::Repository_ptr repo_;
  int every_;
  long count_ = 0;
};

void fill_big(IRExt::Repository_ptr repo) {
  Batches batches(repo, 1000);
  CORBA::ModuleDef_var big = repo->create_module("IDL:Big:1.0", "Big", "1.0");
  for (int i = 0; i < 100000; ++i) {
    std::string name = "T" + std::to_string(i);
    CORBA::ModuleDef_var(big->create_module(
        ("IDL:Big/" + name + ":1.0").c_str(), name.c_str(), "1.0"));
    batches.step();
  }
}

void fill_huge(IRExt::Repository_ptr repo) {
  Batches batches(repo, 2000);
  CORBA::PrimitiveDef_var lng = repo->get_primitive(CORBA::pk_long);
  CORBA::StructMemberSeq members;
  members.length(1);
  members[0].name = "v";
  members[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
  members[0].type_def = CORBA::IDLType::_duplicate(lng);
  for (int m = 0; m < 1000; ++m) {
    std::string outer = "M" + std::to_string(m);
    CORBA::ModuleDef_var mod = repo->create_module(
        ("IDL:" + outer + ":1.0").c_str(), outer.c_str(), "1.0");
    for (int i = 0; i < 999; ++i) {
      std::string name = (i < 900 ? "N" : "S") + std::to_string(i);
      std::string id = "IDL:" + outer + "/" + name + ":1.0";
      if (i < 900) {
        CORBA::ModuleDef_var(
            mod->create_module(id.c_str(), name.c_str(), "1.0"));
      } else {
        CORBA::StructDef_var(
            mod->create_struct(id.c_str(), name.c_str(), "1.0", members));
      }
      batches.step();
    }
    if (m % 100 == 99) {
      std::printf("  %d definitions\n", (m + 1) * 1000);
      std::fflush(stdout);
    }
  }
}

// "VmRSS" or "VmHWM" of a process, in MB.
double memory_of(pid_t pid, const char* field) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind(field, 0) == 0) {
      return std::atof(line.c_str() + std::strlen(field) + 1) / 1024.0;
    }
  }
  return -1;
}

std::vector<std::string> server_argv(const std::string& db, int port) {
  return {irserver_path(), "--db", db, "--endpoint",
          "giop:tcp:127.0.0.1:" + std::to_string(port)};
}

std::string url_of(int port) {
  return "corbaloc::127.0.0.1:" + std::to_string(port) + "/InterfaceRepository";
}

template <class Call>
double best_of(int n, Call call) {
  double best = 1e9;
  for (int i = 0; i < n; ++i) {
    auto start = Clock::now();
    call();
    best = std::min(best, seconds_since(start));
  }
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  bool rebuild = false;
  std::string dir = "/tmp/irbench-scale";
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--rebuild")
      rebuild = true;
    else
      dir = a;
  }
  int orb_argc = 5;
  char* orb_argv[] = {argv[0],
                      const_cast<char*>("-ORBtraceLevel"),
                      const_cast<char*>("0"),
                      const_cast<char*>("-ORBgiopMaxMsgSize"),
                      const_cast<char*>("268435456"),
                      nullptr};
  orb = CORBA::ORB_init(orb_argc, orb_argv);
  fs::create_directories(dir);
  const std::string big = dir + "/big.db", huge = dir + "/huge.db";
  if (rebuild || !fs::exists(big)) build(big, fill_big);
  if (rebuild || !fs::exists(huge)) build(huge, fill_huge);

  // --- listing and search of 100,000 ------------------------------------
  {
    int port = free_port();
    BenchServer server(server_argv(big, port));
    if (!server.problem().empty()) {
      std::fprintf(stderr, "scale_bench: %s\n", server.problem().c_str());
      return 1;
    }
    CORBA::Object_var obj = orb->string_to_object(url_of(port).c_str());
    IRExt::Repository_var repo = IRExt::Repository::_narrow(obj);
    CORBA::ULong rows = 0;
    double list = best_of(3, [&] {
      IRExt::ExtPage_var page = repo->ext_list("IDL:Big:1.0", 0, 0);
      rows = page->items.length();
    });
    std::printf("ext_list of ::Big: %u rows in %.3f s\n", rows, list);
    double search = best_of(3, [&] {
      IRExt::ExtPage_var page =
          repo->ext_search("T*", "", false, false, "", 0, 0);
      rows = page->items.length();
    });
    std::printf("ext_search \"T*\": %u rows in %.3f s\n", rows, search);
    double contents = best_of(3, [&] {
      CORBA::Contained_var c = repo->lookup_id("IDL:Big:1.0");
      CORBA::Container_var container = CORBA::Container::_narrow(c);
      CORBA::ContainedSeq_var seq = container->contents(CORBA::dk_all, false);
      rows = seq->length();
    });
    std::printf("contents of ::Big: %u references in %.3f s\n", rows, contents);
    ToolRun ls = run_timed({IRCTL_PATH, "--ir", url_of(port), "ls", "::Big"});
    std::printf("irctl ls ::Big: %.3f s (status %d)\n", ls.seconds, ls.status);
    ToolRun find = run_timed({IRCTL_PATH, "--ir", url_of(port), "find", "T*"});
    std::printf("irctl find 'T*': %.3f s (status %d)\n", find.seconds,
                find.status);
  }

  // --- restart to first answer with 1,000,000 -----------------------------
  std::vector<double> restarts;
  for (int round = 0; round < 5; ++round) {
    int port = free_port();
    CORBA::Object_var obj = orb->string_to_object(url_of(port).c_str());
    CORBA::Repository_var repo = CORBA::Repository::_unchecked_narrow(obj);
    auto start = Clock::now();
    BenchServer server(server_argv(huge, port), false);
    double first = -1;
    while (seconds_since(start) < 30) {
      try {
        CORBA::Contained_var c = repo->lookup_id("IDL:M0:1.0");
        if (!CORBA::is_nil(c)) {
          first = seconds_since(start);
          break;
        }
      } catch (const CORBA::TRANSIENT&) {
      } catch (const CORBA::COMM_FAILURE&) {
      } catch (const CORBA::SystemException& e) {
        // Starting, irserver must answer only with those two.
        std::printf("  while starting: CORBA::%s (%s)\n", e._name(),
                    e.NP_minorString() ? e.NP_minorString() : "?");
      }
      usleep(1000);
    }
    restarts.push_back(first);
  }
  std::sort(restarts.begin(), restarts.end());
  std::printf(
      "restart on 1,000,000 definitions to the first answer: best %.0f ms, "
      "median %.0f ms\n",
      restarts.front() * 1000, restarts[restarts.size() / 2] * 1000);

  // --- walking 1,000,000 --------------------------------------------------
  {
    int port = free_port();
    BenchServer server(server_argv(huge, port));
    if (!server.problem().empty()) {
      std::fprintf(stderr, "scale_bench: %s\n", server.problem().c_str());
      return 1;
    }
    CORBA::Object_var obj = orb->string_to_object(url_of(port).c_str());
    CORBA::Repository_var repo = CORBA::Repository::_narrow(obj);
    std::printf("irserver on 1,000,000 definitions: %.0f MB resident\n",
                memory_of(server.pid(), "VmRSS:"));
    auto start = Clock::now();
    long described = 0;
    for (int m = 0; m < 1000; ++m) {
      CORBA::Contained_var c =
          repo->lookup_id(("IDL:M" + std::to_string(m) + ":1.0").c_str());
      CORBA::Container_var container = CORBA::Container::_narrow(c);
      CORBA::Container::DescriptionSeq_var d =
          container->describe_contents(CORBA::dk_all, false, -1);
      described += d->length();
    }
    std::printf(
        "walked %ld definitions (describe_contents of every module) in %.0f "
        "s: %.0f MB resident, peak %.0f MB\n",
        described, seconds_since(start), memory_of(server.pid(), "VmRSS:"),
        memory_of(server.pid(), "VmHWM:"));
  }

  // --- removal of the COS corpus ------------------------------------------
  ToolRun feed = run_timed({FEED_BENCH_PATH, "1"});
  std::string text = feed.out;
  std::size_t at = text.find("  remove:");
  std::printf("COS corpus (feed_bench 1):\n%s",
              at == std::string::npos ? text.c_str() : text.c_str() + at);
  orb->destroy();
  return 0;
}
