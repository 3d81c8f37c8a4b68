#include "util/process.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <initializer_list>

namespace {

std::string errno_text(const std::string& what, int e) {
  return what + ": " + std::strerror(e);
}

void close_all(std::initializer_list<int> fds) {
  for (int fd : fds)
    if (fd >= 0) close(fd);
}

}  // namespace

pid_t spawn_process(const std::vector<std::string>& argv,
                    const SpawnOptions& options, std::string* error) {
  if (argv.empty()) {
    *error = "no program to run";
    return -1;
  }
  std::vector<char*> args;
  for (const std::string& a : argv)
    args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  int null_fd = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (null_fd < 0) {
    *error = errno_text("/dev/null", errno);
    return -1;
  }
  // Carries errno of a failed exec; closes unread on a successful one.
  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0) {
    *error = errno_text("pipe", errno);
    close(null_fd);
    return -1;
  }
  int out_fd = options.stdout_fd >= 0 ? options.stdout_fd : null_fd;
  int err_fd = options.stderr_fd >= 0 ? options.stderr_fd : null_fd;
  pid_t parent = getpid();

  pid_t pid = fork();
  if (pid == 0) {
    if (options.die_with_parent) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (getppid() != parent) _exit(127);
    }
    if (dup2(null_fd, 0) < 0 || dup2(out_fd, 1) < 0 || dup2(err_fd, 2) < 0)
      _exit(127);
    // Descriptors of the parent (its ORB connections) stay with it; the
    // report pipe closes on exec.
    int keep = report[1];
    if ((keep > 3 && close_range(3, keep - 1, 0) != 0) ||
        close_range(keep + 1, UINT_MAX, 0) != 0) {
      for (int fd = 3; fd < 1024; ++fd)
        if (fd != keep) close(fd);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    execvp(args[0], args.data());
    int e = errno;
    ssize_t ignored = write(report[1], &e, sizeof e);
    (void)ignored;
    _exit(127);
  }
  int fork_errno = errno;
  close_all({report[1], null_fd});
  if (pid < 0) {
    close(report[0]);
    *error = errno_text("fork", fork_errno);
    return -1;
  }
  int exec_errno = 0;
  ssize_t n;
  do {
    n = read(report[0], &exec_errno, sizeof exec_errno);
  } while (n < 0 && errno == EINTR);
  close(report[0]);
  if (n == static_cast<ssize_t>(sizeof exec_errno)) {
    while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    *error = errno_text("cannot run " + argv[0], exec_errno);
    return -1;
  }
  return pid;
}

ExitStatus wait_process(pid_t pid, int timeout_ms) {
  ExitStatus result;
  auto deadline =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  int status = 0;
  while (true) {
    pid_t done = waitpid(pid, &status, timeout_ms < 0 ? 0 : WNOHANG);
    if (done == pid) break;
    if (done < 0 && errno != EINTR) return result;
    if (timeout_ms >= 0 && std::chrono::steady_clock::now() >= deadline) {
      kill(pid, SIGKILL);
      while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
      }
      result.timed_out = true;
      break;
    }
    if (timeout_ms >= 0)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  if (WIFEXITED(status)) {
    result.exited = true;
    result.code = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.signal = WTERMSIG(status);
  }
  return result;
}

ChildStream::ChildStream(const std::vector<std::string>& argv) {
  int out[2], err[2];
  if (pipe2(out, O_CLOEXEC) != 0) {
    start_error_ = errno_text("pipe", errno);
    return;
  }
  if (pipe2(err, O_CLOEXEC) != 0) {
    start_error_ = errno_text("pipe", errno);
    close_all({out[0], out[1]});
    return;
  }
  SpawnOptions options;
  options.stdout_fd = out[1];
  options.stderr_fd = err[1];
  pid_t pid = spawn_process(argv, options, &start_error_);
  close_all({out[1], err[1]});
  if (pid < 0) {
    close_all({out[0], err[0]});
    return;
  }
  pid_ = pid;
  reader_ = std::thread(&ChildStream::read_outputs, this, out[0], err[0]);
}

ChildStream::~ChildStream() {
  if (started()) wait();
}

void ChildStream::read_outputs(int out_fd, int err_fd) {
  pollfd fds[2] = {{out_fd, POLLIN, 0}, {err_fd, POLLIN, 0}};
  int open_count = 2;
  char buf[65536];
  while (open_count > 0) {
    if (poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR)))
        continue;
      ssize_t got = read(fds[i].fd, buf, sizeof buf);
      if (got < 0 && errno == EINTR) continue;
      std::lock_guard<std::mutex> lock(mutex_);
      if (got <= 0) {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open_count;
        if (i == 0) {
          if (!partial_.empty()) lines_.push_back(std::move(partial_));
          partial_.clear();
          out_done_ = true;
          ready_.notify_all();
        }
        continue;
      }
      if (i == 1) {
        err_.append(buf, static_cast<std::size_t>(got));
        continue;
      }
      partial_.append(buf, static_cast<std::size_t>(got));
      std::size_t start = 0, nl;
      while ((nl = partial_.find('\n', start)) != std::string::npos) {
        lines_.push_back(partial_.substr(start, nl - start));
        start = nl + 1;
      }
      partial_.erase(0, start);
      ready_.notify_all();
    }
  }
  for (const pollfd& p : fds)
    if (p.fd >= 0) close(p.fd);
  std::lock_guard<std::mutex> lock(mutex_);
  out_done_ = true;
  ready_.notify_all();
}

bool ChildStream::next_line(std::string* line) {
  if (!started()) return false;
  std::unique_lock<std::mutex> lock(mutex_);
  ready_.wait(lock, [this] { return !lines_.empty() || out_done_; });
  if (lines_.empty()) return false;
  *line = std::move(lines_.front());
  lines_.pop_front();
  return true;
}

int ChildStream::wait() {
  if (!started()) return -1;
  if (waited_) return status_;
  if (reader_.joinable()) reader_.join();
  status_ = wait_process(pid_, -1).status();
  waited_ = true;
  return status_;
}

std::string ChildStream::err() {
  std::lock_guard<std::mutex> lock(mutex_);
  return err_;
}
