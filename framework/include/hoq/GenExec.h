#pragma once

#include <string>
#include <vector>

#include <hoq/ExecutionArgs.h>
#include <hoq/HOQExport.h>

namespace HOQ {

/// A command that runs beside this process: its environment, the lines it prints, its end.
/// One thread; made for one command.
class HOQ_EXPORT GenExec {
 public:
  /// Which stream of the command is captured. The others, input included, are /dev/null.
  static constexpr int kStandardOutput = 2;

  GenExec() = default;
  GenExec(const GenExec&) = delete;
  GenExec& operator=(const GenExec&) = delete;
  /// Kills a command that still runs, and waits for it.
  virtual ~GenExec();

  /// The whole environment of the command, a null-terminated list of "NAME=value". Copied. Without
  /// it the command gets this process's.
  void saveEnv(const char* const* environment);

  /// Starts argv[0], looked up on this process's search path, without a shell, in a process group
  /// of its own and with no descriptor but the three standard ones. `stream` is kStandardOutput.
  /// `argv` ends with a null pointer; `args` null: the usual limits. 0, or an error number.
  virtual int exec(int stream, const char* const* argv, const ExecutionArgs* args) = 0;

  /// The next line of the captured stream, without its line break, valid until the next call.
  /// Null at the end of the output, on a failure, or when the time is over.
  virtual const char* gets(int stream) = 0;

  /// Stops listening and waits for the command's end; kills it when its time is over, and what is
  /// left of its process group in any case. The exit status as waitpid(2) gives it, or -1 when
  /// there is no command to wait for.
  virtual int wait() = 0;

 protected:
  std::vector<std::string> environment_;
  bool environmentSaved_ = false;
};

}  // namespace HOQ
