#include "bench_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "util/process.h"

namespace {

pid_t spawn(const std::vector<std::string>& argv, int out_fd, int err_fd,
            std::string* error) {
  SpawnOptions options;
  options.stdout_fd = out_fd;
  options.stderr_fd = err_fd;
  options.die_with_parent = true;
  return spawn_process(argv, options, error);
}

std::string slurp(const char* path) {
  std::string text;
  FILE* f = std::fopen(path, "rb");
  if (!f) return text;
  char buf[65536];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) text.append(buf, n);
  std::fclose(f);
  return text;
}

}  // namespace

BenchServer::BenchServer(const std::vector<std::string>& argv,
                         bool wait_until_ready) {
  int p[2];
  if (pipe2(p, O_CLOEXEC) != 0) {
    problem_ = std::string("pipe: ") + std::strerror(errno);
    return;
  }
  pid_ = spawn(argv, p[1], -1, &problem_);
  close(p[1]);
  out_fd_ = p[0];
  if (pid_ < 0 || !wait_until_ready) return;
  std::string out;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (out.find('\n') == std::string::npos) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now())
                    .count();
    if (left <= 0) {
      problem_ = argv[0] + " printed no ready line within 20 s";
      return;
    }
    pollfd pfd{out_fd_, POLLIN, 0};
    if (poll(&pfd, 1, static_cast<int>(left)) <= 0) continue;
    char buf[512];
    ssize_t got = read(out_fd_, buf, sizeof buf);
    if (got <= 0) {
      problem_ = argv[0] + " ended before its ready line";
      return;
    }
    out.append(buf, static_cast<std::size_t>(got));
  }
  ready_ = out.substr(0, out.find('\n'));
}

BenchServer::~BenchServer() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    wait_process(pid_, 2000);
  }
  if (out_fd_ >= 0) close(out_fd_);
}

ToolRun run_timed(const std::vector<std::string>& argv) {
  ToolRun run;
  char out_path[] = "/tmp/irbench-out.XXXXXX";
  char err_path[] = "/tmp/irbench-err.XXXXXX";
  int out_fd = mkstemp(out_path);
  int err_fd = mkstemp(err_path);
  auto start = std::chrono::steady_clock::now();
  pid_t pid = spawn(argv, out_fd, err_fd, &run.err);
  if (pid > 0) run.status = wait_process(pid, -1).status();
  auto end = std::chrono::steady_clock::now();
  run.seconds = std::chrono::duration<double>(end - start).count();
  close(out_fd);
  close(err_fd);
  run.out = slurp(out_path);
  run.err += slurp(err_path);
  unlink(out_path);
  unlink(err_path);
  return run;
}

int free_port() {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof addr;
  bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
  close(fd);
  return ntohs(addr.sin_port);
}

bool pin_to_one_cpu() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(0, &set);
  return sched_setaffinity(0, sizeof set, &set) == 0;
}

int pin_threads_of(pid_t pid) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(0, &set);
  int pinned = 0;
  std::error_code ec;
  for (const auto& task : std::filesystem::directory_iterator(
           "/proc/" + std::to_string(pid) + "/task", ec)) {
    pid_t tid = std::atoi(task.path().filename().c_str());
    if (tid > 0 && sched_setaffinity(tid, sizeof set, &set) == 0) ++pinned;
  }
  return pinned;
}
