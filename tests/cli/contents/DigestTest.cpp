#include "contents/Digest.h"

#include <gtest/gtest.h>

namespace HOQ::cli {
namespace {

TEST(Digest, IsSha256OfWhatWasAdded) {
  const struct {
    const char* bytes;
    const char* hex;
  } cases[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
  };
  for (const auto& row : cases) {
    Digest whole, single;
    const std::string bytes(row.bytes);
    whole.add(bytes.data(), bytes.size());
    for (const char byte : bytes) single.add(&byte, 1);
    EXPECT_EQ(whole.hex(64), row.hex);
    EXPECT_EQ(single.hex(64), row.hex);
    EXPECT_EQ(whole.hex(16), std::string(row.hex).substr(0, 16));
    EXPECT_EQ(whole.value().size(), 32U);
  }
}

TEST(Digest, GoesOnBehindItsValue) {
  Digest digest;
  digest.add("ab", 2);
  (void)digest.value();
  digest.add("c", 1);
  EXPECT_EQ(digest.hex(8), "ba7816bf");
}

TEST(Digest, ItsCopyGoesOnByItself) {
  Digest digest;
  digest.add("ab", 2);
  Digest copy(digest);
  copy.add("c", 1);
  digest.add("x", 1);
  EXPECT_EQ(copy.hex(8), "ba7816bf");
  EXPECT_NE(digest.hex(8), "ba7816bf");
}

}  // namespace
}  // namespace HOQ::cli
