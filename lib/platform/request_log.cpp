#include "platform/request_log.h"

#include <omniORB4/CORBA.h>
#include <omniORB4/omniInterceptors.h>

#include <cstdio>
#include <ctime>

#include "platform/principal.h"

namespace {

// The request in progress on this thread.
struct Pending {
  bool active = false;
  std::chrono::system_clock::time_point when;
  std::chrono::steady_clock::time_point start;
  std::string peer;
  std::string operation;
};
thread_local Pending pending;
bool log_on = false;

void write_line(const std::string& outcome) {
  if (!pending.active) return;
  pending.active = false;
  auto duration = std::chrono::steady_clock::now() - pending.start;
  std::string line = KALDRequestLogLine(
      pending.when, pending.peer, pending.operation, KALDRequestTarget(),
      std::chrono::duration_cast<std::chrono::nanoseconds>(duration), outcome);
  omniORB::logger log("irserver: ");
  log << line.c_str() << "\n";
}

CORBA::Boolean on_receive(
    omni::omniInterceptors::serverReceiveRequest_T::info_T& info) {
  pending.active = true;
  pending.when = std::chrono::system_clock::now();
  pending.start = std::chrono::steady_clock::now();
  const char* peer = info.peeraddress();
  const char* op = info.operation();
  pending.peer = peer ? peer : "";
  pending.operation = op ? op : "";
  return 1;
}

CORBA::Boolean on_reply(omni::omniInterceptors::serverSendReply_T::info_T&) {
  write_line("ok");
  return 1;
}

CORBA::Boolean on_exception(
    omni::omniInterceptors::serverSendException_T::info_T& info) {
  std::string outcome = "exception";
  if (info.exception) {
    outcome = info.exception->_name();
    if (const CORBA::SystemException* se =
            CORBA::SystemException::_downcast(info.exception)) {
      char minor[24];
      std::snprintf(minor, sizeof minor, "/0x%08lx",
                    static_cast<unsigned long>(se->minor()));
      outcome += minor;
    }
  }
  write_line(outcome);
  return 1;
}

// "giop:tcp:127.0.0.1:40112" gives "127.0.0.1:40112"; other transports
// keep their name.
std::string client_text(const std::string& peer) {
  static const char kTcp[] = "giop:tcp:";
  if (peer.compare(0, sizeof kTcp - 1, kTcp) == 0)
    return peer.substr(sizeof kTcp - 1);
  return peer;
}

// A field without spaces or line breaks, so that every line splits into
// its fields at the spaces: those bytes and '%' become %XX.
std::string field(const std::string& text) {
  if (text.empty()) return "-";
  std::string out;
  for (unsigned char c : text) {
    if (c <= ' ' || c == '%' || c == 0x7f) {
      char hex[4];
      std::snprintf(hex, sizeof hex, "%%%02X", c);
      out += hex;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

}  // namespace

bool KALDRequestLogOn() { return log_on; }

void KALDInstallRequestLog() {
  log_on = true;
  omni::omniInterceptors* ic = omniORB::getInterceptors();
  ic->serverReceiveRequest.add(on_receive);
  ic->serverSendReply.add(on_reply);
  ic->serverSendException.add(on_exception);
}

std::string KALDRequestLogLine(std::chrono::system_clock::time_point when,
                               const std::string& peer,
                               const std::string& operation,
                               const std::string& target,
                               std::chrono::nanoseconds duration,
                               const std::string& outcome) {
  using namespace std::chrono;
  std::time_t seconds = system_clock::to_time_t(when);
  long millis = static_cast<long>(
      duration_cast<milliseconds>(when.time_since_epoch()).count() % 1000);
  std::tm utc;
  gmtime_r(&seconds, &utc);
  char stamp[40];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", &utc);
  char ms[32];
  std::snprintf(ms, sizeof ms, "%.3f",
                static_cast<double>(duration.count()) / 1e6);
  char frac[8];
  std::snprintf(frac, sizeof frac, ".%03ldZ", millis < 0 ? 0 : millis);
  return std::string("request ") + stamp + frac +
         " client=" + field(client_text(peer)) + " op=" + field(operation) +
         " target=" + field(target) + " ms=" + ms +
         " outcome=" + field(outcome);
}
