#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "filemanager/operations/OperationsFixture.h"

namespace HOQ::test {
namespace {

class Stat : public OperationsFixture {};

struct StatCase {
  const char* path;  // "@" at its front: the place
  unsigned type;     // 0: no record
  unsigned long size;
};

TEST_F(Stat, NamesEachItemAsTheRequestDid) {
  trees::make(dir.path(), "d/name=12345 d/other d/l->name d/sub/%0711 top=1 d/a*=22 d/ab=333 -=1");
  const StatCase rows[] = {
      {"d/name", 8, 5},    {"top", 8, 1},     {"d", 4, 0},        {"d/l", 10, 4},
      {"./d/name", 8, 5},  {"d//name", 8, 5}, {"d/../top", 8, 1}, {"d/./name", 8, 5},
      {"@/d/name", 8, 5},  {"@/d", 4, 0},     {"@", 4, 0},        {"d/a*", 8, 2},
      {"d/missing", 0, 0}, {"missing", 0, 0}, {"d/nam", 0, 0},    {"d/name*", 0, 0},
      {"d/", 4, 0},        {".", 4, 0},       {"..", 4, 0},       {"d/..", 4, 0},
      {"d/sub/.", 4, 0},   {"-", 8, 1},
  };
  for (const StatCase& row : rows) {
    SCOPED_TRACE(row.path);
    std::string path = row.path;
    if (path[0] == '@') path.replace(0, 1, dir.path());
    const Outcome outcome = stat({path});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.messages, Texts{});
    ASSERT_EQ(outcome.records.size(), row.type == 0 ? 0U : 1U);
    if (row.type == 0) continue;
    EXPECT_EQ(outcome.records[0]->name, path);
    EXPECT_EQ(outcome.records[0]->type, row.type);
    EXPECT_EQ(outcome.records[0]->size, row.size);
    EXPECT_TRUE(outcome.records[0]->children.empty());
  }
}

TEST_F(Stat, DotsAreTheDirectoriesThatTheyLeadTo) {
  trees::make(dir.path(), "d/%0751 d/e/%0711 d/e/f");
  EXPECT_EQ(stat({"d/e/."}).records.at(0)->permissions, 0711U);
  EXPECT_EQ(stat({"d/e/.."}).records.at(0)->permissions, 0751U);
  EXPECT_EQ(stat({"d/e/"}).records.at(0)->permissions, 0711U);
}

TEST_F(Stat, TheRootIsAskedForWithAnEmptyPath) {
  struct stat root;
  ASSERT_EQ(::stat("/", &root), 0);
  ScriptedFiler filer("/");
  Records records;
  EXPECT_EQ(filer.stat({""}, &records, HOQFilerOptions(0), kAllFields), 0);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0]->name, "/");
  EXPECT_EQ(records[0]->type, 4U);
  EXPECT_EQ(records[0]->permissions, root.st_mode & 07777);
  EXPECT_EQ(records[0]->nlink, root.st_nlink);
}

TEST_F(Stat, AnEmptyPathIsTheWorkingDirectoryItself) {
  ASSERT_EQ(chmod(dir.path().c_str(), 0751), 0);
  const Outcome outcome = stat({""});
  EXPECT_EQ(outcome.code, 0);
  ASSERT_EQ(outcome.records.size(), 1U);
  EXPECT_EQ(outcome.records[0]->name, dir.path());
  EXPECT_EQ(outcome.records[0]->permissions, 0751U);
  const Outcome tree = stat({""}, kRecursive);
  ASSERT_EQ(tree.records.size(), 1U);
  EXPECT_EQ(tree.records[0]->name, ".");
  EXPECT_EQ(tree.records[0]->permissions, 0751U);
}

TEST_F(Stat, AnEmptyPathInAMissingWorkingDirectoryFails) {
  ScriptedFiler filer(dir / "missing");
  Records records;
  EXPECT_EQ(filer.stat({""}, &records, HOQFilerOptions(0), kAllFields), 2056);
  EXPECT_TRUE(records.empty());
  EXPECT_EQ(filer.handler->messages(),
            Texts{quoted("missing") + ", Cannot get information: No such file or directory[2]"});
}

TEST_F(Stat, AParentThatIsNoDirectoryStopsTheLoop) {
  trees::make(dir.path(), "d/f d/g top");
  for (const char* path : {"missing/x", "top/x"}) {
    const Outcome outcome = stat({"d/f", path, "d/g"});
    EXPECT_EQ(outcome.code, 2056) << path;
    EXPECT_EQ(namesOf(outcome.records), Texts{"d/f"});
    EXPECT_EQ(outcome.messages.size(), 1U);
    EXPECT_NE(outcome.messages.at(0).find("Cannot list/stat non directory item"),
              std::string::npos);
  }
}

TEST_F(Stat, ANameThatIsMissingStopsNothing) {
  trees::make(dir.path(), "d/f d/g");
  const Outcome outcome = stat({"d/missing", "d/f", "missing", "d/g"});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(namesOf(outcome.records), (Texts{"d/f", "d/g"}));
  EXPECT_EQ(outcome.messages, Texts{});
}

// The directories that the pattern names are found, so the loop goes on, though none is called "f".
TEST_F(Stat, APatternThatFindsOtherNamesStopsNothing) {
  trees::make(dir.path(), "da/f db/f g");
  const Outcome outcome = stat({"d*/f", "g"}, kPatterns);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.messages, Texts{});
  EXPECT_EQ(namesOf(outcome.records), Texts{"g"});
}

TEST_F(Stat, APatternThatFindsNothingStopsTheLoop) {
  trees::make(dir.path(), "g");
  const Outcome outcome = stat({"none*/f", "g"}, kPatterns);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_TRUE(outcome.records.empty());
}

TEST_F(Stat, WithoutPathsNothingWasDone) {
  const Outcome outcome = stat({});
  EXPECT_EQ(outcome.code, -1);
  EXPECT_TRUE(outcome.records.empty());
}

TEST_F(Stat, WithoutARoutineNothingIsDone) {
  maker = [](const std::string&) { return boost::shared_ptr<HOQFileRoutine>(); };
  const Outcome outcome = stat({"a"});
  EXPECT_EQ(outcome.code, -1);
  EXPECT_TRUE(outcome.records.empty());
}

TEST_F(Stat, LinksAreFollowedOnRequest) {
  trees::make(dir.path(), "f=12345 d/ l->f m->d dangling->nowhere");
  const Outcome outcome = stat({"l", "m", "dangling"}, kFollow);
  EXPECT_EQ(outcome.code, 0);
  ASSERT_EQ(outcome.records.size(), 3U);
  EXPECT_EQ(outcome.records[0]->type, 8U);
  EXPECT_EQ(outcome.records[0]->size, 5U);
  EXPECT_EQ(outcome.records[1]->type, 4U);
  EXPECT_EQ(outcome.records[2]->type, 10U);
  EXPECT_EQ(outcome.records[2]->linkTarget, "nowhere");
}

TEST_F(Stat, FillsTheFieldsAskedFor) {
  trees::make(dir.path(), "f=1");
  EXPECT_EQ(stat({"f"}, 0, 0x40).records.at(0)->valid, 0x40U);
  EXPECT_EQ(stat({"f"}, 0, kAllFields).records.at(0)->valid, kAllFields & ~0x200U);
}

TEST_F(Stat, FindsNamesOfEveryByte) {
  trees::make(dir.path(), "d/");
  for (const std::string& name : trees::everyByteNames(dir / "d")) {
    const Outcome outcome = stat({"d/" + name});
    EXPECT_EQ(outcome.code, 0);
    ASSERT_EQ(outcome.records.size(), 1U) << name;
    EXPECT_EQ(outcome.records[0]->name, "d/" + name);
  }
}

TEST_F(Stat, ATreeIsAskedForByItsNameWithItsContents) {
  trees::make(dir.path(), "w/d/e/f=22 w/x=1");
  const Outcome outcome = stat({"w/d"}, kRecursive | kSums);
  ASSERT_EQ(outcome.records.size(), 1U);
  EXPECT_EQ(outcome.records[0]->name, "w/d");
  EXPECT_EQ(outcome.records[0]->size, 2U);
  EXPECT_EQ(sizesOf(outcome.records[0]->children), "e=2(f=2)");
}

TEST_F(Stat, AnItemThatCannotBeExaminedIsReported) {
  trees::make(dir.path(), "d/f d/g");
  FaultPlan plan("/f", EACCES, Call::Stat);
  failBy(plan);
  const Outcome outcome = stat({"d/f", "d/g"});
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(namesOf(outcome.records), Texts{"d/g"});
  EXPECT_EQ(outcome.messages.at(0),
            quoted("d/f") + ", Cannot get information: Permission denied[13]");
}

class Search : public OperationsFixture {};

TEST_F(Search, IsNotProvided) {
  trees::make(dir.path(), "f");
  ScriptedFiler filer(dir.path());
  Records records;
  EXPECT_EQ(filer.search({"."}, "*", &records, 0, HOQFilerOptions(0)), 424);
  EXPECT_TRUE(records.empty());
  EXPECT_TRUE(filer.handler->events.empty());
  EXPECT_EQ(filer.routinesAsked, 0);
}

}  // namespace
}  // namespace HOQ::test
