#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <hoq/HWExec.h>
#include <sys/wait.h>

#include <cerrno>
#include <string>
#include <vector>

// What the executor's tests share.
namespace HOQ::test {

inline constexpr int kOut = GenExec::kStandardOutput;

using Words = std::vector<std::string>;

inline int start(GenExec& command, const Words& words, const ExecutionArgs* limits = nullptr) {
  std::vector<const char*> argv;
  for (const std::string& word : words) argv.push_back(word.c_str());
  argv.push_back(nullptr);
  return command.exec(kOut, argv.data(), limits);
}

inline int startChild(GenExec& command, Words words, const ExecutionArgs* limits = nullptr) {
  words.insert(words.begin(), HOQ_EXEC_CHILD);
  return start(command, words, limits);
}

inline Words linesOf(GenExec& command) {
  Words lines;
  while (const char* line = command.gets(kOut)) lines.push_back(line);
  return lines;
}

// The one line that execChild prints.
inline std::string answerOf(const Words& words) {
  HWExec command;
  EXPECT_EQ(startChild(command, words), 0);
  const char* const line = command.gets(kOut);
  return line != nullptr ? line : "(nothing)";
}

inline std::string ending(int status) {
  if (WIFEXITED(status)) return "exit " + std::to_string(WEXITSTATUS(status));
  return "signal " + std::to_string(WTERMSIG(status));
}

inline Words openDescriptors() {
  Words names;
  for (int descriptor = 0; descriptor < 1024; ++descriptor)
    if (fcntl(descriptor, F_GETFD) >= 0) names.push_back(std::to_string(descriptor));
  return names;
}

// Every test leaves the process's descriptors and children as they were.
class HWExecTest : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(openDescriptors(), descriptors_);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
  }

 private:
  const Words descriptors_ = openDescriptors();
};

}  // namespace HOQ::test
