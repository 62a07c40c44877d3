#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>

#include <hoq/ExecutionArgs.h>
#include <hoq/GenExec.h>
#include <hoq/HOQExport.h>

namespace HOQ {

/// GenExec on this machine, by posix_spawn(3).
class HOQ_EXPORT HWExec : public GenExec {
 public:
  HWExec() = default;
  ~HWExec() override;

  int exec(int stream, const char* const* argv, const ExecutionArgs* args) override;
  const char* gets(int stream) override;
  int wait() override;

 private:
  enum class Fill { kBytes, kEnd, kFailed };

  int remainingMs() const;
  Fill fillBuffer();
  void closePipe();
  bool awaitEnd() const;
  int reap(bool ended);

  ExecutionArgs limits_;
  std::chrono::steady_clock::time_point deadline_;
  pid_t child_ = -1;          // also its process group
  int pipe_ = -1;             // read end of the captured stream
  std::string unread_;        // bytes read beyond the last line
  std::size_t consumed_ = 0;  // how much of unread_ earlier lines have taken
  std::string line_;
};

}  // namespace HOQ
