// Copies and moves of what patterns match.
#include <string>

#include "filemanager/operations/ChangesFixture.h"

namespace HOQ::test {
namespace {

class CopyMovePattern : public ChangesFixture {};

struct PatternCase {
  const char* what;
  bool moves;
  const char* tree;
  HOQFiler::Paths paths;  // "@" stands for the place
  const char* target;
  int options;  // beside the wildcard bit
  int code;
  Texts messages;
  const char* left;
};

// A pattern that begins with its wildcard shows its matches behind two slashes: the empty name
// before it has one of its own.
const PatternCase kPatternCases[] = {
    {"files", false, "a.x=1 b.x=2 c t/", {"*.x"}, "t", 0, 0, {}, "a.x=1 b.x=2 c t/a.x=1 t/b.x=2"},
    {"files, moved", true, "a.x=1 b.x=2 c t/", {"*.x"}, "t", 0, 0, {}, "c t/a.x=1 t/b.x=2"},
    {"no match", true, "c t/", {"*.x"}, "t", 0, 0, {}, "c t/"},
    {"no match for no target", true, "c", {"*.x"}, "t", 0, 0, {}, "c"},
    {"an absolute pattern",
     false,
     "d/a=1 d/b=2 t/",
     {"@/d/*"},
     "t",
     0,
     0,
     {},
     "d/a=1 d/b=2 t/a=1 t/b=2"},
    {"to an absolute target", false, "d/a=1 t/", {"d/*"}, "@/t", 0, 0, {}, "d/a=1 t/a=1"},
    {"hidden files", false, "d/.a=1 t/", {"d/*"}, "t", 0, 0, {}, "d/.a=1 t/.a=1"},
    {"below a directory",
     false,
     "d/a=1 d/e/b=2 t/",
     {"d/*"},
     "t",
     kRecursive,
     0,
     {},
     "d/a=1 d/e/b=2 t/a=1 t/e/b=2"},
    {"directories without the recursive bit",
     false,
     "d/e/b=2 t/",
     {"d/*"},
     "t",
     0,
     0,
     {},
     "d/e/b=2 t/e/"},
    // What the expansion reads is neither a place at the target nor gone after a move.
    {"below a directory, moved",
     true,
     "d/a=1 d/e/b=2 t/",
     {"d/*"},
     "t",
     kRecursive,
     0,
     {},
     "d/ t/a=1 t/e/b=2"},
    {"of two levels",
     false,
     "d/a=1 e/b=2 e/f/c=3 t/",
     {"[de]/*"},
     "t",
     kRecursive,
     0,
     {},
     "d/a=1 e/b=2 e/f/c=3 t/a=1 t/b=2 t/f/c=3"},
    {"of two levels, moved",
     true,
     "d/a=1 e/b=2 e/f/c=3 t/",
     {"[de]/*"},
     "t",
     kRecursive,
     0,
     {},
     "d/ e/ t/a=1 t/b=2 t/f/c=3"},
    {"of three levels, moved",
     true,
     "d/x/a=1 e/y/b=2 e/z=3 t/",
     {"[de]/*/*"},
     "t",
     0,
     0,
     {},
     "d/x/ e/y/ e/z=3 t/a=1 t/b=2"},
    {"with a plain tail",
     false,
     "d/f/a=1 e/f/b=2 g t/",
     {"[deg]/f/*"},
     "t",
     0,
     0,
     {},
     "d/f/a=1 e/f/b=2 g t/a=1 t/b=2"},
    {"a plain tail at the end", false, "d/f=1 t/", {"d*/f"}, "t", 0, 0, {}, "d/f=1 t/f=1"},
    {"a plain tail of two names, moved",
     true,
     "d/e/f=1 t/",
     {"d*/e/f"},
     "t",
     0,
     0,
     {},
     "d/e/ t/f=1"},
    {"a plain tail that is a directory", true, "d/e/f=1 t/", {"d*/e"}, "t", 0, 0, {}, "d/ t/e/f=1"},
    // Kept: what fails below a plain tail is reported and stops nothing.
    {"a plain tail that is missing",
     false,
     "d/x=1 t/",
     {"d*/f", "d/x"},
     "t",
     0,
     0,
     {"\"@/d/f\", Cannot get information: No such file or directory[2]"},
     "d/x=1 t/x=1"},
    {"a plain path", false, "d/f=1 t/", {"d/f"}, "t", 0, 0, {}, "d/f=1 t/f=1"},
    {"a plain path, to a new name", false, "d/f=1", {"d/f"}, "g", 0, 0, {}, "d/f=1 g=1"},
    {"a plain path, moved", true, "d/f=1 t/", {"d/f"}, "t", 0, 0, {}, "d/ t/f=1"},
    {"a plain path to a directory",
     false,
     "d/e/f=1 t/",
     {"d/e"},
     "t",
     kRecursive,
     0,
     {},
     "d/e/f=1 t/e/f=1"},
    {"a plain path to a directory, moved",
     true,
     "d/e/f=1 t/",
     {"d/e"},
     "t",
     kRecursive,
     0,
     {},
     "d/ t/e/f=1"},
    {"a plain path with a slash at its end",
     false,
     "d/e/f=1 t/",
     {"d/e/"},
     "t",
     kRecursive,
     0,
     {},
     "d/e/f=1 t/e/f=1"},
    {"a plain path over what is there",
     false,
     "f=1 t/f=2",
     {"f"},
     "t",
     0,
     0,
     {"Can't overwrite \"@/t/f\" with \"@/f\" file exists"},
     "f=1 t/f=2"},
    {"a match over what is there",
     false,
     "f1=1 t/f1=2",
     {"f*"},
     "t",
     0,
     2056,
     {"Can't overwrite \"@/t/f1\" with \"@//f1\" file exists"},
     "f1=1 t/f1=2"},
    // Below a scanned directory names are always appended: there is nothing to append them to.
    {"a match to a new name",
     false,
     "f1=1",
     {"f*"},
     "g",
     0,
     2056,
     {"\"@//f1\", Cannot create file to write: No such file or directory[2]"},
     "f1=1"},
    {"a directory's match copied to a new name",
     false,
     "d/f1=1",
     {"d*"},
     "g",
     kRecursive,
     2056,
     {"\"@//d\", Cannot create directory: No such file or directory[2]"},
     "d/f1=1"},
    // A rename is tried before names are appended.
    {"a directory's match moved to a new name", true, "d/f1=1", {"d*"}, "g", 0, 0, {}, "g/f1=1"},
    {"several patterns into what is missing",
     false,
     "a1 b1",
     {"a*", "b*"},
     "t",
     0,
     -1,
     {"Target '@/t' is not directory"},
     "a1 b1"},
    {"several patterns",
     false,
     "a1=1 b1=2 b2=3 t/",
     {"a*", "b*"},
     "t",
     0,
     0,
     {},
     "a1=1 b1=2 b2=3 t/a1=1 t/b1=2 t/b2=3"},
    {"links",
     false,
     "d/x=1 l->d m->no t/",
     {"[lm]"},
     "t",
     kRecursive,
     0,
     {},
     "d/x=1 l->d m->no t/l->d t/m->no"},
    {"a followed link to a directory",
     false,
     "d/x=1 l->d t/",
     {"l*"},
     "t",
     kRecursive | kFollow,
     0,
     {},
     "d/x=1 l->d t/l/x=1"},
    {"below a link", false, "d/x=1 l->d t/", {"l/*"}, "t", 0, 0, {}, "d/x=1 l->d t/"},
    {"below a followed link",
     false,
     "d/x=1 l->d t/",
     {"l/*"},
     "t",
     kFollow,
     0,
     {},
     "d/x=1 l->d t/x=1"},
    {"what holds the target",
     false,
     "t/k=1",
     {"t*"},
     "t",
     kRecursive,
     2056,
     {"Cannot copy \"@//t\" into itself"},
     "t/k=1"},
    {"what holds the target, moved",
     true,
     "t/k=1",
     {"t*"},
     "t",
     kRecursive,
     2056,
     {"Cannot move \"@//t\" into itself"},
     "t/k=1"},
};

TEST_F(CopyMovePattern, EachMatchGoesWhereThePatternAsAWholeGoes) {
  for (const PatternCase& row : kPatternCases) {
    SCOPED_TRACE(row.what);
    trees::make(dir.path(), row.tree);
    const Said outcome = carry(row.moves ? kMove : kCopy, placed(row.paths), placed(row.target),
                               row.options | kPatterns);
    EXPECT_EQ(outcome.code, row.code);
    EXPECT_EQ(outcome.messages, placed(row.messages));
    EXPECT_EQ(left(), row.left);
    empty();
  }
}

TEST_F(CopyMovePattern, MatchesAreMovedAcrossAndWhatWasScannedStays) {
  HOQ_NEEDS_TWO_FILE_SYSTEMS();
  trees::make(dir.path(), "d/a=1 d/e/b=2 d/v/ g/c->x");
  trees::make(elsewhere.path(), "t/");
  const Said outcome = move({"*/*"}, elsewhere / "t", kPatterns | kRecursive);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.messages, Texts{});
  EXPECT_EQ(left(), "d/ g/");
  EXPECT_EQ(leftElsewhere(), "t/a=1 t/c->x t/e/b=2 t/v/");
}

// The directory that the pattern matches below may be entered for one match and named by another.
TEST_F(CopyMovePattern, SeveralDirectoriesMovedToANewNameGoIntoTheFirst) {
  trees::make(dir.path(), "d/a1/x=1 d/a2/x=2");
  EXPECT_EQ(move({"d/a*"}, "t", kPatterns).code, 0);
  const std::string now = left();
  EXPECT_TRUE(now == "d/ t/a2/x=2 t/x=1" || now == "d/ t/a1/x=1 t/x=2") << now;
}

TEST_F(CopyMovePattern, ANameWithWildcardsIsTakenAsItIsWithoutTheBit) {
  trees::make(dir.path(), "*=1 a=2 t/");
  EXPECT_EQ(copy({"*"}, "t").code, 0);
  EXPECT_EQ(left(), "*=1 a=2 t/*=1");
}

}  // namespace
}  // namespace HOQ::test
