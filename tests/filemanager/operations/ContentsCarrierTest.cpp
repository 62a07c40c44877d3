// What every carrier of contents keeps to, and what the one by blocks does beyond.
#include <fcntl.h>

#include <cerrno>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <ostream>
#include <string>

#include "filemanager/operations/ChangesFixture.h"
#include "operations/ContentsCarrier.h"
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
  std::unique_ptr<ContentsCarrier> (*make)();
};

std::ostream& operator<<(std::ostream& out, const CarrierKind& kind) { return out << kind.name; }

std::unique_ptr<ContentsCarrier> makeBlocks() { return std::make_unique<BlockCarrier>(); }

const CarrierKind kCarriers[] = {{"Blocks", makeBlocks}};

class ContentsCarrierContract : public testing::TestWithParam<CarrierKind> {
 protected:
  ContentsCarrierContract() : carrier(GetParam().make()) { operation.error.handler = handler; }
  ~ContentsCarrierContract() override {
    if (source.isOpened()) source.close();
    if (target.isOpened()) target.close();
  }

  /// Opens a source with `text` in it, and a target with nothing.
  void open(const std::string& text) {
    std::ofstream(source.path, std::ios::binary) << text;
    ASSERT_EQ(source.open(O_RDONLY), 0);
    ASSERT_EQ(target.open(O_WRONLY | O_CREAT | O_TRUNC), 0);
  }

  int carry() {
    errno = 0;
    return carrier->carry(operation, source, target);
  }

  std::string carried() const {
    std::ifstream in(target.path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  void close() {
    source.close();
    target.close();
  }

  static std::string textOf(std::size_t length) {
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
  for (const std::size_t length : {std::size_t{0}, std::size_t{1}, kBlock - 1, kBlock, kBlock + 1,
                                   2 * kBlock, std::size_t{100'003}}) {
    SCOPED_TRACE(length);
    const std::string text = textOf(length);
    open(text);
    EXPECT_EQ(carry(), 0);
    EXPECT_EQ(carried(), text);
    EXPECT_TRUE(handler->events.empty());
    close();
  }
}

TEST_P(ContentsCarrierContract, NothingIsOpenedOrClosed) {
  open(textOf(3000));
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
  const std::string text = textOf(5000);
  open(text);
  source.mostRead = 7;
  EXPECT_EQ(carry(), 0);
  EXPECT_EQ(carried(), text);
}

TEST_P(ContentsCarrierContract, AFileThatGrowsIsCarriedAsFarAsItIsRead) {
  const std::string text = textOf(3 * kBlock);
  open(text);
  source.onRead = [this](int n) {
    if (n == 2) std::ofstream(source.path, std::ios::binary | std::ios::app) << "grown";
    return 0;
  };
  EXPECT_EQ(carry(), 0);
  EXPECT_EQ(carried(), text + "grown");
}

TEST_P(ContentsCarrierContract, AFailedReadIsToldAndWhatWasWrittenStays) {
  const std::string text = textOf(4 * kBlock);
  for (int n = 1; n <= 5; ++n) {
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
  const std::string text = textOf(4 * kBlock);
  for (int n = 1; n <= 4; ++n) {
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

class Blocks : public ContentsCarrierContract {};
INSTANTIATE_TEST_SUITE_P(, Blocks, testing::Values(kCarriers[0]),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(Blocks, EachBlockIsOneReadAndOneWrite) {
  open(textOf(10 * kBlock + 1));
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
  const std::string text = textOf(3 * kBlock);
  open(text);
  target.mostWritten = 1000;
  EXPECT_EQ(carry(), -1);
  EXPECT_EQ(handler->messages(), Texts{"\"" + dir.path() + "\", Cannot write to file"});
  EXPECT_EQ(handler->errors[0].code, -1);
  EXPECT_EQ(target.writes, 1);
  EXPECT_EQ(carried(), text.substr(0, 1000));
}

TEST_P(Blocks, WhatWasWrittenBeforeAFailureIsWholeBlocks) {
  const std::string text = textOf(4 * kBlock);
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
