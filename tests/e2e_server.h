// Child processes of the end-to-end tests: irserver, irctl and omniidl.
//
// Every IrServerProcess owns a temporary directory (removed with the
// object) that holds its database, its standard error and whatever a
// test puts there, and free 127.0.0.1 ports (IIOP and HTTP) chosen once,
// so that a restart comes back at the same addresses with the same
// database.
#ifndef IR_TESTS_E2E_SERVER_H
#define IR_TESTS_E2E_SERVER_H

#include <sys/types.h>

#include <string>
#include <vector>

// How a child process ended.
struct ProcessResult {
  bool exited = false;     // ended through exit(); exit_status is valid
  int exit_status = -1;    // its exit status
  int term_signal = 0;     // the signal that ended it, when not exited
  bool timed_out = false;  // killed by the harness after the time limit
  std::string out;         // standard output (run_process only)
  std::string err;         // standard error
  // The exit status; 128 + signal when killed.
  int status() const { return exited ? exit_status : 128 + term_signal; }
  // "exit status 1", "signal 9", "timed out", standard output and error.
  std::string describe() const;
};

// A directory under $TMPDIR (or /tmp), removed with everything in it.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  // path() + "/" + name
  std::string file(const std::string& name) const;

 private:
  std::string path_;
};

// A program of the build (irserver, irctl): $IR_BUILD_DIR/<name>, else
// next to (or one directory above) the test executable.
std::string build_path(const std::string& name);
inline std::string irserver_path() { return build_path("irserver"); }
inline std::string irctl_path() { return build_path("irctl"); }

// A TCP port on 127.0.0.1 that was free a moment ago.
int free_tcp_port();

// Runs argv[0] (searched on PATH) with `argv` to its end, capturing both
// outputs; kills it after `timeout_ms` (and says so in the result).
ProcessResult run_process(const std::vector<std::string>& argv,
                          int timeout_ms = 120000);
// run_process of irserver with `args`.
ProcessResult run_irserver(const std::vector<std::string>& args,
                           int timeout_ms = 20000);

// Starts argv[0] (searched on PATH) with standard input from /dev/null
// and the outputs written to these files; the child is killed when the
// test process dies.  Returns the pid, or -1 (the reason is then in the
// file of standard error).
pid_t spawn_to_files(const std::vector<std::string>& argv,
                     const std::string& out_path, const std::string& err_path);
// The first line that the child `pid` writes to the file `path`, waiting
// up to `timeout_ms`; "" with `problem` set when the child ends first or
// the time runs out.  Does not reap the child.
std::string first_line(const std::string& path, pid_t pid, int timeout_ms,
                       std::string* problem);
// Waits up to `timeout_ms` for `pid` to end, then kills it.
ProcessResult wait_for_process(pid_t pid, int timeout_ms);

// The whole of a file ("" when it cannot be read).
std::string read_file(const std::string& path);
// Writes `text` to `path`, replacing it.
void write_text(const std::string& path, const std::string& text);
// The lines of `text` (a trailing newline ends the last line).
std::vector<std::string> text_lines(const std::string& text);

class IrServerProcess {
 public:
  // Chooses the port and the directory; does not start the server.
  IrServerProcess();
  // Stops a running server as stop() does.
  ~IrServerProcess();
  IrServerProcess(const IrServerProcess&) = delete;
  IrServerProcess& operator=(const IrServerProcess&) = delete;

  // Arguments after the harness's own --db and --endpoint; set before
  // start().  With pass_endpoint false the harness leaves --endpoint out
  // (the extra arguments must then name the port, e.g. by -ORBendPoint).
  std::vector<std::string> extra_args;
  bool pass_endpoint = true;
  // The database; defaults to dir()/ir.db.
  std::string db_path;
  // With `http` the harness passes --http 127.0.0.1:<http_port()>, else
  // --http off (unless extra_args holds an --http of the test's own).
  bool http = true;

  // Starts irserver and waits up to 20 s for its ready line, which must
  // name this port and database.  Returns "" when it is ready, else what
  // went wrong with the server's standard error.
  std::string start();
  // start() again with the same port and database (after stop/kill9).
  std::string restart() { return start(); }

  // Sends `sig` and waits up to 20 s for the end (then SIGKILL).
  ProcessResult terminate(int sig);
  // SIGTERM and a GoogleTest failure unless the server exits with 0.
  void stop();
  // SIGKILL: no chance to clean up.
  void kill9();
  // Sends `sig` and returns at once (SIGHUP and the like).
  void send_signal(int sig);
  bool running() const { return pid_ > 0; }

  int port() const { return port_; }
  int http_port() const { return http_port_; }
  // "http://127.0.0.1:HTTP_PORT"
  std::string http_base() const;
  // "corbaloc::127.0.0.1:PORT"
  std::string corbaloc_base() const;
  // corbaloc_base() + "/InterfaceRepository"
  std::string corbaloc() const;
  const std::string& dir() const { return dir_.path(); }

 private:
  ProcessResult wait_for_end(int timeout_ms);

  TempDir dir_;
  int port_;
  int http_port_;
  pid_t pid_ = -1;
  int starts_ = 0;
  std::string stderr_path_;
  std::string ready_line_;
};

#endif
