// The Filer's link and readlink, and links as copies and moves carry them.
#include <limits.h>

#include <cerrno>
#include <string>

#include "filemanager/operations/ChangesFixture.h"
#include "routine/HOQFileRoutineLin.h"

namespace HOQ::test {
namespace {

class Links : public ChangesFixture {
 protected:
  Said link(const std::string& target, const std::string& name, int options = 0) {
    return said(
        [&](HOQFilerLocal& filer) { return filer.link(target, name, HOQFilerOptions(options)); });
  }
  Said readlink(const std::string& path, std::string& text) {
    return said([&](HOQFilerLocal& filer) { return filer.readlink(path, text); });
  }
};

struct LinkCase {
  const char* what;
  const char* tree;
  const char* target;  // "@" stands for the place
  const char* name;
  int options;
  int code;
  Texts messages;
  const char* left;  // "@" too
};

const LinkCase kLinks[] = {
    {"a symbolic link records the whole path", "f=1", "f", "l", kSymbolic, 0, {}, "f=1 l->@/f"},
    {"of a path of two", "", "a/b", "l", kSymbolic, 0, {}, "l->@/a/b"},
    {"canonical", "d/", "d/.././/d/x/", "d/l", kSymbolic, 0, {}, "d/l->@/d/x"},
    {"of an absolute target", "", "/no/where", "l", kSymbolic, 0, {}, "l->/no/where"},
    {"of the working directory", "", ".", "l", kSymbolic, 0, {}, "l->@"},
    {"by an absolute name", "d/", "f", "@/d/l", kSymbolic, 0, {}, "d/l->@/f"},
    {"by a crooked name", "d/", "f", "./d/../l", kSymbolic, 0, {}, "d/ l->@/f"},
    {"as given under the wildcard bit",
     "",
     "a/../b",
     "l",
     kSymbolic | kPatterns,
     0,
     {},
     "l->@/a/../b"},
    {"a star is a name", "", "*", "l*", kSymbolic, 0, {}, "l*->@/*"},
    {"a hard link", "f=1", "f", "h", 0, 0, {}, "f=1 h=1"},
    {"a hard link to a link", "l->no", "l", "h", 0, 0, {}, "h->no l->no"},
    {"a hard link to a FIFO", "p|", "p", "h", 0, 0, {}, "h| p|"},
    {"over what is there", "f=1 g=2", "f", "g", kSymbolic, -1, {"\"f\", File exists"}, "f=1 g=2"},
    {"over what is there, hard", "f=1 g=2", "f", "g", 0, -1, {"\"f\", File exists"}, "f=1 g=2"},
    {"the overwrite bit changes nothing",
     "f=1 g=2",
     "f",
     "g",
     kOverwrite,
     -1,
     {"\"f\", File exists"},
     "f=1 g=2"},
    {"into a directory that is there",
     "f=1 d/",
     "f",
     "d",
     kSymbolic,
     -1,
     {"\"f\", File exists"},
     "d/ f=1"},
    {"a hard link to nothing", "", "./no", "h", 0, -1, {"\"./no\", No such file or directory"}, ""},
    {"a hard link to a directory", "d/", "d", "h", 0, -1, {"\"d\", Operation not permitted"}, "d/"},
    {"below what is missing",
     "f=1",
     "f",
     "no/l",
     kSymbolic,
     -1,
     {"\"f\", No such file or directory"},
     "f=1"},
    {"below a file", "f=1", "f", "f/l", kSymbolic, -1, {"\"f\", Not a directory"}, "f=1"},
    {"of no target", "", "", "l", kSymbolic, -1, {"\"\", No such file or directory"}, ""},
    {"of no name", "f=1", "f", "", kSymbolic, -1, {"\"f\", No such file or directory"}, "f=1"},
    {"of a name above the root",
     "f=1",
     "f",
     "/../l",
     kSymbolic,
     2002,
     {"Wrong path \"/../l\""},
     "f=1"},
    {"of a target above the root", "", "/../f", "l", kSymbolic, 2002, {"Wrong path \"/../f\""}, ""},
    {"of both: the name comes first",
     "",
     "/../f",
     "/../l",
     kSymbolic,
     2002,
     {"Wrong path \"/../l\""},
     ""},
};

TEST_F(Links, AreMadeOfResolvedPaths) {
  for (const LinkCase& row : kLinks) {
    SCOPED_TRACE(row.what);
    trees::make(dir.path(), row.tree);
    const Said outcome = link(placed(row.target), placed(row.name), row.options);
    EXPECT_EQ(outcome.code, row.code);
    EXPECT_EQ(outcome.messages, placed(row.messages));
    EXPECT_EQ(outcome.codes, std::vector<int>(row.messages.size(), -1));
    EXPECT_EQ(outcome.progress, Texts{});
    EXPECT_EQ(left(), placed(row.left));
    empty();
  }
}

TEST_F(Links, AHardLinkIsTheSameItem) {
  trees::make(dir.path(), "f=1");
  EXPECT_EQ(link("f", "h").code, 0);
  EXPECT_EQ(infoOf(dir / "f").st_ino, infoOf(dir / "h").st_ino);
}

TEST_F(Links, AHardLinkToAnotherFileSystemFails) {
  HOQ_NEEDS_TWO_FILE_SYSTEMS();
  trees::make(elsewhere.path(), "f=1");
  const Said outcome = link(elsewhere / "f", "h");
  EXPECT_EQ(outcome.code, -1);
  EXPECT_EQ(outcome.messages, placed(Texts{"\"^/f\", Invalid cross-device link"}));
  EXPECT_EQ(left(), "");
}

struct ReadCase {
  const char* what;
  const char* path;
  int code;
  const char* text;  // null: the out string stays as it was
  Texts messages;
};

const ReadCase kReads[] = {
    {"a link", "l", 0, "d/f", {}},
    {"a dangling link", "gone", 0, "no where", {}},
    {"a link to itself", "self", 0, "self", {}},
    {"a link to a directory", "up", 0, "..", {}},
    {"by an absolute path", "@/l", 0, "d/f", {}},
    {"by a crooked path", "d/.././l", 0, "d/f", {}},
    {"by a slash at its end", "up/", 0, "..", {}},
    {"a regular file", "./d/f", -1, nullptr, {"\"./d/f\", Invalid argument"}},
    {"a directory", "d", -1, nullptr, {"\"d\", Invalid argument"}},
    {"what is missing", "no", -1, nullptr, {"\"no\", No such file or directory"}},
    {"below a file", "d/f/x", -1, nullptr, {"\"d/f/x\", Not a directory"}},
    {"nothing", "", -1, nullptr, {"\"\", No such file or directory"}},
    {"above the root", "/../l", 2002, nullptr, {"Wrong path \"/../l\""}},
};

TEST_F(Links, AreReadAsTheyAre) {
  trees::make(dir.path(), "d/f=1 l->d/f self->self up->..");
  ASSERT_EQ(symlink("no where", (dir / "gone").c_str()), 0);
  for (const ReadCase& row : kReads) {
    SCOPED_TRACE(row.what);
    std::string text = "untouched";
    const Said outcome = readlink(placed(row.path), text);
    EXPECT_EQ(outcome.code, row.code);
    EXPECT_EQ(text, row.text ? row.text : "untouched");
    EXPECT_EQ(outcome.messages, placed(row.messages));
    EXPECT_EQ(outcome.codes, std::vector<int>(row.messages.size(), -1));
  }
}

TEST_F(Links, AskForTheirRights) {
  trees::make(dir.path(), "l->x");
  std::string text = "untouched";
  {
    const Rights reading(true, false);
    EXPECT_EQ(link("f", "new", kSymbolic).code, 414);
    EXPECT_EQ(readlink("l", text).code, 0);
    EXPECT_EQ(text, "x");
  }
  text = "untouched";
  const Rights changing(false, true);
  EXPECT_EQ(readlink("l", text).code, 414);
  EXPECT_EQ(text, "untouched");
  EXPECT_EQ(link("f", "new", kSymbolic).code, 0);
  EXPECT_EQ(left(), placed("l->x new->@/f"));
}

TEST_F(Links, WithoutARoutineAnswer2002) {
  maker = [](const std::string&) { return boost::shared_ptr<HOQFileRoutine>(); };
  std::string text = "untouched";
  EXPECT_EQ(link("f", "l", kSymbolic).code, 2002);
  EXPECT_EQ(readlink("l", text).code, 2002);
  EXPECT_EQ(text, "untouched");
}

TEST_F(Links, InAWorkingDirectoryThatIsNoneAnswer2002) {
  ScriptedFiler astray("/..");
  std::string text = "untouched";
  EXPECT_EQ(astray.link("f", "l", HOQFilerOptions(kSymbolic)), 2002);
  EXPECT_EQ(astray.readlink("l", text), 2002);
  EXPECT_EQ(astray.handler->messages(),
            (Texts{"Invalid working directory \"/..\"", "Invalid working directory \"/..\""}));
  EXPECT_EQ(text, "untouched");
}

TEST_F(Links, AFailureOfTheRoutineIsItsResult) {
  trees::make(dir.path(), "l->x");
  FaultPlan noLink("l2", EIO, Call::Link);
  failBy(noLink);
  EXPECT_EQ(link("x", "l2", kSymbolic).messages, Texts{"\"x\", Input/output error"});
  EXPECT_TRUE(noLink.struck());
  for (int n = 1; n <= 2; ++n) {  // the length, then the text
    FaultPlan noText(n, EIO, Call::Readlink);
    failBy(noText);
    std::string text = "untouched";
    EXPECT_EQ(readlink("l", text).messages, Texts{"\"l\", Input/output error"});
    EXPECT_EQ(text, "untouched");
    EXPECT_TRUE(noText.struck());
  }
}

/// Lengths of a link's text, up to the longest that there is.
constexpr std::size_t kTextLengths[] = {1, 2, 59, 60, 61, 255, 256, 1023, 1024, 2047, 4094, 4095};

std::string textOf(std::size_t length) {
  std::string text;
  while (text.size() < length) text += text.size() % 200 == 199 ? '/' : 'x';
  return text;
}

TEST_F(Links, TextsOfEveryLengthAreRead) {
  for (const std::size_t length : kTextLengths) {
    if (symlink(textOf(length).c_str(), (dir / "l").c_str()) != 0) {
      ASSERT_EQ(errno, ENAMETOOLONG) << length;  // some systems hold less than a page
      continue;
    }
    std::string text;
    EXPECT_EQ(readlink("l", text).code, 0) << length;
    EXPECT_EQ(text, textOf(length));
    empty();
  }
}

TEST_F(Links, TextsOfEveryLengthAreCopiedAndMoved) {
  ASSERT_EQ(symlink(textOf(4095).c_str(), (elsewhere / "l").c_str()), 0) << "the longest text";
  empty();
  for (const std::size_t length : kTextLengths) {
    const std::string text = textOf(length);
    ASSERT_EQ(symlink(text.c_str(), (elsewhere / "l").c_str()), 0) << length;
    EXPECT_EQ(copy({elsewhere / "l"}, elsewhere / "m").messages, Texts{}) << length;
    EXPECT_EQ(move({elsewhere / "l"}, elsewhere / "n").messages, Texts{}) << length;
    EXPECT_EQ(leftElsewhere(), "m->" + text + " n->" + text);
    empty();
  }
}

}  // namespace
}  // namespace HOQ::test
