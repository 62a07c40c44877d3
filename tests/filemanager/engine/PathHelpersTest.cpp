#include "engine/PathHelpers.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "engine/FilePath.h"
#include "routine/HOQFileRoutine.h"

namespace HOQ::test {
namespace {

const char* const kPaths[] = {"",    "/",    "//",    "a",      "a/", "a//", "/a",    "/a/",
                              "a/b", "a/b/", "/a/b/", "a//b//", ".",  "..",  "/..//", " "};

TEST(PathHelpers, APathIsFullWhenItBeginsWithADivider) {
  struct Row {
    const char* path;
    bool full;
  };
  const Row rows[] = {{"", false},  {"/", true},   {"/a", true},
                      {"//", true}, {"a/", false}, {" /", false}};
  for (const Row& row : rows) EXPECT_EQ(isFullpath(row.path), row.full) << row.path;
}

TEST(PathHelpers, SetLastDivAddsADividerWhereNoneIs) {
  const std::pair<const char*, const char*> rows[] = {
      {"", ""}, {"a", "a/"}, {"a/", "a/"}, {"/", "/"}, {"a//", "a//"}, {"/a/b", "/a/b/"}};
  for (const auto& [given, expected] : rows) {
    std::string path = given;
    setLastDiv(path);
    EXPECT_EQ(path, expected) << given;
  }
}

TEST(PathHelpers, EraseLastDivTakesOneDividerOff) {
  const std::pair<const char*, const char*> rows[] = {{"", ""},    {"/", ""},     {"a", "a"},
                                                      {"a/", "a"}, {"a//", "a/"}, {"//", "/"}};
  for (const auto& [given, expected] : rows) {
    std::string path = given;
    eraseLastDiv(path);
    EXPECT_EQ(path, expected) << given;
  }
}

TEST(PathHelpers, MakePathAppendsAComponent) {
  struct Row {
    const char* path;
    const char* name;
    const char* made;
  };
  const Row rows[] = {{"", "", ""},         {"/", "", ""},       {"a", "", "a"},
                      {"a/", "", "a"},      {"", "b", "b"},      {"/", "b", "/b"},
                      {"a", "b", "a/b"},    {"a/", "b", "a/b"},  {"a", "b/", "a/b"},
                      {"a", "b//", "a/b/"}, {"a", "/b", "a//b"}, {"a//", "", "a/"},
                      {"a", "/", "a/"}};
  for (const Row& row : rows) {
    std::string path = row.path;
    makePath(path, row.name);
    EXPECT_EQ(path, row.made) << "\"" << row.path << "\" + \"" << row.name << "\"";
  }
}

TEST(PathHelpers, BothMakePathsAgree) {
  for (const char* path : kPaths) {
    for (const char* name : kPaths) {
      std::string whole = path;
      makePath(whole, name);
      std::string range = path;
      HOQFileRoutine::makePath(range, name);
      EXPECT_EQ(whole, range) << "\"" << path << "\" + \"" << name << "\"";
    }
  }
}

TEST(PathHelpers, SettingThenErasingADividerChangesOnlyWhatHadNone) {
  for (const char* given : kPaths) {
    std::string path = given;
    setLastDiv(path);
    const std::string once = path;
    setLastDiv(path);
    EXPECT_EQ(path, once) << given;
    eraseLastDiv(path);
    const std::string text = given;
    const bool had = !text.empty() && text.back() == '/';
    EXPECT_EQ(path, had ? text.substr(0, text.size() - 1) : text);
  }
}

TEST(PathHelpers, FtstrrchrFindsTheLastBeforeTheEnd) {
  const char text[] = "a/b/c";
  EXPECT_EQ(_ftstrrchr(text, text + 5, '/'), text + 3);
  EXPECT_EQ(_ftstrrchr(text, text + 4, '/'), text + 3);
  EXPECT_EQ(_ftstrrchr(text, text + 3, '/'), text + 1);
  EXPECT_EQ(_ftstrrchr(text, text + 1, '/'), nullptr);
  EXPECT_EQ(_ftstrrchr(text, text, '/'), nullptr);
  EXPECT_EQ(_ftstrrchr(text, text + 5, 'a'), text);
  EXPECT_EQ(_ftstrrchr(text, text + 5, 'x'), nullptr);
}

TEST(PathHelpers, OnlyOneAndTwoDotsAreDots) {
  const FilePath path;
  const std::pair<const char*, int> rows[] = {{".", 1},   {"..", 2}, {"...", 0}, {".x", 0},
                                              {"..x", 0}, {"", 0},   {"x", 0},   {"x.", 0},
                                              {"./", 0},  {"../", 0}};
  for (const auto& [name, dots] : rows) {
    EXPECT_EQ(path.isDots(name), dots) << name;
    EXPECT_EQ(path.isDots(std::string(name)), dots) << name;
  }
}

}  // namespace
}  // namespace HOQ::test
