#include "platform/qor_log.h"

#include <omniORB4/CORBA.h>

#include <mutex>

std::atomic<bool> QORIRTrace{false};
std::atomic<bool> QORMutexTrace{false};

namespace {

std::mutex capture_mutex;
bool capture_on = false;
std::string captured;

void emit(const char* kind, const char* file, int line, const char* text,
          bool always) {
  {
    std::lock_guard<std::mutex> lock(capture_mutex);
    if (capture_on) {
      captured += kind;
      captured += ' ';
      captured += text;
      captured += '\n';
    }
  }
  if (!always && !omniORB::trace(1)) return;
  omniORB::logger log("irserver: ");
  log << kind << " " << file << ":" << line << ": " << text << "\n";
}

}  // namespace

void QORLogError(const char* file, int line, const char* text) {
  emit("error", file, line, text, false);
}

void QORTraceMethod(const char* file, int line, const char* sccs_id) {
  if (!QORIRTrace) return;
  std::string text = std::string("enter ") + (sccs_id ? sccs_id : "");
  emit("trace", file, line, text.c_str(), true);
}

void QORTraceString(const char* file, int line, const char* sccs_id,
                    const char* text) {
  std::string t = std::string(sccs_id ? sccs_id : "") + text;
  emit("trace", file, line, t.c_str(), true);
}

void QORCaptureLog(bool on) {
  std::lock_guard<std::mutex> lock(capture_mutex);
  capture_on = on;
  captured.clear();
}

std::string QORTakeCapturedLog() {
  std::lock_guard<std::mutex> lock(capture_mutex);
  std::string out;
  out.swap(captured);
  return out;
}
