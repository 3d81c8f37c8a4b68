#include "platform/ssl_transport.h"

#include <dlfcn.h>

bool KALDWantsSsl(const std::vector<std::string>& args) {
  for (const std::string& a : args) {
    if (a.compare(0, 7, "-ORBssl") == 0 ||
        a.find("giop:ssl:") != std::string::npos ||
        a.find(":ssliop:") != std::string::npos)
      return true;
  }
  return false;
}

std::string KALDLoadSslTransport(const std::vector<std::string>& args) {
  if (!KALDWantsSsl(args)) return std::string();
  std::string error;
  for (const char* name : {"libomnisslTP4.so.2", "libomnisslTP4.so"}) {
    // Never unloaded: the ORB keeps pointers into it.
    if (dlopen(name, RTLD_NOW | RTLD_GLOBAL)) return std::string();
    const char* why = dlerror();
    if (error.empty() && why) error = why;
  }
  return "cannot load omniORB's SSL transport: " + error;
}
