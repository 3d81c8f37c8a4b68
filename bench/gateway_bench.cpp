// The HTTP call gateway's throughput: 20 concurrent HTTP clients (each
// its own keep-alive connection) POST /api/v1/call for a call that sends
// a struct of 10 fields to ten_server and gets it back (bench/ten.idl),
// for a fixed time; the calls per second, the latency per call and every
// error (a status other than 200, or a reply that is not the struct
// sent).  Measured twice: with the interface named in the request, and
// asking the target for it (_get_interface(), one more round trip).
// irserver and ten_server run on 127.0.0.1; ten.idl is fed with irctl.
//
// Usage: gateway_bench [seconds per run (10)] [clients (20)]
#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "bench_process.h"

using Clock = std::chrono::steady_clock;
using json = nlohmann::json;

namespace {

const char kArgs[] =
    "[{\"id\":7,\"name\":\"seven\",\"weight\":7.5,\"active\":true,"
    "\"serial\":\"18446744073709551615\",\"priority\":\"high\",\"rank\":-7,"
    "\"ratio\":0.5,\"tags\":[1,2,3,4,5,6,7],\"note\":\"a note of some "
    "length for the struct\"}]";

struct Result {
  long calls = 0;
  long errors = 0;
  std::string first_error;
  double seconds = 0;
  std::vector<double> ms;  // per call
};

Result load(int http_port, const std::string& body, int clients,
            double seconds) {
  Result result;
  std::mutex mutex;
  std::atomic<bool> stop{false};
  json want = json::parse(kArgs)[0];
  std::vector<std::thread> threads;
  Clock::time_point start = Clock::now();
  for (int c = 0; c < clients; ++c) {
    threads.emplace_back([&] {
      httplib::Client client("127.0.0.1", http_port);
      client.set_keep_alive(true);
      client.set_tcp_nodelay(true);
      client.set_read_timeout(30, 0);
      long calls = 0, errors = 0;
      std::string first_error;
      std::vector<double> ms;
      while (!stop.load()) {
        Clock::time_point t0 = Clock::now();
        auto reply = client.Post("/api/v1/call", body, "application/json");
        ms.push_back(
            std::chrono::duration<double, std::milli>(Clock::now() - t0)
                .count());
        ++calls;
        bool ok = reply && reply->status == 200;
        if (ok) {
          json doc = json::parse(reply->body, nullptr, false);
          ok = !doc.is_discarded() && doc.contains("result") &&
               doc["result"] == want;
        }
        if (!ok) {
          ++errors;
          if (first_error.empty())
            first_error =
                reply ? std::to_string(reply->status) + " " + reply->body
                      : httplib::to_string(reply.error());
        }
      }
      std::lock_guard<std::mutex> lock(mutex);
      result.calls += calls;
      result.errors += errors;
      if (result.first_error.empty()) result.first_error = first_error;
      result.ms.insert(result.ms.end(), ms.begin(), ms.end());
    });
  }
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  stop = true;
  for (std::thread& t : threads) t.join();
  result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return result;
}

void report(const char* what, Result r) {
  std::sort(r.ms.begin(), r.ms.end());
  double mean = 0;
  for (double x : r.ms) mean += x;
  mean = r.ms.empty() ? 0 : mean / r.ms.size();
  auto at = [&](double q) {
    return r.ms.empty()
               ? 0
               : r.ms[std::min(r.ms.size() - 1,
                               static_cast<std::size_t>(q * r.ms.size()))];
  };
  std::printf(
      "%-34s %8.0f calls/s  %7ld calls  %ld errors  latency mean %.2f ms, "
      "median %.2f ms, p99 %.2f ms\n",
      what, r.calls / r.seconds, r.calls, r.errors, mean, at(0.5), at(0.99));
  if (r.errors) std::printf("  first error: %s\n", r.first_error.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  double seconds = argc > 1 ? std::atof(argv[1]) : 10;
  int clients = argc > 2 ? std::atoi(argv[2]) : 20;
  if (seconds <= 0) seconds = 10;
  if (clients < 1) clients = 20;

  std::string port = std::to_string(free_port());
  int http_port = free_port();
  int ten_port = free_port();
  std::string ir = "corbaloc::127.0.0.1:" + port + "/InterfaceRepository";
  char db_dir[] = "/tmp/gateway_bench.XXXXXX";
  if (!mkdtemp(db_dir)) return 1;
  std::string db = std::string(db_dir) + "/ir.db";
  BenchServer irserver(
      {IRSERVER_PATH, "--db", db, "--endpoint", "giop:tcp:127.0.0.1:" + port,
       "--http", "127.0.0.1:" + std::to_string(http_port), "--http-invoke",
       "127.0.0.1:" + std::to_string(ten_port)});
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
  BenchServer server({TEN_SERVER_PATH, "-ORBendPoint",
                      "giop:tcp:127.0.0.1:" + std::to_string(ten_port),
                      "-ORBInitRef", "InterfaceRepository=" + ir});
  if (!server.problem().empty()) {
    std::printf("ten_server: %s\n", server.problem().c_str());
    return 1;
  }
  std::string ior = server.ready_line();

  json request = {{"target", ior},
                  {"operation", "echo"},
                  {"args", json::parse(kArgs)},
                  {"interface", "::CallBench::TenService"}};
  // Warm up: connections, the repository's caches.
  load(http_port, request.dump(), clients, 1);
  std::printf(
      "gateway_bench: %d clients, %.0f s per run, a struct of 10 "
      "fields echoed by ten_server\n",
      clients, seconds);
  report("with \"interface\" given",
         load(http_port, request.dump(), clients, seconds));
  request.erase("interface");
  report("asking the target (_get_interface)",
         load(http_port, request.dump(), clients, seconds));
  std::filesystem::remove_all(db_dir);
  return 0;
}
