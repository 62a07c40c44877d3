#pragma once

#include <string>

namespace HOQ::test {

/// How many threads and descriptors the process has. Taken before what must give them all back.
class ResourceCount {
 public:
  ResourceCount();

  /// Empty when there are as many as there were, else what is too many or missing. A thread that
  /// was joined may be listed by the system a moment longer: it is looked again, not waited.
  std::string difference() const;

 private:
  long threads_;
  long descriptors_;
};

}  // namespace HOQ::test
