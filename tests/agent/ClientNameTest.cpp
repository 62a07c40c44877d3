#include "config/ClientName.h"

#include <gtest/gtest.h>

namespace HOQ::agent {
namespace {

TEST(ClientNameTest, AUserIsNamedByItsNumberAndByNothingElse) {
  const struct {
    const char* name;
    std::optional<uid_t> uid;
  } cases[] = {
      {"uid:0", 0},
      {"uid:1000", 1000},
      {"uid:4294967294", 4294967294u},
      {"uid:4294967295", std::nullopt},
      {"uid:4294967296", std::nullopt},
      {"uid:", std::nullopt},
      {"uid:-1", std::nullopt},
      {"uid:+1", std::nullopt},
      {"uid: 1", std::nullopt},
      {"uid:1 ", std::nullopt},
      {"uid:007", std::nullopt},
      {"uid:0x1", std::nullopt},
      {"uid:root", std::nullopt},
      {"UID:1", std::nullopt},
      {"1000", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& each : cases) EXPECT_EQ(uidOfName(each.name), each.uid) << each.name;
}

TEST(ClientNameTest, WhatLooksLikeAUserMustNameOne) {
  EXPECT_EQ(badClientName("admin"), "");
  EXPECT_EQ(badClientName("uid:5"), "");
  EXPECT_NE(badClientName("uid:admin"), "");
  EXPECT_NE(badClientName(std::string(2000, 'a')), "");
}

}  // namespace
}  // namespace HOQ::agent
