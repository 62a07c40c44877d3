#pragma once

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <hoq/HOQChannelEndPrototype.h>

namespace HOQ::test {

/// An end of a channel without another: it yields bytes that the test lays ready, and keeps what is
/// written. It fails when the test says so. One thread.
class ScriptedEnd : public HOQChannelEndPrototype {
 public:
  static constexpr int kNever = std::numeric_limits<int>::max();

  explicit ScriptedEnd(std::string laidReady = {}) : incoming(std::move(laidReady)) {}

  int read(void* buffer, std::uint64_t count, std::uint64_t* got) override {
    requests.push_back(count);
    if (static_cast<int>(requests.size()) >= failingRead || givenUp()) return -1;
    const std::uint64_t most = std::min<std::uint64_t>(count, mostPerRead);
    *got = std::min<std::uint64_t>(most, incoming.size());
    std::memcpy(buffer, incoming.data(), *got);
    incoming.erase(0, *got);
    return 0;
  }

  int write(const void* buffer, std::uint64_t count, std::uint64_t* written) override {
    pieces.push_back(count);
    if (static_cast<int>(pieces.size()) >= failingWrite || givenUp()) return -1;
    *written = static_cast<int>(pieces.size()) == shortWrite ? shortBy(count) : count;
    outgoing.append(static_cast<const char*>(buffer), *written);
    return 0;
  }

  void close() override { ++closes; }
  bool stands() const override { return standsAsked++ < standsFor && !givenUp(); }
  bool hasAll() const override { return allIsThere; }
  void giveUp(const std::string& text) override { texts.push_back(text); }
  std::string failure() const override { return texts.empty() ? std::string() : texts.front(); }

  bool givenUp() const { return !texts.empty(); }

  std::string incoming;
  std::string outgoing;
  std::uint64_t mostPerRead = std::numeric_limits<std::uint64_t>::max();
  int failingRead = kNever;  // this call, counted from 1, and all after it fail
  int failingWrite = kNever;
  int shortWrite = kNever;       // this call takes `shortTakes` bytes
  std::uint64_t shortTakes = 0;  // of them
  bool allIsThere = false;
  int standsFor = 0;  // so many times it is said to stand

  std::vector<std::uint64_t> requests;  // what reads asked for
  std::vector<std::uint64_t> pieces;    // what writes offered
  std::vector<std::string> texts;       // of giveUp()
  int closes = 0;
  mutable int standsAsked = 0;

 private:
  std::uint64_t shortBy(std::uint64_t count) const { return std::min(count, shortTakes); }
};

using ScriptedEndPtr = boost::intrusive_ptr<ScriptedEnd>;

/// The 8 bytes that tell a size.
inline std::string sizeHeader(std::uint64_t size) {
  std::string header;
  for (int shift = 56; shift >= 0; shift -= 8) header += static_cast<char>((size >> shift) & 0xFF);
  return header;
}

/// Bytes of which no two pieces are alike.
inline std::string variedText(std::size_t size) {
  std::string text;
  for (std::uint32_t i = 0; text.size() < size; ++i) text += std::to_string(i * 2654435761U) + ';';
  text.resize(size);
  return text;
}

}  // namespace HOQ::test
