#include "front/Workers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <memory>

#include "agent/FakeStarter.h"

namespace HOQ::agent {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

const ClientEntry kAdmin = entryNamed("admin");
const ClientEntry kReader = entryNamed("reader", true, false);

class WorkersTest : public testing::Test {
 protected:
  explicit WorkersTest(Workers::Times times = {})
      : workers_(loop_, starter_, tally_,
                 {[this](Worker&, const Dial& dial) { dials_.push_back(dial.address); },
                  [this](const Worker&, const Audit& audit) { audits_.push_back(audit.operation); },
                  [this](Worker& worker) {
                    gone_.push_back(worker.id());
                    loop_.stop();
                  },
                  [this] { ++allEnded_; }},
                 times) {}

  /// Lets the loop do what is there to be done.
  void turn() {
    loop_.post([this] { loop_.stop(); });
    loop_.run();
  }

  Worker* find(const ClientEntry* entry) { return workers_.find(*settings_, entry); }

  std::string firstKind(Worker::Id pid) {
    const ControlSocket::Received received = starter_.end(pid).receive();
    return received.outcome == ControlSocket::Outcome::Done ? kindOf(received.message).name
                                                            : "closed";
  }

  SettingsPtr settings_ = settingsWith({kAdmin, kReader});
  EventLoop loop_;
  FakeStarter starter_;
  Tally tally_;
  std::vector<std::string> dials_;
  std::vector<std::string> audits_;
  std::vector<Worker::Id> gone_;
  int allEnded_ = 0;
  Workers workers_;
};

TEST_F(WorkersTest, AnEntryHasOneWorkerStartedWhenFirstNeeded) {
  Worker* admin = find(&kAdmin);
  ASSERT_NE(admin, nullptr);
  EXPECT_EQ(find(&kAdmin), admin);
  EXPECT_NE(find(&kReader), admin);
  EXPECT_THAT(starter_.started, ElementsAre("admin", "reader"));
}

TEST_F(WorkersTest, AllThatNobodyNamesShareOneWithoutRights) {
  Worker* unknown = find(nullptr);
  ASSERT_NE(unknown, nullptr);
  EXPECT_EQ(find(nullptr), unknown);
  EXPECT_THAT(starter_.started, ElementsAre(""));
  EXPECT_FALSE(unknown->welcome().mayRead);
  EXPECT_FALSE(unknown->welcome().mayChange);
}

TEST_F(WorkersTest, AWorkerIsToldWhomItServesBeforeAnythingElse) {
  ASSERT_NE(find(&kReader), nullptr);
  const ControlSocket::Received received = starter_.end(1).receive();
  ASSERT_EQ(received.outcome, ControlSocket::Outcome::Done);
  const Welcome& welcome = std::get<Welcome>(received.message);
  EXPECT_EQ(welcome.client, "reader");
  EXPECT_TRUE(welcome.mayRead);
  EXPECT_FALSE(welcome.mayChange);
  EXPECT_EQ(welcome.nodeEid, std::string(32, 'e'));
  EXPECT_EQ(welcome.requests, 64u);
  EXPECT_EQ(welcome.messageBytes, 4194304u);
  EXPECT_EQ(welcome.engine, "kernel");
}

TEST_F(WorkersTest, WhatAWorkerSaysIsPassedOn) {
  Worker* admin = find(&kAdmin);
  starter_.end(1).send(Ready{});
  starter_.end(1).send(Dial{1, "host:1"});
  starter_.end(1).send(Audit{"Remove", "", "", {}, 0, "", 0, "", 0, 0, ""});
  starter_.end(1).send(Counters{{}, 0, 5, 0, 0, 0, 0});
  turn();
  turn();
  EXPECT_TRUE(admin->ready);
  EXPECT_THAT(dials_, ElementsAre("host:1"));
  EXPECT_THAT(audits_, ElementsAre("Remove"));
  EXPECT_EQ(admin->counters.bytesIn, 5u);
}

TEST_F(WorkersTest, AWorkerThatBreaksTheRulesIsKilledAndForgotten) {
  workers_.attach(*find(&kAdmin), 7);
  starter_.end(1).send(Ready{});
  ASSERT_EQ(::send(starter_.end(1).fd(), "garbage", 7, 0), 7);
  loop_.run();
  EXPECT_THAT(gone_, ElementsAre(1));
  EXPECT_THAT(starter_.killed, ElementsAre(1));
  EXPECT_EQ(workers_.size(), 0u);
  EXPECT_NE(find(&kAdmin), nullptr) << "the next connection has a fresh one";
  EXPECT_EQ(starter_.started.size(), 2u);
}

TEST_F(WorkersTest, AWorkerThatFloodsDoesNotKeepTheLoopToItself) {
  ASSERT_NE(find(&kAdmin), nullptr);
  for (int i = 0; i < 100; ++i) starter_.end(1).send(Dial{1, "host:1"});
  turn();
  EXPECT_LT(dials_.size(), 100u);
  for (int i = 0; i < 20; ++i) turn();
  EXPECT_EQ(dials_.size(), 100u);
}

TEST_F(WorkersTest, AWorkerThatDoesNotReadIsNotFedWithoutEnd) {
  Worker* admin = find(&kAdmin);
  int taken = 0;
  while (taken < 1000000 && admin->send(Drain{1})) ++taken;
  EXPECT_LT(taken, 1000000);
}

TEST_F(WorkersTest, AWorkerThatEndsBeforeItIsReadyIsNotStartedAgainAtOnce) {
  ASSERT_NE(find(&kAdmin), nullptr);
  starter_.ends.erase(1);
  loop_.run();
  EXPECT_EQ(find(&kAdmin), nullptr);
  EXPECT_NE(find(&kReader), nullptr) << "others are not held up";
  workers_.reconsider(*settings_);
  EXPECT_NE(find(&kAdmin), nullptr) << "a fresh configuration is a fresh chance";
}

TEST_F(WorkersTest, AWorkerThatCannotBeStartedIsNotTriedAgainAtOnce) {
  starter_.fails = true;
  EXPECT_EQ(find(&kAdmin), nullptr);
  EXPECT_THAT(gone_, ElementsAre(1));
  starter_.fails = false;
  EXPECT_EQ(find(&kAdmin), nullptr);
  EXPECT_NE(find(&kReader), nullptr) << "others are not held up";
  workers_.reconsider(*settings_);
  EXPECT_NE(find(&kAdmin), nullptr) << "a fresh configuration is a fresh chance";
}

TEST_F(WorkersTest, WhatIsSentBeforeAProcessIsThereWaitsForIt) {
  starter_.late = true;
  Worker* admin = find(&kAdmin);
  ASSERT_NE(admin, nullptr);
  EXPECT_EQ(find(&kAdmin), admin);
  auto [ours, theirs] = ControlSocket::pair();
  ASSERT_TRUE(admin->send(Connection{}, std::move(theirs)));
  workers_.attach(*admin, 1);
  starter_.finishStart(1);
  EXPECT_EQ(firstKind(1), "welcome");
  EXPECT_EQ(firstKind(1), "connection");
}

TEST_F(WorkersTest, AWorkerThatIsEndedBeforeItsProcessIsThereEndsWithIt) {
  starter_.late = true;
  Worker* admin = find(&kAdmin);
  workers_.attach(*admin, 1);
  workers_.end(admin->id());
  EXPECT_THAT(gone_, ElementsAre(1));
  starter_.finishStart(1);
  EXPECT_EQ(firstKind(1), "closed");
}

class ImpatientWorkers : public WorkersTest {
 protected:
  ImpatientWorkers() : WorkersTest({milliseconds(1), milliseconds(1), milliseconds(1)}) {}
};

TEST_F(ImpatientWorkers, AWorkerWhoseUserIsMissingServesThoseThatCameAndNoLaterOnes) {
  starter_.trouble = "there is no user \"admin\"";
  Worker* admin = find(&kAdmin);
  ASSERT_NE(admin, nullptr);
  EXPECT_EQ(find(&kAdmin), admin) << "for a moment";
  loop_.run();  // until that has passed
  EXPECT_THAT(gone_, ElementsAre(1));
  starter_.trouble.clear();
  EXPECT_NE(find(&kAdmin), admin);
}

class WorkersWithLittleRoom : public WorkersTest {
 protected:
  WorkersWithLittleRoom()
      : WorkersTest({Workers::Times().end, Workers::Times().hold, milliseconds(1)}) {
    Limits limits;
    limits.workers = 2;
    settings_ = settingsWith({kAdmin, kReader, kOther_, kLast_}, limits);
  }

  /// Connections are numbered as their workers are.
  Worker* use(const ClientEntry& entry) {
    Worker* worker = find(&entry);
    if (worker) workers_.attach(*worker, worker->id());
    return worker;
  }

  const ClientEntry kOther_ = entryNamed("other");
  const ClientEntry kLast_ = entryNamed("last");
};

TEST_F(WorkersWithLittleRoom, WhoComesWhenThereIsNoneWaitsForAnothersEndEachInTurn) {
  for (const ClientEntry& entry : {kAdmin, kReader, kOther_, kLast_}) {
    ASSERT_NE(use(entry), nullptr);
  }
  EXPECT_THAT(starter_.started, ElementsAre("admin", "reader"));
  EXPECT_EQ(find(&kOther_)->id(), 3u) << "it has its one place in the queue";
  starter_.ends.erase(1);
  turn();
  starter_.ended(1);
  EXPECT_THAT(starter_.started, ElementsAre("admin", "reader", "other"));
  starter_.ends.erase(2);
  turn();
  starter_.ended(2);
  EXPECT_THAT(starter_.started, ElementsAre("admin", "reader", "other", "last"));
}

TEST_F(WorkersWithLittleRoom, WorkersThatNobodyUsesMakeRoomForThoseThatAreWaitedFor) {
  ASSERT_NE(use(kAdmin), nullptr);
  ASSERT_NE(use(kReader), nullptr);
  workers_.detach(1, 1);
  EXPECT_THAT(gone_, IsEmpty());
  ASSERT_NE(use(kOther_), nullptr);
  EXPECT_THAT(gone_, ElementsAre(1));
  ASSERT_NE(use(kLast_), nullptr);
  EXPECT_THAT(gone_, ElementsAre(1)) << "the other one is in use";
  workers_.detach(2, 2);
  EXPECT_THAT(gone_, ElementsAre(1, 2)) << "until it is not";
}

TEST_F(WorkersWithLittleRoom, WhoWaitsTooLongIsTurnedAway) {
  ASSERT_NE(use(kAdmin), nullptr);
  ASSERT_NE(use(kReader), nullptr);
  ASSERT_NE(use(kOther_), nullptr);
  loop_.run();  // until it is told that the worker is gone
  EXPECT_THAT(gone_, ElementsAre(3));
  EXPECT_THAT(starter_.started, ElementsAre("admin", "reader"));
  EXPECT_EQ(workers_.size(), 2u);
}

TEST_F(WorkersWithLittleRoom, WhoWaitsWhenTheDaemonEndsIsTurnedAway) {
  ASSERT_NE(use(kAdmin), nullptr);
  ASSERT_NE(use(kReader), nullptr);
  ASSERT_NE(use(kOther_), nullptr);
  workers_.drain(std::chrono::seconds(9));
  EXPECT_THAT(gone_, ElementsAre(3));
  starter_.ended(1);
  starter_.ended(2);
  EXPECT_EQ(allEnded_, 1);
  EXPECT_THAT(starter_.started, ElementsAre("admin", "reader"));
}

TEST_F(WorkersTest, AnIdleWorkerIsEnded) {
  Limits limits;
  limits.workerIdleSeconds = 0;  // less than a configuration may say: the loop's next turn
  settings_ = settingsWith({kAdmin}, limits);
  Worker* admin = find(&kAdmin);
  workers_.attach(*admin, 1);
  workers_.attach(*admin, 2);
  workers_.detach(admin->id(), 1);
  turn();
  EXPECT_THAT(gone_, IsEmpty());
  workers_.detach(admin->id(), 2);
  loop_.run();
  EXPECT_THAT(gone_, ElementsAre(1));
  EXPECT_EQ(firstKind(1), "welcome");
  EXPECT_EQ(firstKind(1), "closed") << "it is told by its socket's end";
}

TEST_F(WorkersTest, AReloadEndsTheWorkersWhoseEntriesChangedAndNoOthers) {
  const ClientEntry backup = entryNamed("backup");
  settings_ = settingsWith({kAdmin, kReader, backup});
  workers_.attach(*find(&kAdmin), 1);
  workers_.attach(*find(&kReader), 2);
  workers_.attach(*find(&backup), 3);
  workers_.attach(*find(nullptr), 4);
  const ClientEntry less = entryNamed("reader", false, false);
  workers_.reconsider(*settingsWith({kAdmin, less}));
  EXPECT_THAT(gone_, ElementsAre(2, 3));
  EXPECT_EQ(firstKind(2), "welcome");
  EXPECT_EQ(firstKind(2), "closed");
}

TEST_F(WorkersTest, AWorkerThatWasEndedIsHeardOut) {
  Worker* admin = find(&kAdmin);
  workers_.attach(*admin, 1);
  starter_.end(1).send(Ready{});
  turn();
  workers_.end(admin->id());
  EXPECT_THAT(gone_, ElementsAre(1));
  EXPECT_NE(find(&kAdmin), admin) << "it takes nothing any more";
  for (int i = 0; i < 50; ++i)
    starter_.end(1).send(Audit{"Remove", "", "", {}, 0, "", 0, "", 0, 0, ""});
  starter_.end(1).send(Counters{{}, 0, 5, 0, 0, 0, 0});
  starter_.ends.erase(1);
  starter_.ended(1);
  EXPECT_EQ(audits_.size(), 50u);
  EXPECT_EQ(tally_.pastWorkers.at("admin").bytesIn, 5u);
}

TEST_F(WorkersTest, AReloadOfOtherThingsLetsConnectionsStandButServesNewOnesAnew) {
  Worker* admin = find(&kAdmin);
  const Worker::Id id = admin->id();
  workers_.attach(*admin, 1);
  Limits limits;
  limits.requestsPerClient = 5;
  settings_ = settingsWith({kAdmin}, limits);
  workers_.reconsider(*settings_);
  EXPECT_THAT(gone_, IsEmpty());
  Worker* fresh = find(&kAdmin);
  EXPECT_NE(fresh->id(), id);
  workers_.attach(*fresh, 2);
  workers_.reconsider(*settings_);
  EXPECT_EQ(find(&kAdmin), fresh) << "the retired one takes nothing with it";
  workers_.detach(id, 1);
  EXPECT_THAT(gone_, ElementsAre(1));
  EXPECT_EQ(workers_.byId(fresh->id()), fresh);
}

TEST_F(WorkersTest, DrainingTellsEveryWorkerAndEndsWithTheLastProcess) {
  ASSERT_NE(find(&kAdmin), nullptr);
  ASSERT_NE(find(&kReader), nullptr);
  workers_.drain(std::chrono::seconds(9));
  for (const Worker::Id pid : {1, 2}) {
    EXPECT_EQ(firstKind(pid), "welcome");
    const ControlSocket::Received received = starter_.end(pid).receive();
    EXPECT_EQ(std::get<Drain>(received.message).seconds, 9u);
  }
  starter_.ended(1);
  EXPECT_FALSE(workers_.empty());
  EXPECT_EQ(allEnded_, 0);
  starter_.ended(2);
  EXPECT_TRUE(workers_.empty());
  EXPECT_EQ(allEnded_, 1);
}

TEST_F(WorkersTest, WhatEndedWorkersCountedIsNotLost) {
  for (int i = 0; i < 2; ++i) {
    workers_.attach(*find(&kAdmin), 1);
    starter_.end(i + 1).send(Ready{});
    starter_.end(i + 1).send(Counters{{{"List", 0, 3}}, 1, 5, 7, 9, 9, 9});
    starter_.ends.erase(i + 1);
    loop_.run();
  }
  EXPECT_EQ(tally_.pastWorkers.at("admin"), (Counters{{{"List", 0, 6}}, 2, 10, 14, 0, 0, 0}));
  EXPECT_EQ(tally_.workerStarts, 2u);
}

TEST(TallyTest, AWorkerThatMakesCallsUpDoesNotGrowTheSumsWithoutEnd) {
  Counters sum;
  for (int i = 0; i < 1000; ++i) add(sum, Counters{{{"Op", i, 1}}, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(sum.calls.size(), kMostCallKinds);
}

}  // namespace
}  // namespace HOQ::agent
