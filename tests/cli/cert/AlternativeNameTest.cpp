#include "cert/AlternativeName.h"

#include <gtest/gtest.h>

namespace HOQ::cert {
namespace {

using Kind = AlternativeName::Kind;

struct GoodRow {
  const char* text;
  Kind kind;
};

TEST(AlternativeName, TheKindIsSeenFromTheText) {
  constexpr GoodRow kRows[] = {
      {"node", Kind::kDns},       {"node-a.example", Kind::kDns},
      {"NODE_1", Kind::kDns},     {"*.nodes.example", Kind::kDns},
      {"1node", Kind::kDns},      {"192.0.2.1", Kind::kIp},
      {"::1", Kind::kIp},         {"2001:db8::1", Kind::kIp},
      {"hoq://node", Kind::kUri},
  };
  for (const GoodRow& row : kRows) {
    SCOPED_TRACE(row.text);
    const auto name = AlternativeName::parse(row.text);
    ASSERT_TRUE(name) << name.error().text;
    EXPECT_EQ(name->kind, row.kind);
    EXPECT_EQ(name->text, row.text);
  }
}

TEST(AlternativeName, WhatIsNoNameIsRefusedAndNamed) {
  const std::string kBad[] = {"",
                              ".",
                              "a..b",
                              "a.",
                              ".a",
                              "-a",
                              "a-",
                              "a b",
                              "a/b",
                              "../a",
                              "node:7850",
                              "[::1]",
                              "::g",
                              "1.2.3",
                              "1.2.3.4.5",
                              "256.1.1.1",
                              "*",
                              "*.",
                              "*.example",
                              "a.*.example",
                              "uid:1000",
                              "://a",
                              "hoq://",
                              "hoq://a b",
                              "caf\xc3\xa9",
                              std::string("a\0b", 3),
                              std::string(64, 'a'),
                              std::string(63, 'a') + "." + std::string(63, 'a') + "." +
                                  std::string(63, 'a') + "." + std::string(63, 'a')};
  for (const std::string& text : kBad) {
    SCOPED_TRACE(text);
    const auto name = AlternativeName::parse(text);
    ASSERT_FALSE(name);
    EXPECT_EQ(name.error().kind, tls::ErrorKind::kUsage);
    EXPECT_NE(name.error().text.find("is neither a DNS name nor an IP address"), std::string::npos);
  }
}

}  // namespace
}  // namespace HOQ::cert
