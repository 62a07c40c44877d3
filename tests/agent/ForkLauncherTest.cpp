#include "spawner/ForkLauncher.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <utility>

#include "control/ControlSocket.h"
#include "support/Isolation.h"
#include "support/TempDir.h"

namespace HOQ::agent {
namespace {

/// A program in the worker's place, which its parent can be asked to wait for at descriptor 3.
std::string script(const test::TempDir& dir, const std::string& text) {
  const std::string file = dir / "worker";
  std::ofstream(file) << "#!/bin/sh\n" << text;
  EXPECT_EQ(::chmod(file.c_str(), 0755), 0);
  return file;
}

WorkerPlan plan() {
  WorkerPlan plan;
  plan.client = "admin";
  plan.mayRead = true;
  plan.descriptors = 64;
  return plan;
}

/// Waits until nobody holds the other end any more.
void awaitEnd(const tls::UniqueFd& end) {
  char byte;
  while (::read(end.get(), &byte, 1) > 0) {
  }
}

TEST(ForkLauncherTest, AWorkerIsExecutedInItsPlaceWithItsLimits) {
  const test::TempDir dir;
  WorkerPlan wanted = plan();
  wanted.umask = 027;
  const std::string told = dir / "told";
  ControlGroups none;
  ForkLauncher launcher(
      script(dir, "echo $1 $2 $(umask) $(ulimit -n) $(ulimit -c) $(pwd) $PATH > " + told), {},
      none);
  auto [ours, theirs] = ControlSocket::pair();
  ASSERT_TRUE(launcher.launch(wanted, theirs.get()));
  theirs.reset();
  awaitEnd(ours);
  std::string line;
  std::getline(std::ifstream(told), line);
  EXPECT_EQ(line, "admin read 0027 64 0 / /usr/local/bin:/usr/bin:/bin");
}

TEST(ForkLauncherTest, WhatKeepsAWorkerFromStartingIsSaidAtItsSocket) {
  ControlGroups none;
  ForkLauncher launcher("/nonexistent/hoq-worker", {}, none);
  auto [ours, theirs] = ControlSocket::pair();
  ASSERT_TRUE(launcher.launch(plan(), theirs.get()));
  theirs.reset();
  ControlSocket front(std::move(ours), Sender::Worker);
  const ControlSocket::Received received = front.receive();
  ASSERT_EQ(received.outcome, ControlSocket::Outcome::Done);
  EXPECT_EQ(std::get<Log>(received.message).text,
            "not started: cannot execute /nonexistent/hoq-worker: No such file or directory");
}

TEST(ForkLauncherTest, AnIdentityThatCannotBeTakenIsNotWorkedWithout) {
  HOQ_NEEDS_ROOT("it gives its rights up first");
  EXPECT_EQ(test::inChild([] {
              ASSERT_EQ(::setuid(4321), 0);
              WorkerPlan wanted = plan();
              wanted.identity = HOQUserCredentials(4322, 4322);
              ControlGroups none;
              ForkLauncher launcher("/bin/true", {}, none);
              auto [ours, theirs] = ControlSocket::pair();
              ASSERT_TRUE(launcher.launch(wanted, theirs.get()));
              theirs.reset();
              ControlSocket front(std::move(ours), Sender::Worker);
              EXPECT_EQ(std::get<Log>(front.receive().message).text,
                        "not started: identity: Operation not permitted");
            }),
            "");
}

TEST(ForkLauncherTest, WhatWorkersLeaveBehindEndsWithTheLauncher) {
  EXPECT_EQ(test::inChild([] {
              ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0), 0);
              const test::TempDir dir;
              // In a session of its own, so that its worker's group does not reach it.
              const std::string file = script(dir, "setsid sleep 1000 &\necho begun >&3\n");
              auto [ours, theirs] = ControlSocket::pair();
              {
                ControlGroups none;
                ForkLauncher launcher(file, {}, none);
                ASSERT_TRUE(launcher.launch(plan(), theirs.get()));
                theirs.reset();
                char begun[8];
                ASSERT_GT(::read(ours.get(), begun, sizeof begun), 0);
              }
              awaitEnd(ours);  // for ever, if it lived on
            }),
            "");
}

TEST(ForkLauncherTest, AWorkerIsKilledWithItsGroup) {
  const test::TempDir dir;
  ControlGroups none;
  ForkLauncher launcher(script(dir, "sleep 1000 & wait"), {}, none);
  auto [ours, theirs] = ControlSocket::pair();
  const auto pid = launcher.launch(plan(), theirs.get());
  ASSERT_TRUE(pid);
  theirs.reset();
  launcher.kill(*pid);
  awaitEnd(ours);
  launcher.kill(*pid + 1);  // none of ours: nothing
  EXPECT_EQ(::kill(::getpid(), 0), 0);
}

}  // namespace
}  // namespace HOQ::agent
