#include <hoq/HOQKeptThread.h>

#include <pthread.h>

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

namespace HOQ {
namespace {

constexpr std::size_t kMostKept = 8;

class Thread final : public HOQKeptThread {
 public:
  using Main = HOQKeptThread::Main;

  int make() { return pthread_create(&thread_, nullptr, loop, this); }

  void give(Main main, void* argument) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      main_ = main;
      argument_ = argument;
    }
    changed_.notify_one();
  }

  void await() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return main_ == nullptr; });
  }

  void end() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ends_ = true;
    }
    changed_.notify_one();
    (void)pthread_join(thread_, nullptr);
  }

 private:
  static void* loop(void* self) {
    static_cast<Thread*>(self)->run();
    return nullptr;
  }

  /// Its user and itself never wait at the same time, so one condition serves both.
  void run() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return ends_ || main_ != nullptr; });
      if (main_ == nullptr) return;
      const Main main = main_;
      void* const argument = argument_;
      lock.unlock();
      (void)main(argument);
      lock.lock();
      main_ = nullptr;
      changed_.notify_one();
    }
  }

  pthread_t thread_{};
  std::mutex mutex_;  // guards the rest
  std::condition_variable changed_;
  Main main_ = nullptr;  // what is to be run, or runs
  void* argument_ = nullptr;
  bool ends_ = false;
};

void endThread(Thread* thread) {
  thread->end();
  delete thread;
}

/// The threads that have nothing to run.
struct Shelf {
  std::mutex mutex;  // guards the rest
  int keepings = 0;
  std::vector<Thread*> kept;

  Thread* take() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (kept.empty()) return nullptr;
    Thread* const last = kept.back();
    kept.pop_back();
    return last;
  }

  bool put(Thread* thread) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (keepings == 0 || kept.size() >= kMostKept) return false;
    kept.push_back(thread);
    return true;
  }
};

/// Never destroyed: at the end of the process somebody may still be finishing a thread.
Shelf& shelf() {
  static Shelf* const made = new Shelf;
  return *made;
}

}  // namespace

HOQKeptThread::Keeping::Keeping() {
  const std::lock_guard<std::mutex> lock(shelf().mutex);
  ++shelf().keepings;
}

HOQKeptThread::Keeping::~Keeping() {
  std::vector<Thread*> last;
  {
    const std::lock_guard<std::mutex> lock(shelf().mutex);
    if (--shelf().keepings > 0) return;
    last.swap(shelf().kept);
  }
  for (Thread* const each : last) endThread(each);
}

int HOQKeptThread::start(Main main, void* argument, HOQKeptThread*& thread) {
  Thread* found = shelf().take();
  if (found == nullptr) {
    found = new Thread;
    if (const int failed = found->make(); failed != 0) {
      delete found;
      return failed;
    }
  }
  found->give(main, argument);
  thread = found;
  return 0;
}

void HOQKeptThread::finish(HOQKeptThread* thread) {
  auto* const own = static_cast<Thread*>(thread);
  own->await();
  if (!shelf().put(own)) endThread(own);
}

}  // namespace HOQ
