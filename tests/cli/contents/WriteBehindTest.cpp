#include "contents/WriteBehind.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <utility>

namespace HOQ::cli {
namespace {

using Threads = std::set<std::string>;

/// The ids of this process's threads that are not among `known`.
Threads threadsBeside(const Threads& known) {
  Threads found;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (std::string id = task.path().filename(); known.count(id) == 0) found.insert(std::move(id));
  }
  return found;
}

/// A file without a name.
int openFile() {
  const int descriptor = ::open(P_tmpdir, O_RDWR | O_TMPFILE | O_CLOEXEC, 0600);
  return descriptor >= 0 ? descriptor : ::memfd_create("file", MFD_CLOEXEC);
}

TEST(WriteBehindTest, AFileMayBeClosedAndItsNumberUsedAgainOnceItIsForgotten) {
  const std::string piece(300'000, 'x');
  WriteBehind behind(1);
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

TEST(WriteBehindTest, LittleIsNotAskedFor) {
  std::thread([] {}).join();  // with the first one, a sanitizer makes one of its own
  const Threads before = threadsBeside({});
  WriteBehind behind(1000);
  const int descriptor = openFile();
  behind.begin(descriptor, 0, 600);
  behind.begin(descriptor, 700, 900);  // does not follow it
  EXPECT_EQ(threadsBeside(before), Threads());
  behind.begin(descriptor, 1600, 100);
  EXPECT_EQ(threadsBeside(before).size(), 1U);
  behind.forget();
  EXPECT_EQ(::close(descriptor), 0);
}

TEST(WriteBehindTest, WhatCannotBeAskedForIsNoMatter) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  WriteBehind behind(1);
  behind.begin(ends[1], 0, 100);  // a pipe has no disk
  behind.begin(ends[0], 7, 100);
  behind.forget();
  behind.forget();
  EXPECT_EQ(::close(ends[0]) + ::close(ends[1]), 0);
}

TEST(WriteBehindTest, TheThreadIsMadeWithTheFirstRangeAndEndsWithIt) {
  std::thread([] {}).join();  // with the first one, a sanitizer makes one of its own
  const Threads before = threadsBeside({});
  {
    WriteBehind behind(1);
    behind.forget();
    EXPECT_EQ(threadsBeside(before), Threads());
    const int descriptor = openFile();
    behind.begin(descriptor, 0, 1);
    behind.begin(descriptor, 1, 1);
    EXPECT_EQ(threadsBeside(before).size(), 1U);
    behind.forget();
    EXPECT_EQ(::close(descriptor), 0);
  }
  while (!threadsBeside(before).empty()) ::sched_yield();  // joined, but still to be buried
}

}  // namespace
}  // namespace HOQ::cli
