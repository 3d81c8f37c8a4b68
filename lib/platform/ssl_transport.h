// omniORB's SSL transport, loaded on demand.
//
// The transport registers itself with the ORB when its library is loaded,
// and once loaded it warns at every start that it has no certificates.
// So it is loaded only for a process that asks for SSL: an endpoint or
// URL naming giop:ssl / ssliop, or an -ORBssl... option.  Call before
// ORB_init.
#ifndef IR_PLATFORM_SSL_TRANSPORT_H
#define IR_PLATFORM_SSL_TRANSPORT_H

#include <string>
#include <vector>

// True when one of `args` asks for SSL.
bool KALDWantsSsl(const std::vector<std::string>& args);

// Loads the transport when KALDWantsSsl(args).  Returns "" (loaded, or
// not wanted) or why it could not be loaded.
std::string KALDLoadSslTransport(const std::vector<std::string>& args);

#endif
