#include "http/call_allow_list.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>

namespace {

std::string trim(const std::string& s) {
  std::size_t b = s.find_first_not_of(" \t");
  if (b == std::string::npos) return std::string();
  std::size_t e = s.find_last_not_of(" \t");
  return s.substr(b, e - b + 1);
}

std::string lower(std::string s) {
  for (char& c : s)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// A host name (letters, digits, '-', '.', '_') or an address literal.
bool valid_host(const std::string& host, bool bracketed) {
  if (host.empty() || host.size() > 253) return false;
  if (bracketed) {
    unsigned char buf[16];
    return inet_pton(AF_INET6, host.c_str(), buf) == 1;
  }
  for (char c : host)
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '.' &&
        c != '_')
      return false;
  return true;
}

// An address literal in one canonical text (so that "::0001" and "::1"
// compare equal); other text unchanged.
std::string canonical(const std::string& host) {
  unsigned char buf[16];
  char text[INET6_ADDRSTRLEN];
  if (inet_pton(AF_INET6, host.c_str(), buf) == 1 &&
      inet_ntop(AF_INET6, buf, text, sizeof text))
    return text;
  return lower(host);
}

}  // namespace

bool split_host_port(const std::string& text, std::string* host,
                     std::string* port) {
  if (!text.empty() && text[0] == '[') {
    std::size_t close = text.find(']');
    if (close == std::string::npos || close + 1 >= text.size() ||
        text[close + 1] != ':')
      return false;
    *host = text.substr(1, close - 1);
    *port = text.substr(close + 2);
    return true;
  }
  std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) return false;
  *host = text.substr(0, colon);
  *port = text.substr(colon + 1);
  return true;
}

std::string CallAllowList::parse(const std::string& text, CallAllowList* out) {
  CallAllowList list;
  std::size_t start = 0;
  while (true) {
    std::size_t comma = text.find(',', start);
    std::string item = trim(text.substr(
        start, comma == std::string::npos ? std::string::npos : comma - start));
    std::string host, port;
    if (item.empty())
      return "needs HOST:PORT pairs separated by commas (got '" + text + "')";
    if (!split_host_port(item, &host, &port))
      return "'" + item + "' is not HOST:PORT";
    if (!valid_host(host, item[0] == '['))
      return "'" + item + "' does not name a host";
    Entry e;
    e.host = canonical(host);
    if (port == "*") {
      e.port = 0;
    } else {
      if (port.empty() || port.size() > 5 ||
          port.find_first_not_of("0123456789") != std::string::npos ||
          std::stoul(port) == 0 || std::stoul(port) > 65535)
        return "'" + item + "' needs a port from 1 to 65535 or *";
      e.port = static_cast<unsigned>(std::stoul(port));
    }
    list.entries_.push_back(std::move(e));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  *out = std::move(list);
  return std::string();
}

void CallAllowList::resolve() {
  for (Entry& e : entries_) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(e.host.c_str(), nullptr, &hints, &found) != 0) continue;
    for (addrinfo* a = found; a; a = a->ai_next) {
      char text[INET6_ADDRSTRLEN];
      const void* where =
          a->ai_family == AF_INET
              ? static_cast<const void*>(
                    &reinterpret_cast<sockaddr_in*>(a->ai_addr)->sin_addr)
              : static_cast<const void*>(
                    &reinterpret_cast<sockaddr_in6*>(a->ai_addr)->sin6_addr);
      if (inet_ntop(a->ai_family, where, text, sizeof text) &&
          std::find(e.addresses.begin(), e.addresses.end(), text) ==
              e.addresses.end())
        e.addresses.push_back(text);
    }
    freeaddrinfo(found);
  }
}

bool CallAllowList::allows(const std::string& host, unsigned port) const {
  std::string h = host;
  if (h.size() > 2 && h.front() == '[' && h.back() == ']')
    h = h.substr(1, h.size() - 2);
  h = canonical(h);
  // An IPv4 address that arrives mapped into IPv6.
  if (h.compare(0, 7, "::ffff:") == 0 && h.find('.') != std::string::npos)
    h = h.substr(7);
  for (const Entry& e : entries_) {
    if (e.port != 0 && e.port != port) continue;
    if (e.host == h) return true;
    if (std::find(e.addresses.begin(), e.addresses.end(), h) !=
        e.addresses.end())
      return true;
  }
  return false;
}

bool CallAllowList::allows_address(const std::string& address) const {
  if (address.compare(0, 9, "giop:tcp:") != 0 &&
      address.compare(0, 9, "giop:ssl:") != 0)
    return false;
  std::string host, port;
  if (!split_host_port(address.substr(9), &host, &port) || port.empty() ||
      port.size() > 5 ||
      port.find_first_not_of("0123456789") != std::string::npos)
    return false;
  return allows(host, static_cast<unsigned>(std::stoul(port)));
}

std::string CallAllowList::text() const {
  std::string out;
  for (const Entry& e : entries_) {
    if (!out.empty()) out += ", ";
    out += e.host.find(':') != std::string::npos ? "[" + e.host + "]" : e.host;
    out += ":" + (e.port ? std::to_string(e.port) : std::string("*"));
  }
  return out;
}
