#include "e2e_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "util/process.h"

namespace fs = std::filesystem;

namespace {

constexpr int kReadyTimeoutMs = 20000;
constexpr int kStopTimeoutMs = 20000;

std::string errno_text(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

int open_output_file(const std::string& path) {
  return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
}

}  // namespace

namespace {

// Starts the child with its outputs on these descriptors; when it cannot
// be started, says why on `err_fd` and returns -1.
pid_t spawn_with_outputs(const std::vector<std::string>& args, int out_fd,
                         int err_fd) {
  SpawnOptions options;
  options.stdout_fd = out_fd;
  options.stderr_fd = err_fd;
  // The server must not outlive a test run that dies.
  options.die_with_parent = true;
  std::string error;
  pid_t pid = spawn_process(args, options, &error);
  if (pid < 0) {
    static const char kMsg[] = "e2e harness: ";
    if (err_fd >= 0) {
      ssize_t ignored = write(err_fd, kMsg, sizeof kMsg - 1);
      ignored = write(err_fd, error.data(), error.size());
      ignored = write(err_fd, "\n", 1);
      (void)ignored;
    }
  }
  return pid;
}

}  // namespace

ProcessResult wait_for_process(pid_t pid, int timeout_ms) {
  ExitStatus end = wait_process(pid, timeout_ms);
  ProcessResult result;
  result.exited = end.exited;
  result.exit_status = end.code;
  result.term_signal = end.signal;
  result.timed_out = end.timed_out;
  return result;
}

std::string ProcessResult::describe() const {
  std::ostringstream s;
  if (timed_out) s << "timed out (killed); ";
  if (exited)
    s << "exit status " << exit_status;
  else if (term_signal)
    s << "signal " << term_signal;
  else
    s << "no status";
  if (!out.empty()) s << "; stdout: [" << out << "]";
  s << "; stderr: [" << err << "]";
  return s.str();
}

TempDir::TempDir() {
  const char* base = std::getenv("TMPDIR");
  std::string pattern =
      fs::path(base && *base ? base : "/tmp").lexically_normal().string();
  if (!pattern.empty() && pattern.back() == '/') pattern.pop_back();
  pattern += "/irserver-e2e-XXXXXX";
  std::vector<char> buf(pattern.begin(), pattern.end());
  buf.push_back('\0');
  if (!mkdtemp(buf.data()))
    throw std::runtime_error(errno_text("mkdtemp " + pattern));
  path_ = buf.data();
}

TempDir::~TempDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

std::string TempDir::file(const std::string& name) const {
  return path_ + "/" + name;
}

std::string build_path(const std::string& name) {
  const char* dir = std::getenv("IR_BUILD_DIR");
  if (dir && *dir) return std::string(dir) + "/" + name;
  std::error_code ec;
  fs::path self = fs::read_symlink("/proc/self/exe", ec);
  if (!ec) {
    for (const fs::path& candidate :
         {self.parent_path() / name, self.parent_path().parent_path() / name}) {
      if (fs::exists(candidate, ec)) return candidate.string();
    }
  }
  return name;
}

int free_tcp_port() {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) throw std::runtime_error(errno_text("socket"));
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = 0;
  socklen_t len = sizeof addr;
  if (bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0) {
    std::string error = errno_text("bind");
    close(fd);
    throw std::runtime_error(error);
  }
  close(fd);
  return ntohs(addr.sin_port);
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

void write_text(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

std::vector<std::string> text_lines(const std::string& text) {
  std::vector<std::string> lines;
  std::string::size_type start = 0;
  while (start < text.size()) {
    std::string::size_type nl = text.find('\n', start);
    if (nl == std::string::npos) nl = text.size();
    lines.push_back(text.substr(start, nl - start));
    start = nl + 1;
  }
  return lines;
}

ProcessResult run_irserver(const std::vector<std::string>& args,
                           int timeout_ms) {
  std::vector<std::string> argv{irserver_path()};
  argv.insert(argv.end(), args.begin(), args.end());
  return run_process(argv, timeout_ms);
}

ProcessResult run_process(const std::vector<std::string>& argv,
                          int timeout_ms) {
  TempDir outputs;
  std::string out_path = outputs.file("stdout"),
              err_path = outputs.file("stderr");
  ProcessResult result;
  pid_t pid = spawn_to_files(argv, out_path, err_path);
  if (pid < 0)
    result.err = "could not start " + argv[0] + ": ";
  else
    result = wait_for_process(pid, timeout_ms);
  result.out = read_file(out_path);
  result.err += read_file(err_path);
  return result;
}

pid_t spawn_to_files(const std::vector<std::string>& argv,
                     const std::string& out_path, const std::string& err_path) {
  int out_fd = open_output_file(out_path);
  int err_fd = open_output_file(err_path);
  pid_t pid = (out_fd >= 0 && err_fd >= 0)
                  ? spawn_with_outputs(argv, out_fd, err_fd)
                  : -1;
  int saved = errno;
  if (out_fd >= 0) close(out_fd);
  if (err_fd >= 0) close(err_fd);
  errno = saved;
  return pid;
}

std::string first_line(const std::string& path, pid_t pid, int timeout_ms,
                       std::string* problem) {
  auto deadline =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  while (std::chrono::steady_clock::now() < deadline) {
    std::string text = read_file(path);
    std::string::size_type nl = text.find('\n');
    if (nl != std::string::npos) return text.substr(0, nl);
    siginfo_t info{};
    if (waitid(P_PID, pid, &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
        info.si_pid == pid) {
      *problem = "the process ended before it wrote a line to " + path;
      return "";
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  *problem = "no line in " + path + " within " +
             std::to_string(timeout_ms / 1000) + " s";
  return "";
}

IrServerProcess::IrServerProcess()
    : port_(free_tcp_port()), http_port_(free_tcp_port()) {
  db_path = dir_.file("ir.db");
}

IrServerProcess::~IrServerProcess() {
  if (running()) stop();
}

std::string IrServerProcess::corbaloc_base() const {
  return "corbaloc::127.0.0.1:" + std::to_string(port_);
}

std::string IrServerProcess::http_base() const {
  return "http://127.0.0.1:" + std::to_string(http_port_);
}

std::string IrServerProcess::corbaloc() const {
  return corbaloc_base() + "/InterfaceRepository";
}

std::string IrServerProcess::start() {
  if (running()) return "irserver is already running";
  std::string n = std::to_string(++starts_);
  std::string out_path = dir_.file("stdout." + n);
  stderr_path_ = dir_.file("stderr." + n);
  std::vector<std::string> argv{irserver_path(), "--db", db_path};
  if (pass_endpoint) {
    argv.push_back("--endpoint");
    argv.push_back("giop:tcp:127.0.0.1:" + std::to_string(port_));
  }
  bool own_http = false;
  for (const std::string& a : extra_args)
    own_http = own_http || a == "--http" || a.rfind("--http=", 0) == 0;
  if (!own_http) {
    argv.push_back("--http");
    argv.push_back(http ? "127.0.0.1:" + std::to_string(http_port_) : "off");
  }
  argv.insert(argv.end(), extra_args.begin(), extra_args.end());
  pid_ = spawn_to_files(argv, out_path, stderr_path_);
  if (pid_ < 0) return errno_text("starting irserver");
  std::string problem;
  ready_line_ = first_line(out_path, pid_, kReadyTimeoutMs, &problem);
  if (problem.empty()) {
    // The web view's URL sits between the two; a test's own --http
    // chooses it.
    bool read_only = std::find(extra_args.begin(), extra_args.end(),
                               "--read-only") != extra_args.end();
    std::string start = "irserver: ready " + corbaloc();
    std::string end = " (database " +
                      fs::path(db_path).lexically_normal().string() +
                      (read_only ? ", read-only)" : ")");
    std::string web = http ? " " + http_base() + "/" : "";
    std::string expected = start + web + end;
    if (ready_line_ == expected) return std::string();
    if (own_http && ready_line_.rfind(start, 0) == 0 &&
        ready_line_.size() >= start.size() + end.size() &&
        ready_line_.compare(ready_line_.size() - end.size(), end.size(), end) ==
            0)
      return std::string();
    problem = "unexpected ready line [" + ready_line_ + "], expected [" +
              expected + "]";
  }
  ProcessResult end = terminate(SIGKILL);
  return problem + "; " + end.describe();
}

ProcessResult IrServerProcess::wait_for_end(int timeout_ms) {
  ProcessResult result = wait_for_process(pid_, timeout_ms);
  pid_ = -1;
  result.err += read_file(stderr_path_);
  return result;
}

ProcessResult IrServerProcess::terminate(int sig) {
  if (!running()) {
    ProcessResult none;
    none.err = "irserver was not running";
    return none;
  }
  kill(pid_, sig);
  return wait_for_end(kStopTimeoutMs);
}

void IrServerProcess::stop() {
  ProcessResult end = terminate(SIGTERM);
  EXPECT_TRUE(end.exited && end.exit_status == 0 && !end.timed_out)
      << "irserver did not stop cleanly on SIGTERM: " << end.describe();
}

void IrServerProcess::send_signal(int sig) {
  if (running()) kill(pid_, sig);
}

void IrServerProcess::kill9() {
  ProcessResult end = terminate(SIGKILL);
  EXPECT_EQ(end.term_signal, SIGKILL) << end.describe();
}
