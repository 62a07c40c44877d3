#include "tls/Address.h"

#include <gtest/gtest.h>

#include <string>

namespace HOQ::tls {
namespace {

struct GoodRow {
  const char* typed;
  const char* host;
  int port;
  const char* text;
};

constexpr GoodRow kGood[] = {
    {"node", "node", 7850, "node:7850"},
    {"node:1", "node", 1, "node:1"},
    {"node:0", "node", 0, "node:0"},
    {"node.example:65535", "node.example", 65535, "node.example:65535"},
    {"10.0.0.1:80", "10.0.0.1", 80, "10.0.0.1:80"},
    {"10.0.0.1", "10.0.0.1", 7850, "10.0.0.1:7850"},
    {"[::1]:22", "::1", 22, "[::1]:22"},
    {"[::1]", "::1", 7850, "[::1]:7850"},
    {"[fe80::1%eth0]:9", "fe80::1%eth0", 9, "[fe80::1%eth0]:9"},
};

TEST(Address, HostsAndPortsAreTakenApartAndPutTogether) {
  for (const GoodRow& row : kGood) {
    SCOPED_TRACE(row.typed);
    const auto address = Address::parse(row.typed);
    ASSERT_TRUE(address) << address.error().text;
    EXPECT_FALSE(address->isUnix());
    EXPECT_EQ(address->host(), row.host);
    EXPECT_EQ(address->port(), row.port);
    EXPECT_EQ(address->text(), row.text);
    EXPECT_EQ(*Address::parse(address->text()), *address);
  }
}

TEST(Address, UnixPathsAreTakenAsTheyAre) {
  for (const std::string path : {"/run/hoq/hoqd.sock", "/a b:c", "/"}) {
    SCOPED_TRACE(path);
    const auto address = Address::parse("unix:" + path);
    ASSERT_TRUE(address);
    EXPECT_TRUE(address->isUnix());
    EXPECT_EQ(address->path(), path);
    EXPECT_EQ(address->text(), "unix:" + path);
  }
}

struct BadRow {
  std::string typed;
  const char* why;
};

TEST(Address, WhatIsNoAddressIsRefusedWithTheReason) {
  const BadRow kBad[] = {
      {"", "the host is missing"},
      {":7850", "the host is missing"},
      {"node:", "a port is a number up to 65535"},
      {"node:65536", "a port is a number up to 65535"},
      {"node:-1", "a port is a number up to 65535"},
      {"node:+1", "a port is a number up to 65535"},
      {"node:1x", "a port is a number up to 65535"},
      {"node:http", "a port is a number up to 65535"},
      {"::1", "an IPv6 address stands in brackets: [::1]:7850"},
      {"a:b:c", "an IPv6 address stands in brackets: [::1]:7850"},
      {"[::1", "\"]\" is missing"},
      {"[::1]7850", "\":\" and a port may follow \"]\""},
      {"[node]:1", "brackets are for an IPv6 address"},
      {"[]:1", "brackets are for an IPv6 address"},
      {"a/b", "that is no host name"},
      {"user@node", "that is no host name"},
      {"no de", "it has a blank or a control character"},
      {"node\n:1", "it has a blank or a control character"},
      {std::string("no\0de", 5), "it has a blank or a control character"},
      {std::string(254, 'a'), "the host name is too long"},
      {"unix:", "unix: takes an absolute path"},
      {"unix:run/hoq.sock", "unix: takes an absolute path"},
      {"unix:/" + std::string(107, 'a'), "the path of a UNIX socket has at most 107 bytes"},
      {std::string("unix:/a\0b", 9), "a path has no zero byte"},
  };
  for (const BadRow& row : kBad) {
    SCOPED_TRACE(row.typed);
    const auto address = Address::parse(row.typed);
    ASSERT_FALSE(address);
    EXPECT_EQ(address.error().kind, ErrorKind::kUsage);
    EXPECT_NE(address.error().text.find(row.why), std::string::npos) << address.error().text;
    EXPECT_EQ(address.error().text.find('\n'), std::string::npos);
  }
}

}  // namespace
}  // namespace HOQ::tls
