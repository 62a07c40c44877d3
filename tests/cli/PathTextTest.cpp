#include "PathText.h"

#include <gtest/gtest.h>

namespace HOQ::cli {
namespace {

TEST(PathText, ResolvesByTheTextAlone) {
  const struct {
    const char* directory;
    const char* typed;
    const char* full;
  } cases[] = {
      {"/d", "a", "/d/a"},
      {"/d", "", "/d"},
      {"/d", ".", "/d"},
      {"/d", "..", "/"},
      {"/d", "../..", "/"},
      {"/d", "../../e", "/e"},
      {"/d", "/a//b/./c/", "/a/b/c"},
      {"/", "a", "/a"},
      {"/", "/", "/"},
      {"/", "//", "/"},
      {"/", "/..", "/"},
      {"/d/e", "*/../..", "/d"},
      {"/d", "*/..", "/d"},
      {"/d", "...", "/d/..."},
      {"/d", "/../a/..", "/"},
      {"/d/./e/..", "x", "/d/x"},
  };
  for (const auto& row : cases)
    EXPECT_EQ(resolve(row.directory, row.typed), row.full) << row.directory << " " << row.typed;
}

TEST(PathText, ParentAndLeafMakeThePathAgain) {
  for (const char* full : {"/a", "/a/b", "/a/b/c d", "/\n/x"})
    EXPECT_EQ(join(parentOf(full), leafOf(full)), full);
  EXPECT_EQ(parentOf("/"), "/");
  EXPECT_EQ(leafOf("/"), "");
}

TEST(PathText, PutsOneSeparatorBetween) {
  EXPECT_EQ(join("a", "b"), "a/b");
  EXPECT_EQ(join("a/", "b"), "a/b");
  EXPECT_EQ(join("/", "b"), "/b");
  EXPECT_EQ(join("", "b"), "b");
  EXPECT_EQ(join("a", ""), "a/");
}

TEST(PathText, KnowsNamesThatAskForADirectory) {
  for (const char* typed : {"/", "a/", ".", "..", "a/.", "a/.."})
    EXPECT_TRUE(namesDirectory(typed)) << typed;
  for (const char* typed : {"a", "a/b", "...", "a/.b", ".hidden"})
    EXPECT_FALSE(namesDirectory(typed)) << typed;
}

TEST(PathText, KnowsTheFourWildcards) {
  for (const char* text : {"*", "a?b", "[a", "a]"}) EXPECT_TRUE(hasWildcards(text)) << text;
  for (const char* text : {"", "a", "a\\b", "{a,b}", "~"}) EXPECT_FALSE(hasWildcards(text)) << text;
}

}  // namespace
}  // namespace HOQ::cli
