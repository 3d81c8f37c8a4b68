#include "irctl_harness.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "e2e_server.h"

namespace fs = std::filesystem;

std::string ToolResult::describe() const {
  std::ostringstream s;
  if (timed_out) s << "timed out (killed); ";
  s << "status " << status << "; stdout: [" << out << "]; stderr: [" << err
    << "]";
  return s.str();
}

std::string irctl_path() {
  const char* dir = std::getenv("IR_BUILD_DIR");
  if (dir && *dir) return std::string(dir) + "/irctl";
  std::error_code ec;
  fs::path self = fs::read_symlink("/proc/self/exe", ec);
  if (!ec) {
    for (const fs::path& candidate :
         {self.parent_path() / "irctl",
          self.parent_path().parent_path() / "irctl"}) {
      if (fs::exists(candidate, ec)) return candidate.string();
    }
  }
  return "irctl";
}

ToolResult run_tool(const std::vector<std::string>& argv, int timeout_ms) {
  ToolResult result;
  TempDir outputs;
  std::string out_path = outputs.file("stdout");
  std::string err_path = outputs.file("stderr");
  // Everything the child needs is made before fork(): the test process
  // has ORB threads, so the child only makes system calls until exec.
  std::vector<char*> args;
  for (const std::string& a : argv)
    args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  int null_fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
  int out_fd =
      open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  int err_fd =
      open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  pid_t pid = -1;
  if (null_fd >= 0 && out_fd >= 0 && err_fd >= 0) pid = fork();
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (dup2(null_fd, 0) < 0 || dup2(out_fd, 1) < 0 || dup2(err_fd, 2) < 0)
      _exit(127);
    if (close_range(3, UINT_MAX, 0) != 0)
      for (int fd = 3; fd < 1024; ++fd) close(fd);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    execvp(args[0], args.data());
    static const char kMsg[] = "test harness: exec failed\n";
    ssize_t ignored = write(2, kMsg, sizeof kMsg - 1);
    (void)ignored;
    _exit(127);
  }
  for (int fd : {null_fd, out_fd, err_fd})
    if (fd >= 0) close(fd);
  if (pid < 0) {
    result.err =
        std::string("cannot start ") + argv[0] + ": " + std::strerror(errno);
    return result;
  }
  auto deadline =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  int status = 0;
  while (true) {
    pid_t done = waitpid(pid, &status, WNOHANG);
    if (done == pid) break;
    if (done < 0 && errno != EINTR) break;
    if (std::chrono::steady_clock::now() >= deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      result.timed_out = true;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  if (WIFEXITED(status))
    result.status = WEXITSTATUS(status);
  else if (WIFSIGNALED(status))
    result.status = 128 + WTERMSIG(status);
  result.out = read_file(out_path);
  result.err = read_file(err_path);
  return result;
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

void write_text(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}
