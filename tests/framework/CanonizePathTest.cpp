#include <gtest/gtest.h>
#include <hoq/canonizePath.h>

#include <string>
#include <vector>

namespace HOQ {
namespace {

struct Case {
  const char* given;
  const char* expected;
};

TEST(CanonizePath, ResolvesDotsAndRepeatedSeparators) {
  const Case cases[] = {
      {"", ""},
      {"/", "/"},
      {"//", "/"},
      {"///", "/"},
      {"/.", "/"},
      {"/./", "/"},
      {"/./.", "/"},
      {"/a", "/a"},
      {"/a/", "/a"},
      {"/a//", "/a"},
      {"//a", "/a"},
      {"/a/.", "/a"},
      {"/a/./b", "/a/b"},
      {"/a//b///c", "/a/b/c"},
      {"/a/..", "/"},
      {"/a/../", "/"},
      {"/a/../b", "/b"},
      {"/a/b/..", "/a"},
      {"/a/b/../..", "/"},
      {"/a/b/../../c", "/c"},
      {"/a/b/.././../c/./d//", "/c/d"},
      {"/...", "/..."},
      {"/..a", "/..a"},
      {"/a..", "/a.."},
      {"/.a", "/.a"},
      {"/a/.../b", "/a/.../b"},
      {"a", "a"},
      {"a/", "a"},
      {"a//b", "a/b"},
      {".", ""},
      {"./", ""},
      {"./.", ""},
      {"./a", "a"},
      {"a/.", "a"},
      {"a/..", ""},
      {"a/../", ""},
      {"a/../b", "b"},
      {"a/b/..", "a"},
      {"a/b/../..", ""},
      {"..", ".."},
      {"../", ".."},
      {"../..", "../.."},
      {".././..", "../.."},
      {"../a", "../a"},
      {"../a/..", ".."},
      {"../a/../b", "../b"},
      {"a/../..", ".."},
      {"a/../../b", "../b"},
      {"a/b/../../..", ".."},
      {"../../a/b/../../..", "../../.."},
      {"...", "..."},
      {"..a/..", ""},
      {"a b/\n/..", "a b"},
  };
  for (const Case& each : cases) {
    std::string path = each.given;
    EXPECT_EQ(canonizePath(path, '/'), 0) << each.given;
    EXPECT_EQ(path, each.expected) << each.given;
  }
}

TEST(CanonizePath, RefusesToClimbAboveTheRootAndLeavesThePath) {
  for (const std::string given : {"/..", "/../", "/../a", "//..", "/./..", "/a/../..",
                                  "/a//b/../../..", "/a/../../a/b", "/../..", "/a/./../x/../.."}) {
    std::string path = given;
    EXPECT_NE(canonizePath(path, '/'), 0) << given;
    EXPECT_EQ(path, given);
  }
}

TEST(CanonizePath, TakesAnySeparator) {
  std::string path = "\\a\\.\\b\\..\\c/../d";
  EXPECT_EQ(canonizePath(path, '\\'), 0);
  EXPECT_EQ(path, "\\a\\c/../d");
}

TEST(CanonizePath, KeepsEveryByteOfAName) {
  std::string name;
  for (int byte = 0; byte < 256; ++byte)
    if (byte != '/') name += static_cast<char>(byte);
  std::string path = "/x/.././" + name + "/";
  EXPECT_EQ(canonizePath(path, '/'), 0);
  EXPECT_EQ(path, "/" + name);
}

// Every path of up to eight characters of the alphabet that matters.
std::vector<std::string> shortPaths() {
  std::vector<std::string> paths = {""};
  std::size_t shorter = 0;
  for (int length = 1; length <= 8; ++length) {
    const std::size_t end = paths.size();
    for (; shorter < end; ++shorter)
      for (const char next : {'/', '.', 'a'}) paths.push_back(paths[shorter] + next);
  }
  return paths;
}

// The same by components in a list, which is easy to trust. False: above the root.
bool resolve(const std::string& path, std::string* resolved) {
  const bool absolute = !path.empty() && path.front() == '/';
  std::vector<std::string> kept;
  std::string component;
  for (const char next : path + "/") {
    if (next != '/') {
      component += next;
      continue;
    }
    if (component == "..") {
      if (!kept.empty() && kept.back() != "..")
        kept.pop_back();
      else if (absolute)
        return false;
      else
        kept.push_back("..");
    } else if (!component.empty() && component != ".") {
      kept.push_back(component);
    }
    component.clear();
  }
  for (const std::string& each : kept) *resolved += (resolved->empty() ? "" : "/") + each;
  if (absolute) resolved->insert(0, "/");
  return true;
}

TEST(CanonizePath, AgreesWithAListOfComponentsAndIsStableAndNeverLonger) {
  for (const std::string& given : shortPaths()) {
    std::string expected;
    const bool possible = resolve(given, &expected);
    std::string path = given;
    ASSERT_EQ(canonizePath(path, '/') == 0, possible) << given;
    ASSERT_EQ(path, possible ? expected : given);
    ASSERT_LE(path.size(), given.size()) << given;
    if (!possible) continue;
    std::string again = path;
    ASSERT_EQ(canonizePath(again, '/'), 0) << given;
    ASSERT_EQ(again, path) << given;
  }
}

TEST(CanonizePath, LeavesACanonicalPathWhereItIs) {
  std::string path = "/a/directory/with/a/name/that/no/string/keeps/within/itself";
  const std::string before = path;
  const char* const place = path.data();
  EXPECT_EQ(canonizePath(path, '/'), 0);
  EXPECT_EQ(path, before);
  EXPECT_EQ(path.data(), place);
}

TEST(CanonizePath, ResolvesAPathOfAMillionComponents) {
  std::string path;
  for (int i = 0; i < 500'000; ++i) path += "/a";
  for (int i = 0; i < 500'000; ++i) path += "/..";
  EXPECT_EQ(canonizePath(path, '/'), 0);
  EXPECT_EQ(path, "/");
}

}  // namespace
}  // namespace HOQ
