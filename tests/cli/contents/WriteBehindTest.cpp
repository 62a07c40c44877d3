#include "contents/WriteBehind.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>

namespace HOQ::cli {
namespace {

long threadsOfThisProcess() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return std::distance(begin(tasks), end(tasks));
}

/// A file without a name.
int openFile() {
  const int descriptor = ::open(P_tmpdir, O_RDWR | O_TMPFILE | O_CLOEXEC, 0600);
  return descriptor >= 0 ? descriptor : ::memfd_create("file", MFD_CLOEXEC);
}

TEST(WriteBehindTest, AFileMayBeClosedAndItsNumberUsedAgainOnceItIsForgotten) {
  const std::string piece(300'000, 'x');
  WriteBehind behind;
  for (int round = 0; round < 50; ++round) {
    const int descriptor = openFile();
    ASSERT_GE(descriptor, 0);
    off_t at = 0;
    for (int i = 0; i < 3; ++i, at += static_cast<off_t>(piece.size())) {
      ASSERT_EQ(::pwrite(descriptor, piece.data(), piece.size(), at),
                static_cast<ssize_t>(piece.size()));
      behind.begin(descriptor, at, static_cast<off_t>(piece.size()));
    }
    behind.forget();
    EXPECT_EQ(::lseek(descriptor, 0, SEEK_END), at);
    ASSERT_EQ(::close(descriptor), 0);
  }
}

TEST(WriteBehindTest, WhatCannotBeAskedForIsNoMatter) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  WriteBehind behind;
  behind.begin(ends[1], 0, 100);  // a pipe has no disk
  behind.begin(ends[0], 7, 100);
  behind.forget();
  behind.forget();
  EXPECT_EQ(::close(ends[0]) + ::close(ends[1]), 0);
}

TEST(WriteBehindTest, TheThreadIsMadeWithTheFirstRangeAndEndsWithIt) {
  const long before = threadsOfThisProcess();
  {
    WriteBehind behind;
    behind.forget();
    EXPECT_EQ(threadsOfThisProcess(), before);
    const int descriptor = openFile();
    behind.begin(descriptor, 0, 1);
    behind.begin(descriptor, 1, 1);
    EXPECT_EQ(threadsOfThisProcess(), before + 1);
    behind.forget();
    EXPECT_EQ(::close(descriptor), 0);
  }
  while (threadsOfThisProcess() != before) ::sched_yield();  // joined, but still to be buried
}

}  // namespace
}  // namespace HOQ::cli
