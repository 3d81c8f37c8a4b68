#include "platform/principal.h"

#include <omniORB4/CORBA.h>
#include <omniORB4/omniInterceptors.h>
#include <unistd.h>

namespace {

// The peer address of the request this thread serves: the connection's
// own string, which lives as long as the connection and so for the whole
// request (copied only when someone asks, which is rare; every request
// passes here).
thread_local const char* current_peer = nullptr;
thread_local bool entered = false;
thread_local std::string current_target;

CORBA::Boolean on_receive(
    omni::omniInterceptors::serverReceiveRequest_T::info_T& info) {
  current_peer = info.peeraddress();
  entered = false;
  if (!current_target.empty()) current_target.clear();
  return 1;
}

CORBA::Boolean on_reply(omni::omniInterceptors::serverSendReply_T::info_T&) {
  current_peer = nullptr;
  return 1;
}

CORBA::Boolean on_exception(
    omni::omniInterceptors::serverSendException_T::info_T&) {
  current_peer = nullptr;
  return 1;
}

}  // namespace

void KALDInstallPrincipalTracking() {
  omni::omniInterceptors* ic = omniORB::getInterceptors();
  ic->serverReceiveRequest.add(on_receive);
  ic->serverSendReply.add(on_reply);
  ic->serverSendException.add(on_exception);
}

std::string KALDCurrentPrincipal() { return current_peer ? current_peer : ""; }

bool KALDEnterRequest() {
  if (!current_peer || !*current_peer || entered) return false;
  entered = true;
  return true;
}

void KALDSetRequestTarget(const char* target) {
  current_target = target;
}

const std::string& KALDRequestTarget() { return current_target; }

char* QorGetHostname() {
  char name[256];
  if (gethostname(name, sizeof name) != 0)
    return CORBA::string_dup("localhost");
  name[sizeof name - 1] = '\0';
  return CORBA::string_dup(name);
}
