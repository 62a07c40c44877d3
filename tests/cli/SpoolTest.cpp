#include "listing/Spool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "listing/Frames.h"

namespace HOQ::cli {
namespace {

std::string keyOf(int number) { return "key" + std::to_string(number); }

std::string valueOf(int number) {
  return std::string(static_cast<std::size_t>(number * 37 % 500), 'v') + std::to_string(number);
}

/// Fills a spool and reads it again, from several places on.
void expectWhole(Spool& spool) {
  constexpr int kPairs = 300;
  std::vector<std::uint64_t> places;
  for (int i = 0; i < kPairs; ++i) {
    places.push_back(spool.size());
    spool.append(keyOf(i), valueOf(i));
  }
  const auto read = [&spool](std::uint64_t offset, std::size_t length, std::string& out) {
    spool.read(offset, length, out);
  };
  for (const std::size_t atOnce : {std::size_t{1}, std::size_t{100}, std::size_t{1} << 20})
    for (const int first : {0, 1, 150, kPairs - 1}) {
      Frames frames(read, places[static_cast<std::size_t>(first)], spool.size(), atOnce);
      std::string_view key;
      std::string_view value;
      for (int i = first; i < kPairs; ++i) {
        ASSERT_TRUE(frames.next(key, value)) << i;
        ASSERT_EQ(key, keyOf(i));
        ASSERT_EQ(value, valueOf(i));
      }
      EXPECT_FALSE(frames.next(key, value));
    }
}

TEST(Spool, GivesBackWhatItWasGivenWhereverItIs) {
  for (const std::size_t bytes : {std::size_t{0}, std::size_t{1000}, Spool::kMemoryBytes}) {
    Spool spool(bytes);
    expectWhole(spool);
  }
}

TEST(Spool, KeepsAllInMemoryWhereThereCanBeNoFile) {
  const char* const before = std::getenv("TMPDIR");
  const std::optional<std::string> kept =
      before != nullptr ? std::optional<std::string>(before) : std::nullopt;
  ASSERT_EQ(::setenv("TMPDIR", "/dev/null/nothing", 1), 0);
  Spool spool(1000);
  expectWhole(spool);
  if (kept)
    ::setenv("TMPDIR", kept->c_str(), 1);
  else
    ::unsetenv("TMPDIR");
}

}  // namespace
}  // namespace HOQ::cli
