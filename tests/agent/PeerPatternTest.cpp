#include "config/PeerPattern.h"

#include <gtest/gtest.h>

namespace HOQ::agent {
namespace {

bool fits(const char* address, const char* pattern) {
  const auto parsed = tls::Address::parse(address);
  return parsed && fitsPeerPattern(*parsed, pattern);
}

TEST(PeerPatternTest, APatternFitsWhatItSays) {
  const struct {
    const char* address;
    const char* pattern;
    bool fits;
  } rows[] = {
      {"10.0.0.7:7850", "10.0.0.*:7850", true},
      {"10.0.0.7", "10.0.0.*:7850", true},
      {"10.0.0.7:7850", "10.0.0.*", true},
      {"10.0.0.7:7851", "10.0.0.*", false},
      {"10.0.0.7:1", "10.0.0.*:*", true},
      {"10.0.1.7", "10.0.0.*", false},
      {"10.0.0.evil.example", "10.0.0.*", false},
      {"10.0.0.evil.example:7850", "10.*:7850", false},
      {"anything:1", "*:*", true},
      {"10.0.0.7:7850", "*:7850", true},
      {"anything:1", "*", false},
      {"files.example.org", "*.example.org", true},
      {"FILES.Example.org", "*.example.ORG", true},
      {"example.org", "*.example.org", false},
      {"files.example.org.evil", "*.example.org", false},
      {"a.b.c.d.e", "a*c*e", true},
      {"a.b.c.d.f", "a*c*e", false},
      {"[fd00::1]:7850", "[fd00::*]", true},
      {"[fd01::1]:7850", "[fd00::*]", false},
      {"host:7850", "[*]", false},
      {"unix:/run/x", "*:*", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(fits(row.address, row.pattern), row.fits) << row.address << " " << row.pattern;
    EXPECT_EQ(badPeerPattern(row.pattern), "") << row.pattern;
  }
}

TEST(PeerPatternTest, WhatIsNoPatternIsRefused) {
  for (const char* pattern : {":7850", "a:", "a:b", "a:123456", "[fd00::1", "[]:1", "[fd00::*]x",
                              "fd00::*", "a b", "unix:/x", "a:7*"}) {
    EXPECT_NE(badPeerPattern(pattern), "") << pattern;
  }
}

}  // namespace
}  // namespace HOQ::agent
