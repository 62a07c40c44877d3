// How receiving ends: what stays and what goes, and that nothing outlives it.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <unistd.h>

#include <atomic>
#include <barrier>
#include <csignal>
#include <thread>

#include "filemanager/haul/DeserializerFixture.h"
#include "support/ResourceCount.h"

namespace HOQ::test {
namespace {

constexpr char kEndsEarly[] = "The data ended before the end of the file";

class DeserializerEnd : public DeserializerFixture {
 protected:
  /// A receiving end at "@/t" at work, that the test sends to.
  Deserializer begun(int options = 0) const {
    const Deserializer one = deserializing(itemAtT(true, options));
    EXPECT_EQ(one->startCopying(channel->getDestinationEnd()), 0);
    return one;
  }
};

// Whoever comes second replaces what the first has made, or is refused: they never share a file.
TEST_F(DeserializerEnd, OfTwoAtOneTimeOneFileIsThereWhole) {
  const std::string texts[] = {std::string(5000, 'a'), std::string(9000, 'b')};
  for (int turn = 0; turn < 300; ++turn) {
    std::barrier together(2);
    std::atomic<int> whole{0};
    const auto receive = [&](const std::string& text) {
      const HOQChannelPtr own = newChannelMemory();
      const Deserializer one = deserializing(itemAtT(true, kOverwriteBit));
      together.arrive_and_wait();
      const bool begins = one->startCopying(own->getDestinationEnd()) == 0;
      together.arrive_and_wait();
      if (begins) {
        send(own, sizeHeader(text.size()));
        send(own, text);
        EXPECT_EQ(one->waitCopyingFinish(), 0);
        ++whole;
      }
      EXPECT_EQ(one->finish(), 0);
    };
    std::thread other(receive, texts[1]);
    receive(texts[0]);
    other.join();
    ASSERT_GE(whole, 1);
    const std::string found = read("t");
    ASSERT_TRUE(found == texts[0] || found == texts[1]) << "turn " << turn << ", both: " << whole;
    ASSERT_EQ(::unlink((dir / "t").c_str()), 0);
  }
}

TEST_F(DeserializerEnd, AWholeFileStays) {
  const ResourceCount before;
  const std::string text = variedText(100000);
  const Deserializer one = begun();
  send(channel, sizeHeader(text.size()));
  send(channel, text);
  EXPECT_EQ(one->waitCopyingFinish(), 0);
  EXPECT_TRUE(read("t") == text);  // it is there as soon as it was waited for
  EXPECT_EQ(one->finish(), 0);
  EXPECT_EQ(getErrorMessage(), "");
  EXPECT_TRUE(read("t") == text);
  EXPECT_EQ(before.difference(), "");
}

// Kept: waiting answers 0, or 1 where not even the size came. That a new file is not whole is told
// by the text and by finish().
TEST_F(DeserializerEnd, AFileThatIsNotWholeGoes) {
  const struct {
    const char* what;
    std::string sent;
    int code;
    const char* text;
  } rows[] = {
      {"nothing comes", "", 1, "The size of the file did not come"},
      {"half the size comes", std::string(3, '\0'), 1, "The size of the file did not come"},
      {"no bytes come", sizeHeader(5000), 0, kEndsEarly},
      {"some come", sizeHeader(5000) + variedText(4999), 0, kEndsEarly},
      {"too many come", sizeHeader(2) + "123", 0, "More data came than the file has"},
  };
  for (const auto& row : rows)
    for (const bool replaces : {false, true}) {
      SCOPED_TRACE(row.what);
      clearErrorMessage();
      removeContents(dir.path());
      trees::make(dir.path(), replaces ? "t=old bystander=1" : "bystander=1");
      const ResourceCount before;
      const HOQChannelPtr fresh = newChannelMemory();
      const Deserializer one = deserializing(itemAtT(true, replaces ? kOverwriteBit : 0));
      ASSERT_EQ(one->startCopying(fresh->getDestinationEnd()), 0);
      if (!row.sent.empty()) send(fresh, row.sent);
      fresh->getSourceEnd()->close();
      EXPECT_EQ(one->waitCopyingFinish(), row.code);
      EXPECT_EQ(getErrorMessage(), row.text);
      EXPECT_NE(fresh->getSourceEnd()->failure(), "");
      clearErrorMessage();
      EXPECT_EQ(one->finish(), -1);
      EXPECT_EQ(getErrorMessage(), row.text);
      EXPECT_EQ(left(), "bystander=1");
      EXPECT_EQ(before.difference(), "");
      EXPECT_EQ(one->finish(), 0);  // nothing is left to be done
    }
}

TEST_F(DeserializerEnd, TheSendersReasonIsTold) {
  const Deserializer one = begun();
  send(channel, sizeHeader(9) + "1");
  channel->getSourceEnd()->giveUp("Cannot read from file");
  (void)one->waitCopyingFinish();  // 0 or 1: it may have met the receiver before or after the size
  EXPECT_EQ(getErrorMessage(), "Cannot read from file");
  EXPECT_EQ(one->finish(), -1);
  EXPECT_EQ(left(), "");
}

TEST_F(DeserializerEnd, FinishJoinsAReceiverThatRuns) {
  const ResourceCount before;
  for (const std::string& sent : {std::string(), sizeHeader(9) + "some"}) {
    const HOQChannelPtr fresh = newChannelMemory();
    const Deserializer one = deserializing(itemAtT(true, 0));
    ASSERT_EQ(one->startCopying(fresh->getDestinationEnd()), 0);
    if (!sent.empty()) send(fresh, sent);
    EXPECT_TRUE(isThere("t"));
    EXPECT_EQ(one->finish(), -1);
    EXPECT_EQ(getErrorMessage(), "The transfer was broken off");
    EXPECT_EQ(fresh->getSourceEnd()->failure(), "The transfer was broken off");
    EXPECT_EQ(left(), "");
  }
  EXPECT_EQ(before.difference(), "");
}

TEST_F(DeserializerEnd, AnotherFileThatTookThePlaceStays) {
  const Deserializer one = begun();
  write("other", "other");
  ASSERT_EQ(rename((dir / "other").c_str(), (dir / "t").c_str()), 0);
  EXPECT_EQ(one->finish(), -1);
  EXPECT_EQ(left(), "t=other");
}

TEST_F(DeserializerEnd, AFileThatWasRemovedMeanwhileIsNoMatter) {
  const Deserializer one = begun();
  ASSERT_EQ(unlink((dir / "t").c_str()), 0);
  EXPECT_EQ(one->finish(), -1);
  EXPECT_EQ(left(), "");
}

TEST_F(DeserializerEnd, ADirectoryStays) {
  const Deserializer one = deserializing(itemAtT(false, 0));
  EXPECT_EQ(one->startCopying(channel->getDestinationEnd()), 0);
  EXPECT_EQ(one->finish(), 0);
  EXPECT_EQ(left(), "t/");
}

TEST_F(DeserializerEnd, WhatWasRefusedStays) {
  write("t", "old");
  const Deserializer one = deserializing(itemAtT(true, 0));
  EXPECT_EQ(one->startCopying(channel->getDestinationEnd()), -1);
  EXPECT_EQ(one->finish(), 0);
  EXPECT_EQ(left(), "t=old");
}

TEST_F(DeserializerEnd, WithoutAThreadThereIsNoFile) {
  const ResourceCount before;
  const Deserializer one = deserializing(itemAtT(true, 0));
  {
    const NoThreads none;
    EXPECT_EQ(one->startCopying(channel->getDestinationEnd()), -1);
  }
  EXPECT_EQ(getErrorMessage(), std::string("Cannot start to receive: ") + std::strerror(EAGAIN));
  EXPECT_EQ(one->waitCopyingFinish(), -1);
  EXPECT_EQ(one->finish(), -1);
  EXPECT_EQ(left(), "");
  EXPECT_EQ(before.difference(), "");
}

TEST_F(DeserializerEnd, WithoutAnEndThereIsNoFile) {
  const Deserializer one = deserializing(itemAtT(true, 0));
  EXPECT_EQ(one->startCopying(nullptr), -1);
  EXPECT_EQ(one->finish(), 0);
  EXPECT_EQ(left(), "");
}

TEST_F(DeserializerEnd, OneFileIsReceivedAtATime) {
  const Deserializer one = begun();
  EXPECT_EQ(one->startCopying(newChannelMemory()->getDestinationEnd()), -1);
  EXPECT_EQ(getErrorMessage(), "A file is being received already");
  send(channel, sizeHeader(3) + "new");
  EXPECT_EQ(one->waitCopyingFinish(), 0);
  EXPECT_EQ(one->finish(), 0);
  EXPECT_EQ(left(), "t=new");
}

TEST_F(DeserializerEnd, NothingIsWaitedForThatDoesNotRun) {
  const Deserializer one = deserializing(itemAtT(true, 0));
  EXPECT_EQ(one->waitCopyingFinish(), -1);
  EXPECT_EQ(getErrorMessage(), "No file is being received");
  EXPECT_EQ(one->finish(), 0);
}

TEST_F(DeserializerEnd, FinishLetsTheEndGo) {
  const ScriptedEndPtr end(new ScriptedEnd(sizeHeader(0)));
  const Deserializer one = deserializing(itemAtT(true, 0));
  EXPECT_EQ(one->startCopying(end), 0);
  EXPECT_EQ(one->waitCopyingFinish(), 0);
  EXPECT_EQ(one->finish(), 0);
  EXPECT_EQ(end->use_count(), 1U);
}

/// A limit that strikes in the middle of a piece: the write takes less, and its retry fails.
TEST_F(DeserializerEnd, AFileBeyondTheSizeLimitGoesAndTheSenderLearnsWhy) {
  EXPECT_EQ(inChild([this] {
              ASSERT_NE(signal(SIGXFSZ, SIG_IGN), SIG_ERR);
              const rlimit limit{6000, 6000};
              const Deserializer one = begun();
              ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
              send(channel, sizeHeader(20000));
              const HOQChannelEndPtr source = channel->getSourceEnd();
              const std::string piece = variedText(4096);
              std::uint64_t taken = 0;
              int written = 0;
              for (int n = 0; n < 5 && written == 0; ++n)
                written = source->write(piece.data(), 4000, &taken);
              EXPECT_EQ(one->waitCopyingFinish(), 0);
              EXPECT_EQ(getErrorMessage(), "Cannot write to file");
              EXPECT_NE(source->write(piece.data(), 1, &taken), 0);  // at once
              EXPECT_EQ(source->failure(), "Cannot write to file");
              EXPECT_EQ(one->finish(), -1);
              EXPECT_EQ(left(), "");
            }),
            "");
}

/// A file system of 64 KiB that is full before the file is.
TEST_F(DeserializerEnd, AFileThatFillsTheDiskGoes) {
  const std::string why = whyNoMounts();
  if (!why.empty()) GTEST_SKIP() << why;
  EXPECT_EQ(inChild([this] {
              ASSERT_EQ(mountOwnFileSystem(dir.path()), "");
              ASSERT_EQ(mount("none", dir.path().c_str(), "tmpfs", MS_REMOUNT, "size=65536"), 0);
              const Deserializer one = begun();
              const std::string text = variedText(200000);
              send(channel, sizeHeader(text.size()));
              std::uint64_t taken = 0;  // all of it, or it fails: the disk may be full by then
              (void)channel->getSourceEnd()->write(text.data(), text.size(), &taken);
              EXPECT_EQ(one->waitCopyingFinish(), 0);
              EXPECT_EQ(getErrorMessage(), "Cannot write to file");
              EXPECT_EQ(one->finish(), -1);
              EXPECT_EQ(left(), "");
            }),
            "");
}

}  // namespace
}  // namespace HOQ::test
