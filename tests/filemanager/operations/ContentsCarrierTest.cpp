// What every carrier of contents keeps to, and what the one by blocks does beyond. What the one by
// the kernel does beyond is in KernelCarrierTest.cpp.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>

#include "filemanager/operations/ChangesFixture.h"
#include "operations/ContentsCarrier.h"
#include "support/Isolation.h"
#include "support/ScriptedOperate.h"

namespace HOQ::test {
namespace {

constexpr std::size_t kBlock = 1024;

/// The Linux routine, with its reads and writes in the test's hands.
class ScriptedFile : public HOQFileRoutineLin {
 public:
  using HOQFileRoutineLin::HOQFileRoutineLin;

  long read(char* buf, int len) override {
    ++reads;
    const int error = onRead ? onRead(reads) : 0;
    if (error == 0) return HOQFileRoutineLin::read(buf, std::min(len, mostRead));
    errno = error;
    return -1;
  }
  long write(const char* buf, int len) override {
    ++writes;
    longestWrite = std::max(longestWrite, len);
    const int error = onWrite ? onWrite(writes) : 0;
    if (error == 0) return HOQFileRoutineLin::write(buf, std::min(len, mostWritten));
    errno = error;
    return -1;
  }
  int open(int flags) override {
    ++opens;
    return HOQFileRoutineLin::open(flags);
  }
  int close() override {
    ++closes;
    return HOQFileRoutineLin::close();
  }

  std::function<int(int n)> onRead;  // an error number fails the n-th call
  std::function<int(int n)> onWrite;
  int mostRead = 1 << 30;
  int mostWritten = 1 << 30;
  int reads = 0;
  int writes = 0;
  int opens = 0;
  int closes = 0;
  int longestWrite = 0;
};

struct CarrierKind {
  const char* name;
  HOQContentsEngine::Kind engine;
  std::size_t piece;     // of one read
  bool examinedEarly;    // before the source had its contents, which thus seemed not to be many
  bool readsEveryPiece;  // none goes past this process
};

std::ostream& operator<<(std::ostream& out, const CarrierKind& kind) { return out << kind.name; }

constexpr std::size_t kLargePiece = 256 << 10;

const CarrierKind kCarriers[] = {
    {"Blocks", HOQContentsEngine::kBlocks, kBlock, false, true},
    {"Kernel", HOQContentsEngine::kKernel, kLargePiece, false, false},
    {"KernelByHand", HOQContentsEngine::kKernel, kLargePiece, true, true},
};

class ContentsCarrierContract : public testing::TestWithParam<CarrierKind> {
 protected:
  ContentsCarrierContract() : carrier(ContentsCarrier::make(GetParam().engine)) {
    operation.error.handler = handler;
  }
  ~ContentsCarrierContract() override {
    if (source.isOpened()) source.close();
    if (target.isOpened()) target.close();
  }

  /// Opens a source with `text` in it, examined as a walk does it, and a target with nothing.
  void open(const std::string& text) {
    std::ofstream(source.path, std::ios::binary) << (GetParam().examinedEarly ? "" : text);
    ASSERT_EQ(source.stat(), 0);
    std::ofstream(source.path, std::ios::binary) << text;
    ASSERT_EQ(source.open(O_RDONLY), 0);
    ASSERT_EQ(target.open(O_WRONLY | O_CREAT | O_TRUNC), 0);
  }

  int carry() {
    errno = 0;
    return carrier->carry(operation, source, target);
  }

  std::string carried() const { return textOf(target.path); }

  static std::string textOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }

  void close() {
    source.close();
    target.close();
  }

  static std::string textOfLength(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<char>((i * 7 + i / 251) & 0xFF);
    return text;
  }

  const TempDir dir;
  const HOQFilerOptions options{0};
  HOQFileRoutineLin standing{dir.path()};  // what messages speak of
  ScriptedOperate operation{standing, options, true};
  ScriptedFile source{dir / "source"};
  ScriptedFile target{dir / "target"};
  const CollectingHandlerPtr handler{new CollectingHandler};
  const std::unique_ptr<ContentsCarrier> carrier;
};

INSTANTIATE_TEST_SUITE_P(, ContentsCarrierContract, testing::ValuesIn(kCarriers),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(ContentsCarrierContract, ContentsOfEveryLengthArriveWhole) {
  for (const std::size_t length :
       {std::size_t{0}, std::size_t{1}, kBlock - 1, kBlock, kBlock + 1, 2 * kBlock,
        std::size_t{100'003}, kLargePiece - 1, kLargePiece, kLargePiece + 1, 5 * kLargePiece + 7}) {
    SCOPED_TRACE(length);
    const std::string text = textOfLength(length);
    open(text);
    EXPECT_EQ(carry(), 0);
    EXPECT_TRUE(carried() == text);
    EXPECT_TRUE(handler->events.empty());
    close();
  }
}

TEST_P(ContentsCarrierContract, NothingIsOpenedOrClosed) {
  open(textOfLength(3000));
  EXPECT_EQ(carry(), 0);
  EXPECT_EQ(source.opens + target.opens, 2);  // the test's own
  EXPECT_EQ(source.closes + target.closes, 0);
  EXPECT_TRUE(source.isOpened());
  EXPECT_TRUE(target.isOpened());
}

TEST_P(ContentsCarrierContract, CarriesFromWhereTheFilesStand) {
  open("0123456789");
  ASSERT_EQ(source.seek(4), 0);
  ASSERT_EQ(target.seek(2), 0);
  EXPECT_EQ(carry(), 0);
  EXPECT_EQ(carried(), std::string(2, '\0') + "456789");
}

TEST_P(ContentsCarrierContract, OneCarrierServesSeveralFiles) {
  for (const std::string text : {"first", "second, and longer", ""}) {
    open(text);
    EXPECT_EQ(carry(), 0);
    EXPECT_EQ(carried(), text);
    close();
  }
}

TEST_P(ContentsCarrierContract, ASourceThatGivesLittleAtATimeArrivesWhole) {
  const std::string text = textOfLength(5000);
  open(text);
  source.mostRead = 7;
  EXPECT_EQ(carry(), 0);
  EXPECT_EQ(carried(), text);
}

TEST_P(ContentsCarrierContract, AFileThatGrowsIsCarriedAsFarAsItIsRead) {
  const std::string text = textOfLength(3 * GetParam().piece);
  open(text);
  const int when = GetParam().readsEveryPiece ? 2 : 1;
  source.onRead = [this, when](int n) {
    if (n == when) std::ofstream(source.path, std::ios::binary | std::ios::app) << "grown";
    return 0;
  };
  EXPECT_EQ(carry(), 0);
  EXPECT_EQ(carried(), text + "grown");
}

TEST_P(ContentsCarrierContract, AFailedReadIsToldAndWhatWasWrittenStays) {
  const std::string text = textOfLength(4 * GetParam().piece);
  for (int n = 1; n <= (GetParam().readsEveryPiece ? 5 : 1); ++n) {
    SCOPED_TRACE(n);
    open(text);
    source.reads = 0;
    handler->errors.clear();
    source.onRead = [n](int call) { return call == n ? EIO : 0; };
    EXPECT_EQ(carry(), -1);
    EXPECT_GE(source.reads, n);  // the fault struck
    ASSERT_EQ(handler->errors.size(), 1U);
    EXPECT_EQ(handler->errors[0].code, -1);
    EXPECT_EQ(handler->errors[0].message,
              "\"" + dir.path() + "\", Cannot read from file: Input/output error[5]");
    const std::string left = carried();
    EXPECT_EQ(left, text.substr(0, left.size()));
    EXPECT_TRUE(source.isOpened() && target.isOpened());
    close();
  }
}

TEST_P(ContentsCarrierContract, AFailedWriteIsToldAndWhatWasWrittenStays) {
  const std::string text = textOfLength(4 * GetParam().piece);
  for (int n = 1; n <= 4; ++n) {
    if (!GetParam().readsEveryPiece) continue;  // nothing may be written at all
    SCOPED_TRACE(n);
    open(text);
    target.writes = 0;
    handler->errors.clear();
    target.onWrite = [n](int call) { return call == n ? ENOSPC : 0; };
    EXPECT_EQ(carry(), -1);
    EXPECT_GE(target.writes, n);
    ASSERT_EQ(handler->errors.size(), 1U);
    EXPECT_EQ(handler->errors[0].code, -1);
    EXPECT_EQ(handler->errors[0].message,
              "\"" + dir.path() + "\", Cannot write to file: No space left on device[28]");
    const std::string left = carried();
    EXPECT_EQ(left, text.substr(0, left.size()));
    EXPECT_TRUE(source.isOpened() && target.isOpened());
    close();
  }
}

TEST_P(ContentsCarrierContract, ADirectoryIsToldAsAFailedRead) {
  open("");
  source.close();
  source.path = dir.path();
  ASSERT_EQ(source.open(O_RDONLY), 0);
  EXPECT_EQ(carry(), -1);
  EXPECT_EQ(handler->messages(),
            Texts{"\"" + dir.path() + "\", Cannot read from file: Is a directory[21]"});
}

TEST_P(ContentsCarrierContract, AFileWithoutASizeArrivesWhole) {
  open("");
  source.close();
  source.path = "/proc/version";
  for (const bool examined : {true, false}) {
    if (examined) {
      ASSERT_EQ(source.stat(), 0);
    } else {
      source.statBuffer = {};
    }
    ASSERT_EQ(source.open(O_RDONLY), 0);
    ASSERT_EQ(target.open(O_WRONLY | O_TRUNC), 0);
    EXPECT_EQ(carry(), 0);
    EXPECT_EQ(carried(), textOf(source.path));
    EXPECT_NE(carried(), "");
    close();
  }
}

TEST_P(ContentsCarrierContract, WhatAFileMayNotHoldIsToldAndItsPartStays) {
  const rlim_t most = 2 * GetParam().piece + 512;
  const std::string text = textOfLength(4 * GetParam().piece);
  open(text);
  EXPECT_EQ(inChild([&] {
              const rlimit limit{most, most};
              ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
              ASSERT_NE(std::signal(SIGXFSZ, SIG_IGN), SIG_ERR);
              errno = 0;
              EXPECT_EQ(carrier->carry(operation, source, target), -1);
              ASSERT_EQ(handler->errors.size(), 1U);
              EXPECT_THAT(handler->errors[0].message,
                          testing::StartsWith("\"" + dir.path() + "\", Cannot write to file"));
              EXPECT_EQ(carried(), text.substr(0, most));
            }),
            "");
}

class Blocks : public ContentsCarrierContract {};
INSTANTIATE_TEST_SUITE_P(, Blocks, testing::Values(kCarriers[0]),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(Blocks, EachBlockIsOneReadAndOneWrite) {
  open(textOfLength(10 * kBlock + 1));
  EXPECT_EQ(carry(), 0);
  EXPECT_EQ(source.reads, 12);  // the last finds the end
  EXPECT_EQ(target.writes, 11);
  EXPECT_EQ(target.longestWrite, static_cast<int>(kBlock));
}

TEST_P(Blocks, AnEmptyFileIsReadOnceAndNotWritten) {
  open("");
  EXPECT_EQ(carry(), 0);
  EXPECT_EQ(source.reads, 1);
  EXPECT_EQ(target.writes, 0);
}

TEST_P(Blocks, AShortWriteIsAFailureAndItsPartStays) {
  const std::string text = textOfLength(3 * kBlock);
  open(text);
  target.mostWritten = 1000;
  EXPECT_EQ(carry(), -1);
  EXPECT_EQ(handler->messages(), Texts{"\"" + dir.path() + "\", Cannot write to file"});
  EXPECT_EQ(handler->errors[0].code, -1);
  EXPECT_EQ(target.writes, 1);
  EXPECT_EQ(carried(), text.substr(0, 1000));
}

TEST_P(Blocks, WhatWasWrittenBeforeAFailureIsWholeBlocks) {
  const std::string text = textOfLength(4 * kBlock);
  open(text);
  source.onRead = [](int n) { return n == 3 ? EIO : 0; };
  EXPECT_EQ(carry(), -1);
  EXPECT_EQ(source.reads, 3);
  EXPECT_EQ(carried(), text.substr(0, 2 * kBlock));
}

/// A routine whose failures have a code of their own.
class OddFile : public ScriptedFile {
 public:
  using ScriptedFile::ScriptedFile;
  long read(char*, int) override {
    errno = EIO;
    return -5;
  }
};

TEST_P(Blocks, AFailedReadsResultIsTheCodeAndTheRecordSaysMinusOne) {
  OddFile odd(dir / "odd");
  open("text");
  EXPECT_EQ(carrier->carry(operation, odd, target), -5);
  ASSERT_EQ(handler->errors.size(), 1U);
  EXPECT_EQ(handler->errors[0].code, -1);
}

}  // namespace
}  // namespace HOQ::test
