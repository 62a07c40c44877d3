#include "control/Message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace HOQ::agent {
namespace {

using testing::HasSubstr;

const std::string kEid(32, 'a');

/// One of each kind, with no field left at its default.
std::vector<Message> oneOfEach() {
  return {
      Welcome{kControlVersion, "admin", true, true, kEid, "/plugins", 3, 4, 5, "blocks"},
      Connection{},
      Drain{7},
      DialAnswer{8, DialOutcome::Untrusted, "why"},
      Ready{},
      Dial{9, "host:1"},
      Audit{"Remove",
            "somebody",
            "/cwd",
            {"a", std::string("\0\xff", 2)},
            20,
            "/to",
            -1,
            "broke",
            1ull << 40,
            99,
            "192.0.2.1:5"},
      Counters{{{"List", 0, 5}, {"Copy", -2147483647 - 1, 1ull << 60}}, 1, 2, 3, 4, 5, 6},
      Log{LogLevel::Warning, "line"},
      StartWorker{1ull << 50, 2, "admin"},
      KillWorker{3},
      Reread{4},
      WorkerStarted{5, 6, "there is no such user"},
      WorkerFailed{7, "no memory"},
      WorkerEnded{8, "signal 9"},
      Reading{9, {"hoqd.toml:1: listen: missing", ""}},
  };
}

TEST(MessageTest, EveryMessageComesOutAsItWentIn) {
  const std::vector<Message> messages = oneOfEach();
  ASSERT_EQ(messages.size(), std::variant_size_v<Message>);
  for (std::size_t i = 0; i < messages.size(); ++i) {
    SCOPED_TRACE(kindOf(messages[i]).name);
    ASSERT_EQ(messages[i].index(), i);
    const Decoded decoded = decode(encode(messages[i]), kindOf(messages[i]).sender);
    EXPECT_EQ(decoded.error, "");
    EXPECT_EQ(decoded.message, messages[i]);
  }
}

TEST(MessageTest, EveryMessageCutAnywhereIsRefused) {
  for (const Message& message : oneOfEach()) {
    const std::string whole = encode(message);
    for (std::size_t length = 0; length < whole.size(); ++length) {
      const Decoded decoded = decode(whole.substr(0, length), kindOf(message).sender);
      EXPECT_NE(decoded.error, "") << kindOf(message).name << " of " << length << " bytes";
    }
  }
}

TEST(MessageTest, NothingMayFollowAMessage) {
  for (const Message& message : oneOfEach()) {
    const Decoded decoded = decode(encode(message) + '\0', kindOf(message).sender);
    EXPECT_THAT(decoded.error, HasSubstr("goes on after its end"));
  }
}

TEST(MessageTest, NobodySendsTheOthersMessages) {
  for (const Message& message : oneOfEach()) {
    for (const Sender sender : {Sender::Front, Sender::Worker, Sender::Starter, Sender::Spawner}) {
      if (sender == kindOf(message).sender) continue;
      EXPECT_THAT(decode(encode(message), sender).error, HasSubstr("is not its to send"));
    }
  }
}

std::string bytes(std::initializer_list<int> values) {
  std::string result;
  for (const int value : values) result.push_back(static_cast<char>(value));
  return result;
}

TEST(MessageTest, WhatIsNoMessageIsRefused) {
  const struct {
    const char* name;
    std::string bytes;
    Sender sender;
    const char* error;
  } cases[] = {
      {"nothing", "", Sender::Worker, "no bytes"},
      {"an unknown type", bytes({16}), Sender::Worker, "no such message: 16"},
      {"the last type", bytes({255}), Sender::Worker, "no such message: 255"},
      {"more than is ever sent", std::string(kLongestMessage + 1, '\4'), Sender::Worker,
       "too long"},
      {"a level that there is not", bytes({8, 4, 0, 0, 0, 0}), Sender::Worker,
       "\"log\" has a value that none has"},
      {"an outcome that there is not", bytes({3, 0, 0, 0, 0, 4, 0, 0, 0, 0}), Sender::Front,
       "\"dial answer\" has a value that none has"},
      {"a right that is neither", bytes({0, 1, 0, 0, 0, 0, 0, 0, 0, 2}), Sender::Front,
       "\"welcome\" has a value that none has"},
      {"an entry's name without an end",
       bytes({9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255}), Sender::Starter,
       "\"start worker\" has a value that is too long"},
      {"more problems than are ever told", bytes({15, 0, 0, 0, 0, 65, 0, 0, 0}), Sender::Spawner,
       "\"reading\" has a value that is too long"},
      {"an absurd number of calls", bytes({7, 255, 255, 255, 255}), Sender::Worker,
       "\"counters\" has a value that is too long"},
      {"more calls than follow", bytes({7, 200, 0, 0, 0, 1}), Sender::Worker,
       "\"counters\" is cut short"},
      {"an absurd address", bytes({5, 0, 0, 0, 0, 255, 255, 255, 127, 'a'}), Sender::Worker,
       "\"dial\" has a value that is too long"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    EXPECT_THAT(decode(each.bytes, each.sender).error, HasSubstr(each.error));
  }
}

TEST(MessageTest, TheLongestOfEverythingStillGoesThrough) {
  const std::string giant(1 << 20, 'x');
  const Audit audit{giant, giant, giant, std::vector<std::string>(100, giant), 100, giant, 0, giant,
                    0,     0,     giant};
  const std::vector<Message> messages = {
      Welcome{kControlVersion, giant, true, true, giant, giant, 0, 0, 0, giant},
      DialAnswer{0, DialOutcome::Refused, giant},
      Dial{0, giant},
      audit,
      Counters{std::vector<Counters::CallKind>(5000, {std::string(100, 'x'), 0, 0}), 0, 0, 0, 0, 0,
               0},
      Log{LogLevel::Error, giant},
  };
  for (const Message& message : messages) {
    SCOPED_TRACE(kindOf(message).name);
    const std::string sent = encode(message);
    EXPECT_LE(sent.size(), kLongestMessage);
    EXPECT_EQ(decode(sent, kindOf(message).sender).error, "");
  }
  const Decoded decoded = decode(encode(audit), Sender::Worker);
  EXPECT_EQ(std::get<Audit>(decoded.message).paths.size(), kMostAuditPaths);
  EXPECT_EQ(std::get<Audit>(decoded.message).paths[0].size(), kLongestPath);
}

}  // namespace
}  // namespace HOQ::agent
