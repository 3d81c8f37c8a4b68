// Round trips over loopback: a null call to a trivial omniORB server, and
// repository calls on an interface with 10 operations, each as a ratio to
// the null call.  This process and both servers run pinned to CPU 0, so
// that the ratios do not depend on how a 2-core machine schedules them.
//
// Usage: latency_bench [calls per batch]   (default 1000; 7 batches, the
// fastest batch of each call counts)
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
  const char* target;  // "" when the issue sets none
  std::function<void()> call;
  double best_us = 1e30;
};

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
  const int batches = 7;
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
  if (!ir.problem().empty() || !null.problem().empty()) {
    std::fprintf(stderr, "latency_bench: %s%s\n", ir.problem().c_str(),
                 null.problem().c_str());
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

    bool with_operations = make_interface(repo);
    CORBA::Contained_var found = repo->lookup_id("IDL:Bench/Iface:1.0");
    CORBA::InterfaceDef_var iface = CORBA::InterfaceDef::_narrow(found);

    std::vector<Probe> probes = {
        {"null call", "", [&] { service->ping(); }},
        {"lookup_id", "1.1",
         [&] {
           CORBA::Contained_var c = repo->lookup_id("IDL:Bench/Iface:1.0");
         }},
        {"lookup", "",
         [&] { CORBA::Contained_var c = repo->lookup("::Bench::Iface"); }},
        {"describe", "",
         [&] { CORBA::Contained::Description_var d = iface->describe(); }},
        {"contents", "",
         [&] {
           CORBA::ContainedSeq_var s = iface->contents(CORBA::dk_all, false);
         }},
        {"describe_interface", "4",
         [&] {
           CORBA::InterfaceDef::FullInterfaceDescription_var d =
               iface->describe_interface();
         }},
    };
    for (Probe& p : probes)
      for (int i = 0; i < 200; ++i) p.call();
    for (int b = 0; b < batches; ++b) {
      for (Probe& p : probes) {
        auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < calls; ++i) p.call();
        double us = std::chrono::duration<double, std::micro>(
                        std::chrono::steady_clock::now() - start)
                        .count() /
                    calls;
        p.best_us = std::min(p.best_us, us);
      }
    }
    std::printf(
        "round trips over loopback, %s; fastest of %d batches of %d "
        "calls:\n",
        pinned ? "client and servers pinned to CPU 0"
               : "NOT pinned (sched_setaffinity failed)",
        batches, calls);
    double null_us = probes[0].best_us;
    for (const Probe& p : probes) {
      std::printf("  %-20s %8.1f us  ratio %5.2f", p.name, p.best_us,
                  p.best_us / null_us);
      if (*p.target) std::printf("  (target at most %s)", p.target);
      std::printf("\n");
    }
    if (!with_operations)
      std::printf("  (describe_interface and contents without operations)\n");
  }
  orb->destroy();
  fs::remove_all(dir);
  return 0;
}
