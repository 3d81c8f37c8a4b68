#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

ChildStream::ChildStream(const std::vector<std::string>& argv) {
  int out[2], err[2], exec_report[2];
  if (pipe2(out, O_CLOEXEC) != 0) {
    start_error_ = std::string("pipe: ") + std::strerror(errno);
    return;
  }
  if (pipe2(err, O_CLOEXEC) != 0) {
    start_error_ = std::string("pipe: ") + std::strerror(errno);
    close(out[0]);
    close(out[1]);
    return;
  }
  // Carries errno of a failed exec; closes unread on a successful one.
  if (pipe2(exec_report, O_CLOEXEC) != 0) {
    start_error_ = std::string("pipe: ") + std::strerror(errno);
    for (int fd : {out[0], out[1], err[0], err[1]}) close(fd);
    return;
  }
  std::vector<char*> args;
  for (const std::string& a : argv)
    args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);

  pid_t pid = fork();
  if (pid == 0) {
    int null_fd = open("/dev/null", O_RDONLY);
    if (null_fd < 0 || dup2(null_fd, 0) < 0 || dup2(out[1], 1) < 0 ||
        dup2(err[1], 2) < 0)
      _exit(127);
    signal(SIGPIPE, SIG_DFL);
    execvp(args[0], args.data());
    int e = errno;
    ssize_t ignored = write(exec_report[1], &e, sizeof e);
    (void)ignored;
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  close(exec_report[1]);
  if (pid < 0) {
    start_error_ = std::string("fork: ") + std::strerror(errno);
    for (int fd : {out[0], err[0], exec_report[0]}) close(fd);
    return;
  }
  int exec_errno = 0;
  ssize_t n = read(exec_report[0], &exec_errno, sizeof exec_errno);
  close(exec_report[0]);
  if (n == static_cast<ssize_t>(sizeof exec_errno)) {
    waitpid(pid, nullptr, 0);
    start_error_ = "cannot run " + argv[0] + ": " + std::strerror(exec_errno);
    close(out[0]);
    close(err[0]);
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
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  waited_ = true;
  return status_;
}

std::string ChildStream::err() {
  std::lock_guard<std::mutex> lock(mutex_);
  return err_;
}
