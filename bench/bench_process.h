// Child processes of the benchmarks: servers that announce themselves
// with one line on standard output, and tools run to their end.
#ifndef IR_BENCH_BENCH_PROCESS_H
#define IR_BENCH_BENCH_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

// A server started with `argv`; its first line of standard output is its
// ready line.  Killed (SIGTERM, then SIGKILL) with the object.
class BenchServer {
 public:
  // With `wait_until_ready` false the constructor returns at once, and
  // the ready line is not read.
  explicit BenchServer(const std::vector<std::string>& argv,
                       bool wait_until_ready = true);
  ~BenchServer();
  BenchServer(const BenchServer&) = delete;
  BenchServer& operator=(const BenchServer&) = delete;

  // "" when the server printed its ready line within 20 s, else why not.
  const std::string& problem() const { return problem_; }
  const std::string& ready_line() const { return ready_; }
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
  int out_fd_ = -1;
  std::string problem_;
  std::string ready_;
};

struct ToolRun {
  int status = -1;
  double seconds = 0;  // wall time
  std::string out;
  std::string err;
};

// Runs argv[0] (searched on PATH) to its end, timing it.
ToolRun run_timed(const std::vector<std::string>& argv);

// A TCP port of 127.0.0.1 that was free a moment ago.
int free_port();

// Pins this process, and the children it starts from now on, to CPU 0.
bool pin_to_one_cpu();
// Pins every thread that process `pid` has now to CPU 0; returns how many
// (0 when it cannot).
int pin_threads_of(pid_t pid);

#endif
