#include "support/ResourceCount.h"

#include <dirent.h>
#include <sched.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace HOQ::test {
namespace {

constexpr int kLooks = 200'000;

long entriesOf(const char* directory) {
  DIR* const handle = opendir(directory);
  if (handle == nullptr) throw std::runtime_error(std::string("cannot look into ") + directory);
  long count = 0;
  while (readdir(handle) != nullptr) ++count;
  closedir(handle);
  return count;
}

long threadsNow() { return entriesOf("/proc/self/task"); }
long descriptorsNow() { return entriesOf("/proc/self/fd"); }

std::string change(const char* what, long before, long now) {
  if (before == now) return "";
  return std::to_string(now - before) + " more " + what + " than before; ";
}

}  // namespace

ResourceCount::ResourceCount() {
  std::thread([] {}).join();  // beside a process's first one, a sanitizer starts one of its own
  threads_ = threadsNow();
  descriptors_ = descriptorsNow();
}

std::string ResourceCount::difference() const {
  for (int look = 0; look < kLooks && threadsNow() > threads_; ++look) sched_yield();
  // A library's own threads may end meanwhile; a descriptor that is missing was closed twice.
  return change("threads", threads_, std::max(threads_, threadsNow())) +
         change("descriptors", descriptors_, descriptorsNow());
}

}  // namespace HOQ::test
