#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace HOQ {

/// Finds out the content types of many files, several at a time: a command for each, as
/// getContentType() runs it, and never more of them than may run at once. The caller's thread does
/// its share, and there are no others until there is work for them.
///
/// One thread uses it.
class ContentTypes {
 public:
  /// `most`: how many commands run at once; 0: as many as there are processors.
  explicit ContentTypes(std::size_t most = 0);
  ContentTypes(const ContentTypes&) = delete;
  ContentTypes& operator=(const ContentTypes&) = delete;
  /// Begins no further command; waits for those that run.
  ~ContentTypes();

  /// Has the content type of `path` found out and put into `text`, which must stay where it is, and
  /// is not to be touched, until finish() has returned. Waits while much is to be done already.
  void add(const std::string& path, std::string& text);

  /// Waits until everything that was added is done.
  void finish();

 private:
  struct Job {
    std::string path;
    std::string* text;  // not owned
  };
  using Lock = std::unique_lock<std::mutex>;

  void startThread();
  void work();
  void doNext(Lock& lock);

  std::size_t most_;                  // the caller's thread's
  std::vector<std::thread> threads_;  // at most one less than commands: the caller is one more

  std::mutex mutex_;  // guards the rest
  std::condition_variable changed_;
  std::deque<Job> waiting_;
  std::size_t running_ = 0;
  bool ending_ = false;
};

}  // namespace HOQ
