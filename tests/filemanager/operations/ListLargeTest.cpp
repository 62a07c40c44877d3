// Listing trees as deep as a path can name, and directories of very many entries.
#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <string>

#include "filemanager/operations/OperationsFixture.h"
#include "support/Isolation.h"

namespace HOQ::test {
namespace {

class ListLarge : public OperationsFixture {
 protected:
  /// Without the placeholders.
  static Records entries(const Outcome& outcome) {
    return Records(outcome.records.begin() + 2, outcome.records.end());
  }
};

/// The number of directories in each other, below the record of the first "d".
int depthOf(const Records& records, std::uint64_t& size) {
  int depth = 0;
  const Records* level = &records;
  size = recordOf(records, "d").size;
  while (true) {
    const HOQFileType* next = nullptr;
    for (const auto& record : *level)
      if (record->name == "d") next = record.get();
    if (next == nullptr) return depth;
    ++depth;
    level = &next->children;
  }
}

TEST_F(ListLarge, DeepTreesAreListedAndSummedWhole) {
  constexpr int kLevels = 400;  // far beyond what the depth's type can count
  trees::deepChain(dir.path(), kLevels);
  std::uint64_t size = 0;
  const Outcome tree = list({"."}, kRecursive);
  EXPECT_EQ(depthOf(entries(tree), size), kLevels);
  EXPECT_EQ(size, 0U);
  const Outcome summed = list({"."}, kRecursive | kSums);
  EXPECT_EQ(depthOf(entries(summed), size), kLevels);
  EXPECT_EQ(size, static_cast<std::uint64_t>(kLevels));
  const HOQFileType* level = &recordOf(summed.records, "d");
  for (int i = 1; i < kLevels; ++i) {
    EXPECT_EQ(level->size, static_cast<std::uint64_t>(kLevels - i + 1));
    level = &recordOf(level->children, "d");
  }
  const Outcome flat = list({"."}, kSums);
  EXPECT_EQ(depthOf(entries(flat), size), 1);
  EXPECT_EQ(size, static_cast<std::uint64_t>(kLevels));
}

TEST_F(ListLarge, AfterADeepDirectoryItsNeighboursStandWhereTheyBelong) {
  trees::deepChain(dir.path(), 200);
  trees::make(dir.path(), "a=1 z=1 b/c=22 y/c=22 d/d/after/x=333");
  const Outcome outcome = list({"."}, kRecursive | kSums);
  EXPECT_EQ(recordOf(recordOf(outcome.records, "b").children, "c").size, 2U);
  EXPECT_EQ(recordOf(recordOf(outcome.records, "y").children, "c").size, 2U);
  const HOQFileType& inner = recordOf(recordOf(outcome.records, "d").children, "d");
  EXPECT_EQ(recordOf(inner.children, "after").size, 3U);
  EXPECT_EQ(recordOf(outcome.records, "d").size, 203U);
  EXPECT_EQ(recordOf(list({"."}, kSums).records, "y").size, 2U);
}

TEST_F(ListLarge, AChainOf2000LevelsTakesLittleStack) {
  constexpr int kLevels = 2000;
  const TempDir deep(TempDir::kMemory);
  if (deep.path().size() + 2 * kLevels + 4 >= PATH_MAX)
    GTEST_SKIP() << "the place for temporary files has too long a name: " << deep.path();
  trees::deepChain(deep.path(), kLevels);
  const DescriptorLimit limit(1024);
  Records records;
  int code = -1;
  Texts messages;
  inThreadWithStack(stackFor(1024 * 1024), [&] {
    const Rights threads(true, true);
    ScriptedFiler filer(deep.path());
    code = filer.list({"."}, &records, HOQFilerOptions(kRecursive | kSums), nullptr, kAllFields);
    messages = filer.handler->messages();
  });
  EXPECT_EQ(code, 0);
  EXPECT_EQ(messages, Texts{});
  std::uint64_t size = 0;
  EXPECT_EQ(depthOf(Records(records.begin() + 2, records.end()), size), kLevels);
  EXPECT_EQ(size, static_cast<std::uint64_t>(kLevels));
}

TEST_F(ListLarge, ADirectoryOf100000EntriesIsListedWhole) {
  constexpr int kEntries = 100'000;
  const TempDir big(TempDir::kMemory);
  trees::make(big.path(), "d/");
  const int at = open((big / "d").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(at, 0);
  for (int i = 0; i < kEntries; ++i) {
    const int fd = openat(at, std::to_string(i).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0);
    if (i % 1000 == 0) {
      ASSERT_EQ(write(fd, "x", 1), 1);
    }
    close(fd);
  }
  close(at);
  ScriptedFiler filer(big.path());
  Records records;
  EXPECT_EQ(filer.list({"d"}, &records, HOQFilerOptions(0), nullptr, 0x5FF), 0);
  ASSERT_EQ(records.size(), kEntries + 4U);
  std::uint64_t size = 0;
  for (const auto& record : records) size += record->size;
  EXPECT_EQ(size, kEntries / 1000U);
  Records summed;
  EXPECT_EQ(filer.list({"."}, &summed, HOQFilerOptions(kSums), nullptr, 0x40), 0);
  EXPECT_EQ(recordOf(summed, "d").size, kEntries / 1000U);
}

}  // namespace
}  // namespace HOQ::test
