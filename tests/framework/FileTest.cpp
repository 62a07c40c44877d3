#include <fcntl.h>
#include <gtest/gtest.h>
#include <hoq/HOQFile.h>
#include <hoq/HOQFileDownloadData.h>
#include <hoq/HOQFileUploadData.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <string>
#include <type_traits>

#include "support/Trees.h"

namespace HOQ {
namespace {

using test::TempDir;
namespace trees = test::trees;

constexpr int kOverwrite = HOQFilerOptions::kOverwrite;
constexpr int kFollow = HOQFilerOptions::kFollowLinks;

static_assert(!std::is_copy_constructible_v<HOQFile>);

// Opens, writes "ab" and closes; errno's number or 0.
int writeAt(const std::string& path, std::int64_t offset, int options) {
  const HOQSecurityAttributes attributes(0644);
  HOQFile file;
  errno = 0;
  if (file.openWrite(path, offset, HOQFilerOptions(options), &attributes) != 0) {
    EXPECT_FALSE(file.isOpened());
    return errno;
  }
  EXPECT_TRUE(file.isOpened());
  EXPECT_EQ(file.write("ab", 2), 2);
  EXPECT_EQ(file.close(), 0);
  EXPECT_FALSE(file.isOpened());
  return 0;
}

struct OpenCase {
  const char* name;
  const char* before;  // the tree; the item "t" is opened
  std::int64_t offset;
  int options;
  int error;
  const char* after;
};

const OpenCase kCases[] = {
    {"A missing file is made", "", 0, 0, 0, "t=ab"},
    {"A missing file is made below 0", "", -1, 0, 0, "t=ab"},
    {"A missing file is made to be overwritten", "", INT64_MIN, kOverwrite, 0, "t=ab"},
    {"A missing file is made with a hole", "", 2, 0, 0, "t=\\x00\\x00ab"},
    {"A file is refused", "t=old", 0, 0, EEXIST, "t=old"},
    {"A file is refused below 0", "t=old", -5, 0, EEXIST, "t=old"},
    {"A file is refused through links", "t=old", 0, kFollow, EEXIST, "t=old"},
    {"A file is emptied", "t=older", 0, kOverwrite, 0, "t=ab"},
    {"A file is emptied below 0", "t=older", -1, kOverwrite, 0, "t=ab"},
    {"A file is written in its middle", "t=older", 1, 0, 0, "t=oaber"},
    {"A file is not cut to be overwritten in part", "t=older", 1, kOverwrite, 0, "t=oaber"},
    {"A file grows", "t=older", 5, 0, 0, "t=olderab"},
    {"A file grows by a hole", "t=o", 2, 0, 0, "t=o\\x00ab"},
    {"A directory", "t/", 0, 0, EISDIR, "t/"},
    {"A directory to be overwritten", "t/", 0, kOverwrite | kFollow, EISDIR, "t/"},
    {"A directory in its middle", "t/", 7, 0, EISDIR, "t/"},
    {"A FIFO", "t|", 0, 0, ENXIO, "t|"},
    {"A FIFO to be overwritten", "t|", 0, kOverwrite, ENXIO, "t|"},
    {"A FIFO in its middle", "t|", 7, kFollow, ENXIO, "t|"},
    {"A socket", "t~", 0, kOverwrite, ENXIO, "t~"},
    {"A link", "f=old t->f", 0, kOverwrite, ELOOP, "f=old t->f"},
    {"A link is refused as one", "f=old t->f", 0, 0, ELOOP, "f=old t->f"},
    {"A link in its middle", "f=old t->f", 1, 0, ELOOP, "f=old t->f"},
    {"A link that leads nowhere", "t->f", 0, kOverwrite, ELOOP, "t->f"},
    {"A followed link", "f=older t->f", 0, kOverwrite | kFollow, 0, "f=ab t->f"},
    {"A followed link in its middle", "f=older t->f", 3, kFollow, 0, "f=oldab t->f"},
    {"A followed link to what is refused", "f=old t->f", 0, kFollow, EEXIST, "f=old t->f"},
    {"A followed link to a missing file", "t->f", 0, kOverwrite | kFollow, 0, "f=ab t->f"},
    {"A link itself is in the way of a new file", "t->f", 0, kFollow, EEXIST, "t->f"},
    {"A followed link to a directory", "d/ t->d", 0, kOverwrite | kFollow, EISDIR, "d/ t->d"},
    {"A followed link to a FIFO", "p| t->p", 0, kOverwrite | kFollow, ENXIO, "p| t->p"},
    {"A followed link to itself", "t->t", 0, kOverwrite | kFollow, ELOOP, "t->t"},
};

TEST(File, OpensWhatItsTableSays) {
  for (const OpenCase& row : kCases) {
    SCOPED_TRACE(row.name);
    const TempDir dir(TempDir::kMemory);
    trees::make(dir.path(), row.before);
    EXPECT_EQ(writeAt(dir / "t", row.offset, row.options), row.error);
    EXPECT_EQ(trees::snapshot(dir.path()), row.after);
  }
}

TEST(File, SaysWhatIsWrongWithThePath) {
  const TempDir dir;
  trees::make(dir.path(), "d/ f l->d");
  EXPECT_EQ(writeAt("", 0, 0), ENOENT);
  EXPECT_EQ(writeAt(dir / "no/t", 0, kOverwrite), ENOENT);
  EXPECT_EQ(writeAt(dir / "f/t", 0, 0), ENOTDIR);
  EXPECT_EQ(writeAt(dir / "d/", 0, kOverwrite), EISDIR);
  EXPECT_EQ(writeAt(dir / std::string(256, 'n'), 0, 0), ENAMETOOLONG);
  EXPECT_EQ(writeAt("/dev/null", 0, kOverwrite), ENXIO);
  EXPECT_EQ(writeAt(dir / "l/t", 0, 0), 0) << "links above the last component are followed";
  EXPECT_EQ(trees::snapshot(dir.path()), "d/t=ab f l->d");
}

TEST(File, AFifoWithAReaderIsRefusedAndItsReaderHearsNothing) {
  const TempDir dir;
  trees::make(dir.path(), "t|");
  const int reader = open((dir / "t").c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  EXPECT_EQ(writeAt(dir / "t", 0, kOverwrite), ENXIO);
  EXPECT_EQ(close(reader), 0);
}

TEST(File, NewFilesHaveTheAttributesModeLessTheUmask) {
  const TempDir dir;
  const mode_t before = umask(027);
  const struct {
    const char* name;
    int mode;
    mode_t expected;
  } rows[] = {
      {"a", 0777, 0750}, {"b", 0600, 0600}, {"c", 0100666, 0640}, {"d", 0, 0}, {"s", 04755, 04750}};
  for (const auto& row : rows) {
    HOQFile file;
    const HOQSecurityAttributes attributes(row.mode);
    EXPECT_EQ(file.openWrite(dir / row.name, 0, HOQFilerOptions(0), &attributes), 0) << row.name;
    struct stat info;
    EXPECT_EQ(stat((dir / row.name).c_str(), &info), 0) << row.name;
    EXPECT_EQ(info.st_mode & 07777, row.expected) << row.name;
  }
  HOQFile file;
  EXPECT_EQ(file.openWrite(dir / "none", 0, HOQFilerOptions(0), nullptr), 0);
  struct stat info;
  EXPECT_EQ(stat((dir / "none").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0750U);
  umask(before);
}

TEST(File, AFileThatIsThereKeepsItsMode) {
  const TempDir dir;
  trees::make(dir.path(), "t%640=old");
  EXPECT_EQ(writeAt(dir / "t", 0, kOverwrite), 0);
  struct stat info;
  EXPECT_EQ(stat((dir / "t").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640U);
}

/// Descriptors of this process, counted by asking for the lowest free one.
int lowestFree() {
  const int descriptor = dup(0);
  if (descriptor >= 0) close(descriptor);
  return descriptor;
}

TEST(File, ClosesOnExecOnDestructionAndBeforeItOpensAnother) {
  const TempDir dir;
  const int free = lowestFree();
  ASSERT_GE(free, 0);
  {
    HOQFile file;
    EXPECT_EQ(file.openWrite(dir / "a", 0, HOQFilerOptions(0), nullptr), 0);
    EXPECT_EQ(fcntl(free, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(file.openWrite(dir / "b", 0, HOQFilerOptions(0), nullptr), 0);
    EXPECT_EQ(file.write("x", 1), 1);
    EXPECT_EQ(lowestFree(), free + 1);
    EXPECT_EQ(file.openWrite(dir / "b", 0, HOQFilerOptions(0), nullptr), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_FALSE(file.isOpened());
    EXPECT_EQ(lowestFree(), free);
    EXPECT_EQ(file.openWrite(dir / "c", 0, HOQFilerOptions(0), nullptr), 0);
  }
  EXPECT_EQ(lowestFree(), free);
  EXPECT_EQ(trees::snapshot(dir.path()), "a b=x c");
}

TEST(File, ClosingTwiceIsNoFailureAndWritingAfterwardsIs) {
  const TempDir dir;
  HOQFile file;
  EXPECT_EQ(file.close(), 0);
  EXPECT_EQ(file.openWrite(dir / "a", 0, HOQFilerOptions(0), nullptr), 0);
  EXPECT_EQ(file.close(), 0);
  EXPECT_EQ(file.close(), 0);
  EXPECT_EQ(file.write("x", 1), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST(File, AnOffsetBeyondWhatTheSystemHasIsAFailure) {
  const TempDir dir;
  HOQFile file;
  const bool opened = file.openWrite(dir / "t", INT64_MAX, HOQFilerOptions(0), nullptr) == 0;
  // Where the file system takes the offset, it takes no byte there.
  if (opened) {
    EXPECT_EQ(file.write("x", 1), -1);
  }
  EXPECT_TRUE(errno == EINVAL || errno == EFBIG || errno == EOVERFLOW) << errno;
}

/// Writes against a limit of three bytes. Which step went wrong; 0: none.
int writeBeyondTheLimit(const std::string& path) {
  signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{3, 3};
  if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 1;
  HOQFile file;
  if (file.openWrite(path, 0, HOQFilerOptions(kOverwrite), nullptr) != 0) return 2;
  if (file.write("abcd", 4) != 3) return 3;  // short
  return file.write("d", 1) == -1 && errno == EFBIG ? 0 : 4;
}

TEST(File, NoMoreRoomIsTold) {
  const TempDir dir;
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::_Exit(writeBeyondTheLimit(dir / "t")), testing::ExitedWithCode(0), "");
}

TEST(TransferRecords, TellWhereBytesComeFromAndGo) {
  const HOQFileUploadData upload("a/b", 3, -1);
  EXPECT_EQ(upload.path, "a/b");
  EXPECT_EQ(upload.size, 3U);
  EXPECT_EQ(upload.offset, -1);
  EXPECT_EQ(upload.getSource(), "");
  EXPECT_EQ(upload.getDestination(), "a/b");
  const HOQFileDownloadData download("a/b", 0, 5);
  EXPECT_EQ(download.getSource(), "a/b");
  EXPECT_EQ(download.getDestination(), "");
}

TEST(TransferRecords, AnUnknownSizeIsNoneOrTheLargest) {
  HOQFileDownloadData item("a", 0, 0);
  for (const std::uint64_t size : {0ULL, 0xFFFFFFFFFFFFFFFFULL}) {
    item.size = size;
    EXPECT_FALSE(item.hasKnownSize());
  }
  for (const std::uint64_t size : {1ULL, 0xFFFFFFFFFFFFFFFEULL}) {
    item.size = size;
    EXPECT_TRUE(item.hasKnownSize());
  }
}

TEST(TransferRecords, DataIsHandedOutInOrderAndNeverMoreThanThereIs) {
  HOQFileUploadData item("a", 5, 0);
  item.contents = "hello";
  const char* block = nullptr;
  EXPECT_EQ(item.data(2, block), 0);
  EXPECT_EQ(std::string(block, 2), "he");
  EXPECT_NE(item.data(4, block), 0);
  EXPECT_EQ(item.data(3, block), 0);
  EXPECT_EQ(std::string(block, 3), "llo");
  EXPECT_EQ(item.data(0, block), 0);
  EXPECT_NE(item.data(1, block), 0);
  EXPECT_NE(item.data(SIZE_MAX, block), 0);
  EXPECT_EQ(item.start(), 0);
  EXPECT_EQ(item.data(5, block), 0);
  EXPECT_EQ(item.close(), 0);
}

TEST(TransferRecords, DataIsGatheredFromTheStart) {
  HOQFileDownloadData item("a", 0, 0);
  EXPECT_EQ(item.append("he", 2), 0);
  EXPECT_EQ(item.append("\0y", 2), 0);
  EXPECT_EQ(item.contents, std::string("he\0y", 4));
  EXPECT_EQ(item.start(), 0);
  EXPECT_EQ(item.contents, "");
}

}  // namespace
}  // namespace HOQ
