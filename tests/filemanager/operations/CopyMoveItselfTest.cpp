// Nothing is copied or moved onto itself or into itself, by whatever path.
#include <string>

#include "filemanager/operations/ChangesFixture.h"

namespace HOQ::test {
namespace {

class CopyMoveItself : public ChangesFixture {};

struct ItselfCase {
  const char* what;
  const char* tree;
  const char* source;  // "@" stands for the place
  const char* target;
  int options;
  const char* message;  // "#" stands for "copy" or "move"
};

const ItselfCase kRefused[] = {
    {"a file onto its name", "f=1", "f", "f", kOverwrite, "\"@/f\" and \"@/f\" are the same item"},
    {"a file into its directory", "f=1", "f", ".", kOverwrite,
     "\"@/f\" and \"@/f\" are the same item"},
    {"a file by another path", "d/f=1 l->d", "l/f", "d/f", kOverwrite,
     "\"@/l/f\" and \"@/d/f\" are the same item"},
    {"a file onto a hard link of it", "f=1 h=>f", "f", "h", kOverwrite,
     "\"@/f\" and \"@/h\" are the same item"},
    {"a followed link onto what it leads to", "f=1 l->f", "l", "f", kOverwrite | kFollow,
     "\"@/l\" and \"@/f\" are the same item"},
    {"a link onto itself", "f=1 l->f", "l", "l", kOverwrite,
     "\"@/l\" and \"@/l\" are the same item"},
    {"a FIFO onto itself", "p|", "p", "p", kOverwrite, "\"@/p\" and \"@/p\" are the same item"},
    {"a directory into its own", "d/f=1", "d", ".", 0, "\"@/d\" and \"@/d\" are the same item"},
    {"a directory into its own, overwriting", "d/f=1", "d", ".", kRecursive | kOverwrite,
     "\"@/d\" and \"@/d\" are the same item"},
    {"a directory into itself", "d/f=1", "d", "d", kRecursive, "Cannot # \"@/d\" into itself"},
    {"a directory into itself, alone", "d/f=1", "d", "d", 0, "Cannot # \"@/d\" into itself"},
    {"an empty directory into itself", "d/", "d", "d", kRecursive, "Cannot # \"@/d\" into itself"},
    {"a directory to a new name in it", "d/f=1", "d", "d/new", kRecursive,
     "Cannot # \"@/d\" into itself"},
    {"a directory below itself", "d/e/f=1", "d", "d/e", kRecursive, "Cannot # \"@/d\" into itself"},
    {"a directory far below itself", "d/e/e/e/f=1", "d", "d/e/e/e/new", kRecursive,
     "Cannot # \"@/d\" into itself"},
    {"a directory below what is missing in it", "d/f=1", "d", "d/no/new", kRecursive,
     "Cannot # \"@/d\" into itself"},
    {"a directory below itself by dots", "d/e/f=1", "d", "d/e/../../d/e/new", kRecursive,
     "Cannot # \"@/d\" into itself"},
    {"a directory below itself by dots under the wildcard bit", "d/e/f=1", "d",
     "@/d/e/../../d/e/new", kRecursive | kPatterns, "Cannot # \"@/d\" into itself"},
    {"a directory below itself through a link", "d/e/f=1 l->d/e", "d", "l/new", kRecursive,
     "Cannot # \"@/d\" into itself"},
    {"a directory below itself through a link in it", "d/l->../e e/l->../d", "d", "e/l/l/l/new",
     kRecursive, "Cannot # \"@/d\" into itself"},
    {"a followed link to a directory into that", "d/f=1 l->d", "l", "d", kRecursive | kFollow,
     "Cannot # \"@/l\" into itself"},
    {"what is above", "d/e/f=1", "@/d/e/..", "d/e", kRecursive, "Cannot # \"@/d\" into itself"},
};

TEST_F(CopyMoveItself, IsRefusedBeforeAnythingIsTouched) {
  for (const ItselfCase& row : kRefused)
    for (const Operation operation : {kCopy, kMove}) {
      const std::string verb = operation == kMove ? "move" : "copy";
      SCOPED_TRACE(verb + " " + row.what);
      trees::make(dir.path(), row.tree);
      std::string message = placed(row.message);
      if (const std::size_t at = message.find('#'); at != std::string::npos)
        message.replace(at, 1, verb);
      const Said outcome = carry(operation, {placed(row.source)}, placed(row.target), row.options);
      EXPECT_EQ(outcome.messages, Texts{message});
      EXPECT_EQ(outcome.codes, std::vector<int>{-1});
      EXPECT_EQ(outcome.progress, Texts{});
      if ((row.options & kPatterns) == 0) {
        EXPECT_EQ(outcome.code, 2056);  // else it is a plain tail, whose failures stop nothing
      }
      EXPECT_EQ(left(), asShown(row.tree));
      empty();
    }
}

// A file that may not be overwritten is refused for that.
TEST_F(CopyMoveItself, ForAFileIsATargetThatExistsWithoutTheOverwriteBit) {
  trees::make(dir.path(), "f=1 h=>f l->f");
  for (const Operation operation : {kCopy, kMove}) {
    EXPECT_EQ(carry(operation, {"f"}, "f").messages,
              placed(Texts{"Can't overwrite \"@/f\" with \"@/f\" file exists"}));
    EXPECT_EQ(carry(operation, {"f"}, ".").messages,
              placed(Texts{"Can't overwrite \"@/f\" with \"@/f\" file exists"}));
    EXPECT_EQ(carry(operation, {"f"}, "h").messages,
              placed(Texts{"Can't overwrite \"@/h\" with \"@/f\" file exists"}));
    EXPECT_EQ(carry(operation, {"l"}, "l").codes, std::vector<int>{2055});
  }
  EXPECT_EQ(left(), "f=1 h=1 l->f");
}

TEST_F(CopyMoveItself, IsNotALinkThatLeadsToTheSource) {
  trees::make(dir.path(), "f=1 l->f");
  EXPECT_EQ(copy({"f"}, "l", kOverwrite).code, 0);
  EXPECT_EQ(left(), "f=1 l=1");
  EXPECT_NE(infoOf(dir / "f").st_ino, infoOf(dir / "l").st_ino);
  removeContents(dir.path());
  trees::make(dir.path(), "f=1 l->f");
  EXPECT_EQ(move({"f"}, "l", kOverwrite).code, 0);
  EXPECT_EQ(left(), "l=1");
}

TEST_F(CopyMoveItself, IsFoundAtEveryLevelOfTheWalk) {
  trees::make(dir.path(), "s/d/f=1 t/s/d/f=>s/d/f");
  const Said outcome = copy({"s"}, "t", kRecursive | kOverwrite);
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages, placed(Texts{"\"@/s/d/f\" and \"@/t/s/d/f\" are the same item"}));
  EXPECT_EQ(outcome.progress, placed(Texts{"@/s", "@/s/d"}));
  EXPECT_EQ(left(), "s/d/f=1 t/s/d/f=1");
}

TEST_F(CopyMoveItself, IsFoundBehindAFollowedLink) {
  trees::make(dir.path(), "s/l->../t t/k=1");
  const Said outcome = copy({"s"}, "t", kRecursive | kFollow);
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages, placed(Texts{"Cannot copy \"@/s/l\" into itself"}));
  EXPECT_EQ(left(), "s/l->../t t/k=1 t/s/");
}

// The copy of a directory, reached again through a link, is as little to be copied into itself.
TEST_F(CopyMoveItself, IsFoundBehindALinkToTheCopy) {
  trees::make(dir.path(), "s/l->../t/s t/");
  const Said outcome = copy({"s"}, "t", kRecursive | kFollow);
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages, placed(Texts{"Cannot copy \"@/s/l\" into itself"}));
  EXPECT_EQ(left(), "s/l->../t/s t/s/");
}

TEST_F(CopyMoveItself, IsNotWhatALinkInTheSourceLeadsTo) {
  trees::make(dir.path(), "d/f=1 d/l->../e e/k=2");
  EXPECT_EQ(copy({"d"}, "d/l/new", kRecursive).messages, Texts{});
  EXPECT_EQ(left(), "d/f=1 d/l->../e e/k=2 e/new/f=1 e/new/l->../e");
}

TEST_F(CopyMoveItself, IsNotADirectoryBesideWithALongerName) {
  trees::make(dir.path(), "d/f=1 dd/");
  EXPECT_EQ(copy({"d"}, "dd", kRecursive).code, 0);
  EXPECT_EQ(copy({"d"}, "d2", kRecursive).code, 0);
  EXPECT_EQ(move({"d"}, "dd/e", kRecursive).code, 0);
  EXPECT_EQ(left(), "d2/f=1 dd/d/f=1 dd/e/f=1");
}

TEST_F(CopyMoveItself, IsTheRootForATargetAnywhere) {
  trees::make(dir.path(), "t/");
  for (const Operation operation : {kCopy, kMove}) {
    const Said outcome = carry(operation, {"/"}, dir / "t/new", kRecursive);
    EXPECT_EQ(outcome.code, 2056);
    EXPECT_EQ(outcome.codes, std::vector<int>{-1});
    EXPECT_EQ(outcome.messages.size(), 1U);
    EXPECT_EQ(outcome.progress, Texts{});
  }
  EXPECT_EQ(left(), "t/");
}

}  // namespace
}  // namespace HOQ::test
