// A small HTTP client for the tests: cpp-httplib for well-formed
// requests, a raw socket for requests that no library would send.
#ifndef IR_TESTS_HTTP_CLIENT_H
#define IR_TESTS_HTTP_CLIENT_H

#include <map>
#include <string>
#include <vector>

struct HttpReply {
  int status = 0;     // 0: no reply (connection failed or dropped)
  std::string error;  // why there is no reply
  std::multimap<std::string, std::string> headers;
  std::string body;

  // The first value of a header ("" when absent); names compare without
  // case.
  std::string header(const std::string& name) const;
};

// A request to 127.0.0.1:port with `method` (GET, HEAD, POST, ...),
// `target` sent exactly as given, extra headers and a body.
HttpReply http_request(
    int port, const std::string& method, const std::string& target,
    const std::vector<std::pair<std::string, std::string>>& headers = {},
    const std::string& body = "");
inline HttpReply http_get(int port, const std::string& target) {
  return http_request(port, "GET", target);
}

// Sends `bytes` as they are and reads until the server closes the
// connection (or 10 s pass); the reply parsed, status 0 when nothing
// came back.
HttpReply raw_http(int port, const std::string& bytes);

#endif
