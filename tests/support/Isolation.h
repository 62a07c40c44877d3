#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>

namespace HOQ::test {

/// Runs `body`, with its expectations, in a child process, for what changes a whole process.
/// Returns an empty text, or why the child did not end well; its failures are on standard error.
std::string inChild(const std::function<void()>& body);

/// Runs `body` in a thread with a stack of `bytes`. Returns when it is done.
void inThreadWithStack(std::size_t bytes, const std::function<void()>& body);

/// A stack that instrumented code takes as plain code takes one of `bytes`.
std::size_t stackFor(std::size_t bytes);

/// Sets the process's umask for as long as it lives.
class UmaskGuard {
 public:
  explicit UmaskGuard(mode_t mask);
  ~UmaskGuard();
  UmaskGuard(const UmaskGuard&) = delete;
  UmaskGuard& operator=(const UmaskGuard&) = delete;

 private:
  const mode_t before_;
};

/// Lowers the number of descriptors that the process may have open, for as long as it lives.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(unsigned long limit);
  ~DescriptorLimit();
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  unsigned long before_;
};

/// Sets a variable of the process's environment for as long as it lives.
class EnvironmentGuard {
 public:
  EnvironmentGuard(const char* name, const std::string& value);
  ~EnvironmentGuard();
  EnvironmentGuard(const EnvironmentGuard&) = delete;
  EnvironmentGuard& operator=(const EnvironmentGuard&) = delete;

 private:
  const std::string name_;
  bool wasSet_ = false;
  std::string before_;
};

/// To be called in a child process (inChild): gives it a mount namespace of its own and mounts an
/// empty file system on `directory`. Returns an empty text, or why it cannot be done.
std::string mountOwnFileSystem(const std::string& directory);

/// An empty text where mountOwnFileSystem() works, else why it does not.
std::string whyNoMounts();

bool isRoot();

}  // namespace HOQ::test

/// Skips the test, with the reason, unless it runs as root.
#define HOQ_NEEDS_ROOT(why) \
  if (!::HOQ::test::isRoot()) GTEST_SKIP() << "needs root: " << why
