// The call gateway's allow-list: which addresses of an IOR or of a
// connection it lets through.
#include <gtest/gtest.h>

#include "http/call_allow_list.h"

namespace {

TEST(CallAllowList, MatchesHostAndPortExactlyOrAnyPortWithStar) {
  CallAllowList list;
  ASSERT_EQ(
      CallAllowList::parse("Names.Example:2809, [::1]:*, 10.0.0.7:900", &list),
      "");
  const struct {
    const char* host;
    unsigned port;
    bool allowed;
  } cases[] = {
      {"names.example", 2809, true},
      {"NAMES.example", 2809, true},
      {"names.example", 2810, false},
      {"names.example.evil", 2809, false},
      {"::1", 1, true},
      {"[::1]", 65535, true},
      {"0:0:0:0:0:0:0:1", 7, true},
      {"10.0.0.7", 900, true},
      {"::ffff:10.0.0.7", 900, true},
      {"10.0.0.7", 901, false},
      {"10.0.0.70", 900, false},
      {"", 900, false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(list.allows(c.host, c.port), c.allowed)
        << c.host << ":" << c.port;
}

TEST(CallAllowList, ReadsOmniOrbAddressesAndRefusesOtherTransports) {
  CallAllowList list;
  ASSERT_EQ(CallAllowList::parse("127.0.0.1:5000,[::1]:6000", &list), "");
  EXPECT_TRUE(list.allows_address("giop:tcp:127.0.0.1:5000"));
  EXPECT_TRUE(list.allows_address("giop:ssl:127.0.0.1:5000"));
  EXPECT_TRUE(list.allows_address("giop:tcp:[::1]:6000"));
  EXPECT_FALSE(list.allows_address("giop:tcp:127.0.0.1:5001"));
  EXPECT_FALSE(list.allows_address("giop:unix:/tmp/sock"));
  EXPECT_FALSE(list.allows_address("giop:tcp:127.0.0.1:"));
  EXPECT_FALSE(list.allows_address("127.0.0.1:5000"));
}

TEST(CallAllowList, ResolvedNamesAllowTheirAddresses) {
  CallAllowList list;
  ASSERT_EQ(CallAllowList::parse("localhost:2809", &list), "");
  EXPECT_FALSE(list.allows("127.0.0.1", 2809));
  list.resolve();
  EXPECT_TRUE(list.allows("127.0.0.1", 2809));
  EXPECT_FALSE(list.allows("127.0.0.1", 2810));
}

TEST(CallAllowList, RefusesWhatIsNotAList) {
  CallAllowList list;
  for (const char* bad : {"", "host", "host:", ":80", "h:65536", "h:-1",
                          "[::1:80", "[nothost]:1", "a/b:1", "h:1,"}) {
    EXPECT_NE(CallAllowList::parse(bad, &list), "") << bad;
  }
  EXPECT_TRUE(list.empty());
}

}  // namespace
