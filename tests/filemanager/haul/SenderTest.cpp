#include "haul/HOQFileSender.h"

#include <fcntl.h>
#include <hoq/HOQChannelMemory.h>
#include <unistd.h>

#include <boost/smart_ptr/weak_ptr.hpp>
#include <cerrno>

#include "filemanager/haul/HaulFixture.h"

namespace HOQ::test {
namespace {

constexpr char kCannotOpen[] = "Cannot open file to read";
constexpr char kCannotRead[] = "Cannot read from file";

class Sender : public HaulFixture {
 protected:
  PacedRoutinePtr pacedAt(const std::string& item) const {
    return PacedRoutinePtr(new PacedRoutine(dir / item));
  }

  HOQFileSender sender;
  const ScriptedEndPtr end{new ScriptedEnd};
};

TEST_F(Sender, TheStreamIsTheSizeAndTheBytes) {
  for (const std::size_t size : {0, 1, 255, 256, 4095, 4096, 4097, 8192, 70000}) {
    SCOPED_TRACE(size);
    const std::string text = variedText(size);
    write("f", text);
    const ScriptedEndPtr fresh(new ScriptedEnd);
    HOQFileSender one;
    ASSERT_EQ(one.init(fresh, routineAt("f")), 0);
    EXPECT_EQ(one.sendData(), 0);
    EXPECT_TRUE(fresh->outgoing == sizeHeader(size) + text);
    EXPECT_EQ(fresh->closes, 0);
    EXPECT_FALSE(fresh->givenUp());
    EXPECT_EQ(getErrorMessage(), "");
  }
}

TEST_F(Sender, TheSizeComesInOnePieceWithTheMostSignificantByteFirst) {
  write("f", std::string(0x10203, 'x'));
  ASSERT_EQ(sender.init(end, routineAt("f")), 0);
  EXPECT_EQ(sender.sendData(), 0);
  EXPECT_EQ(end->outgoing.substr(0, 8), std::string("\0\0\0\0\0\1\2\3", 8));
  ASSERT_GT(end->pieces.size(), 2U);
  EXPECT_EQ(end->pieces[0], 8U);
  EXPECT_EQ(end->pieces[1], 4096U);
}

/// A sparse file: its size alone counts.
TEST_F(Sender, SizesHave64Bits) {
  write("f", "");
  ASSERT_EQ(truncate((dir / "f").c_str(), 0x123456789A), 0);
  end->failingWrite = 2;  // nobody wants the rest
  ASSERT_EQ(sender.init(end, routineAt("f")), 0);
  EXPECT_EQ(sender.sendData(), 0);
  EXPECT_EQ(end->outgoing, std::string("\0\0\0\x12\x34\x56\x78\x9A", 8));
}

TEST_F(Sender, WithCloseOnFinishThereIsNoSizeAndTheEndIsClosed) {
  for (const std::string& text : {std::string(), variedText(5000)}) {
    write("f", text);
    const ScriptedEndPtr fresh(new ScriptedEnd);
    HOQFileSender one;
    one.setCloseOnFinish(true);
    ASSERT_EQ(one.init(fresh, routineAt("f")), 0);
    EXPECT_EQ(one.sendData(), 0);
    EXPECT_EQ(fresh->outgoing, text);
    EXPECT_EQ(fresh->closes, 1);
  }
}

TEST_F(Sender, AFileThatGrowsIsCutAtItsSize) {
  write("f", variedText(5000));
  const boost::shared_ptr<HOQFileRoutine> growing(
      new InterferingRoutine(dir / "f", [this](Call call, const std::string&) {
        if (call == Call::Read) write("f", variedText(9000));
      }));
  ASSERT_EQ(sender.init(end, growing), 0);
  EXPECT_EQ(sender.sendData(), 0);
  EXPECT_TRUE(end->outgoing == sizeHeader(5000) + variedText(5000));
  EXPECT_FALSE(end->givenUp());
}

TEST_F(Sender, AFileThatYieldsLittleAtATimeIsSentWhole) {
  const std::string text = variedText(9000);
  write("f", text);
  const PacedRoutinePtr routine = pacedAt("f");
  routine->paces = {1, 2, 4096, 7};
  ASSERT_EQ(sender.init(end, routine), 0);
  EXPECT_EQ(sender.sendData(), 0);
  EXPECT_TRUE(end->outgoing == sizeHeader(9000) + text);
}

// It waits for as long as the other side does, and does not keep a processor busy meanwhile.
TEST_F(Sender, AFileThatYieldsTooLittleIsWaitedForWhileTheEndStands) {
  write("f", variedText(5000));
  const boost::shared_ptr<HOQFileRoutine> shrinking(
      new InterferingRoutine(dir / "f", [this](Call call, const std::string&) {
        if (call != Call::Read) return;
        EXPECT_EQ(truncate((dir / "f").c_str(), 1000), 0);
      }));
  end->standsFor = 3;
  ASSERT_EQ(sender.init(end, shrinking), 0);
  EXPECT_EQ(sender.sendData(), 0);
  EXPECT_EQ(end->standsAsked, 4);
  EXPECT_EQ(end->outgoing.size(), 8U + 1000U);
  EXPECT_EQ(end->texts, std::vector<std::string>{kCannotRead});
  EXPECT_EQ(getErrorMessage(), kCannotRead);
  EXPECT_FALSE(shrinking->isOpened());
}

TEST_F(Sender, AFileThatYieldsNothingForAWhileIsSentWhole) {
  const std::string text = variedText(5000);
  write("f", text);
  const PacedRoutinePtr routine = pacedAt("f");
  routine->paces = {100, 0, 0, 50};
  end->standsFor = 100;
  ASSERT_EQ(sender.init(end, routine), 0);
  EXPECT_EQ(sender.sendData(), 0);
  EXPECT_TRUE(end->outgoing == sizeHeader(5000) + text);
  EXPECT_EQ(end->standsAsked, 2);
  EXPECT_FALSE(end->givenUp());
}

TEST_F(Sender, EmptyArgumentsAreRefusedWithoutAWord) {
  write("f", "1");
  EXPECT_EQ(sender.init(nullptr, routineAt("f")), -1);
  EXPECT_EQ(sender.init(end, nullptr), -1);
  EXPECT_EQ(getErrorMessage(), "");
}

TEST_F(Sender, OpensToReadOnly) {
  write("f", "1");
  const PacedRoutinePtr routine = pacedAt("f");
  ASSERT_EQ(sender.init(end, routine), 0);
  EXPECT_EQ(routine->openFlags, std::vector<int>{0});
}

TEST_F(Sender, WhatCannotBeOpenedIsTold) {
  EXPECT_EQ(sender.init(end, routineAt("nope")), -1);
  EXPECT_EQ(getErrorMessage(), kCannotOpen);
}

// Opening it would wait for somebody who writes.
TEST_F(Sender, AFifoIsNotOpened) {
  trees::make(dir.path(), "p| l->p");
  for (const char* item : {"p", "l"}) {
    clearErrorMessage();
    const PacedRoutinePtr routine = pacedAt(item);
    HOQFileSender one;
    EXPECT_EQ(one.init(end, routine), -1) << item;
    EXPECT_EQ(getErrorMessage(), kCannotOpen);
    EXPECT_TRUE(routine->openFlags.empty());
    EXPECT_FALSE(routine->followLinks);
  }
}

TEST_F(Sender, ASocketCannotBeOpened) {
  trees::make(dir.path(), "s~");
  EXPECT_EQ(sender.init(end, routineAt("s")), -1);
  EXPECT_EQ(getErrorMessage(), kCannotOpen);
}

TEST_F(Sender, AFileThatCannotBeExaminedIsTold) {
  write("f", "1");
  FaultPlan plan(2, EIO, Call::Stat);  // the first is init's
  const RoutinePtr routine(new FaultyRoutine(dir / "f", plan));
  ASSERT_EQ(sender.init(end, routine), 0);
  EXPECT_EQ(sender.sendData(), -1);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(getErrorMessage(), kCannotOpen);
  EXPECT_EQ(end->texts, std::vector<std::string>{kCannotOpen});
  EXPECT_EQ(end->outgoing, "");
  EXPECT_TRUE(routine->isOpened());  // kept: the object that holds it closes it
  EXPECT_EQ(sender.waitFinish(), 0);
  EXPECT_FALSE(routine->isOpened());
}

TEST_F(Sender, ASizeThatIsNotTakenWholeIsAFailureWithoutAText) {
  write("f", "text");
  for (const bool fails : {true, false}) {
    const ScriptedEndPtr bad(new ScriptedEnd);
    (fails ? bad->failingWrite : bad->shortWrite) = 1;
    bad->shortTakes = 7;
    const RoutinePtr routine = routineAt("f");
    HOQFileSender one;
    ASSERT_EQ(one.init(bad, routine), 0);
    EXPECT_EQ(one.sendData(), -1);
    EXPECT_EQ(getErrorMessage(), "");
    EXPECT_EQ(bad->pieces, std::vector<std::uint64_t>{8});
    EXPECT_TRUE(bad->givenUp());
    EXPECT_TRUE(routine->isOpened());  // kept
    EXPECT_EQ(one.waitFinish(), 0);
  }
}

// Kept: a success by its code, and only a text says otherwise.
TEST_F(Sender, AReadThatFailsIsToldByTheTextAlone) {
  write("f", variedText(9000));
  for (int n = 1; n <= 3; ++n) {
    FaultPlan plan(n, EIO, Call::Read);
    const ScriptedEndPtr fresh(new ScriptedEnd);
    const RoutinePtr routine(new FaultyRoutine(dir / "f", plan));
    HOQFileSender one;
    ASSERT_EQ(one.init(fresh, routine), 0);
    clearErrorMessage();
    EXPECT_EQ(one.sendData(), 0);
    EXPECT_TRUE(plan.struck());
    EXPECT_EQ(getErrorMessage(), kCannotRead);
    EXPECT_TRUE(fresh->outgoing == sizeHeader(9000) + variedText(9000).substr(0, (n - 1) * 4096U));
    EXPECT_EQ(fresh->texts, std::vector<std::string>{kCannotRead});
    EXPECT_FALSE(routine->isOpened());
  }
}

// Kept: the same text.
TEST_F(Sender, AChannelThatFailsIsToldByTheTextOfAReadAlone) {
  write("f", variedText(9000));
  for (const bool takesNothing : {false, true})
    for (int n = 2; n <= 4; ++n) {
      const ScriptedEndPtr bad(new ScriptedEnd);
      (takesNothing ? bad->shortWrite : bad->failingWrite) = n;
      const RoutinePtr routine = routineAt("f");
      HOQFileSender one;
      ASSERT_EQ(one.init(bad, routine), 0);
      clearErrorMessage();
      EXPECT_EQ(one.sendData(), 0);
      EXPECT_EQ(getErrorMessage(), kCannotRead);
      EXPECT_EQ(bad->pieces.size(), static_cast<std::size_t>(n));
      EXPECT_EQ(bad->outgoing.size(), 8U + (static_cast<unsigned>(n) - 2) * 4096U);
      EXPECT_FALSE(routine->isOpened());
    }
}

// Kept: the rest is asked for from the piece's beginning. An end takes all or nothing, so that it
// does not come to this.
TEST_F(Sender, ARetryOffersThePieceFromItsBeginning) {
  write("f", "abcdef");
  end->shortWrite = 2;
  end->shortTakes = 2;
  ASSERT_EQ(sender.init(end, routineAt("f")), 0);
  EXPECT_EQ(sender.sendData(), 0);
  EXPECT_EQ(end->outgoing, sizeHeader(6) + "ab" + "abcd");
  EXPECT_EQ(end->pieces, (std::vector<std::uint64_t>{8, 6, 4}));
}

TEST_F(Sender, ADirectorySendsNothing) {
  for (const bool close : {false, true}) {
    trees::make(dir.path(), "d/");
    const ScriptedEndPtr fresh(new ScriptedEnd);
    const PacedRoutinePtr routine = pacedAt("d");
    HOQFileSender one;
    one.setCloseOnFinish(close);
    ASSERT_EQ(one.init(fresh, routine), 0);
    EXPECT_EQ(one.sendData(), 0);
    EXPECT_TRUE(fresh->pieces.empty());
    EXPECT_EQ(fresh->closes, 0);
    EXPECT_EQ(routine->closes, 0);
    EXPECT_EQ(getErrorMessage(), "");
    EXPECT_TRUE(fresh->givenUp());  // whoever waits for a file learns of it
    EXPECT_EQ(one.waitFinish(), 0);
    EXPECT_EQ(routine->closes, 1);
  }
}

// Kept: a success by its code.
TEST_F(Sender, ALinkIsToldByTheTextAlone) {
  trees::make(dir.path(), "f=text l->f");
  for (const bool close : {false, true}) {
    const ScriptedEndPtr fresh(new ScriptedEnd);
    const RoutinePtr routine = routineAt("l");
    HOQFileSender one;
    one.setCloseOnFinish(close);
    ASSERT_EQ(one.init(fresh, routine), 0);
    clearErrorMessage();
    EXPECT_EQ(one.sendData(), 0);
    EXPECT_EQ(getErrorMessage(), "Cannot copy link");
    EXPECT_TRUE(fresh->pieces.empty());
    EXPECT_EQ(fresh->texts, std::vector<std::string>{"Cannot copy link"});
    EXPECT_EQ(fresh->closes, close ? 1 : 0);
    EXPECT_FALSE(routine->isOpened());
  }
}

TEST_F(Sender, ADeviceSendsNothingAndSaysNothing) {
  const RoutinePtr routine(new HOQFileRoutineLin("/dev/null"));
  ASSERT_EQ(sender.init(end, routine), 0);
  EXPECT_EQ(sender.sendData(), 0);
  EXPECT_EQ(getErrorMessage(), "");
  EXPECT_TRUE(end->pieces.empty());
  EXPECT_TRUE(end->givenUp());
  EXPECT_FALSE(routine->isOpened());
}

TEST_F(Sender, AThreadSendsTheSame) {
  const std::string text = variedText(3000000);  // more than a channel holds
  write("f", text);
  const HOQChannelPtr channel = newChannelMemory();
  ASSERT_EQ(sender.init(channel->getSourceEnd(), routineAt("f")), 0);
  ASSERT_EQ(sender.startSendData(), 0);
  const HOQChannelEndPtr other = channel->getDestinationEnd();
  std::string came;
  char piece[5000];
  while (came.size() < text.size() + 8) {
    std::uint64_t got = 0;
    ASSERT_EQ(other->read(piece, sizeof piece, &got), 0);
    ASSERT_GT(got, 0U);
    came.append(piece, got);
  }
  EXPECT_EQ(sender.waitFinish(), 0);
  EXPECT_TRUE(came == sizeHeader(text.size()) + text);
  EXPECT_EQ(sender.code, 0);
  EXPECT_EQ(sender.message, "");
}

TEST_F(Sender, AThreadsTextIsKeptWithItsCode) {
  write("f", "1");
  FaultPlan plan(2, EIO, Call::Stat);
  const RoutinePtr routine(new FaultyRoutine(dir / "f", plan));
  ASSERT_EQ(sender.init(end, routine), 0);
  ASSERT_EQ(sender.startSendData(), 0);
  EXPECT_EQ(sender.waitFinish(), -1);
  EXPECT_EQ(sender.code, -1);
  EXPECT_EQ(sender.message, kCannotOpen);
  EXPECT_EQ(getErrorMessage(), "");  // the thread's own
  EXPECT_FALSE(routine->isOpened());
}

// Kept: with a code of 0 there is no message in the record.
TEST_F(Sender, AThreadsTextWithoutACodeIsNotKept) {
  trees::make(dir.path(), "f l->f");
  ASSERT_EQ(sender.init(end, routineAt("l")), 0);
  ASSERT_EQ(sender.startSendData(), 0);
  EXPECT_EQ(sender.waitFinish(), 0);
  EXPECT_EQ(sender.message, "");
  EXPECT_EQ(end->texts, std::vector<std::string>{"Cannot copy link"});
}

TEST_F(Sender, AThreadThatCannotBeStartedIsToldByItsErrorNumber) {
  write("f", "1");
  const RoutinePtr routine = routineAt("f");
  ASSERT_EQ(sender.init(end, routine), 0);
  {
    const NoThreads none;
    EXPECT_EQ(sender.startSendData(), EAGAIN);
  }
  EXPECT_EQ(getErrorMessage(), "");
  EXPECT_EQ(sender.waitFinish(), 0);
  EXPECT_FALSE(routine->isOpened());
}

TEST_F(Sender, WaitingLetsTheFileGo) {
  write("f", "1");
  RoutinePtr routine = routineAt("f");
  const boost::weak_ptr<HOQFileRoutine> watched = routine;
  ASSERT_EQ(sender.init(end, std::move(routine)), 0);
  EXPECT_EQ(sender.sendData(), 0);
  EXPECT_FALSE(watched.expired());
  EXPECT_EQ(sender.waitFinish(), 0);
  EXPECT_TRUE(watched.expired());
}

}  // namespace
}  // namespace HOQ::test
