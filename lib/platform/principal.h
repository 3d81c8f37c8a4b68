// Who is calling: the peer address of the request that the current
// thread is serving, as omniORB reports it ("giop:tcp:127.0.0.1:40112").
#ifndef IR_PLATFORM_PRINCIPAL_H
#define IR_PLATFORM_PRINCIPAL_H

#include <string>

// Installs the request interceptors that record the peer; call once
// after ORB_init.
void KALDInstallPrincipalTracking();
// The peer of the current request, or "" outside a request.
std::string KALDCurrentPrincipal();
// True exactly once per remote request: for its first upcall on this
// thread (the one the client asked for).  False for the colocated calls
// that upcall makes, and outside remote requests.
bool KALDEnterRequest();
// The definition the current remote request is addressed to, as its
// first upcall names it; "" until then.  Reset when the next request
// arrives on this thread.
void KALDSetRequestTarget(const char* target);
const std::string& KALDRequestTarget();
// This machine's host name (a new CORBA string, caller frees).
char* QorGetHostname();

#endif
