// Running a helper program (omniidl) with its outputs captured, reading
// its standard output line by line while it still runs.
#ifndef IR_TOOLS_CHILD_PROCESS_H
#define IR_TOOLS_CHILD_PROCESS_H

#include <sys/types.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A running child process.  A thread of its own drains both outputs into
// memory, so that the child never blocks on a full pipe while the caller
// is busy with earlier lines.  The caller's methods are meant for one
// thread; the mutex guards what the reader thread fills in.
class ChildStream {
 public:
  // Starts argv[0] (searched on PATH) with standard input from /dev/null.
  // started() says whether that worked; error() why not.
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
