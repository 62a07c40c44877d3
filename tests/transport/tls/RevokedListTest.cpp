#include "tls/RevokedList.h"

#include <gtest/gtest.h>

namespace HOQ::tls {
namespace {

const std::string kOne(64, 'a');
const std::string kTwo = "00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff";

TEST(RevokedList, EveryFormOfAFingerprintMeansTheSame) {
  const std::string colons =
      "00:11:22:33:44:55:66:77:88:99:AA:BB:CC:DD:EE:FF:00:11:22:33:44:55:66:77:88:99:AA:BB:CC:DD:"
      "EE:FF";
  for (const std::string& line : {kTwo, colons, "  " + kTwo + "  # left the company", colons + "\r",
                                  "sha256 Fingerprint=" + colons}) {
    SCOPED_TRACE(line);
    const auto list = parseRevokedList("revoked.txt", "# head\n\n" + line + "\n");
    ASSERT_TRUE(list) << list.error().text;
    EXPECT_EQ(*list, RevokedList{kTwo});
  }
}

TEST(RevokedList, LinesAreReadToTheEndOfTheText) {
  EXPECT_EQ(*parseRevokedList("f", kOne + "\n" + kTwo), (RevokedList{kOne, kTwo}));
  EXPECT_EQ(*parseRevokedList("f", ""), RevokedList{});
  EXPECT_EQ(*parseRevokedList("f", "\n # nothing\n\t\n"), RevokedList{});
}

TEST(RevokedList, ALineThatIsNoFingerprintIsNamedAndNothingIsTaken) {
  for (const std::string& line : {std::string("abc"), kOne + "0", kOne.substr(1), kOne + " " + kTwo,
                                  std::string(63, 'a') + "g", std::string("=")}) {
    SCOPED_TRACE(line);
    const auto list = parseRevokedList("revoked.txt", kOne + "\n" + line + "\n");
    ASSERT_FALSE(list);
    EXPECT_EQ(list.error().text, "revoked.txt: line 2 is no SHA-256 fingerprint (64 hex digits)");
  }
}

}  // namespace
}  // namespace HOQ::tls
