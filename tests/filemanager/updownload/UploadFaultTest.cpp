// Uploads onto a disk that fails: the system's calls on open files are defined here and fail or
// fall short when a test says so.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "filemanager/updownload/UpDownloadFixture.h"

namespace {

/// Which of this thread's calls on files fails, while a test has it armed.
struct Disk {
  std::string call;  // empty: any
  int nth = 0;       // counted from 1; 0: none fails
  int error = 0;     // 0: a write that takes nothing
  long most = 0;     // bytes of a write; 0: as many as there are
  int seen = 0;
  std::string struck;
};
Disk* armed = nullptr;

bool strikes(const char* call) {
  if (!armed || (!armed->call.empty() && armed->call != call)) return false;
  if (++armed->seen != armed->nth) return false;
  armed->struck = call;
  errno = armed->error;
  return true;
}

template <class Function>
Function* systems(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) ssize_t write(int descriptor, const void* bytes,
                                                     size_t count) {
  static auto* const next = systems<ssize_t(int, const void*, size_t)>("write");
  if (strikes("write")) return armed->error != 0 ? -1 : 0;
  if (armed && armed->most > 0) count = std::min(count, static_cast<size_t>(armed->most));
  return next(descriptor, bytes, count);
}

__attribute__((visibility("default"))) int close(int descriptor) {
  static auto* const next = systems<int(int)>("close");
  const bool fails = strikes("close");
  const int cause = errno;
  const int result = next(descriptor);  // closed all the same, as close(2) has it
  if (!fails) return result;
  errno = cause;
  return -1;
}

__attribute__((visibility("default"))) off_t lseek(int descriptor, off_t offset,
                                                   int whence) noexcept {
  static auto* const next = systems<off_t(int, off_t, int)>("lseek");
  return strikes("lseek") ? -1 : next(descriptor, offset, whence);
}

__attribute__((visibility("default"))) int ftruncate(int descriptor, off_t length) noexcept {
  static auto* const next = systems<int(int, off_t)>("ftruncate");
  return strikes("ftruncate") ? -1 : next(descriptor, length);
}

__attribute__((visibility("default"))) int fstat(int descriptor, struct stat* info) noexcept {
  static auto* const next = systems<int(int, struct stat*)>("fstat");
  return strikes("fstat") ? -1 : next(descriptor, info);
}
}

namespace HOQ::test {
namespace {

class UploadFault : public UpDownloadFixture {
 protected:
  Told uploadOn(Disk& disk, const HOQFiler::UploadList& items, int options = kOverwrite) {
    armed = &disk;
    Told told = upload(items, options);
    armed = nullptr;
    return told;
  }
};

TEST_F(UploadFault, ShortWritesGoOnUntilAllIsWritten) {
  Disk disk;
  disk.most = 2;
  EXPECT_EQ(uploadOn(disk, {uploadOf("t", "abcdefg")}).code, 0);
  EXPECT_EQ(left(), "t=abcdefg");
}

TEST_F(UploadFault, AWriteThatTakesNothingEndsThePieceWhichCountsAsWritten) {
  Disk disk;
  disk.call = "write";
  disk.nth = 2;
  disk.most = 2;
  const UploadPtr item = uploadOf("t", "abcdefg");
  EXPECT_EQ(uploadOn(disk, {item}).code, 0);
  EXPECT_EQ(disk.struck, "write");
  EXPECT_EQ(item->offset, 7);
  EXPECT_EQ(left(), "t=ab");
}

TEST_F(UploadFault, AFullDiskIsTold) {
  Disk disk;
  disk.call = "write";
  disk.nth = 3;
  disk.error = ENOSPC;
  disk.most = 2;
  const Told told = uploadOn(disk, {uploadOf("t", "abcdefg"), uploadOf("u", "1")});
  EXPECT_EQ(told.code, -1);
  EXPECT_EQ(told.errors, Texts{"-1 Cannot write to file \"t\": No space left on device [28]"});
  EXPECT_EQ(left(), "t=abcd");
}

TEST_F(UploadFault, AFailedCloseIsToldAfterTheRecordAndEndsTheList) {
  Disk disk;
  disk.call = "close";
  disk.nth = 1;
  disk.error = EIO;
  const Told told = uploadOn(disk, {uploadOf("t", "abc"), uploadOf("u", "1")});
  EXPECT_EQ(disk.struck, "close");
  EXPECT_EQ(told.code, -1);
  EXPECT_EQ(told.errors, Texts{"-1 Cannot write to file \"t\": Input/output error [5]"});
  EXPECT_EQ(told.records, (Texts{"starting 0: total 0 0/4, file 1/2: 0 0/0",
                                 "t 75: total 75 3/4, file 1/2: 100 3/3"}));
  EXPECT_EQ(left(), "t=abc");
}

TEST_F(UploadFault, AFailedCloseOfTheLastFileGivesNothingAway) {
  Disk disk;
  disk.call = "close";
  disk.nth = 2;
  disk.error = ENOSPC;
  credentials = HOQUserCredentials(0, 0);
  const Told told = uploadOn(disk, {uploadOf("t", "abc"), uploadOf("u", "")});
  EXPECT_EQ(told.code, -1);
  EXPECT_EQ(told.errors, Texts{"-1 Cannot write to file \"u\": No space left on device [28]"});
}

TEST_F(UploadFault, WhicheverCallFailsTheAnswerSaysSoOnce) {
  for (int n = 1;; ++n) {
    ASSERT_LE(n, 100);
    removeContents(dir.path());
    trees::make(dir.path(), "b=older c=older");
    Disk disk;
    disk.nth = n;
    disk.error = EIO;
    disk.most = 2;
    const int free = dup(0);
    ASSERT_EQ(close(free), 0);
    const Told told =
        uploadOn(disk, {uploadOf("a", "one"), uploadOf("b", "two"), uploadOf("c", "three", 1)});
    const int after = dup(0);
    ASSERT_EQ(close(after), 0);
    EXPECT_EQ(after, free) << disk.struck << ": a descriptor is left open";
    if (disk.struck.empty()) {
      EXPECT_EQ(told.code, 0);
      EXPECT_EQ(left(), "a=one b=two c=othree");
      EXPECT_GE(n, 16);
      break;
    }
    SCOPED_TRACE("call " + std::to_string(n) + ": " + disk.struck);
    EXPECT_EQ(told.code, -1);
    EXPECT_EQ(told.errors.size(), 1U);
    EXPECT_NE(told.errors.front().find("Input/output error [5]"), std::string::npos);
  }
}

}  // namespace
}  // namespace HOQ::test
