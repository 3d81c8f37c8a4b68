// A list of IP networks ("127.0.0.0/8,::1,192.168.1.7") and the test
// whether a peer address that omniORB reports belongs to one of them.
// Pure data: no ORB, no locks; const methods may be called from any
// thread.
#ifndef IR_PLATFORM_ADDRESS_LIST_H
#define IR_PLATFORM_ADDRESS_LIST_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

class AddressList {
 public:
  // Parses "ADDR[/PREFIX],..." (IPv4 or IPv6 addresses, spaces around
  // the commas allowed).  An address without a prefix is that host
  // alone.  Returns "" or why the text is refused; `out` is unchanged
  // then.
  static std::string parse(const std::string& text, AddressList* out);

  // True when `peer` is in one of the networks.  `peer` is an omniORB
  // peer address ("giop:tcp:10.1.2.3:4711", "giop:tcp:[::1]:4711",
  // "giop:ssl:...") or a bare address; an IPv4 address mapped into IPv6
  // (::ffff:a.b.c.d) counts as the IPv4 address.  A Unix socket peer
  // ("giop:unix:...") is on this machine: it matches when the list holds
  // a loopback address.  Anything that is not an address matches nothing.
  bool contains(const std::string& peer) const;

  bool empty() const { return networks_.empty(); }

  // The address part of an omniORB peer address ("giop:tcp:1.2.3.4:5"
  // gives "1.2.3.4", "giop:tcp:[::1]:5" gives "::1"); the text itself
  // when it is not of that form.
  static std::string host_of(const std::string& peer);

 private:
  struct Network {
    std::array<std::uint8_t, 16> bytes{};  // IPv4 as ::ffff:a.b.c.d
    int prefix = 128;                      // bits of `bytes` that count
  };
  static bool to_bytes(const std::string& address,
                       std::array<std::uint8_t, 16>* bytes, bool* v4);
  bool matches(const std::array<std::uint8_t, 16>& address) const;

  std::vector<Network> networks_;
};

#endif
