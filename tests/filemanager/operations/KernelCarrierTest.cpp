// What the carrier by the kernel does beyond what every carrier keeps to: it leaves holes out, does
// not see the contents that the system carries, and goes on by itself where the system does not.
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/fs.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "filemanager/operations/ChangesFixture.h"
#include "operations/ContentsCarrier.h"
#include "support/LoggingRoutine.h"
#include "support/ScriptedOperate.h"

namespace HOQ::test {
namespace {

constexpr long long kMiB = 1 << 20;

/// A stretch of data in a file that is a hole elsewhere.
struct Stretch {
  long long at;
  std::size_t length;
};

/// From now on `call`, with `argument` as its second unless that is 0, does nothing in this process
/// and answers `error`; 0 passes for success. Children only: it is never undone.
void refuseCall(int call, unsigned argument, int error) {
  const auto field = [](std::size_t offset) {
    return sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(offset));
  };
  sock_filter steps[] = {
      field(offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 3),
      field(offsetof(seccomp_data, args[1])),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, argument, 0,
               static_cast<unsigned char>(argument == 0 ? 0 : 1)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog program{std::size(steps), steps};
  ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
  ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0) << std::strerror(errno);
}

class KernelCarrierTest : public ChangesFixture {
 protected:
  KernelCarrierTest() { operation.error.handler = handler; }
  ~KernelCarrierTest() override { close(); }

  /// Makes the source of `size` bytes, with data in `stretches` only.
  void makeSource(long long size, const std::vector<Stretch>& stretches) {
    std::ofstream out(source.path, std::ios::binary);
    for (const Stretch& stretch : stretches) {
      out.seekp(stretch.at);
      std::string data;
      for (std::size_t i = 0; i < stretch.length; ++i)
        data += static_cast<char>(1 + (i * 7 + i / 251) % 255);
      out << data;
    }
    out.close();
    ASSERT_EQ(truncate(source.path.c_str(), size), 0);
    ASSERT_EQ(source.stat(), 0);
  }

  void open(HOQFileRoutineLin& target, int flags = O_TRUNC) {
    close();
    ASSERT_EQ(source.open(O_RDONLY), 0);
    ASSERT_EQ(target.open(O_WRONLY | O_CREAT | flags), 0);
  }

  void close() {
    for (HOQFileRoutineLin* file : std::initializer_list<HOQFileRoutineLin*>{&source, &near, &far})
      if (file->isOpened()) file->close();
  }

  int carry(HOQFileRoutineLin& target) { return carrier.carry(operation, source, target); }

  static std::string textOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }

  /// Whether the system itself copies from the source to `target`; what it would is thrown away.
  bool systemCopies(HOQFileRoutineLin& target) {
    open(target);
    const bool copies =
        copy_file_range(source.descriptor(), nullptr, target.descriptor(), nullptr, 1, 0) == 1;
    close();
    return copies;
  }

  void expectSame(const HOQFileRoutineLin& target) {
    EXPECT_TRUE(textOf(target.path) == textOf(source.path));
    EXPECT_EQ(infoOf(target.path).st_size, infoOf(source.path).st_size);
    EXPECT_EQ(handler->messages(), Texts{});
  }

  /// But for a few blocks in which file systems keep what they know of the others.
  void expectNoMoreRoom(const std::string& copied) const {
    EXPECT_LE(infoOf(copied).st_blocks * 512, infoOf(source.path).st_blocks * 512 + 4 * 4096);
  }

  const HOQFilerOptions options{0};
  HOQFileRoutineLin standing{dir.path()};
  ScriptedOperate operation{standing, options, true};
  CallLog log;
  LoggingRoutine source{dir / "source", log};
  LoggingRoutine near{dir / "target", log};
  LoggingRoutine far{elsewhere / "target", log};
  const CollectingHandlerPtr handler{new CollectingHandler};
  KernelCarrier carrier;
};

TEST_F(KernelCarrierTest, TheSystemCarriesWhatIsLargeWithoutThisProcess) {
  makeSource(3 * kMiB, {{0, 3 * kMiB}});
  if (!systemCopies(near)) GTEST_SKIP() << "the system does not copy in this place";
  open(near);
  log.entries.clear();
  EXPECT_EQ(carry(near), 0);
  EXPECT_EQ(log.count(Call::Read), 1);  // which finds the end
  EXPECT_EQ(log.count(Call::Write), 0);
  expectSame(near);
}

TEST_F(KernelCarrierTest, WhatIsSmallIsReadAndWrittenOnce) {
  makeSource(3000, {{0, 3000}});
  open(near);
  log.entries.clear();
  EXPECT_EQ(carry(near), 0);
  EXPECT_EQ(log.count(Call::Read), 2);
  EXPECT_EQ(log.count(Call::Write), 1);
  expectSame(near);
}

TEST_F(KernelCarrierTest, AWriteThatTakesAPartIsFollowedByOneOfTheRest) {
  class Reluctant : public HOQFileRoutineLin {
   public:
    using HOQFileRoutineLin::HOQFileRoutineLin;
    long write(const char* buf, int len) override {
      return HOQFileRoutineLin::write(buf, std::min(len, 1000));
    }
  };
  makeSource(30'500, {{0, 30'500}});
  Reluctant target(near.path);
  open(target);
  EXPECT_EQ(carry(target), 0);
  target.close();
  expectSame(target);
}

const std::vector<std::pair<long long, std::vector<Stretch>>> kSparse = {
    {64 << 10, {}},                   // small, and nothing but a hole
    {4 * kMiB, {}},                   // the same, large
    {128 << 10, {{64 << 10, 100}}},   // small, with data
    {4 * kMiB, {{0, 10}}},            // data before a hole
    {4 * kMiB, {{4 * kMiB - 3, 3}}},  // and behind one
    {4 * kMiB, {{0, 8192}, {kMiB, 400'000}, {2 * kMiB, 3 * kMiB / 2}}},
    {4 * kMiB + 1, {{kMiB + 1, 300'000}, {3 * kMiB - 1, 2}}},
};

TEST_F(KernelCarrierTest, HolesStayHoles) {
  for (HOQFileRoutineLin* target : std::initializer_list<HOQFileRoutineLin*>{&near, &far})
    for (const auto& [size, stretches] : kSparse) {
      SCOPED_TRACE(target->path + ", " + std::to_string(size) + " bytes, data " +
                   std::to_string(stretches.size()) + " times");
      makeSource(size, stretches);
      if (infoOf(source.path).st_blocks * 512 >= size)
        GTEST_SKIP() << "files have no holes in this place";
      open(*target);
      EXPECT_EQ(carry(*target), 0);
      close();
      expectSame(*target);
      expectNoMoreRoom(target->path);
    }
}

TEST_F(KernelCarrierTest, AHoleReplacesWhatStandsInTheTarget) {
  makeSource(2 * kMiB, {{kMiB, 10}});
  std::ofstream(near.path, std::ios::binary) << std::string(3 * kMiB, 'x');
  open(near, 0);
  EXPECT_EQ(carry(near), 0);
  EXPECT_TRUE(textOf(near.path) == textOf(source.path) + std::string(kMiB, 'x'));
}

TEST_F(KernelCarrierTest, HolesAreFoundFromWhereTheFilesStand) {
  makeSource(2 * kMiB, {{kMiB, 10}});
  open(near);
  ASSERT_EQ(source.seek(kMiB / 2), 0);
  ASSERT_EQ(near.seek(7), 0);
  EXPECT_EQ(carry(near), 0);
  EXPECT_TRUE(textOf(near.path) == std::string(7, '\0') + textOf(source.path).substr(kMiB / 2));
}

// Error numbers that systems refuse with, and 0: nothing is copied, and nothing said against it.
TEST_F(KernelCarrierTest, WhereTheSystemDoesNotCopyTheContentsArriveAllTheSame) {
  for (const int error : {0, EXDEV, EOPNOTSUPP, EINVAL, ENOSYS, EPERM, EBADF, EIO, ENOSPC})
    for (const auto& [size, stretches] : kSparse) {
      SCOPED_TRACE(testing::Message() << std::strerror(error) << ", " << size);
      makeSource(size, stretches);
      open(near);
      EXPECT_EQ(inChild([&] {
                  refuseCall(SYS_copy_file_range, 0, error);
                  errno = 0;
                  EXPECT_EQ(carry(near), 0);
                  EXPECT_EQ(errno, 0);
                  expectSame(near);
                  expectNoMoreRoom(near.path);
                }),
                "");
    }
}

TEST_F(KernelCarrierTest, WhereTheSystemDoesNotShareBlocksTheContentsArriveAllTheSame) {
  for (const int error : {0, EXDEV, EOPNOTSUPP, EINVAL, ENOTTY, EPERM}) {
    SCOPED_TRACE(std::strerror(error));
    makeSource(3 * kMiB, {{0, 3 * kMiB}});
    open(near);
    EXPECT_EQ(inChild([&] {
                refuseCall(SYS_ioctl, FICLONE, error);
                EXPECT_EQ(carry(near), 0);
                expectSame(near);
              }),
              "");
  }
}

TEST_F(KernelCarrierTest, WhereHolesCannotBeFoundTheContentsArriveAllTheSame) {
  makeSource(3 * kMiB, {{0, 10}, {2 * kMiB, 10}});
  open(near);
  EXPECT_EQ(inChild([&] {
              refuseCall(SYS_lseek, 0, ESPIPE);
              EXPECT_EQ(carry(near), 0);
            }),
            "");
  close();
  expectSame(near);
}

// The engine is the process's; a copy by it is a copy like others.
TEST_F(KernelCarrierTest, ACopyOfASparseFileTakesNoMoreRoomThanItsSource) {
  makeSource(8 * kMiB, {{4 * kMiB, 10'000}});
  if (infoOf(source.path).st_blocks * 512 >= 8 * kMiB)
    GTEST_SKIP() << "files have no holes in this place";
  HOQContentsEngine::choose(HOQContentsEngine::kKernel);
  EXPECT_EQ(copy({"source"}, "copied").code, 0);
  expectNoMoreRoom(dir / "copied");
  HOQContentsEngine::choose(HOQContentsEngine::kBlocks);
  EXPECT_EQ(copy({"source"}, "blocks").code, 0);
  EXPECT_TRUE(textOf(dir / "copied") == textOf(dir / "blocks"));
}

}  // namespace
}  // namespace HOQ::test
