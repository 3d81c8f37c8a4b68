// The CORBA addresses that irserver's call gateway may call: the value of
// --http-invoke, "HOST:PORT,...".  HOST is a name, an IPv4 address or an
// IPv6 address in brackets; PORT is a number or "*" (any port of that
// host).  Names and addresses are compared as text (case ignored), and
// once resolve() has run a name also allows the addresses it resolved to,
// so that a connection to "localhost" that the ORB reports as 127.0.0.1
// is recognised.
//
// Pure data once built: const methods may be called from any thread.
#ifndef IR_SERVER_HTTP_CALL_ALLOW_LIST_H
#define IR_SERVER_HTTP_CALL_ALLOW_LIST_H

#include <string>
#include <vector>

class CallAllowList {
 public:
  // Parses "HOST:PORT,..." (spaces around the commas allowed).  Returns ""
  // or why the text is refused; `out` is unchanged then.
  static std::string parse(const std::string& text, CallAllowList* out);

  // Adds the addresses that every named host resolves to now (DNS or
  // /etc/hosts).  Names that do not resolve keep matching as text.
  void resolve();

  // True when `host` (a name or address, IPv6 with or without brackets)
  // and `port` are on the list.
  bool allows(const std::string& host, unsigned port) const;

  // True when an omniORB address ("giop:tcp:HOST:PORT", "giop:ssl:...")
  // is on the list; other transports (giop:unix:) never are.
  bool allows_address(const std::string& address) const;

  bool empty() const { return entries_.empty(); }
  // The list as given, normalised: "127.0.0.1:2809, [::1]:*".
  std::string text() const;

 private:
  struct Entry {
    std::string host;                    // lower case, without brackets
    unsigned port = 0;                   // 0: any port
    std::vector<std::string> addresses;  // what `host` resolved to
  };
  std::vector<Entry> entries_;
};

// Splits "HOST:PORT" or "[V6]:PORT" into the host (without brackets) and
// the port text.  Returns false when there is no port part.
bool split_host_port(const std::string& text, std::string* host,
                     std::string* port);

#endif
