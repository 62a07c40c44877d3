// The step machine over a file of more than 4 GiB, which is one hole.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "filemanager/updownload/EngineFake.h"
#include "support/CollectingHandler.h"
#include "support/TempDir.h"

namespace HOQ::test {
namespace {

constexpr std::uint64_t kSize = (std::uint64_t{1} << 32) + 100;

/// Moves over a sparse file, whose size it learns, without reading its holes.
class HoleTransfer : public HOQFileUpDownload<HOQFiler::DownloadList> {
 public:
  HoleTransfer(const HOQFiler::DownloadList& list, HOQRequestHandlerPtr receiver)
      : HOQFileUpDownload("download", &list, 0, 0, receiver, true) {}

  int openFile() override {
    descriptor_ = ::open((*current)->path.c_str(), O_RDONLY | O_CLOEXEC);
    (*current)->size = static_cast<std::uint64_t>(lseek(descriptor_, 0, SEEK_END));
    return descriptor_ < 0 ? -1 : 0;
  }
  int processFile() override {
    const std::uint64_t piece = std::min<std::uint64_t>(remaining, INT_MAX);
    const auto end = static_cast<off_t>(fileSize - remaining + piece);
    return lseek(descriptor_, end, SEEK_SET) == end ? static_cast<int>(piece) : -1;
  }
  int closeFile() override { return ::close(descriptor_); }

 private:
  int descriptor_ = -1;
};

TEST(LargeFile, TheBytesOfTheCurrentFileAloneAreCountedIn32Bits) {
  const TempDir dir;
  const std::string path = dir / "sparse";
  const int made = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(made, 0);
  const int cut = ftruncate(made, static_cast<off_t>(kSize));
  ASSERT_EQ(close(made), 0);
  if (cut != 0) GTEST_SKIP() << "the file system has no files above 4 GiB";

  const HOQFiler::DownloadList list = {boost::make_shared<HOQFileDownloadData>(path, 0, 0)};
  const CollectingHandlerPtr handler(new CollectingHandler);
  EXPECT_EQ(HoleTransfer(list, handler).operateFiles(), 0);
  std::vector<std::string> lines;
  for (const auto& record : handler->progressRecords) lines.push_back(asLine(record));
  const std::vector<std::string> expected = {
      "starting 0: total 0 0/4294967396, file 1/1: 0 0/0",
      path + " 49: total 49 2147483647/4294967396, file 1/1: 49 2147483647/4294967396",
      path + " 99: total 99 4294967294/4294967396, file 1/1: 99 4294967294/4294967396",
      path + " 100: total 100 4294967396/4294967396, file 1/1: 100 100/4294967396"};
  EXPECT_EQ(lines, expected);
  EXPECT_EQ(list[0]->offset, static_cast<std::int64_t>(kSize));
}

}  // namespace
}  // namespace HOQ::test
