// irctl against a repository of some 100,000 definitions: the wall time
// of `irctl ls -R`, `irctl find` and `irctl ls` of a module of 20,000,
// text and JSON, each the best of a few runs (target: at most 2 s each).
//
// Usage: irctl_scale_bench [definitions] [runs]   (default 100000 3)
// $IRBENCH_IRSERVER names another irserver to measure.
// The repository: one module Big of 20,000 interfaces, the rest in
// modules of 100 interfaces each, created over IIOP in one user
// transaction before anything is timed.
#include <omniORB4/CORBA.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_process.h"
#include "irext.hh"

namespace fs = std::filesystem;

namespace {

std::string irserver_path() {
  const char* env = std::getenv("IRBENCH_IRSERVER");
  return env && *env ? env : IRSERVER_PATH;
}

constexpr long kBigModule = 20000;
constexpr long kPerModule = 100;

// Creates the definitions; returns how many the repository holds.
long populate(IRExt::Repository_ptr repo, long wanted) {
  CORBA::InterfaceDefSeq no_bases;
  repo->ext_beginUserTransaction();
  long made = 0;
  auto module = [&](const std::string& name, long interfaces) {
    std::string id = "IDL:" + name + ":1.0";
    CORBA::ModuleDef_var m =
        repo->create_module(id.c_str(), name.c_str(), "1.0");
    ++made;
    for (long i = 0; i < interfaces && made < wanted; ++i, ++made) {
      std::string iname = "I" + std::to_string(i);
      std::string iid = "IDL:" + name + "/" + iname + ":1.0";
      CORBA::InterfaceDef_var itf =
          m->create_interface(iid.c_str(), iname.c_str(), "1.0", no_bases);
    }
  };
  module("Big", std::min(kBigModule, wanted - 1));
  for (long n = 0; made < wanted; ++n)
    module("M" + std::to_string(n), kPerModule);
  repo->ext_endUserTransaction();
  return made;
}

struct Timed {
  double best = 1e9;
  int status = -1;
  std::size_t lines = 0;
  std::string err;
};

Timed time_irctl(const std::vector<std::string>& args, int runs) {
  Timed t;
  for (int i = 0; i < runs; ++i) {
    std::vector<std::string> argv{IRCTL_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    ToolRun r = run_timed(argv);
    t.best = std::min(t.best, r.seconds);
    t.status = r.status;
    t.lines =
        static_cast<std::size_t>(std::count(r.out.begin(), r.out.end(), '\n'));
    t.err = r.err;
  }
  return t;
}

}  // namespace

int main(int argc, char** argv) {
  long wanted = argc > 1 ? std::max(2L, std::atol(argv[1])) : 100000;
  int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 3;
  char pattern[] = "/tmp/irbench-scale.XXXXXX";
  std::string dir = mkdtemp(pattern);
  int port = free_port();
  std::string url =
      "corbaloc::127.0.0.1:" + std::to_string(port) + "/InterfaceRepository";
  int status = 0;
  {
    BenchServer server({irserver_path(), "--db", dir + "/ir.db", "--endpoint",
                        "giop:tcp:127.0.0.1:" + std::to_string(port)});
    if (!server.problem().empty()) {
      std::fprintf(stderr, "irctl_scale_bench: %s\n", server.problem().c_str());
      fs::remove_all(dir);
      return 1;
    }
    int orb_argc = 5;
    char* orb_argv[] = {argv[0],
                        const_cast<char*>("-ORBtraceLevel"),
                        const_cast<char*>("0"),
                        const_cast<char*>("-ORBgiopMaxMsgSize"),
                        const_cast<char*>("268435456"),
                        nullptr};
    CORBA::ORB_var orb = CORBA::ORB_init(orb_argc, orb_argv);
    long made = 0;
    try {
      CORBA::Object_var obj = orb->string_to_object(url.c_str());
      IRExt::Repository_var repo = IRExt::Repository::_narrow(obj);
      made = populate(repo, wanted);
    } catch (const CORBA::Exception& e) {
      std::fprintf(stderr, "irctl_scale_bench: populating: %s\n", e._name());
      status = 1;
    }
    orb->destroy();
    if (status == 0) {
      std::printf("repository: %ld definitions (module Big: %ld interfaces)\n",
                  made + 1, std::min(kBigModule, wanted - 1));
      struct Case {
        const char* what;
        std::vector<std::string> args;
      };
      const Case cases[] = {
          {"ls -R (everything)", {"ls", "-R"}},
          {"ls -R -o json", {"ls", "-R", "-o", "json"}},
          {"find '*' (everything)", {"find", "*"}},
          {"find -i 'i1*'", {"find", "-i", "i1*"}},
          {"find -o json '*'", {"find", "-o", "json", "*"}},
          {"ls ::Big (20,000)", {"ls", "::Big"}},
      };
      for (const Case& c : cases) {
        std::vector<std::string> args{"--ir", url};
        args.insert(args.end(), c.args.begin(), c.args.end());
        Timed t = time_irctl(args, runs);
        std::printf("irctl %-24s %7.3f s  %8zu lines  %s\n", c.what, t.best,
                    t.lines, t.best <= 2.0 ? "(within 2 s)" : "(over 2 s)");
        if (t.status != 0) {
          std::fprintf(stderr, "  exit status %d: %s\n", t.status,
                       t.err.c_str());
          status = 1;
        }
      }
    }
  }
  fs::remove_all(dir);
  return status;
}
