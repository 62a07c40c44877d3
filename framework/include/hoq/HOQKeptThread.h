#pragma once

#include <hoq/HOQExport.h>

namespace HOQ {

/// A thread that runs one function, and may then be kept for the next one: to make a thread costs
/// more than to receive a small file. A few are kept at most, and only while a Keeping lives. Any
/// thread.
class HOQ_EXPORT HOQKeptThread {
 public:
  using Main = void* (*)(void*);

  /// For a host that runs many transfers. The last one to go ends the threads that are kept, and
  /// waits for them.
  class HOQ_EXPORT Keeping {
   public:
    Keeping();
    ~Keeping();
    Keeping(const Keeping&) = delete;
    Keeping& operator=(const Keeping&) = delete;
  };

  /// Has a thread run `main(argument)`: one that is kept, or a new one. 0 and `thread`, which is
  /// the caller's until finish(), or the error number that says why there is none.
  static int start(Main main, void* argument, HOQKeptThread*& thread);

  /// Waits until it has run, and unless it is kept, until it has ended. Once.
  static void finish(HOQKeptThread* thread);

  HOQKeptThread(const HOQKeptThread&) = delete;
  HOQKeptThread& operator=(const HOQKeptThread&) = delete;

 protected:
  HOQKeptThread() = default;
  ~HOQKeptThread() = default;
};

}  // namespace HOQ
