// Round trips over loopback, this process and every server pinned to CPU 0
// (every thread of every process), so that the figures do not depend on
// how a 2-core machine schedules them.
//
// The repository against its floor: lookup_id and describe_interface (an
// interface with 10 operations) against a trivial omniORB server
// (bench/floor_server) that returns the very same reference and the very
// same FullInterfaceDescription, fetched once from the repository, from
// memory.  Whatever the repository adds beyond omniORB's own marshalling
// shows as the ratio.  Each call is timed in blocks interleaved with its
// floor twin; a block's figure is the lower quartile of its calls' times
// (calls that the scheduler interrupted do not count), and the median of
// the per-block ratios is reported (targets: at most 1.03 each).  For
// reference, a null call and a few other calls as ratios to the null call.
//
// Usage: latency_bench [calls per block]   (default 1000; 15 blocks)
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "bench_process.h"
#include "floor.hh"
#include "irext.hh"
#include "null.hh"

namespace fs = std::filesystem;

namespace {

// $IRBENCH_IRSERVER, else the irserver of this build.
std::string irserver_path() {
  const char* env = std::getenv("IRBENCH_IRSERVER");
  return env && *env ? env : IRSERVER_PATH;
}

struct Probe {
  const char* name;
  std::function<void()> call;
  double best_us = 1e30;
};

// A repository call and its floor twin.
struct Pair {
  Pair(const char* n, std::function<void()> r, std::function<void()> f)
      : name(n), repository(std::move(r)), floor(std::move(f)) {}
  const char* name;
  std::function<void()> repository, floor;
  std::vector<double> ratios;
  double best_repository_us = 1e30, best_floor_us = 1e30;
};

// The lower quartile of the times of `n` calls, in microseconds: a call
// that the scheduler interrupted (other processes share the machine) does
// not count, one that ran through does.
double quartile_of_calls(const std::function<void()>& call, int n) {
  std::vector<double> us(n);
  for (int i = 0; i < n; ++i) {
    auto start = std::chrono::steady_clock::now();
    call();
    us[i] = std::chrono::duration<double, std::micro>(
                std::chrono::steady_clock::now() - start)
                .count();
  }
  std::nth_element(us.begin(), us.begin() + n / 4, us.end());
  return us[n / 4];
}

// Mean microseconds per call of `n` calls.
double time_calls(const std::function<void()>& call, int n) {
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < n; ++i) call();
  return std::chrono::duration<double, std::micro>(
             std::chrono::steady_clock::now() - start)
             .count() /
         n;
}

// Creates module Bench with interface Iface of 10 operations; false (with
// the reason printed) when the repository cannot.
bool make_interface(CORBA::Repository_ptr repo) {
  try {
    CORBA::ModuleDef_var m =
        repo->create_module("IDL:Bench:1.0", "Bench", "1.0");
    CORBA::InterfaceDef_var iface = m->create_interface(
        "IDL:Bench/Iface:1.0", "Iface", "1.0", CORBA::InterfaceDefSeq());
    CORBA::PrimitiveDef_var long_type = repo->get_primitive(CORBA::pk_long);
    CORBA::PrimitiveDef_var string_type = repo->get_primitive(CORBA::pk_string);
    for (int i = 0; i < 10; ++i) {
      std::string name = "op" + std::to_string(i);
      std::string id = "IDL:Bench/Iface/" + name + ":1.0";
      CORBA::ParDescriptionSeq params;
      params.length(2);
      params[0].name = "a";
      params[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
      params[0].type_def = CORBA::IDLType::_duplicate(long_type);
      params[0].mode = CORBA::PARAM_IN;
      params[1].name = "b";
      params[1].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
      params[1].type_def = CORBA::IDLType::_duplicate(string_type);
      params[1].mode = CORBA::PARAM_IN;
      CORBA::OperationDef_var op = iface->create_operation(
          id.c_str(), name.c_str(), "1.0", long_type, CORBA::OP_NORMAL, params,
          CORBA::ExceptionDefSeq(), CORBA::ContextIdSeq());
    }
    return true;
  } catch (const CORBA::SystemException& e) {
    std::printf(
        "(the interface's operations cannot be created: CORBA::%s "
        "minor 0x%lx; describe_interface and contents are measured "
        "on an interface without operations)\n",
        e._name(), static_cast<unsigned long>(e.minor()));
    return false;
  }
}

}  // namespace

int main(int argc, char** argv) {
  int calls = argc > 1 ? std::max(10, std::atoi(argv[1])) : 1000;
  const int blocks = 15;
  bool pinned = pin_to_one_cpu();

  std::string dir = fs::temp_directory_path() /
                    ("irbench-latency-" + std::to_string(getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  int ir_port = free_port();
  BenchServer ir({irserver_path(), "--db", dir + "/ir.db", "--endpoint",
                  "giop:tcp:127.0.0.1:" + std::to_string(ir_port), "--http",
                  "off"});
  BenchServer null(
      {NULL_SERVER_PATH, "giop:tcp:127.0.0.1:" + std::to_string(free_port())});
  BenchServer floor_server(
      {FLOOR_SERVER_PATH, "giop:tcp:127.0.0.1:" + std::to_string(free_port())});
  if (!ir.problem().empty() || !null.problem().empty() ||
      !floor_server.problem().empty()) {
    std::fprintf(stderr, "latency_bench: %s%s%s\n", ir.problem().c_str(),
                 null.problem().c_str(), floor_server.problem().c_str());
    return 1;
  }
  int orb_argc = 3;
  const char* orb_argv[] = {argv[0], "-ORBtraceLevel", "0", nullptr};
  CORBA::ORB_var orb = CORBA::ORB_init(orb_argc, const_cast<char**>(orb_argv));
  {
    std::string url = "corbaloc::127.0.0.1:" + std::to_string(ir_port) +
                      "/InterfaceRepository";
    CORBA::Object_var obj = orb->string_to_object(url.c_str());
    CORBA::Repository_var repo = CORBA::Repository::_narrow(obj);
    obj = orb->string_to_object(null.ready_line().c_str());
    NullService_var service = NullService::_narrow(obj);
    obj = orb->string_to_object(floor_server.ready_line().c_str());
    Floor_var floor = Floor::_narrow(obj);

    bool with_operations = make_interface(repo);
    // The root as the repository hands it out (an IOR speaking GIOP 1.2,
    // as the floor's does) rather than the corbaloc one (GIOP 1.0).
    {
      CORBA::Contained_var c = repo->lookup_id("IDL:Bench:1.0");
      repo = c->containing_repository();
    }
    CORBA::Contained_var found = repo->lookup_id("IDL:Bench/Iface:1.0");
    CORBA::InterfaceDef_var iface = CORBA::InterfaceDef::_narrow(found);
    {
      CORBA::InterfaceDef::FullInterfaceDescription_var d =
          iface->describe_interface();
      floor->set(found, d.in());
    }

    std::vector<Pair> pairs = {
        {"lookup_id",
         [&] {
           CORBA::Contained_var c = repo->lookup_id("IDL:Bench/Iface:1.0");
         },
         [&] {
           CORBA::Contained_var c = floor->lookup_id("IDL:Bench/Iface:1.0");
         }},
        {"describe_interface",
         [&] {
           CORBA::InterfaceDef::FullInterfaceDescription_var d =
               iface->describe_interface();
         },
         [&] {
           CORBA::InterfaceDef::FullInterfaceDescription_var d =
               floor->describe_interface();
         }},
    };
    std::vector<Probe> probes = {
        {"null call", [&] { service->ping(); }},
        {"lookup_id",
         [&] {
           CORBA::Contained_var c = repo->lookup_id("IDL:Bench/Iface:1.0");
         }},
        {"lookup",
         [&] { CORBA::Contained_var c = repo->lookup("::Bench::Iface"); }},
        {"describe",
         [&] { CORBA::Contained::Description_var d = iface->describe(); }},
        {"contents",
         [&] {
           CORBA::ContainedSeq_var s = iface->contents(CORBA::dk_all, false);
         }},
        {"describe_interface",
         [&] {
           CORBA::InterfaceDef::FullInterfaceDescription_var d =
               iface->describe_interface();
         }},
    };
    for (Pair& p : pairs) {
      time_calls(p.repository, 200);
      time_calls(p.floor, 200);
    }
    for (Probe& p : probes) time_calls(p.call, 200);
    // Every thread that the warm-up made, in every process.
    int threads = pin_threads_of(getpid()) + pin_threads_of(ir.pid()) +
                  pin_threads_of(floor_server.pid()) +
                  pin_threads_of(null.pid());

    for (int b = 0; b < blocks; ++b) {
      for (Pair& p : pairs) {
        double r = quartile_of_calls(p.repository, calls);
        double f = quartile_of_calls(p.floor, calls);
        p.best_repository_us = std::min(p.best_repository_us, r);
        p.best_floor_us = std::min(p.best_floor_us, f);
        p.ratios.push_back(r / f);
      }
      for (Probe& p : probes)
        p.best_us = std::min(p.best_us, time_calls(p.call, calls / 4));
    }
    std::printf(
        "round trips over loopback, %s (%d threads); %d blocks of %d calls, "
        "each repository block next to its floor twin's, lower quartiles:\n",
        pinned && threads > 0 ? "every thread of every process pinned to CPU 0"
                              : "NOT pinned (sched_setaffinity failed)",
        threads, blocks, calls);
    for (Pair& p : pairs) {
      std::sort(p.ratios.begin(), p.ratios.end());
      std::printf(
          "  %-20s %7.1f us, floor %7.1f us: ratio median %.3f (blocks %.3f "
          "to %.3f), target at most 1.03\n",
          p.name, p.best_repository_us, p.best_floor_us,
          p.ratios[p.ratios.size() / 2], p.ratios.front(), p.ratios.back());
    }
    std::printf(
        "for reference, fastest block of each call against a null call:\n");
    double null_us = probes[0].best_us;
    for (const Probe& p : probes)
      std::printf("  %-20s %8.1f us  ratio %5.2f\n", p.name, p.best_us,
                  p.best_us / null_us);
    if (!with_operations)
      std::printf("  (describe_interface and contents without operations)\n");
  }
  orb->destroy();
  fs::remove_all(dir);
  return 0;
}
