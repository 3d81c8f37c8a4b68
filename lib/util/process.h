// Child processes: starting a program, waiting for it with a time limit,
// and reading its output line by line while it runs.  One helper for
// irctl (omniidl), the end-to-end tests (irserver, irctl) and the
// benchmarks.  No ORB here: it may be used before or without one.
#ifndef IR_UTIL_PROCESS_H
#define IR_UTIL_PROCESS_H

#include <sys/types.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct SpawnOptions {
  int stdout_fd = -1;  // where standard output goes; -1: /dev/null
  int stderr_fd = -1;  // where standard error goes; -1: /dev/null
  // The child gets SIGKILL when the thread that started it ends, so that
  // a server started by a test never outlives the test.
  bool die_with_parent = false;
};

// Starts argv[0] (searched on PATH) with standard input from /dev/null,
// no other descriptor of this process, and default signal handling.
// Returns the pid; -1 with `error` set ("cannot run omniidl: No such file
// or directory") when the program could not be started.  Everything the
// child needs is prepared before fork(): the parent may have ORB threads,
// so the child only makes system calls until exec.
pid_t spawn_process(const std::vector<std::string>& argv,
                    const SpawnOptions& options, std::string* error);

struct ExitStatus {
  bool exited = false;     // ended through exit(); code is valid
  int code = -1;           // its exit status
  int signal = 0;          // the signal that ended it, when not exited
  bool timed_out = false;  // killed after the time limit
  // The exit status; 128 + signal when killed.
  int status() const { return exited ? code : 128 + signal; }
};

// Waits for `pid` to end; after `timeout_ms` (negative: no limit) kills
// it with SIGKILL and says so.  Reaps it.
ExitStatus wait_process(pid_t pid, int timeout_ms);

// A running child whose standard output is read line by line while it
// runs.  A thread of its own drains both outputs into memory, so that the
// child never blocks on a full pipe while the caller is busy with earlier
// lines.  The caller's methods are meant for one thread; the mutex guards
// what the reader thread fills in.
class ChildStream {
 public:
  // Starts argv[0] (searched on PATH).  started() says whether that
  // worked; error() why not.
  explicit ChildStream(const std::vector<std::string>& argv);
  // Waits for the child (it is not killed: it ends when its input does).
  ~ChildStream();
  ChildStream(const ChildStream&) = delete;
  ChildStream& operator=(const ChildStream&) = delete;

  bool started() const { return pid_ > 0; }
  const std::string& error() const { return start_error_; }

  // The next line of standard output, without its newline; false once
  // the output has ended.
  bool next_line(std::string* line);
  // Waits for the end of the child and of its outputs; its exit status,
  // or 128 + the signal that ended it.
  int wait();
  // Standard error (complete once wait() has returned).
  std::string err();

 private:
  void read_outputs(int out_fd, int err_fd);

  pid_t pid_ = -1;
  std::string start_error_;
  int status_ = -1;
  bool waited_ = false;
  std::thread reader_;
  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<std::string> lines_;  // guarded by mutex_
  std::string partial_;            // guarded by mutex_
  std::string err_;                // guarded by mutex_
  bool out_done_ = false;          // guarded by mutex_
};

#endif
