#include "http/http_address.h"

#include <unistd.h>

#include <cctype>

std::string HttpAddress::text() const {
  if (!enabled) return "off";
  std::string h = host.find(':') != std::string::npos ? "[" + host + "]" : host;
  return h + ":" + std::to_string(port);
}

std::string parse_http_address(const std::string& text, HttpAddress* out) {
  HttpAddress address;
  if (text == "off") {
    address.enabled = false;
    *out = address;
    return std::string();
  }
  std::string host, port;
  if (!text.empty() && text[0] == '[') {
    std::string::size_type close = text.find(']');
    if (close == std::string::npos || close + 1 >= text.size() ||
        text[close + 1] != ':')
      return "'" + text + "' is not [ADDRESS]:PORT";
    host = text.substr(1, close - 1);
    port = text.substr(close + 2);
    if (host.empty()) return "'" + text + "' has an empty address";
  } else {
    std::string::size_type colon = text.rfind(':');
    if (colon == std::string::npos)
      return "'" + text + "' is not ADDRESS:PORT or off";
    host = text.substr(0, colon);
    port = text.substr(colon + 1);
    if (host.find(':') != std::string::npos)
      return "'" + text + "': write an IPv6 address in brackets, [::1]:PORT";
  }
  for (char c : host)
    if (std::isspace(static_cast<unsigned char>(c)) || c == '/' || c == '[' ||
        c == ']')
      return "'" + text + "' has an invalid address";
  if (port.empty() || port.size() > 5 ||
      port.find_first_not_of("0123456789") != std::string::npos ||
      std::stoi(port) > 65535)
    return "'" + text + "' has an invalid port (0 to 65535)";
  address.host = host;
  address.port = std::stoi(port);
  *out = address;
  return std::string();
}

std::string http_url(const std::string& host, int port) {
  std::string h = host;
  if (h.empty() || h == "0.0.0.0" || h == "::") {
    char name[256] = {0};
    if (gethostname(name, sizeof name - 1) == 0 && name[0])
      h = name;
    else
      h = "localhost";
  }
  if (h.find(':') != std::string::npos) h = "[" + h + "]";
  return "http://" + h + ":" + std::to_string(port) + "/";
}
