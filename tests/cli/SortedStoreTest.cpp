#include "listing/SortedStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace HOQ::cli {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs drained(SortedStore& store) {
  Pairs all;
  store.drain([&all](std::string_view key, std::string_view value) {
    all.emplace_back(std::string(key), std::string(value));
  });
  return all;
}

/// Keys in an order of no meaning, some of them twice, with values of many lengths.
Pairs sample(std::size_t count) {
  Pairs all;
  for (std::size_t i = 0; i < count; ++i) {
    std::string key = "name" + std::to_string(i * 7919 % count);
    if (i % 5 == 0) key = "same";
    if (i % 11 == 0) key += "\xff\x01 odd";
    all.emplace_back(std::move(key), std::string(i * 31 % 300, 'v') + std::to_string(i));
  }
  all.emplace_back("", "no key");
  all.emplace_back("large", std::string(200'000, 'x'));
  return all;
}

Pairs sorted(Pairs all) {
  std::stable_sort(all.begin(), all.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  return all;
}

TEST(SortedStore, GivesBackEverythingInOrderWhateverFitsIntoMemory) {
  const Pairs all = sample(3000);
  for (const std::size_t bytes :
       {std::size_t{0}, std::size_t{1000}, std::size_t{50'000}, SortedStore::kMemoryBytes}) {
    SortedStore store(bytes);
    for (const auto& [key, value] : all) store.add(key, value);
    EXPECT_EQ(store.parts() > 0, bytes < SortedStore::kMemoryBytes) << bytes;
    EXPECT_EQ(drained(store), sorted(all)) << bytes;
    EXPECT_EQ(drained(store), Pairs()) << "it is empty now";
  }
}

TEST(SortedStore, ForgetsWhatItIsToldToForget) {
  SortedStore store(100);
  for (const auto& [key, value] : sample(50)) store.add(key, value);
  store.clear();
  store.add("b", "1");
  store.add("a", "2");
  EXPECT_EQ(drained(store), (Pairs{{"a", "2"}, {"b", "1"}}));
}

TEST(SortedStore, KeepsAllInMemoryWhereThereCanBeNoFile) {
  const char* const before = std::getenv("TMPDIR");
  const std::optional<std::string> kept =
      before != nullptr ? std::optional<std::string>(before) : std::nullopt;
  ASSERT_EQ(::setenv("TMPDIR", "/dev/null/nothing", 1), 0);
  const Pairs all = sample(500);
  SortedStore store(1000);
  for (const auto& [key, value] : all) store.add(key, value);
  if (kept)
    ::setenv("TMPDIR", kept->c_str(), 1);
  else
    ::unsetenv("TMPDIR");
  EXPECT_EQ(store.parts(), 0U);
  EXPECT_EQ(drained(store), sorted(all));
}

}  // namespace
}  // namespace HOQ::cli
