#include "spawner/ControlGroups.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "support/TempDir.h"

namespace HOQ::agent {
namespace {

std::string read(const std::string& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

/// A folder like that of a control group. What a real one brings along for each new group, no
/// ordinary folder does: tests of the daemon itself run in a real one.
class ControlGroupsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(::mkdir((folder_ / "daemon").c_str(), 0755), 0);
    std::ofstream(folder_ / "daemon/cgroup.procs");
    std::ofstream(folder_ / "cgroup.subtree_control");
  }

  const test::TempDir folder_;
  WorkerPlan plan_;
};

TEST_F(ControlGroupsTest, AreNoneWithoutAFolder) {
  ControlGroups none;
  EXPECT_EQ(none.make(plan_), "");
  none.end("");
}

TEST_F(ControlGroupsTest, AreNoneWhereTheDaemonCannotLeaveTheirPlace) {
  ASSERT_EQ(::unlink((folder_ / "daemon/cgroup.procs").c_str()), 0);
  ControlGroups groups(folder_.path(), {1});
  EXPECT_EQ(groups.make(plan_), "");
  EXPECT_EQ(read(folder_ / "cgroup.subtree_control"), "");
}

TEST_F(ControlGroupsTest, TheDaemonGetsOneForItself) {
  ControlGroups groups(folder_.path(), {4321});
  EXPECT_EQ(read(folder_ / "daemon/cgroup.procs"), "4321");
  EXPECT_NE(read(folder_ / "cgroup.subtree_control"), "");
}

TEST_F(ControlGroupsTest, EachWorkerGetsAFreshOneThatGoesWithIt) {
  ASSERT_EQ(::mkdir((folder_ / "worker-2").c_str(), 0755), 0);  // an earlier daemon's
  ControlGroups groups(folder_.path(), {1});
  const std::string first = groups.make(plan_), second = groups.make(plan_);
  EXPECT_EQ(first, folder_ / "worker-1");
  EXPECT_EQ(second, folder_ / "worker-3");
  EXPECT_TRUE(exists(first));
  groups.end(first);
  EXPECT_FALSE(exists(first));
  EXPECT_TRUE(exists(second));
}

TEST_F(ControlGroupsTest, OneThatCannotBeMadeIsDoneWithout) {
  ControlGroups groups(folder_ / "gone", {});
  EXPECT_EQ(groups.make(plan_), "");
}

TEST_F(ControlGroupsTest, EnteringOneThatIsGoneIsAnError) {
  EXPECT_EQ(enterControlGroup(folder_ / "gone"), "control group: No such file or directory");
}

}  // namespace
}  // namespace HOQ::agent
