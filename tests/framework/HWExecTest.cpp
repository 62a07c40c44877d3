#include "framework/HWExecFixture.h"

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <optional>
#include <thread>

#include "support/TempDir.h"

namespace HOQ {
namespace {

using namespace test;

constexpr ExecutionArgs kNoTime{0, 64 * 1024};

TEST_F(HWExecTest, GivesTheLinesWithoutTheirBreaksAndTheEnd) {
  const struct {
    Words words;
    Words lines;
    std::string end;
  } cases[] = {
      {{"print", "one\ntwo\n"}, {"one", "two"}, "exit 0"},
      {{"print", "no break at the end"}, {"no break at the end"}, "exit 0"},
      {{"print", "\n\nx\n\n"}, {"", "", "x", ""}, "exit 0"},
      {{"print", "text; charset=\xff\xfe %s\r\n"}, {"text; charset=\xff\xfe %s\r"}, "exit 0"},
      {{"print", ""}, {}, "exit 0"},
      {{"exit", "9"}, {}, "exit 9"},
      {{"close"}, {"first"}, "exit 3"},
      {{"die"}, {}, "signal " + std::to_string(SIGTERM)},
  };
  for (const auto& each : cases) {
    HWExec command;
    ASSERT_EQ(startChild(command, each.words), 0) << each.words[0];
    EXPECT_EQ(linesOf(command), each.lines) << each.words[0];
    EXPECT_EQ(command.gets(kOut), nullptr);
    EXPECT_EQ(ending(command.wait()), each.end) << each.words[0];
  }
}

TEST_F(HWExecTest, CutsALineAtItsLimitAndGoesOnWithTheNext) {
  const struct {
    std::size_t printed;
    std::size_t limit;
    std::size_t kept;
  } cases[] = {{9, 10, 9},          {10, 10, 10},          {11, 10, 10},
               {5, 0, 0},           {4095, 65536, 4095},   {4096, 65536, 4096},
               {4097, 65536, 4097}, {1'000'000, 100, 100}, {1'000'000, 65536, 65536}};
  for (const auto& each : cases) {
    HWExec command;
    const ExecutionArgs limits{10'000, each.limit};
    ASSERT_EQ(startChild(command, {"long", std::to_string(each.printed)}, &limits), 0);
    const char* line = command.gets(kOut);
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(std::string(line), std::string(each.kept, 'a')) << each.printed;
    line = command.gets(kOut);
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(std::string(line), std::string("next").substr(0, each.limit));
    EXPECT_EQ(command.gets(kOut), nullptr);
    EXPECT_EQ(ending(command.wait()), "exit 0");
  }
}

TEST_F(HWExecTest, EndsACommandThatIsNoLongerListenedTo) {
  HWExec command;
  ASSERT_EQ(startChild(command, {"floodLines"}), 0);
  ASSERT_STREQ(command.gets(kOut), "y");
  EXPECT_EQ(ending(command.wait()), "signal " + std::to_string(SIGPIPE));
}

TEST_F(HWExecTest, StopsReadingAFloodWhenItsTimeIsOver) {
  for (const char* const mode : {"floodLines", "floodLine"}) {
    HWExec command;
    const ExecutionArgs limits{50, 100};
    ASSERT_EQ(startChild(command, {mode}, &limits), 0);
    while (command.gets(kOut) != nullptr) {
    }
    EXPECT_TRUE(WIFSIGNALED(command.wait())) << mode;
  }
}

TEST_F(HWExecTest, KillsACommandThatHangsWhenItsTimeIsOver) {
  for (const int timeoutMs : {-1, 0, 1, 50})
    for (const char* const mode : {"hang", "ignoreTerm", "stop"}) {
      HWExec command;
      const ExecutionArgs limits{timeoutMs, 100};
      ASSERT_EQ(startChild(command, {mode}, &limits), 0);
      while (command.gets(kOut) != nullptr) {
      }
      EXPECT_EQ(ending(command.wait()), "signal " + std::to_string(SIGKILL)) << mode;
    }
}

TEST_F(HWExecTest, GivesNothingWhenThereIsNoTime) {
  HWExec command;
  ASSERT_EQ(startChild(command, {"print", "one\n"}, &kNoTime), 0);
  EXPECT_EQ(command.gets(kOut), nullptr);
  (void)command.wait();  // it may have ended by itself before it was killed
}

TEST_F(HWExecTest, KillsWithTheObject) {
  {
    HWExec command;
    ASSERT_EQ(startChild(command, {"hang"}), 0);
    ASSERT_STREQ(command.gets(kOut), "begun");
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

// True when nobody has the other end of the named pipe open any more.
bool writersAreGone(int fifo) {
  pollfd state{fifo, POLLIN, 0};
  return poll(&state, 1, 60'000) == 1 && (state.revents & POLLHUP) != 0;
}

TEST_F(HWExecTest, LeavesNothingOfItsProcessGroupBehind) {
  const TempDir directory;
  const std::string path = directory / "fifo";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  for (const bool waited : {true, false}) {
    const int fifo = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(fifo, 0);
    std::optional<HWExec> command(std::in_place);
    EXPECT_EQ(startChild(*command, {"grandchild", path}), 0);
    EXPECT_STREQ(command->gets(kOut), "left one behind");
    if (waited) {
      EXPECT_EQ(ending(command->wait()), "exit 0");
    }
    command.reset();
    EXPECT_TRUE(writersAreGone(fifo));
    close(fifo);
  }
}

TEST_F(HWExecTest, DoesNotWaitForeverForTheOutputOfAGrandchild) {
  const TempDir directory;
  const std::string path = directory / "fifo";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int fifo = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(fifo, 0);
  // The child may be killed before it has opened its end; without any there is no end to see.
  const int writer = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  HWExec command;
  const ExecutionArgs limits{100, 100};
  EXPECT_EQ(startChild(command, {"grandchild", path}, &limits), 0);
  while (command.gets(kOut) != nullptr) {
  }
  (void)command.wait();  // ended or killed, as time had it
  close(writer);
  EXPECT_TRUE(writersAreGone(fifo));
  close(fifo);
}

TEST_F(HWExecTest, RefusesASecondCommandBesideTheFirst) {
  HWExec command;
  ASSERT_EQ(startChild(command, {"hang"}), 0);
  EXPECT_EQ(startChild(command, {"print", "x"}), EBUSY);
  EXPECT_STREQ(command.gets(kOut), "begun");
}

TEST_F(HWExecTest, StartsAnotherCommandAfterTheEndOfTheFirst) {
  HWExec command;
  ASSERT_EQ(startChild(command, {"print", "one\nleft"}), 0);
  EXPECT_STREQ(command.gets(kOut), "one");
  EXPECT_EQ(ending(command.wait()), "exit 0");
  EXPECT_EQ(command.wait(), -1);
  ASSERT_EQ(startChild(command, {"print", "two"}), 0);
  EXPECT_EQ(linesOf(command), Words{"two"});
}

TEST_F(HWExecTest, HasNothingToReadOrToWaitForBeforeItStarted) {
  HWExec command;
  EXPECT_EQ(command.gets(kOut), nullptr);
  EXPECT_EQ(command.wait(), -1);
}

TEST_F(HWExecTest, CapturesNoStreamButTheStandardOutput) {
  HWExec command;
  const char* const argv[] = {HOQ_EXEC_CHILD, "print", "x", nullptr};
  for (const int stream : {-1, 0, 1, 3}) {
    EXPECT_EQ(command.exec(stream, argv, nullptr), EINVAL);
    EXPECT_EQ(command.gets(stream), nullptr);
  }
  const char* const nothing[] = {nullptr};
  EXPECT_EQ(command.exec(kOut, nothing, nullptr), EINVAL);
  EXPECT_EQ(command.exec(kOut, nullptr, nullptr), EINVAL);
}

int releaseFifo = -1;
volatile sig_atomic_t ticks = 0;

// Lets the command go on after reading it has been interrupted some times.
void onTick(int) {
  const int saved = errno;
  ticks = ticks + 1;
  if (ticks == 20) (void)!write(releaseFifo, "x", 1);
  errno = saved;
}

TEST_F(HWExecTest, GoesOnAfterInterruptions) {
  const TempDir directory;
  const std::string path = directory / "fifo";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  releaseFifo = open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(releaseFifo, 0);
  HWExec command;
  ASSERT_EQ(startChild(command, {"waitFor", path}), 0);

  struct sigaction action = {};
  struct sigaction before;
  action.sa_handler = onTick;  // without SA_RESTART
  ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
  const itimerval each{{0, 2000}, {0, 2000}};
  const itimerval never{};
  ASSERT_EQ(setitimer(ITIMER_REAL, &each, nullptr), 0);
  const Words lines = linesOf(command);
  const int status = command.wait();
  ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
  ASSERT_EQ(sigaction(SIGALRM, &before, nullptr), 0);
  close(releaseFifo);

  EXPECT_EQ(lines, Words{"released"});
  EXPECT_EQ(ending(status), "exit 0");
  EXPECT_GE(ticks, 20);
}

TEST_F(HWExecTest, RunsInSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number)
    threads.emplace_back([number] {
      for (int round = 0; round < 10; ++round) {
        const std::string text = std::to_string(number) + "/" + std::to_string(round);
        HWExec command;
        EXPECT_EQ(startChild(command, {"print", text}), 0);
        EXPECT_EQ(linesOf(command), Words{text});
        EXPECT_EQ(ending(command.wait()), "exit 0");
      }
    });
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace HOQ
