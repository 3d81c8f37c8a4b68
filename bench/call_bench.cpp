// The overhead of `irctl call` over a compiled C++ client, for one call
// that sends a struct of 10 fields and gets it back (bench/ten.idl),
// both timed in the same run against the same server:
//   - the compiled client in one process: the round trip alone;
//   - the compiled client as a process per call (this program with
//     --client IOR): ORB start, the call, ORB shutdown;
//   - irctl call as a process per call, asking the target for its
//     interface (_get_interface()) and with --interface.
// irserver and ten_server run on 127.0.0.1; ten.idl is fed with irctl.
//
// Usage: call_bench [runs]   (default 30 process runs; 3000 in-process
// calls)
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench_process.h"
#include "ten.hh"

namespace {

const char kArgs[] =
    "[{\"id\":7,\"name\":\"seven\",\"weight\":7.5,\"active\":true,"
    "\"serial\":\"18446744073709551615\",\"priority\":\"high\",\"rank\":-7,"
    "\"ratio\":0.5,\"tags\":[1,2,3,4,5,6,7],\"note\":\"a note of some "
    "length for the struct\"}]";

CallBench::Ten sample() {
  CallBench::Ten t;
  t.id = 7;
  t.name = "seven";
  t.weight = 7.5;
  t.active = true;
  t.serial = 18446744073709551615ULL;
  t.priority = CallBench::high;
  t.rank = -7;
  t.ratio = 0.5f;
  t.tags.length(7);
  for (CORBA::ULong i = 0; i < 7; ++i)
    t.tags[i] = static_cast<CORBA::Long>(i + 1);
  t.note = "a note of some length for the struct";
  return t;
}

// --client IOR: one call as a compiled client process does it.
int client(int argc, char** argv) {
  CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
  CORBA::Object_var obj = orb->string_to_object(argv[2]);
  CallBench::TenService_var service = CallBench::TenService::_narrow(obj);
  CallBench::Ten_var back = service->echo(sample());
  std::printf("%d\n", static_cast<int>(back->id));
  orb->destroy();
  return back->id == 7 ? 0 : 1;
}

double mean(const std::vector<double>& v) {
  double total = 0;
  for (double x : v) total += x;
  return v.empty() ? 0 : total / static_cast<double>(v.size());
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

// Runs each of `commands` `runs` times, interleaved so that a change in
// the machine's load affects them alike; the wall times in milliseconds
// per command, or nothing (with the reason printed) when a run fails.
std::vector<std::vector<double>> timed_runs(
    const std::vector<std::vector<std::string>>& commands, int runs) {
  std::vector<std::vector<double>> ms(commands.size());
  for (int i = 0; i < runs; ++i) {
    for (std::size_t c = 0; c < commands.size(); ++c) {
      ToolRun r = run_timed(commands[c]);
      if (r.status != 0) {
        std::printf("%s failed (status %d): %s%s\n", commands[c][0].c_str(),
                    r.status, r.out.c_str(), r.err.c_str());
        return {};
      }
      ms[c].push_back(r.seconds * 1000);
    }
  }
  return ms;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 3 && std::string(argv[1]) == "--client")
    return client(argc, argv);
  int runs = argc > 1 ? std::atoi(argv[1]) : 30;
  if (runs < 1) runs = 30;

  std::string port = std::to_string(free_port());
  std::string ir = "corbaloc::127.0.0.1:" + port + "/InterfaceRepository";
  char db_dir[] = "/tmp/call_bench.XXXXXX";
  if (!mkdtemp(db_dir)) return 1;
  std::string db = std::string(db_dir) + "/ir.db";
  BenchServer irserver(
      {IRSERVER_PATH, "--db", db, "--endpoint", "giop:tcp:127.0.0.1:" + port});
  if (!irserver.problem().empty()) {
    std::printf("irserver: %s\n", irserver.problem().c_str());
    return 1;
  }
  ToolRun fed =
      run_timed({IRCTL_PATH, "--ir", ir, "feed", "--quiet", TEN_IDL_PATH});
  if (fed.status != 0) {
    std::printf("feeding ten.idl failed: %s%s\n", fed.out.c_str(),
                fed.err.c_str());
    return 1;
  }
  BenchServer server({TEN_SERVER_PATH, "-ORBendPoint", "giop:tcp:127.0.0.1:",
                      "-ORBInitRef", "InterfaceRepository=" + ir});
  if (!server.problem().empty()) {
    std::printf("ten_server: %s\n", server.problem().c_str());
    return 1;
  }
  std::string ior = server.ready_line();

  // The compiled client in this process.
  int orb_argc = 3;
  const char* orb_argv[] = {argv[0], "-ORBtraceLevel", "0", nullptr};
  CORBA::ORB_var orb = CORBA::ORB_init(orb_argc, const_cast<char**>(orb_argv));
  CORBA::Object_var obj = orb->string_to_object(ior.c_str());
  CallBench::TenService_var service = CallBench::TenService::_narrow(obj);
  CallBench::Ten t = sample();
  const int calls = 3000;
  for (int i = 0; i < 100; ++i) CallBench::Ten_var(service->echo(t));
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < calls; ++i) CallBench::Ten_var(service->echo(t));
  double in_process_us = std::chrono::duration<double, std::micro>(
                             std::chrono::steady_clock::now() - start)
                             .count() /
                         calls;

  std::vector<std::vector<double>> ms =
      timed_runs({{argv[0], "--client", ior, "-ORBtraceLevel", "0"},
                  {IRCTL_PATH, "--ir", ir, "call", ior, "echo", kArgs},
                  {IRCTL_PATH, "--ir", ir, "call", "--interface",
                   "::CallBench::TenService", ior, "echo", kArgs}},
                 runs);
  if (ms.empty()) return 1;
  const std::vector<double>& compiled = ms[0];
  const std::vector<double>& irctl = ms[1];
  const std::vector<double>& irctl_interface = ms[2];

  std::printf("call of echo(Ten), a struct of 10 fields, over 127.0.0.1:\n");
  std::printf(
      "  compiled client, in process        %9.1f us per call (%d calls)\n",
      in_process_us, calls);
  std::printf(
      "  compiled client, process per call  %9.2f ms (median %.2f, %d runs)\n",
      mean(compiled), median(compiled), runs);
  std::printf("  irctl call                         %9.2f ms (median %.2f)\n",
              mean(irctl), median(irctl));
  std::printf("  irctl call --interface             %9.2f ms (median %.2f)\n",
              mean(irctl_interface), median(irctl_interface));
  std::printf(
      "ratio irctl call / compiled client process: %.2f (medians %.2f)\n",
      mean(irctl) / mean(compiled), median(irctl) / median(compiled));
  std::printf("ratio irctl call --interface / compiled client process: %.2f\n",
              mean(irctl_interface) / mean(compiled));
  std::printf(
      "overhead of irctl call over the compiled client process: %.2f ms\n",
      mean(irctl) - mean(compiled));
  orb->destroy();
  std::string cleanup = std::string("rm -rf ") + db_dir;
  return std::system(cleanup.c_str()) == 0 ? 0 : 1;
}
