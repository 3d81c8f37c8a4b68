// Where irserver's web view listens: the value of --http.
#ifndef IR_SERVER_HTTP_HTTP_ADDRESS_H
#define IR_SERVER_HTTP_HTTP_ADDRESS_H

#include <string>

// The default is loopback only, beside the default IIOP port 2810.
constexpr const char* kDefaultHttpAddress = "127.0.0.1:2811";

struct HttpAddress {
  bool enabled = true;
  // A host name or address literal, IPv6 without its brackets; "" listens
  // on every interface.
  std::string host = "127.0.0.1";
  int port = 2811;  // 0: any free port, chosen when the server binds

  // "127.0.0.1:2811", "[::1]:8080", ":2811", or "off".
  std::string text() const;
};

// Parses "HOST:PORT", "[IPV6]:PORT", ":PORT" (every interface) or "off".
// Returns "" on success, else why `text` is not an address.
std::string parse_http_address(const std::string& text, HttpAddress* out);

// "http://HOST:PORT/" for a server bound to `port` on `host` (a host of
// "" is shown as this machine's name, IPv6 literals get brackets).
std::string http_url(const std::string& host, int port);

#endif
