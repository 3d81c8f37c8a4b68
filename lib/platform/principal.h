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
// This machine's host name (a new CORBA string, caller frees).
char* QorGetHostname();

#endif
