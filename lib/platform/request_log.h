// The request log (irserver --log-requests): one line per remote request
// with its time, client address, operation, target definition, duration
// and outcome, written to the log through omniORB's logger:
//
//   irserver: request 2026-01-02T10:11:12.345Z client=127.0.0.1:40112
//   op=create_module target=IDL:M:1.0 ms=0.412 outcome=ok
//
// (one line).  The target is what the repository's first upcall names
// (KALDRequestTarget); "-" when the request reached no definition.
#ifndef IR_PLATFORM_REQUEST_LOG_H
#define IR_PLATFORM_REQUEST_LOG_H

#include <chrono>
#include <string>

// Installs the interceptors that write the lines; call once after
// ORB_init and KALDInstallPrincipalTracking.
void KALDInstallRequestLog();
// True once KALDInstallRequestLog has run: whoever knows the target of a
// request better than its object id (its repository id) may then say so
// through KALDSetRequestTarget.
bool KALDRequestLogOn();

// One line of the log, without the "irserver: " prefix and the newline.
// `peer` is omniORB's peer address ("giop:tcp:127.0.0.1:40112"),
// `outcome` "ok" or the exception.
std::string KALDRequestLogLine(std::chrono::system_clock::time_point when,
                               const std::string& peer,
                               const std::string& operation,
                               const std::string& target,
                               std::chrono::nanoseconds duration,
                               const std::string& outcome);

#endif
