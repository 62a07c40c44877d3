// What becomes of each kind of item at each kind of target: copied, moved, and moved to another
// file system, with each combination of the options.
#include <sstream>
#include <string>

#include "filemanager/operations/ChangesFixture.h"

namespace HOQ::test {
namespace {

// Kinds of items: a file, an empty file, a directory, an empty directory; links to a file, to a
// directory, to nothing; a FIFO, a socket. As a target, "-" stands for nothing.
constexpr char kKinds[] = "feDvFLNps";
constexpr char kTargets[] = "-feDvFLNps";

// What may become of it. A directory at the target receives the item; it arrives there by its
// name.
//   +  it arrives; a move removes it, a directory with all that is in it
//   d  an empty directory arrives, the source stays
//   =  the link itself arrives, although links are followed
//   t  the target exists: refused
//   n  the system does not rename a directory to what is none: refused
//   r  refused, in whatever words, and nothing is touched
//   k  kept: the target is removed and nothing takes its place; the source stays
//   K  as k, and the source's entry then fails
//   ?  the source cannot be examined
struct Row {
  int options;          // of those that matter to these kinds
  const char* sources;  // kinds
  const char* become;   // at each of kTargets
};

// Targets:                        -feDvFLNps
const Row kCopies[] = {
    {0, "feFLNps", /*           */ "+tt++ttttt"},
    {0, "Dv", /*                */ "dttddttttt"},
    {kRecursive, "feFLNps", /*  */ "+tt++ttttt"},
    {kRecursive, "Dv", /*       */ "+tt++ttttt"},
    {kOverwrite, "feFLNps", /*  */ "++++++++++"},
    {kOverwrite, "Dv", /*       */ "dkkddkkkkk"},
    {kOverwrite | kRecursive, "feFLNps", "++++++++++"},
    {kOverwrite | kRecursive, "D", "+KK++KKKKK"},
    {kOverwrite | kRecursive, "v", "+kk++kkkkk"},
    {kFollow, "feFps", /*       */ "+tt++ttttt"},
    {kFollow, "DLv", /*         */ "dttddttttt"},
    {kFollow, "N", /*           */ "??????????"},
    {kFollow | kRecursive, "feFLDvps", "+tt++ttttt"},
    {kFollow | kRecursive, "N", "??????????"},
    {kFollow | kOverwrite, "feFps", "++++++++++"},
    {kFollow | kOverwrite, "DLv", "dkkddkkkkk"},
    {kFollow | kOverwrite, "N", "??????????"},
    {kFollow | kOverwrite | kRecursive, "feFps", "++++++++++"},
    {kFollow | kOverwrite | kRecursive, "DL", "+KK++KKKKK"},
    {kFollow | kOverwrite | kRecursive, "v", "+kk++kkkkk"},
    {kFollow | kOverwrite | kRecursive, "N", "??????????"},
};

// A directory is renamed, trees too; a followed link to one as well, but over nothing. A followed
// link to a file is renamed where the target was examined, else its contents are copied.
const Row kMoves[] = {
    {0, "feFLNps", /*           */ "+tt++ttttt"},
    {0, "Dv", /*                */ "+nn++nnnnn"},
    {kRecursive, "feFLNps", /*  */ "+tt++ttttt"},
    {kRecursive, "Dv", /*       */ "+nn++nnnnn"},
    {kOverwrite, "feFLNps", /*  */ "++++++++++"},
    {kOverwrite, "Dv", /*       */ "+nn++nnnnn"},
    {kOverwrite | kRecursive, "feFLNps", "++++++++++"},
    {kOverwrite | kRecursive, "Dv", "+nn++nnnnn"},
    {kFollow, "feps", /*        */ "+tt++ttttt"},
    {kFollow, "F", /*           */ "+tt==ttttt"},
    {kFollow, "L", /*           */ "=rr==rrrrr"},
    {kFollow, "Dv", /*          */ "+nn++nnnnn"},
    {kFollow, "N", /*           */ "??????????"},
    {kFollow | kRecursive, "feps", "+tt++ttttt"},
    {kFollow | kRecursive, "F", "+tt==ttttt"},
    {kFollow | kRecursive, "L", "=rr==rrrrr"},
    {kFollow | kRecursive, "Dv", "+nn++nnnnn"},
    {kFollow | kRecursive, "N", "??????????"},
    {kFollow | kOverwrite, "feps", "++++++++++"},
    {kFollow | kOverwrite, "F", "+========="},
    {kFollow | kOverwrite, "L", "=rr==rrrrr"},
    {kFollow | kOverwrite, "Dv", "+nn++nnnnn"},
    {kFollow | kOverwrite, "N", "??????????"},
    {kFollow | kOverwrite | kRecursive, "feps", "++++++++++"},
    {kFollow | kOverwrite | kRecursive, "F", "+========="},
    {kFollow | kOverwrite | kRecursive, "L", "=rr==rrrrr"},
    {kFollow | kOverwrite | kRecursive, "Dv", "+nn++nnnnn"},
    {kFollow | kOverwrite | kRecursive, "N", "??????????"},
};

const Row kMovesAcross[] = {
    {0, "feFLNps", /*           */ "+tt++ttttt"},
    {0, "Dv", /*                */ "dttddttttt"},
    {kRecursive, "feFLNps", /*  */ "+tt++ttttt"},
    {kRecursive, "Dv", /*       */ "+tt++ttttt"},
    {kOverwrite, "feFLNps", /*  */ "++++++++++"},
    {kOverwrite, "Dv", /*       */ "dkkddkkkkk"},
    {kOverwrite | kRecursive, "feFLNps", "++++++++++"},
    {kOverwrite | kRecursive, "D", "+KK++KKKKK"},
    {kOverwrite | kRecursive, "v", "+kk++kkkkk"},
    {kFollow, "feFps", /*       */ "+tt++ttttt"},
    {kFollow, "DLv", /*         */ "dttddttttt"},
    {kFollow, "N", /*           */ "??????????"},
    {kFollow | kRecursive, "feFDvLps", "+tt++ttttt"},
    {kFollow | kRecursive, "N", "??????????"},
    {kFollow | kOverwrite, "feFps", "++++++++++"},
    {kFollow | kOverwrite, "DLv", "dkkddkkkkk"},
    {kFollow | kOverwrite, "N", "??????????"},
    {kFollow | kOverwrite | kRecursive, "feFps", "++++++++++"},
    {kFollow | kOverwrite | kRecursive, "DL", "+KK++KKKKK"},
    {kFollow | kOverwrite | kRecursive, "v", "+kk++kkkkk"},
    {kFollow | kOverwrite | kRecursive, "N", "??????????"},
};

/// An item of that kind, in the trees' language. Links lead to the item called `to`.
std::string itemOf(char kind, const std::string& name, const std::string& text,
                   const std::string& to) {
  switch (kind) {
    case 'f':
      return name + "=" + text;
    case 'e':
      return name;
    case 'D':
      return name + "/x=" + text;
    case 'v':
      return name + "/";
    case 'F':
      return name + "->" + to + "f";
    case 'L':
      return name + "->" + to + "d";
    case 'N':
      return name + "->nowhere";
    case 'p':
      return name + "|";
    case 's':
      return name + "~";
    default:
      return "";
  }
}

class CopyMoveTable : public ChangesFixture {
 protected:
  struct Case {
    char source;
    char target;
    int options;
    char becomes;
    bool moves;
    bool renames;  // a directory goes without a progress record
    bool across;
  };

  // What the links lead to, and never changes.
  static constexpr char kSourceSide[] = " sf=linked sd/x=linked";
  static constexpr char kTargetSide[] = " tf=kept td/x=kept";

  static bool isDirectory(const Case& c) {
    return c.source == 'D' || c.source == 'v' || (c.source == 'L' && (c.options & kFollow) != 0);
  }

  /// What arrives, in the trees' language.
  static std::string arrival(const Case& c) {
    const std::string place = c.target == 'D' || c.target == 'v' ? "tgt/src" : "tgt";
    if (c.becomes == 'd') return place + "/";
    const bool asIs = c.becomes == '=' || (c.options & kFollow) == 0;
    if (!asIs && c.source == 'F') return place + "=linked";
    if (!asIs && c.source == 'L') return place + "/x=linked";
    return itemOf(c.source, place, "body", "s");
  }

  void expect(const Case& c, const Said& said) {
    const bool arrives = c.becomes == '+' || c.becomes == 'd' || c.becomes == '=';
    const bool leaves = c.moves && (c.becomes == '+' || c.becomes == '=');
    const bool targetIsDir = c.target == 'D' || c.target == 'v';
    const bool targetGoes = c.becomes == 'k' || c.becomes == 'K' || (arrives && !targetIsDir);
    std::string source = kSourceSide;
    std::string target = kTargetSide;
    if (!leaves) source += " " + itemOf(c.source, "src", "body", "s");
    if (!targetGoes) target += " " + itemOf(c.target, "tgt", "old", "t");
    if (arrives) target += " " + arrival(c);
    if (c.across) {
      EXPECT_EQ(left(), asShown(source));
      EXPECT_EQ(leftElsewhere(), asShown(target));
    } else {
      EXPECT_EQ(left(), asShown(source + target));
    }

    if (c.becomes == 'r') {
      EXPECT_NE(said.code, 0);
      EXPECT_EQ(said.messages.size(), 1U);
      return;
    }
    EXPECT_EQ(said.code, message(c).empty() ? 0 : 2056);
    EXPECT_EQ(said.messages, placed(message(c)));
    EXPECT_EQ(said.progress, placed(progress(c)));
    if (c.becomes == 't') {
      EXPECT_EQ(said.codes, std::vector<int>{2055});
    } else if (!said.codes.empty()) {
      EXPECT_EQ(said.codes, std::vector<int>{-1});
    }
  }

  static Texts message(const Case& c) {
    const std::string target = c.across ? "^/tgt" : "@/tgt";
    switch (c.becomes) {
      case 't':
        return {"Can't overwrite \"" + target + "\" with \"@/src\" file exists"};
      case 'n':
        return {"\"@/src\", Not a directory"};
      case 'K':
        return {"\"@/src/x\", Cannot create file to write: No such file or directory[2]"};
      case '?':
        return {"\"@/src\", Cannot get information: No such file or directory[2]"};
      default:
        return {};
    }
  }

  static Texts progress(const Case& c) {
    if (c.becomes == '?' || c.becomes == 'n') return {};
    if (isDirectory(c) && c.renames) return {};
    const bool entered =
        isDirectory(c) && c.source != 'v' && (c.becomes == '+' || c.becomes == 'K');
    return entered ? Texts{"@/src", "@/src/x"} : Texts{"@/src"};
  }

  void run(Case c) {
    SCOPED_TRACE(std::string("source ") + c.source + ", target " + c.target + ", options " +
                 std::to_string(c.options) + ", becomes " + c.becomes);
    const std::string source = itemOf(c.source, "src", "body", "s") + kSourceSide;
    const std::string target = kTargetSide + (" " + itemOf(c.target, "tgt", "old", "t"));
    trees::make(dir.path(), c.across ? source : source + target);
    if (c.across) trees::make(elsewhere.path(), target);
    const std::string destination = c.across ? elsewhere / "tgt" : "tgt";
    expect(c, carry(c.moves ? kMove : kCopy, {"src"}, destination, c.options));
    empty();
  }

  template <std::size_t count>
  void runAll(const Row (&rows)[count], bool moves, bool across) {
    int cases = 0;
    for (const Row& row : rows)
      for (const char* source = row.sources; *source; ++source)
        for (const char* target = kTargets; *target; ++target, ++cases)
          run({*source, *target, row.options, row.become[target - kTargets], moves,
               moves && !across, across});
    EXPECT_EQ(cases, 8 * 9 * 10);  // options, kinds, targets: the table has no gap
  }
};

static_assert(sizeof kKinds == 9 + 1 && sizeof kTargets == 10 + 1);

TEST_F(CopyMoveTable, EachKindIsCopiedToEachKindOfTarget) { runAll(kCopies, false, false); }

TEST_F(CopyMoveTable, EachKindIsMovedToEachKindOfTarget) { runAll(kMoves, true, false); }

TEST_F(CopyMoveTable, EachKindIsCopiedToAnotherFileSystem) {
  HOQ_NEEDS_TWO_FILE_SYSTEMS();
  runAll(kCopies, false, true);
}

TEST_F(CopyMoveTable, EachKindIsMovedToAnotherFileSystem) {
  HOQ_NEEDS_TWO_FILE_SYSTEMS();
  runAll(kMovesAcross, true, true);
}

// The tables once more, by the program that users run.

class CopyMoveTableOfHoq : public CopyMoveTable {
 protected:
  CopyMoveTableOfHoq() { program = HOQ_TEST_PROGRAM; }
};

TEST_F(CopyMoveTableOfHoq, EachKindIsCopiedToEachKindOfTarget) { runAll(kCopies, false, false); }

TEST_F(CopyMoveTableOfHoq, EachKindIsMovedToEachKindOfTarget) { runAll(kMoves, true, false); }

TEST_F(CopyMoveTableOfHoq, EachKindIsMovedToAnotherFileSystem) {
  HOQ_NEEDS_TWO_FILE_SYSTEMS();
  runAll(kMovesAcross, true, true);
}

}  // namespace
}  // namespace HOQ::test
