#pragma once

#include <gtest/gtest.h>
#include <hoq/HOQChannelEndPrototype.h>
#include <hoq/HOQChannelMemory.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

namespace HOQ::test {

/// What the tests of a channel's contract work on: nobody else holds the ends.
struct OpenChannel {
  HOQChannelEndPtr source;
  HOQChannelEndPtr destination;
  std::shared_ptr<void> rest;  // what the ends need beside them, for instance a server; goes last
};

/// A kind of channel. A program runs the contract over its own kinds: it names
/// support/ChannelContract.cpp among its sources and says
///
///     INSTANTIATE_TEST_SUITE_P(Network, ChannelContract, testing::Values(ChannelKind{...}));
///
/// Bytes go from source to destination; nothing is asked of the other direction.
struct ChannelKind {
  std::string name;
  std::function<OpenChannel(const HOQChannelLimits&)> open;
  /// More than a channel with a limit of 64 KiB ever takes in while nobody reads, what stands in
  /// buffers on the way included.
  std::size_t boundBytes;
};

inline std::ostream& operator<<(std::ostream& out, const ChannelKind& kind) {
  return out << kind.name;
}

class ChannelContract : public testing::TestWithParam<ChannelKind> {
 protected:
  OpenChannel open(const HOQChannelLimits& limits = HOQChannelLimits()) const {
    return GetParam().open(limits);
  }
};

/// `count` bytes without a short period, the `from`-th of an endless row on.
std::string pattern(std::size_t count, std::size_t from = 0);

/// Reads until the end or a failure, at most `piece` bytes at a time. The last read's code.
int readAll(HOQChannelEndPrototype& end, std::string& into, std::size_t piece = 4096);

}  // namespace HOQ::test
