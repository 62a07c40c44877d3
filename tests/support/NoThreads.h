#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>

namespace HOQ::test {

/// For as long as it lives, no thread can be started: each would ask for a stack beyond all memory.
class NoThreads {
 public:
  NoThreads() {
    EXPECT_EQ(pthread_getattr_default_np(&before_), 0);
    pthread_attr_t vast = before_;
    EXPECT_EQ(pthread_attr_setstacksize(&vast, std::size_t{1} << 60), 0);
    EXPECT_EQ(pthread_setattr_default_np(&vast), 0);
  }
  ~NoThreads() { EXPECT_EQ(pthread_setattr_default_np(&before_), 0); }
  NoThreads(const NoThreads&) = delete;
  NoThreads& operator=(const NoThreads&) = delete;

 private:
  pthread_attr_t before_;
};

}  // namespace HOQ::test
