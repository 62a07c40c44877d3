// What surrounds a command: where it is found, and what it is given.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <utility>

#include "framework/HWExecFixture.h"
#include "support/TempDir.h"
#include "support/Trees.h"

namespace HOQ {
namespace {

using namespace test;

TEST_F(HWExecTest, SaysWhyACommandCannotBeStarted) {
  const TempDir directory;
  trees::make(directory.path(), "plain%644=echo text%755=echo");
  const std::string plain = directory / "plain";
  const struct {
    std::string program;
    int error;
  } cases[] = {{"hoq-no-such-command", ENOENT},
               {directory / "missing", ENOENT},
               {"", ENOENT},
               {plain, EACCES},
               {directory / ".", EACCES},
               {plain + "/x", ENOTDIR},
               {directory / "text", ENOEXEC}};
  for (const auto& each : cases) {
    HWExec command;
    EXPECT_EQ(start(command, {each.program}), each.error) << each.program;
    EXPECT_EQ(command.gets(kOut), nullptr);
    EXPECT_EQ(command.wait(), -1);
  }
}

// Sets a variable of this process for the time of a test.
class Variable {
 public:
  Variable(const char* name, const std::string& value) : name_(name) {
    if (const char* before = getenv(name)) before_ = before;
    setenv(name, value.c_str(), 1);
  }
  ~Variable() {
    if (before_)
      setenv(name_, before_->c_str(), 1);
    else
      unsetenv(name_);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  const char* const name_;
  std::optional<std::string> before_;
};

TEST_F(HWExecTest, LooksTheCommandUpOnThisProcessesPathNotOnTheCommands) {
  const std::filesystem::path child = HOQ_EXEC_CHILD;
  const Variable path("PATH", "/nonexistent:" + child.parent_path().string());
  const char* const environment[] = {"PATH=/nowhere", nullptr};
  HWExec command;
  command.saveEnv(environment);
  ASSERT_EQ(start(command, {child.filename().string(), "environment"}), 0);
  EXPECT_EQ(linesOf(command), Words{"PATH=/nowhere"});
}

TEST_F(HWExecTest, GivesTheSavedEnvironmentAndNothingElse) {
  const Variable own("HOQ_TEST_OWN", "x");
  std::string changing = "LANG=en_US.utf8";
  const char* const environment[] = {changing.c_str(), "LC_ALL=en_US.utf8", nullptr};
  HWExec command;
  command.saveEnv(environment);
  changing = "LANG=changed";  // the list was copied
  ASSERT_EQ(startChild(command, {"environment"}), 0);
  EXPECT_EQ(linesOf(command), (Words{"LANG=en_US.utf8", "LC_ALL=en_US.utf8"}));

  const char* const empty[] = {nullptr};
  HWExec bare;
  bare.saveEnv(empty);
  ASSERT_EQ(startChild(bare, {"environment"}), 0);
  EXPECT_EQ(linesOf(bare), Words{});
}

TEST_F(HWExecTest, PassesThisProcessesEnvironmentOnWithoutASavedOne) {
  const Variable own("HOQ_TEST_OWN", "passed on");
  HWExec command;
  ASSERT_EQ(startChild(command, {"environment"}), 0);
  const Words lines = linesOf(command);
  EXPECT_NE(std::find(lines.begin(), lines.end(), "HOQ_TEST_OWN=passed on"), lines.end());
}

TEST_F(HWExecTest, GivesTheThreeStandardDescriptorsOnly) {
  const int open1 = open("/dev/null", O_RDONLY);  // without close-on-exec, as others open theirs
  const int open2 = fcntl(open1, F_DUPFD, 900);
  EXPECT_EQ(answerOf({"descriptors"}), "0 1 2 ");
  EXPECT_EQ(answerOf({"streams"}), "in null, err null");
  close(open1);
  close(open2);
}

TEST_F(HWExecTest, KeepsItsOwnDescriptorFromWhateverElseIsExecuted) {
  const Words before = openDescriptors();
  HWExec command;
  ASSERT_EQ(startChild(command, {"hang"}), 0);
  Words opened;
  for (const std::string& descriptor : openDescriptors())
    if (std::find(before.begin(), before.end(), descriptor) == before.end())
      opened.push_back(descriptor);
  ASSERT_EQ(opened.size(), 1u);
  EXPECT_EQ(fcntl(std::stoi(opened[0]), F_GETFD), FD_CLOEXEC);
}

TEST_F(HWExecTest, GivesAProcessGroupOfItsOwn) { EXPECT_EQ(answerOf({"group"}), "own"); }

TEST_F(HWExecTest, GivesSignalsAsInAFreshProcess) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &all, &before), 0);
  std::vector<std::pair<int, sighandler_t>> handlers;
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGUSR1})
    handlers.emplace_back(number, signal(number, SIG_IGN));
  EXPECT_EQ(answerOf({"signals"}), "(nothing)");
  for (const auto& [number, handler] : handlers) signal(number, handler);
  ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &before, nullptr), 0);
}

}  // namespace
}  // namespace HOQ
