#include "request_tracker.h"

#include <omniORB4/omniInterceptors.h>

#include "client/corba_text.h"

namespace {

thread_local std::string last_op;

CORBA::Boolean note_request(
    omni::omniInterceptors::clientSendRequest_T::info_T& info) {
  const char* op = info.operation();
  last_op = op ? op : "";
  return true;
}

}  // namespace

void track_requests() {
  omniORB::getInterceptors()->clientSendRequest.add(note_request);
}

const std::string& last_operation() { return last_op; }

std::string failure_text(const CORBA::Exception& e) {
  std::string text = exception_text(e);
  if (last_op.empty()) return text;
  if (CORBA::NO_PERMISSION::_downcast(&e))
    return "the repository refused " + last_op + ": " + text +
           " (it is read-only, or does not let this client change it)";
  return last_op + ": " + text;
}
