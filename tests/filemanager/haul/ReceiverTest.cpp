#include "haul/HOQFileReceiver.h"

#include <fcntl.h>
#include <hoq/HOQChannelMemory.h>

#include <cerrno>

#include "filemanager/haul/HaulFixture.h"

namespace HOQ::test {
namespace {

constexpr char kCannotOpen[] = "Cannot open file to write";
constexpr char kCannotWrite[] = "Cannot write to file";
constexpr char kEndsEarly[] = "The data ended before the end of the file";

constexpr int kNew = 0;
constexpr int kOverwrite = 1;

class Receiver : public HaulFixture {
 protected:
  static ScriptedEndPtr endWith(const std::string& bytes) {
    return ScriptedEndPtr(new ScriptedEnd(bytes));
  }
  PacedRoutinePtr pacedAt(const std::string& item) const {
    return PacedRoutinePtr(new PacedRoutine(dir / item));
  }

  HOQFileReceiver receiver;
};

TEST_F(Receiver, TheBytesAreWrittenAsTheyCome) {
  for (const std::size_t size : {0, 1, 4095, 4096, 4097, 70000})
    for (const std::uint64_t mostPerRead : {std::uint64_t{4096}, std::uint64_t{1000}}) {
      SCOPED_TRACE(size);
      const std::string text = variedText(size);
      const ScriptedEndPtr end = endWith(sizeHeader(size) + text);
      end->mostPerRead = mostPerRead;
      HOQFileReceiver one;
      ASSERT_EQ(one.init(end, routineAt("f"), kNew), 0);
      EXPECT_EQ(one.receiveData(), 0);
      EXPECT_TRUE(one.isWhole());
      EXPECT_EQ(one.whyNotWhole(), "");
      EXPECT_TRUE(read("f") == text);
      EXPECT_EQ(end->closes, 0);
      EXPECT_FALSE(end->givenUp());
      EXPECT_EQ(getErrorMessage(), "");
      removeContents(dir.path());
    }
}

// It asks for the size by itself, and for whole pieces even where fewer bytes are to come.
TEST_F(Receiver, ReadsInWholePieces) {
  const ScriptedEndPtr end = endWith(sizeHeader(4100) + variedText(4100));
  ASSERT_EQ(receiver.init(end, routineAt("f"), kNew), 0);
  EXPECT_EQ(receiver.receiveData(), 0);
  EXPECT_EQ(end->requests, (std::vector<std::uint64_t>{8, 4096, 4096}));
}

TEST_F(Receiver, WithCloseOnFinishEverythingUpToTheEndIsTaken) {
  for (const std::size_t size : {0, 5000}) {
    const std::string text = variedText(size);
    const ScriptedEndPtr end = endWith(text);
    HOQFileReceiver one;
    one.setCloseOnFinish(true);
    ASSERT_EQ(one.init(end, routineAt("f"), kOverwrite), 0);
    EXPECT_EQ(one.receiveData(), 0);
    EXPECT_TRUE(one.isWhole());
    EXPECT_TRUE(read("f") == text);
    EXPECT_EQ(end->closes, 1);
    EXPECT_FALSE(end->givenUp());
  }
}

TEST_F(Receiver, WithCloseOnFinishAFailureIsNoEnd) {
  const std::string text = variedText(9000);
  const ScriptedEndPtr end = endWith(text);
  end->failingRead = 2;
  receiver.setCloseOnFinish(true);
  ASSERT_EQ(receiver.init(end, routineAt("f"), kNew), 0);
  EXPECT_EQ(receiver.receiveData(), 0);
  EXPECT_FALSE(receiver.isWhole());
  EXPECT_TRUE(read("f") == text.substr(0, 4096));
  EXPECT_EQ(end->closes, 1);
  EXPECT_TRUE(end->givenUp());
}

TEST_F(Receiver, TheOverwriteBitDecidesHowTheFileIsOpened) {
  const struct {
    int options;
    int flags;
  } rows[] = {{0, 0xC1}, {1, 0x41}, {0x7E, 0xC1}, {0x7F, 0x41}};
  for (const auto& row : rows) {
    const PacedRoutinePtr routine = pacedAt("f");
    HOQFileReceiver one;
    ASSERT_EQ(one.init(endWith(""), routine, row.options), 0);
    EXPECT_EQ(routine->openFlags, std::vector<int>{row.flags}) << row.options;
    EXPECT_EQ(routine->close(), 0);
    removeContents(dir.path());
  }
}

TEST_F(Receiver, AFileThatIsThereIsNotTakenWithoutTheOverwriteBit) {
  write("f", "old");
  EXPECT_EQ(receiver.init(endWith(""), routineAt("f"), kNew), -1);
  EXPECT_EQ(getErrorMessage(), kCannotOpen);
  EXPECT_EQ(read("f"), "old");
}

// Kept: whoever overwrites removes what is there before.
TEST_F(Receiver, AFileThatIsThereIsNotCutShort) {
  write("f", "old text");
  ASSERT_EQ(receiver.init(endWith(sizeHeader(3) + "new"), routineAt("f"), kOverwrite), 0);
  EXPECT_EQ(receiver.receiveData(), 0);
  EXPECT_EQ(read("f"), "new text");
}

TEST_F(Receiver, WhatCannotBeOpenedIsTold) {
  EXPECT_EQ(receiver.init(endWith(""), routineAt("no/f"), kNew), -1);
  EXPECT_EQ(getErrorMessage(), kCannotOpen);
}

TEST_F(Receiver, EmptyArgumentsAreRefusedWithoutAWord) {
  EXPECT_EQ(receiver.init(nullptr, routineAt("f"), kNew), -1);
  EXPECT_EQ(receiver.init(endWith(""), nullptr, kNew), -1);
  EXPECT_EQ(getErrorMessage(), "");
  EXPECT_FALSE(isThere("f"));
}

TEST_F(Receiver, TheFileGetsTheAttributesMode) {
  HOQSecurityAttributes attributes(0100640);
  const RoutinePtr routine = routineAt("f");
  routine->securityAttributes = &attributes;
  ASSERT_EQ(receiver.init(endWith(sizeHeader(0)), routine, kNew), 0);
  EXPECT_EQ(receiver.receiveData(), 0);
  EXPECT_EQ(modeOf("f"), 0640U);
  HOQFileReceiver other;
  ASSERT_EQ(other.init(endWith(sizeHeader(0)), routineAt("g"), kNew), 0);
  EXPECT_EQ(other.receiveData(), 0);
  EXPECT_EQ(modeOf("g"), 0755U);  // 0777 less the umask
}

TEST_F(Receiver, ASizeThatDoesNotComeIsAFailureWithoutAText) {
  struct {
    const char* what;
    std::string bytes;
    int failingRead;
  } const rows[] = {{"nothing comes", "", ScriptedEnd::kNever},
                    {"half of it comes", std::string(7, '\0'), ScriptedEnd::kNever},
                    {"the channel fails", sizeHeader(1) + "x", 1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const ScriptedEndPtr end = endWith(row.bytes);
    end->failingRead = row.failingRead;
    const RoutinePtr routine = routineAt("f");
    HOQFileReceiver one;
    ASSERT_EQ(one.init(end, routine, kOverwrite), 0);
    EXPECT_EQ(one.receiveData(), 1);
    EXPECT_EQ(getErrorMessage(), "");
    EXPECT_FALSE(one.isWhole());
    EXPECT_EQ(one.whyNotWhole(), "The size of the file did not come");
    EXPECT_EQ(end->texts, std::vector<std::string>{one.whyNotWhole()});
    EXPECT_EQ(end->closes, 0);
    EXPECT_TRUE(routine->isOpened());  // kept
    EXPECT_EQ(one.waitFinish(), 0);
    EXPECT_FALSE(routine->isOpened());
  }
}

// Kept: a short file, and a success by its code.
TEST_F(Receiver, AStreamThatEndsEarlyLeavesAShortFile) {
  for (const bool fails : {false, true}) {
    const std::string text = variedText(6000);
    const ScriptedEndPtr end = endWith(sizeHeader(9000) + text);
    if (fails) end->failingRead = 4;
    HOQFileReceiver one;
    ASSERT_EQ(one.init(end, routineAt("f"), kOverwrite), 0);
    EXPECT_EQ(one.receiveData(), 0);
    EXPECT_TRUE(read("f") == text);
    EXPECT_FALSE(one.isWhole());
    EXPECT_EQ(one.whyNotWhole(), kEndsEarly);
    EXPECT_EQ(end->texts, std::vector<std::string>{kEndsEarly});
    EXPECT_EQ(getErrorMessage(), "");
  }
}

TEST_F(Receiver, StopsAfterExactlyTheBytesThatWereAnnounced) {
  const ScriptedEndPtr end = endWith(sizeHeader(5000) + variedText(5001));
  ASSERT_EQ(receiver.init(end, routineAt("f"), kNew), 0);
  EXPECT_EQ(receiver.receiveData(), 0);
  EXPECT_TRUE(read("f") == variedText(5000));
  EXPECT_FALSE(receiver.isWhole());
  EXPECT_EQ(receiver.whyNotWhole(), "More data came than the file has");
}

TEST_F(Receiver, AWriteThatFailsEndsIt) {
  const std::string text = variedText(9000);
  for (const long pace : {-1L, 0L})
    for (std::size_t n = 1; n <= 3; ++n) {
      const ScriptedEndPtr end = endWith(sizeHeader(text.size()) + text);
      const PacedRoutinePtr routine = pacedAt("f");
      routine->paces.assign(n, 4096);
      routine->paces[n - 1] = pace;
      HOQFileReceiver one;
      ASSERT_EQ(one.init(end, routine, kNew), 0);
      clearErrorMessage();
      EXPECT_EQ(one.receiveData(), 0);
      EXPECT_EQ(getErrorMessage(), kCannotWrite);
      EXPECT_EQ(one.whyNotWhole(), kCannotWrite);
      EXPECT_EQ(end->texts, std::vector<std::string>{kCannotWrite});
      EXPECT_EQ(routine->asked.size(), n);
      EXPECT_EQ(routine->closes, 1);
      EXPECT_TRUE(read("f") == text.substr(0, (n - 1) * 4096));
      removeContents(dir.path());
    }
}

// Kept: the rest is written from the piece's beginning; that is not what was sent.
TEST_F(Receiver, AWriteThatTakesLessIsRetriedAndThenCountsAsFailed) {
  const ScriptedEndPtr end = endWith(sizeHeader(6) + "abcdef");
  const PacedRoutinePtr routine = pacedAt("f");
  routine->paces = {2};
  ASSERT_EQ(receiver.init(end, routine, kNew), 0);
  EXPECT_EQ(receiver.receiveData(), 0);
  EXPECT_EQ(routine->asked, (std::vector<int>{6, 4}));
  EXPECT_EQ(read("f"), "ababcd");
  EXPECT_FALSE(receiver.isWhole());
  EXPECT_EQ(getErrorMessage(), kCannotWrite);
  EXPECT_EQ(end->texts, std::vector<std::string>{kCannotWrite});
}

TEST_F(Receiver, AFileThatCannotBeClosedIsNotWhole) {
  const ScriptedEndPtr end = endWith(sizeHeader(4) + "text");
  const PacedRoutinePtr routine = pacedAt("f");
  routine->closeFails = true;
  ASSERT_EQ(receiver.init(end, routine, kNew), 0);
  EXPECT_EQ(receiver.receiveData(), 0);
  EXPECT_FALSE(receiver.isWhole());
  EXPECT_EQ(receiver.whyNotWhole(), kCannotWrite);
  EXPECT_EQ(getErrorMessage(), kCannotWrite);
  EXPECT_EQ(end->texts, std::vector<std::string>{kCannotWrite});
}

TEST_F(Receiver, TheOtherSidesReasonComesFirst) {
  const ScriptedEndPtr end = endWith(sizeHeader(9));
  end->texts = {"the other side's"};
  ASSERT_EQ(receiver.init(end, routineAt("f"), kNew), 0);
  EXPECT_EQ(receiver.receiveData(), 1);
  EXPECT_EQ(receiver.whyNotWhole(), "the other side's");
}

// The file is let go at the stream's end: what comes then has nowhere to go.
TEST_F(Receiver, DataWithoutAFileIsNotTaken) {
  const ScriptedEndPtr end = endWith(sizeHeader(1) + "1");
  ASSERT_EQ(receiver.init(end, routineAt("f"), kNew), 0);
  EXPECT_EQ(receiver.receiveData(), 0);
  end->incoming = sizeHeader(2) + "22";
  EXPECT_EQ(receiver.receiveData(), 0);
  EXPECT_EQ(getErrorMessage(), kCannotWrite);
  EXPECT_EQ(read("f"), "1");
  EXPECT_FALSE(receiver.isWhole());
}

TEST_F(Receiver, AThreadReceivesTheSame) {
  const std::string text = variedText(3000000);  // more than a channel holds
  const HOQChannelPtr channel = newChannelMemory();
  ASSERT_EQ(receiver.init(channel->getDestinationEnd(), routineAt("f"), kNew), 0);
  EXPECT_FALSE(receiver.isRunning());
  ASSERT_EQ(receiver.startReceiveData(), 0);
  EXPECT_TRUE(receiver.isRunning());
  const HOQChannelEndPtr other = channel->getSourceEnd();
  const std::string stream = sizeHeader(text.size()) + text;
  std::uint64_t taken = 0;
  EXPECT_EQ(other->write(stream.data(), 8, &taken), 0);
  for (std::size_t at = 8; at < stream.size(); at += 4096)
    ASSERT_EQ(
        other->write(stream.data() + at, std::min<std::size_t>(4096, stream.size() - at), &taken),
        0);
  EXPECT_EQ(receiver.waitFinish(), 0);
  EXPECT_FALSE(receiver.isRunning());
  EXPECT_TRUE(receiver.isWhole());
  EXPECT_TRUE(read("f") == text);
  EXPECT_EQ(receiver.code, 0);
}

TEST_F(Receiver, AThreadsCodeIsKept) {
  const RoutinePtr routine = routineAt("f");
  ASSERT_EQ(receiver.init(endWith(""), routine, kNew), 0);
  ASSERT_EQ(receiver.startReceiveData(), 0);
  EXPECT_EQ(receiver.waitFinish(), 1);
  EXPECT_EQ(receiver.code, 1);
  EXPECT_EQ(receiver.message, "");
  EXPECT_FALSE(routine->isOpened());
}

TEST_F(Receiver, GivingUpEndsARunningThread) {
  const HOQChannelPtr channel = newChannelMemory();
  ASSERT_EQ(receiver.init(channel->getDestinationEnd(), routineAt("f"), kNew), 0);
  ASSERT_EQ(receiver.startReceiveData(), 0);
  receiver.giveUp("enough");
  EXPECT_EQ(receiver.waitFinish(), 1);
  EXPECT_EQ(receiver.whyNotWhole(), "enough");
}

TEST_F(Receiver, AThreadThatCannotBeStartedIsToldByItsErrorNumber) {
  const RoutinePtr routine = routineAt("f");
  ASSERT_EQ(receiver.init(endWith(""), routine, kNew), 0);
  {
    const NoThreads none;
    EXPECT_EQ(receiver.startReceiveData(), EAGAIN);
  }
  EXPECT_EQ(getErrorMessage(), "");
  EXPECT_FALSE(receiver.isRunning());
  EXPECT_EQ(receiver.waitFinish(), 0);
  EXPECT_FALSE(receiver.isWhole());
  EXPECT_FALSE(routine->isOpened());
}

TEST_F(Receiver, BytesThatAreAllThereNeedNoThread) {
  const std::string text = variedText(10'000);
  const ScriptedEndPtr end = endWith(sizeHeader(text.size()) + text);
  end->allIsThere = true;
  ASSERT_EQ(receiver.init(end, routineAt("f"), kNew), 0);
  const NoThreads none;
  EXPECT_EQ(receiver.startReceiveData(), 0);
  EXPECT_TRUE(receiver.isRunning());
  EXPECT_EQ(receiver.waitFinish(), 0);
  EXPECT_FALSE(receiver.isRunning());
  EXPECT_TRUE(receiver.isWhole());
  EXPECT_EQ(read("f"), text);
}

TEST_F(Receiver, WithoutAThreadTheErrorTextOfWhoWaitsIsHis) {
  const ScriptedEndPtr end = endWith(sizeHeader(10) + "short");
  end->allIsThere = true;
  ASSERT_EQ(receiver.init(end, routineAt("f"), kNew), 0);
  ASSERT_EQ(receiver.startReceiveData(), 0);
  setErrorMessage("his own");
  EXPECT_EQ(receiver.waitFinish(), 0);
  EXPECT_EQ(getErrorMessage(), "his own");
  EXPECT_EQ(receiver.whyNotWhole(), "The data ended before the end of the file");
}

}  // namespace
}  // namespace HOQ::test
