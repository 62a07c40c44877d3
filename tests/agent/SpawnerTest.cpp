#include "spawner/Spawner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace HOQ::agent {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Outcome = ControlSocket::Outcome;

/// Starts no process: remembers what it was asked for.
class FakeLauncher : public Launcher {
 public:
  tls::Result<pid_t> launch(const WorkerPlan& plan, int) override {
    if (fails) return tls::Error{tls::ErrorKind::kSystem, "no room"};
    plans.push_back(plan);
    return ++lastPid;
  }
  void kill(pid_t pid) override { killed.push_back(pid); }
  void reap(const std::function<void(pid_t, const std::string&)>& ended) override {
    for (const pid_t pid : reapable) ended(pid, "signal 9");
    reapable.clear();
  }

  bool fails = false;
  pid_t lastPid = 100;
  std::vector<WorkerPlan> plans;
  std::vector<pid_t> killed;
  std::vector<pid_t> reapable;
};

const std::string kFile = "conf/hoqd.toml";
const std::string kListen = "listen = [\"unix:/x\"]\n";

std::string textWith(const std::string& clients, const std::string& limits = "") {
  return kListen + "[limits]\nworker_descriptors = 99\n" + limits + clients;
}

const std::string kAdmin = "[[client]]\nname = \"admin\"\nrights = [\"read\"]\numask = \"077\"\n";

/// A spawner without root, since planFor() for others asks the system's accounts.
class SpawnerTest : public testing::Test {
 protected:
  explicit SpawnerTest(const std::string& text = textWith(kAdmin)) : SpawnerTest(text, pair()) {}

  static std::pair<tls::UniqueFd, tls::UniqueFd> pair() { return ControlSocket::pair(); }

  SpawnerTest(const std::string& text, std::pair<tls::UniqueFd, tls::UniqueFd> ends)
      : text_(text),
        front_(std::move(ends.first), Sender::Spawner),
        spawner_(ControlSocket(std::move(ends.second), Sender::Starter), launcher_,
                 parseConfiguration(text, kFile, kSurroundings).configuration, kSurroundings,
                 [this] { return read(); }) {}

  tls::Result<std::string> read() const {
    if (text_.empty()) return tls::Error{tls::ErrorKind::kUsage, "cannot be opened"};
    return text_;
  }

  /// Whether the spawner goes on after `message`.
  bool say(const Message& message) {
    EXPECT_EQ(front_.send(message), Outcome::Done);
    return spawner_.obey();
  }

  template <class Answer>
  Answer hear(tls::UniqueFd* descriptor = nullptr) {
    ControlSocket::Received received = front_.receive();
    if (!std::holds_alternative<Answer>(received.message)) {
      ADD_FAILURE() << kindOf(received.message).name << " " << received.error;
      return {};
    }
    if (descriptor) *descriptor = std::move(received.descriptor);
    return std::get<Answer>(received.message);
  }

  static inline const Surroundings kSurroundings{"files"};
  std::string text_;
  FakeLauncher launcher_;
  ControlSocket front_;
  Spawner spawner_;
};

TEST_F(SpawnerTest, AWorkerIsWhatItsEntryInTheConfigurationSays) {
  ASSERT_TRUE(say(StartWorker{1, 0, "admin"}));
  tls::UniqueFd control;
  EXPECT_EQ(hear<WorkerStarted>(&control), (WorkerStarted{1, 101, ""}));
  EXPECT_TRUE(control);
  ASSERT_EQ(launcher_.plans.size(), 1u);
  const WorkerPlan& plan = launcher_.plans.front();
  EXPECT_EQ(plan.client, "admin");
  EXPECT_TRUE(plan.mayRead);
  EXPECT_FALSE(plan.mayChange);
  EXPECT_EQ(plan.umask, mode_t{077});
  EXPECT_EQ(plan.descriptors, 99u);
  EXPECT_FALSE(plan.identity) << "started without root, all are who the daemon is";
}

TEST_F(SpawnerTest, ClientsThatNoEntryNamesHaveAWorkerWithoutRights) {
  ASSERT_TRUE(say(StartWorker{1, 0, ""}));
  (void)hear<WorkerStarted>();
  EXPECT_FALSE(launcher_.plans.front().mayRead);
  EXPECT_FALSE(launcher_.plans.front().mayChange);
}

TEST_F(SpawnerTest, AnEntryThatThereIsNotHasNoWorker) {
  ASSERT_TRUE(say(StartWorker{1, 0, "somebody"}));
  EXPECT_EQ(hear<WorkerFailed>(), (WorkerFailed{1, "there is no such entry"}));
  EXPECT_THAT(launcher_.plans, IsEmpty());
}

TEST_F(SpawnerTest, AWorkerThatCannotBeMadeIsToldOf) {
  launcher_.fails = true;
  ASSERT_TRUE(say(StartWorker{1, 0, "admin"}));
  EXPECT_EQ(hear<WorkerFailed>(), (WorkerFailed{1, "no room"}));
  EXPECT_FALSE(spawner_.hasWorkers());
}

TEST_F(SpawnerTest, WorkersAreKilledByTheirNumbersAndTheirEndsAreTold) {
  ASSERT_TRUE(say(StartWorker{4, 0, "admin"}));
  ASSERT_TRUE(say(StartWorker{7, 0, "admin"}));
  (void)hear<WorkerStarted>();
  (void)hear<WorkerStarted>();
  ASSERT_TRUE(say(KillWorker{7}));
  EXPECT_THAT(launcher_.killed, ElementsAre(102));
  launcher_.reapable = {102};
  spawner_.reap();
  EXPECT_EQ(hear<WorkerEnded>(), (WorkerEnded{7, "signal 9"}));
  ASSERT_TRUE(say(KillWorker{7})) << "it may have ended while the order was on its way";
  EXPECT_THAT(launcher_.killed, ElementsAre(102)) << "and its pid may be somebody else's";
  EXPECT_TRUE(spawner_.hasWorkers());
}

TEST_F(SpawnerTest, WhatTheFrontMayNotAskEndsIt) {
  const struct {
    const char* name;
    std::vector<Message> messages;
  } rows[] = {
      {"a number that was used", {StartWorker{3, 0, "admin"}, StartWorker{3, 0, "admin"}}},
      {"a number that is smaller", {StartWorker{3, 0, "admin"}, StartWorker{2, 0, "admin"}}},
      {"a generation that is to come", {StartWorker{5, 1, "admin"}}},
      {"the end of what was never started", {KillWorker{99}}},
      {"a reading after what was never read", {Reread{7}}},
      {"what is said to workers", {Drain{1}}},
      {"what workers say", {Ready{}}},
      {"what the spawner says", {WorkerEnded{1, "signal 9"}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    auto [front, end] = ControlSocket::pair();
    ControlSocket speaker(std::move(front), Sender::Spawner);
    FakeLauncher launcher;
    Spawner spawner(ControlSocket(std::move(end), Sender::Starter), launcher,
                    parseConfiguration(text_, kFile, kSurroundings).configuration, kSurroundings,
                    [this] { return read(); });
    for (const Message& message : row.messages) {
      const bool isLast = &message == &row.messages.back();
      ASSERT_EQ(speaker.send(message), Outcome::Done);
      EXPECT_EQ(spawner.obey(), !isLast);
    }
  }
}

TEST_F(SpawnerTest, GarbageAndDescriptorsEndIt) {
  ASSERT_EQ(::send(front_.fd(), "garbage", 7, 0), 7);
  EXPECT_FALSE(spawner_.obey());
  ASSERT_EQ(front_.send(KillWorker{0}, STDIN_FILENO), Outcome::Done);
  EXPECT_FALSE(spawner_.obey());
}

TEST_F(SpawnerTest, AFrontThatIsGoneEndsIt) {
  front_.finish();
  EXPECT_FALSE(spawner_.obey());
}

TEST_F(SpawnerTest, WhatIsReadAgainComesWithItsTextAndInForceWhenItIsMeant) {
  text_ = textWith("[[client]]\nname = \"other\"\nrights = [\"change\"]\n");
  ASSERT_TRUE(say(Reread{0}));
  tls::UniqueFd text;
  EXPECT_EQ(hear<Reading>(&text), (Reading{1, {}}));
  std::string copy(text_.size() + 1, '\0');
  EXPECT_EQ(::pread(text.get(), copy.data(), copy.size(), 0), static_cast<ssize_t>(text_.size()));
  EXPECT_EQ(copy.substr(0, text_.size()), text_);
  EXPECT_EQ(::pwrite(text.get(), "x", 1, 0), -1) << "nobody changes what was judged";
  ASSERT_TRUE(say(StartWorker{1, 0, "admin"})) << "the old one is in force still";
  (void)hear<WorkerStarted>();
  ASSERT_TRUE(say(StartWorker{2, 1, "other"}));
  (void)hear<WorkerStarted>();
  EXPECT_TRUE(launcher_.plans.back().mayChange);
  EXPECT_FALSE(say(StartWorker{3, 0, "admin"})) << "there is no way back";
}

TEST_F(SpawnerTest, AReadingThatTheFrontDoesNotTakeUpIsForgotten) {
  ASSERT_TRUE(say(Reread{0}));
  (void)hear<Reading>();
  ASSERT_TRUE(say(Reread{0}));
  EXPECT_EQ(hear<Reading>().generation, 2u);
  ASSERT_TRUE(say(Reread{2})) << "in force without a worker of it";
  EXPECT_EQ(hear<Reading>().generation, 3u);
  ASSERT_TRUE(say(StartWorker{1, 2, "admin"}));
  (void)hear<WorkerStarted>();
}

TEST_F(SpawnerTest, AConfigurationThatIsRefusedChangesNothing) {
  text_ = kListen + "nonsense = 1\n";
  ASSERT_TRUE(say(Reread{0}));
  EXPECT_EQ(hear<Reading>(), (Reading{1, {"conf/hoqd.toml:2: nonsense: unknown key"}}));
  text_.clear();
  ASSERT_TRUE(say(Reread{0}));
  EXPECT_EQ(hear<Reading>(), (Reading{2, {"conf/hoqd.toml:1: cannot be opened"}}));
  ASSERT_TRUE(say(StartWorker{1, 0, "admin"}));
  (void)hear<WorkerStarted>();
  EXPECT_FALSE(say(StartWorker{2, 2, "admin"}));
}

class SpawnerWithLittleRoom : public SpawnerTest {
 protected:
  SpawnerWithLittleRoom() : SpawnerTest(textWith(kAdmin, "workers = 2\n")) {}
};

TEST_F(SpawnerWithLittleRoom, ThereAreNoMoreWorkersThanThereMayBeWhateverTheFrontAsks) {
  for (const std::uint64_t id : {1, 2, 3}) ASSERT_TRUE(say(StartWorker{id, 0, "admin"}));
  (void)hear<WorkerStarted>();
  (void)hear<WorkerStarted>();
  EXPECT_THAT(hear<WorkerFailed>().text, HasSubstr("as many workers"));
  launcher_.reapable = {101};
  spawner_.reap();
  (void)hear<WorkerEnded>();
  ASSERT_TRUE(say(StartWorker{4, 0, "admin"}));
  (void)hear<WorkerStarted>();
}

}  // namespace
}  // namespace HOQ::agent
