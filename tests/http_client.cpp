#include "http_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>

namespace {

std::string lower(std::string s) {
  for (char& c : s)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// Parses "HTTP/1.1 200 OK\r\nName: value\r\n\r\nbody".
HttpReply parse_reply(const std::string& text) {
  HttpReply reply;
  std::size_t end = text.find("\r\n\r\n");
  if (text.compare(0, 5, "HTTP/") != 0 || end == std::string::npos) {
    reply.error = text.empty() ? "no reply" : "not an HTTP reply: " + text;
    return reply;
  }
  std::size_t space = text.find(' ');
  reply.status = std::atoi(text.c_str() + space + 1);
  std::size_t pos = text.find("\r\n") + 2;
  while (pos < end) {
    std::size_t eol = text.find("\r\n", pos);
    std::string line = text.substr(pos, eol - pos);
    std::size_t colon = line.find(':');
    if (colon != std::string::npos) {
      std::size_t v = line.find_first_not_of(' ', colon + 1);
      reply.headers.emplace(lower(line.substr(0, colon)),
                            v == std::string::npos ? "" : line.substr(v));
    }
    pos = eol + 2;
  }
  reply.body = text.substr(end + 4);
  return reply;
}

}  // namespace

std::string HttpReply::header(const std::string& name) const {
  auto it = headers.find(lower(name));
  return it == headers.end() ? std::string() : it->second;
}

HttpReply http_request(
    int port, const std::string& method, const std::string& target,
    const std::vector<std::pair<std::string, std::string>>& headers,
    const std::string& body) {
  std::string request = method + " " + target + " HTTP/1.1\r\n";
  request += "Host: 127.0.0.1:" + std::to_string(port) + "\r\n";
  request += "Connection: close\r\n";
  for (const auto& h : headers) request += h.first + ": " + h.second + "\r\n";
  if (!body.empty() || method == "POST" || method == "PUT" || method == "PATCH")
    request += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  request += "\r\n" + body;
  return raw_http(port, request);
}

HttpReply raw_http(int port, const std::string& bytes) {
  HttpReply failed;
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) {
    failed.error = "socket failed";
    return failed;
  }
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<uint16_t>(port));
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    close(fd);
    failed.error = "cannot connect";
    return failed;
  }
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    ssize_t n =
        send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) break;  // the server may refuse before reading it all
    sent += static_cast<std::size_t>(n);
  }
  // Reads until the server closes, or until a whole reply is in: a
  // server may keep the connection open after a reply to a malformed
  // request that it could not read to its end.
  std::string text;
  bool head = bytes.compare(0, 5, "HEAD ") == 0;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  char buf[65536];
  while (std::chrono::steady_clock::now() < deadline) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, 200) <= 0) continue;
    ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n <= 0) break;
    text.append(buf, static_cast<std::size_t>(n));
    std::size_t end = text.find("\r\n\r\n");
    if (end == std::string::npos) continue;
    HttpReply so_far = parse_reply(text);
    std::string length = so_far.header("Content-Length");
    if (head || so_far.status == 304 ||
        (!length.empty() && so_far.body.size() >= std::stoul(length)))
      break;
  }
  close(fd);
  HttpReply reply = parse_reply(text);
  // A reply with a Content-Length that did not all arrive is a dropped
  // connection, not a reply.
  std::string length = reply.header("Content-Length");
  if (reply.status && !length.empty() &&
      reply.body.size() < std::stoul(length) && reply.status != 304) {
    bool head = bytes.compare(0, 5, "HEAD ") == 0;
    if (!head) {
      reply.error = "the reply was cut short";
      reply.status = 0;
    }
  }
  return reply;
}
