#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

// Closes a descriptor once.
struct Fd {
  int fd = -1;
  ~Fd() { reset(); }
  void reset() {
    if (fd >= 0) close(fd);
    fd = -1;
  }
};

}  // namespace

ChildResult run_child(const std::vector<std::string>& argv) {
  ChildResult result;
  Fd out_r, out_w, err_r, err_w, exec_r, exec_w;
  int p[2];
  if (pipe2(p, O_CLOEXEC) != 0) {
    result.err = std::string("pipe: ") + std::strerror(errno);
    return result;
  }
  out_r.fd = p[0];
  out_w.fd = p[1];
  if (pipe2(p, O_CLOEXEC) != 0) {
    result.err = std::string("pipe: ") + std::strerror(errno);
    return result;
  }
  err_r.fd = p[0];
  err_w.fd = p[1];
  // Reports a failed exec back to the parent: the pipe closes on a
  // successful exec and carries errno otherwise.
  if (pipe2(p, O_CLOEXEC) != 0) {
    result.err = std::string("pipe: ") + std::strerror(errno);
    return result;
  }
  exec_r.fd = p[0];
  exec_w.fd = p[1];

  std::vector<char*> args;
  for (const std::string& a : argv)
    args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);

  pid_t pid = fork();
  if (pid < 0) {
    result.err = std::string("fork: ") + std::strerror(errno);
    return result;
  }
  if (pid == 0) {
    int null_fd = open("/dev/null", O_RDONLY);
    if (null_fd < 0 || dup2(null_fd, 0) < 0 || dup2(out_w.fd, 1) < 0 ||
        dup2(err_w.fd, 2) < 0)
      _exit(127);
    signal(SIGPIPE, SIG_DFL);
    execvp(args[0], args.data());
    int e = errno;
    ssize_t ignored = write(exec_w.fd, &e, sizeof e);
    (void)ignored;
    _exit(127);
  }
  out_w.reset();
  err_w.reset();
  exec_w.reset();

  int exec_errno = 0;
  ssize_t n = read(exec_r.fd, &exec_errno, sizeof exec_errno);
  if (n == static_cast<ssize_t>(sizeof exec_errno)) {
    waitpid(pid, nullptr, 0);
    result.err = "cannot run " + argv[0] + ": " + std::strerror(exec_errno);
    return result;
  }
  result.started = true;

  // Both pipes are drained together so that a child that fills one while
  // the parent waits on the other cannot block.
  pollfd fds[2] = {{out_r.fd, POLLIN, 0}, {err_r.fd, POLLIN, 0}};
  std::string* sinks[2] = {&result.out, &result.err};
  int open_count = 2;
  while (open_count > 0) {
    if (poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR)))
        continue;
      char buf[65536];
      ssize_t got = read(fds[i].fd, buf, sizeof buf);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) {
        fds[i].fd = -1;
        --open_count;
        continue;
      }
      sinks[i]->append(buf, static_cast<std::size_t>(got));
    }
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status))
    result.exit_status = WEXITSTATUS(status);
  else if (WIFSIGNALED(status))
    result.exit_status = 128 + WTERMSIG(status);
  return result;
}
