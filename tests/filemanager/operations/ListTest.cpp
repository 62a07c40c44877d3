#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <string>

#include "filemanager/operations/OperationsFixture.h"
#include "support/Isolation.h"

namespace HOQ::test {
namespace {

class List : public OperationsFixture {};

TEST_F(List, BeginsWithTwoPlaceholdersThenTheDotsThenTheEntries) {
  trees::make(dir.path(), "d/f=abc");
  const Outcome outcome = list({"d"});
  EXPECT_EQ(outcome.code, 0);
  ASSERT_EQ(outcome.records.size(), 5U);
  const char* const names[] = {".", "..", ".", "..", "f"};
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(outcome.records[static_cast<std::size_t>(i)]->name, names[i]);
  for (const std::size_t i : {0U, 1U}) {
    const HOQFileType& placeholder = *outcome.records[i];
    EXPECT_EQ(placeholder.valid, 0U);
    EXPECT_EQ(placeholder.type + placeholder.permissions + placeholder.nlink, 0U);
    EXPECT_TRUE(placeholder.children.empty());
  }
}

TEST_F(List, TheDotsTellOfTheDirectoryAndItsParent) {
  trees::make(dir.path(), "d/%0751 d/f d/e/%0711");
  struct stat own;
  struct stat parent;
  ASSERT_EQ(::stat((dir / "d").c_str(), &own), 0);
  ASSERT_EQ(::stat(dir.path().c_str(), &parent), 0);
  const Outcome outcome = list({"d"});
  ASSERT_GE(outcome.records.size(), 4U);
  const HOQFileType& self = *outcome.records[2];
  EXPECT_EQ(self.permissions, own.st_mode & 07777);
  EXPECT_EQ(self.nlink, own.st_nlink);
  EXPECT_EQ(self.type, 4U);
  EXPECT_EQ(self.size, 0U);
  const HOQFileType& above = *outcome.records[3];
  EXPECT_EQ(above.permissions, parent.st_mode & 07777);
  EXPECT_EQ(above.nlink, parent.st_nlink);
  EXPECT_EQ(above.mtime, parent.st_mtim.tv_sec);
}

TEST_F(List, TheRootIsItsOwnParent) {
  struct stat root;
  ASSERT_EQ(::stat("/", &root), 0);
  const Outcome outcome = list({"/"});
  EXPECT_EQ(outcome.code, 0);
  ASSERT_GE(outcome.records.size(), 3U);
  EXPECT_EQ(outcome.records[2]->name, ".");
  EXPECT_EQ(outcome.records[2]->permissions, root.st_mode & 07777);
}

TEST_F(List, AnEntryIsDescribedByTheFieldsAskedFor) {
  trees::make(dir.path(), "d/f%0640=12345 d/l->f");
  struct stat info;
  ASSERT_EQ(::stat((dir / "d/f").c_str(), &info), 0);
  const Outcome all = list({"d"}, 0, nullptr, kAllFields);
  const HOQFileType& file = recordOf(all.records, "f");
  EXPECT_EQ(file.type, 8U);
  EXPECT_EQ(file.permissions, 0640U);
  EXPECT_EQ(file.uid, info.st_uid);
  EXPECT_EQ(file.gid, info.st_gid);
  EXPECT_EQ(file.size, 5U);
  EXPECT_EQ(file.mtime, info.st_mtim.tv_sec);
  EXPECT_EQ(file.nlink, 1U);
  EXPECT_NE(file.user, "");
  EXPECT_EQ(file.valid, kAllFields & ~0x200U);
  EXPECT_EQ(recordOf(all.records, "l").linkTarget, "f");
  EXPECT_EQ(recordOf(all.records, "l").valid, kAllFields);
  const Outcome size = list({"d"}, 0, nullptr, 0x40);
  EXPECT_EQ(recordOf(size.records, "f").valid, 0x40U);
  EXPECT_EQ(recordOf(size.records, "f").user, "");
  const Outcome none = list({"d"}, 0, nullptr, 0);
  EXPECT_EQ(recordOf(none.records, "f").valid, 0U);
}

TEST_F(List, ReportsOneLevelAndTakesPathsLiterally) {
  trees::make(dir.path(), "d*/e/f d*/l->e dx/g");
  const Outcome outcome = list({"./d*//"});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(namesOf(outcome.records), (Texts{".", ".", "..", "..", "e", "l"}));
  for (const auto& record : outcome.records) EXPECT_TRUE(record->children.empty());
}

struct PlaceCase {
  const char* path;  // "@" at its front: the place
  const char* entry;
};

TEST_F(List, PathsLeadWhereTheySay) {
  trees::make(dir.path(), "top w/inner w/d/deep");
  const PlaceCase rows[] = {
      {".", "top"},        {"", "top"},  {"w", "inner"},   {"w/", "inner"},    {"w/.", "inner"},
      {"w/d/..", "inner"}, {"@", "top"}, {"@/w", "inner"}, {"@/w/../", "top"}, {"w/d", "deep"}};
  for (const PlaceCase& row : rows) {
    std::string path = row.path;
    if (path[0] == '@') path.replace(0, 1, dir.path());
    const Outcome outcome = list({path});
    EXPECT_EQ(outcome.code, 0) << path;
    EXPECT_EQ(recordOf(outcome.records, row.entry).type, 8U) << path;
  }
  ScriptedFiler inside(dir / "w/d");
  for (const auto& [path, entry] : {PlaceCase{"..", "inner"}, PlaceCase{"../..", "top"}}) {
    Records records;
    EXPECT_EQ(inside.list({path}, &records, HOQFilerOptions(0), nullptr, kAllFields), 0);
    EXPECT_EQ(recordOf(records, entry).type, 8U) << path;
  }
}

TEST_F(List, AFileOrAMissingPathIsNoDirectory) {
  trees::make(dir.path(), "f l->f dangling->nowhere");
  for (const char* path : {"f", "missing", "f/x", "l", "dangling"}) {
    SCOPED_TRACE(path);
    const Outcome outcome = list({path});
    EXPECT_EQ(outcome.code, 2056);
    EXPECT_EQ(outcome.messages, Texts{quoted(path) + ", Cannot list/stat non directory item"});
    EXPECT_EQ(namesOf(outcome.records), (Texts{".", ".."}));
  }
}

TEST_F(List, ALinkToADirectoryIsListedOnlyWhereLinksAreFollowed) {
  trees::make(dir.path(), "d/f l->d");
  EXPECT_EQ(list({"l"}).code, 2056);
  const Outcome followed = list({"l"}, kFollow);
  EXPECT_EQ(followed.code, 0);
  EXPECT_EQ(recordOf(followed.records, "f").type, 8U);
}

TEST_F(List, WithoutPathsTheAnswerIsEmptyAndTheCodeSaysNothingWasDone) {
  const Outcome outcome = list({});
  EXPECT_EQ(outcome.code, -1);
  EXPECT_TRUE(outcome.records.empty());
}

TEST_F(List, GoesOnAfterAPathThatFailsAndAnswersWithTheLastOnesCode) {
  trees::make(dir.path(), "d/f e/g");
  const Outcome good = list({"missing", "d"});
  EXPECT_EQ(good.code, 0);
  EXPECT_EQ(good.messages.size(), 1U);
  EXPECT_EQ(recordOf(good.records, "f").type, 8U);
  const Outcome bad = list({"d", "e", "missing"});
  EXPECT_EQ(bad.code, 2056);
  EXPECT_EQ(recordOf(bad.records, "f").type, 8U);
  EXPECT_EQ(recordOf(bad.records, "g").type, 8U);
}

TEST_F(List, EveryPathBeginsWithTheSamePlaceholders) {
  trees::make(dir.path(), "d/ e/");
  const Outcome outcome = list({"d", "e"});
  ASSERT_EQ(outcome.records.size(), 8U);
  EXPECT_EQ(outcome.records[0], outcome.records[4]);
  EXPECT_EQ(outcome.records[1], outcome.records[5]);
  EXPECT_NE(outcome.records[2], outcome.records[6]);
}

TEST_F(List, RecordsAreAppendedToWhatIsThere) {
  trees::make(dir.path(), "f");
  ScriptedFiler filer(dir.path());
  Records records = {boost::shared_ptr<HOQFileType>(new HOQFileType)};
  EXPECT_EQ(filer.list({"."}, &records, HOQFilerOptions(0), nullptr, 0), 0);
  EXPECT_EQ(records.size(), 6U);
}

TEST_F(List, WithoutARoutineNothingIsListed) {
  maker = [](const std::string&) { return boost::shared_ptr<HOQFileRoutine>(); };
  const Outcome outcome = list({"a", "b"});
  EXPECT_EQ(outcome.code, -1);
  EXPECT_TRUE(outcome.records.empty());
}

TEST_F(List, FollowedLinksAreDescribedAsWhatTheyLeadTo) {
  trees::make(dir.path(),
              "d/file=12345 d/sub/x d/l->file d/m->sub d/dangling->nowhere d/off->file/x");
  const Outcome plain = list({"d"});
  for (const char* name : {"l", "m", "dangling", "off"})
    EXPECT_EQ(recordOf(plain.records, name).type, 10U) << name;
  const Outcome followed = list({"d"}, kFollow);
  EXPECT_EQ(followed.code, 0);
  EXPECT_EQ(followed.messages, Texts{});
  EXPECT_EQ(recordOf(followed.records, "l").type, 8U);
  EXPECT_EQ(recordOf(followed.records, "l").size, 5U);
  EXPECT_EQ(recordOf(followed.records, "m").type, 4U);
  EXPECT_EQ(recordOf(followed.records, "dangling").type, 10U);
  EXPECT_EQ(recordOf(followed.records, "dangling").size, 7U);
  EXPECT_EQ(recordOf(followed.records, "dangling").linkTarget, "nowhere");
}

TEST_F(List, AfterADanglingLinkOthersAreStillFollowed) {
  trees::make(dir.path(), "d/f=12345");
  for (const char* name : {"a", "b", "c", "e", "g", "h"}) {
    trees::make(dir.path(), std::string("d/") + name + "->f");
    trees::make(dir.path(), std::string("d/x") + name + "->nowhere");
  }
  const Outcome followed = list({"d"}, kFollow);
  for (const char* name : {"a", "b", "c", "e", "g", "h"}) {
    EXPECT_EQ(recordOf(followed.records, name).type, 8U);
    EXPECT_EQ(recordOf(followed.records, std::string("x") + name).type, 10U);
  }
}

TEST_F(List, ALoopOfFollowedLinksIsReportedAndLeftOut) {
  trees::make(dir.path(), "d/f d/self->self");
  const Outcome outcome = list({"d"}, kFollow);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.messages, Texts{quoted("d/self") + ", Cannot get information: Too many levels "
                                                       "of symbolic links[40]"});
  EXPECT_EQ(namesOf(outcome.records), (Texts{".", ".", "..", "..", "f"}));
}

TEST_F(List, ATreeWithALinkedLoopEndsWhereTheSystemEndsIt) {
  trees::make(dir.path(), "d/loop->. d/f=1");
  const Outcome outcome = list({"d"}, kFollow | kRecursive);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.messages.size(), 1U);
  EXPECT_EQ(recordOf(outcome.records, "loop").children.empty(), false);
}

TEST_F(List, LeavesOutAnEntryThatVanishes) {
  for (const int options : {0, kFollow, kRecursive, kRecursive | kFollow}) {
    SCOPED_TRACE(options);
    trees::make(dir.path(), "d/");
    for (int i = 0; i < 9; ++i)
      trees::make(dir.path(), "d/f" + std::to_string(i) + "=" +
                                  std::string(1UL + static_cast<std::size_t>(i), 'x'));
    interfere([&](Call call, const std::string& path) {
      if (call == Call::Stat && path == dir / "d/f4") unlink(path.c_str());
    });
    const Outcome outcome = list({"d"}, options);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.messages, Texts{});
    EXPECT_EQ(sizesOf(Records(outcome.records.begin() + 2, outcome.records.end())),
              "f0=1 f1=2 f2=3 f3=4 f5=6 f6=7 f7=8 f8=9");
    removeContents(dir.path());
  }
}

TEST_F(List, LeavesOutAVanishedEntryWhateverStoodBefore) {
  trees::make(dir.path(), "d/a/inner d/b/inner d/c/inner");
  // Each of them in turn, so that some directory was examined just before.
  for (const char* gone : {"a", "b", "c"}) {
    interfere([&](Call call, const std::string& path) {
      if (call == Call::Stat && path == dir / "d" + "/" + gone)
        removeContents(path), rmdir(path.c_str());
    });
    const Outcome outcome = list({"d"}, kRecursive);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.messages, Texts{});
    const Texts names = namesOf(outcome.records);
    EXPECT_EQ(std::count(names.begin(), names.end(), gone), 0);
    trees::make(dir.path(), std::string("d/") + gone + "/inner");
  }
}

TEST_F(List, ReportsAnEntryThatCannotBeExaminedAndGoesOn) {
  trees::make(dir.path(), "d/a d/b d/c d/sub/x");
  for (const int options : {0, kFollow, kRecursive}) {
    SCOPED_TRACE(options);
    FaultPlan plan("/b", EACCES, Call::Stat);
    failBy(plan);
    const Outcome outcome = list({"d"}, options);
    EXPECT_TRUE(plan.struck());
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.messages,
              Texts{quoted("d/b") + ", Cannot get information: Permission denied[13]"});
    EXPECT_EQ(namesOf(outcome.records), (Texts{".", ".", "..", "..", "a", "c", "sub"}));
  }
}

TEST_F(List, ADirectoryThatCannotBeReadEndsThePath) {
  trees::make(dir.path(), "d/a d/shut/x");
  FaultPlan plan("/shut", EACCES, Call::Opendir);
  failBy(plan);
  const Outcome outcome = list({"d"}, kRecursive);
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages,
            Texts{quoted("d/shut") + ", Cannot read directory: Permission denied[13]"});
}

TEST_F(List, UnreadableDirectoriesAreListedAsEntries) {
  trees::unreadable(dir.path());
  const Outcome outcome = list({"."});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(recordOf(outcome.records, "barred").permissions, 0U);
  EXPECT_EQ(recordOf(outcome.records, "secret").size, 1U);
}

TEST_F(List, ARecordThatCannotBeFilledEndsThePath) {
  trees::make(dir.path(), "d/f");
  FaultPlan plan("/f", EIO, Call::Fill);
  failBy(plan);
  const Outcome outcome = list({"d"});
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages,
            Texts{quoted("d/f") + ", Cannot get information: Input/output error[5]"});
}

TEST_F(List, NamesAreOrdinaryWhateverTheirBytes) {
  trees::make(dir.path(), "d/");
  Texts names = trees::everyByteNames(dir / "d");
  const Outcome outcome = list({"d"});
  EXPECT_EQ(outcome.code, 0);
  for (const char* dots : {".", ".", "..", ".."}) names.push_back(dots);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(namesOf(outcome.records), names);
}

TEST_F(List, EveryKindIsDescribed) {
  trees::everyKind(dir.path());
  const Outcome outcome = list({"."});
  EXPECT_EQ(recordOf(outcome.records, "fifo").type, 1U);
  EXPECT_EQ(recordOf(outcome.records, "socket").type, 12U);
  EXPECT_EQ(recordOf(outcome.records, "directory").type, 4U);
  EXPECT_EQ(recordOf(outcome.records, "file").type, 8U);
  EXPECT_EQ(recordOf(outcome.records, "file").nlink, 2U);
  EXPECT_EQ(recordOf(outcome.records, "link").type, 10U);
}

TEST_F(List, PathsThatNoSystemTakesAreReportedOnce) {
  for (const std::string& path : {std::string(300, 'n'), std::string(5000, 'p'), [] {
                                    std::string deep = "d";
                                    while (deep.size() < 4096) deep += "/d";
                                    return deep;
                                  }()}) {
    const Outcome outcome = list({path});
    EXPECT_EQ(outcome.code, 2056);
    EXPECT_EQ(outcome.messages.size(), 1U);
  }
}

}  // namespace
}  // namespace HOQ::test
