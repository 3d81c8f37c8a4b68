#include "platform/address_list.h"

#include <arpa/inet.h>

#include <cstdlib>

namespace {

std::string trim(const std::string& s) {
  std::string::size_type b = s.find_first_not_of(" \t");
  if (b == std::string::npos) return std::string();
  std::string::size_type e = s.find_last_not_of(" \t");
  return s.substr(b, e - b + 1);
}

const std::array<std::uint8_t, 16> kV4Loopback = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 127, 0, 0, 1};
const std::array<std::uint8_t, 16> kV6Loopback = {0, 0, 0, 0, 0, 0, 0, 0,
                                                  0, 0, 0, 0, 0, 0, 0, 1};

}  // namespace

bool AddressList::to_bytes(const std::string& address,
                           std::array<std::uint8_t, 16>* bytes, bool* v4) {
  in_addr a4;
  if (inet_pton(AF_INET, address.c_str(), &a4) == 1) {
    bytes->fill(0);
    (*bytes)[10] = 0xff;
    (*bytes)[11] = 0xff;
    const auto* p = reinterpret_cast<const std::uint8_t*>(&a4.s_addr);
    for (int i = 0; i < 4; ++i) (*bytes)[12 + i] = p[i];
    *v4 = true;
    return true;
  }
  in6_addr a6;
  if (inet_pton(AF_INET6, address.c_str(), &a6) == 1) {
    for (int i = 0; i < 16; ++i) (*bytes)[i] = a6.s6_addr[i];
    // ::ffff:a.b.c.d is the IPv4 address a.b.c.d.
    bool mapped = true;
    for (int i = 0; i < 10; ++i) mapped = mapped && a6.s6_addr[i] == 0;
    *v4 = mapped && a6.s6_addr[10] == 0xff && a6.s6_addr[11] == 0xff;
    return true;
  }
  return false;
}

std::string AddressList::parse(const std::string& text, AddressList* out) {
  AddressList list;
  std::string::size_type start = 0;
  while (start <= text.size()) {
    std::string::size_type comma = text.find(',', start);
    if (comma == std::string::npos) comma = text.size();
    std::string item = trim(text.substr(start, comma - start));
    start = comma + 1;
    if (item.empty()) {
      if (comma == text.size() && !list.networks_.empty()) break;
      return "empty address in the list '" + text + "'";
    }
    std::string address = item, prefix_text;
    std::string::size_type slash = item.find('/');
    if (slash != std::string::npos) {
      address = item.substr(0, slash);
      prefix_text = item.substr(slash + 1);
    }
    if (address.size() > 2 && address.front() == '[' && address.back() == ']')
      address = address.substr(1, address.size() - 2);
    Network net;
    bool v4 = false;
    if (!to_bytes(address, &net.bytes, &v4))
      return "'" + address + "' is not an IPv4 or IPv6 address";
    int max_prefix = v4 ? 32 : 128;
    int prefix = max_prefix;
    if (slash != std::string::npos) {
      char* end = nullptr;
      long value =
          prefix_text.empty() ? -1 : std::strtol(prefix_text.c_str(), &end, 10);
      if (prefix_text.empty() || *end != '\0' || value < 0 ||
          value > max_prefix)
        return "bad prefix length '" + prefix_text + "' in '" + item +
               "' (0 to " + std::to_string(max_prefix) + ")";
      prefix = static_cast<int>(value);
    }
    net.prefix = v4 ? prefix + 96 : prefix;
    list.networks_.push_back(net);
    if (comma == text.size()) break;
  }
  *out = std::move(list);
  return std::string();
}

std::string AddressList::host_of(const std::string& peer) {
  // giop:<transport>:<host>:<port>
  if (peer.compare(0, 5, "giop:") != 0) return peer;
  std::string::size_type colon = peer.find(':', 5);
  if (colon == std::string::npos) return peer;
  std::string rest = peer.substr(colon + 1);
  if (!rest.empty() && rest[0] == '[') {
    std::string::size_type close = rest.find(']');
    return close == std::string::npos ? rest : rest.substr(1, close - 1);
  }
  std::string::size_type last = rest.rfind(':');
  // Two or more colons without brackets: an IPv6 address with no port.
  if (last == std::string::npos || rest.find(':') != last) return rest;
  return rest.substr(0, last);
}

bool AddressList::matches(const std::array<std::uint8_t, 16>& address) const {
  for (const Network& net : networks_) {
    int bits = net.prefix;
    bool same = true;
    for (int i = 0; i < 16 && bits > 0 && same; ++i, bits -= 8) {
      std::uint8_t mask =
          bits >= 8 ? 0xff : static_cast<std::uint8_t>(0xff << (8 - bits));
      same = (address[i] & mask) == (net.bytes[i] & mask);
    }
    if (same) return true;
  }
  return false;
}

bool AddressList::contains(const std::string& peer) const {
  if (peer.compare(0, 10, "giop:unix:") == 0)
    return matches(kV4Loopback) || matches(kV6Loopback);
  std::array<std::uint8_t, 16> bytes;
  bool v4 = false;
  if (!to_bytes(host_of(peer), &bytes, &v4)) return false;
  return matches(bytes);
}
