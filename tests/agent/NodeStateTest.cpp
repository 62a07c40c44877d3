#include "front/NodeState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "support/TempDir.h"

namespace HOQ::agent {
namespace {

TEST(NodeStateTest, ANodeKeepsItsIdentifier) {
  const test::TempDir dir;
  const auto first = nodeEidIn(dir / "state");
  ASSERT_TRUE(first) << first.error().text;
  EXPECT_THAT(*first, testing::MatchesRegex("[0-9a-fA-F]{32}"));
  const auto second = nodeEidIn(dir / "state");
  ASSERT_TRUE(second);
  EXPECT_EQ(*second, *first);
  struct stat info {};
  ASSERT_EQ(::stat((dir / "state").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 077, 0u);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir / "state"), {}), 1);
}

TEST(NodeStateTest, TwoNodesHaveTwoIdentifiers) {
  const test::TempDir dir;
  EXPECT_NE(*nodeEidIn(dir / "a"), *nodeEidIn(dir / "b"));
}

TEST(NodeStateTest, AnythingElseInItsPlaceIsNotReplaced) {
  const std::string good(32, 'a');
  for (const std::string& text : {std::string(), std::string("\n"), good.substr(1), good + "a",
                                  good + "\n\n", std::string(32, 'g'), std::string(5000, 'a')}) {
    const test::TempDir dir;
    std::ofstream(dir / "eid") << text;
    const auto eid = nodeEidIn(dir.path());
    ASSERT_FALSE(eid) << text;
    EXPECT_EQ(eid.error().text, dir / "eid" + " does not hold a node's identifier");
    EXPECT_EQ(std::filesystem::file_size(dir / "eid"), text.size());
  }
}

TEST(NodeStateTest, AFolderThatCannotBeMadeIsTold) {
  const test::TempDir dir;
  const auto missing = nodeEidIn(dir / "none/state");
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().text,
            "cannot make the folder " + (dir / "none/state") + ": No such file or directory");
  std::ofstream(dir / "file") << "x";
  EXPECT_FALSE(nodeEidIn(dir / "file"));
}

}  // namespace
}  // namespace HOQ::agent
