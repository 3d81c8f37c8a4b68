// The writers list: parsing of ADDR[/PREFIX] lists and matching of the
// peer addresses omniORB reports.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "platform/address_list.h"
#include "platform/request_log.h"

namespace {

TEST(AddressList, RefusesWhatIsNotAnAddressList) {
  const struct {
    const char* text;
    const char* why;  // part of the reason
  } cases[] = {
      {"", "empty address"},
      {"10.0.0.0/8,,::1", "empty address"},
      {"localhost", "'localhost' is not an IPv4 or IPv6 address"},
      {"10.0.0/8", "not an IPv4"},
      {"10.0.0.0/33", "bad prefix length '33'"},
      {"::1/129", "bad prefix length '129'"},
      {"10.0.0.0/", "bad prefix length ''"},
      {"10.0.0.0/8x", "bad prefix length '8x'"},
      {"10.0.0.0/-1", "bad prefix length '-1'"},
  };
  for (const auto& c : cases) {
    AddressList list;
    std::string error = AddressList::parse(c.text, &list);
    EXPECT_NE(error.find(c.why), std::string::npos)
        << "[" << c.text << "] gave [" << error << "]";
  }
}

TEST(AddressList, MatchesPeersByNetwork) {
  const struct {
    const char* list;
    const char* peer;
    bool in;
  } cases[] = {
      {"127.0.0.0/8,::1", "giop:tcp:127.0.0.1:40112", true},
      {"127.0.0.0/8,::1", "giop:tcp:127.3.4.5:1", true},
      {"127.0.0.0/8,::1", "giop:tcp:[::1]:40112", true},
      {"127.0.0.0/8,::1", "giop:tcp:[::ffff:127.0.0.1]:9", true},
      {"127.0.0.0/8,::1", "giop:tcp:10.0.0.1:40112", false},
      {"127.0.0.0/8,::1", "giop:tcp:[::2]:40112", false},
      {"127.0.0.0/8,::1", "giop:unix:/tmp/omni-x/0001", true},
      {"10.0.0.0/8", "giop:unix:/tmp/omni-x/0001", false},
      {"10.0.0.0/8", "giop:tcp:127.0.0.1:40112", false},
      {"10.0.0.0/8", "giop:tcp:10.255.1.2:1", true},
      {"10.0.0.0/8", "giop:tcp:11.0.0.1:1", false},
      {"192.168.1.7", "giop:tcp:192.168.1.7:2", true},
      {"192.168.1.7", "giop:tcp:192.168.1.8:2", false},
      {"192.168.1.0/25", "giop:ssl:192.168.1.127:3", true},
      {"192.168.1.0/25", "giop:ssl:192.168.1.128:3", false},
      {" 10.1.0.0/16 , fd00::/8 ", "giop:tcp:[fd12::1]:5", true},
      {" 10.1.0.0/16 , fd00::/8 ", "giop:tcp:[fe80::1]:5", false},
      {"0.0.0.0/0", "giop:tcp:8.8.8.8:1", true},
      {"0.0.0.0/0", "giop:tcp:[2001:db8::1]:1", false},
      {"::/0", "giop:tcp:[2001:db8::1]:1", true},
      {"::/0", "giop:tcp:1.2.3.4:1", true},
      {"[::1]", "::1", true},
      {"127.0.0.1", "", false},
      {"127.0.0.1", "giop:tcp:not-an-address:1", false},
  };
  for (const auto& c : cases) {
    AddressList list;
    ASSERT_EQ(AddressList::parse(c.list, &list), "") << c.list;
    EXPECT_EQ(list.contains(c.peer), c.in) << c.list << " / " << c.peer;
  }
}

TEST(AddressList, HostOfPeerAddresses) {
  EXPECT_EQ(AddressList::host_of("giop:tcp:10.1.2.3:4711"), "10.1.2.3");
  EXPECT_EQ(AddressList::host_of("giop:tcp:[::1]:4711"), "::1");
  EXPECT_EQ(AddressList::host_of("giop:tcp:fe80::1"), "fe80::1");
  EXPECT_EQ(AddressList::host_of("10.1.2.3"), "10.1.2.3");
}

TEST(RequestLog, OneLineOfFieldsWithoutSpacesInside) {
  using namespace std::chrono;
  system_clock::time_point when =
      system_clock::from_time_t(1767348672) + milliseconds(345);
  EXPECT_EQ(
      KALDRequestLogLine(when, "giop:tcp:127.0.0.1:40112", "create_module",
                         "IDL:M:1.0", microseconds(412), "ok"),
      "request 2026-01-02T10:11:12.345Z client=127.0.0.1:40112 "
      "op=create_module target=IDL:M:1.0 ms=0.412 outcome=ok");
  // Spaces, line breaks and '%' in a field are escaped; empty fields are
  // "-".
  EXPECT_EQ(KALDRequestLogLine(when, "", "", "IDL:a b%\n:1.0", milliseconds(12),
                               "NO_PERMISSION/0x51520057"),
            "request 2026-01-02T10:11:12.345Z client=- op=- "
            "target=IDL:a%20b%25%0A:1.0 ms=12.000 "
            "outcome=NO_PERMISSION/0x51520057");
}

}  // namespace
