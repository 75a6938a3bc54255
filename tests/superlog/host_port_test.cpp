#include <gtest/gtest.h>

#include <cstring>

#include "superlog/superlog_state.h"

namespace {

// A port is cut from IPv4 addresses and names; IPv6 addresses stay whole,
// and only their bracketed form loses the brackets and any port.
TEST(TrimPort, CutsPortsButKeepsIpv6Addresses) {
  const std::pair<const char*, const char*> cases[] = {
      {"1.2.3.4:8080", "1.2.3.4"},
      {"proxy:", "proxy"},
      {"2001:41d0:8:f69::1", "2001:41d0:8:f69::1"},
      {"::1", "::1"},
      {"::ffff:192.0.2.1", "::ffff:192.0.2.1"},
      {"[2001:db8::7]", "2001:db8::7"},
      {"[::1]:8080", "::1"},
      {"[::1]x", "[::1]x"},
      {"[1.2.3.4]:80", "[1.2.3.4]"},
      {"", ""},
  };
  for (const auto& [host, expected] : cases) {
    char buf[64];
    strcpy(buf, host);
    TrimPort(buf);
    EXPECT_STREQ(buf, expected) << host;
  }
  TrimPort(nullptr);
}

}  // namespace
