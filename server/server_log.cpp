#include "server_log.h"

#include <fcntl.h>
#include <omniORB4/CORBA.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace {

std::mutex log_mutex;
std::string log_path;      // guarded by log_mutex; "" = standard error
FILE* log_file = nullptr;  // guarded by log_mutex

FILE* open_append(const std::string& path, std::string* error) {
  int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
  if (fd < 0) {
    *error = std::strerror(errno);
    return nullptr;
  }
  FILE* f = fdopen(fd, "a");
  if (!f) {
    *error = std::strerror(errno);
    close(fd);
  }
  return f;
}

void log_function(const char* message) { server_log_write(message); }

}  // namespace

std::string server_log_open(const std::string& path) {
  std::lock_guard<std::mutex> lock(log_mutex);
  if (path.empty()) return std::string();
  std::string error;
  FILE* f = open_append(path, &error);
  if (!f) return "cannot open the log file " + path + ": " + error;
  if (log_file) std::fclose(log_file);
  log_file = f;
  log_path = path;
  return std::string();
}

std::string server_log_reopen() {
  std::lock_guard<std::mutex> lock(log_mutex);
  if (log_path.empty()) return std::string();
  std::string error;
  FILE* f = open_append(log_path, &error);
  if (!f) return "cannot reopen the log file " + log_path + ": " + error;
  std::fclose(log_file);
  log_file = f;
  return std::string();
}

void server_log_write(const char* message) {
  if (!message) return;
  std::lock_guard<std::mutex> lock(log_mutex);
  FILE* out = log_file ? log_file : stderr;
  std::fputs(message, out);
  std::fflush(out);
}

void server_log_install() { omniORB::setLogFunction(log_function); }
