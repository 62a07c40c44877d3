#include <grp.h>
#include <sys/stat.h>

#include <cerrno>

#include "filemanager/updownload/UpDownloadFixture.h"
#include "updownload/UploadOperateLocal.h"

namespace HOQ::test {
namespace {

class Upload : public UpDownloadFixture {
 protected:
  std::string cannotOpen(const std::string& path, const char* text, int code) const {
    return std::to_string(code) + " Cannot open destination file \"" + path + "\": " + text + " [" +
           std::to_string(code) + "]";
  }
  struct stat infoOf(const std::string& item) const {
    struct stat info {};
    EXPECT_EQ(lstat((dir / item).c_str(), &info), 0) << item;
    return info;
  }
};

TEST_F(Upload, WritesFiles) {
  const UploadPtr a = uploadOf("a", "hello"), b = uploadOf(dir / "b", "12345");
  const Told told = upload({a, b});
  EXPECT_EQ(told.code, 0);
  EXPECT_EQ(told.errors, Texts());
  EXPECT_EQ(left(), "a=hello b=12345");
  EXPECT_EQ(a->offset, 5);
  EXPECT_EQ(told.records, (Texts{"starting 0: total 0 0/10, file 1/2: 0 0/0",
                                 "a 50: total 50 5/10, file 1/2: 100 5/5",
                                 dir / "b" + " 100: total 100 10/10, file 2/2: 100 5/5"}));
}

struct PieceCase {
  const char* name;
  const char* before;
  const char* contents;
  std::int64_t offset;
  int options;
  int code;
  const char* after;
};

TEST_F(Upload, WritesPiecesWhereTheyBelong) {
  const PieceCase rows[] = {
      {"A new file", "", "new", 0, 0, 0, "t=new"},
      {"A new empty file", "", "", 0, 0, 0, "t"},
      {"A file is refused", "t=old", "new", 0, 0, -1, "t=old"},
      {"A file is overwritten", "t=older", "new", 0, kOverwrite, 0, "t=new"},
      {"A file is emptied", "t=older", "", 0, kOverwrite, 0, "t"},
      {"An offset below 0 is the whole", "t=older", "new", -1, kOverwrite, 0, "t=new"},
      {"A piece in the middle", "t=older", "x", 1, 0, 0, "t=oxder"},
      {"A piece behind the end", "t=o", "x", 2, 0, 0, "t=o\\x00x"},
      {"An empty piece changes nothing", "t=old", "", 2, 0, 0, "t=old"},
      {"A link is refused", "f=old t->f", "x", 0, kOverwrite, -1, "f=old t->f"},
      {"A link is followed", "f=old t->f", "x", 0, kOverwrite | kFollow, 0, "f=x t->f"},
      {"A FIFO is refused", "t|", "x", 0, kOverwrite, -1, "t|"},
      {"A directory is refused", "t/", "x", 0, kOverwrite, -1, "t/"},
  };
  for (const PieceCase& row : rows) {
    SCOPED_TRACE(row.name);
    removeContents(dir.path());
    trees::make(dir.path(), row.before);
    const UploadPtr item = uploadOf("t", row.contents, row.offset);
    EXPECT_EQ(upload({item}, row.options).code, row.code);
    EXPECT_EQ(left(), row.after);
  }
}

TEST_F(Upload, AFailedOpeningIsToldWithItsNumberAndEndsTheList) {
  trees::make(dir.path(), "d/ p| l->p");
  const struct {
    const char* path;
    const char* text;
    int code;
  } rows[] = {{"no/t", "No such file or directory", ENOENT},
              {"d", "Is a directory", EISDIR},
              {"p", "No such device or address", ENXIO},
              {"l", "Too many levels of symbolic links", ELOOP},
              {"100%s%n/t", "No such file or directory", ENOENT}};
  for (const auto& row : rows) {
    const Told told =
        upload({uploadOf("first", "1"), uploadOf(row.path, "2"), uploadOf("z", "3")}, kOverwrite);
    EXPECT_EQ(told.code, -1) << row.path;
    EXPECT_EQ(told.errors, Texts{cannotOpen(dir / row.path, row.text, row.code)});
  }
  EXPECT_EQ(left(), "d/ first=1 l->p p|") << "what was written stays";
}

TEST_F(Upload, TheSamePathTwiceIsRefusedOrOverwritten) {
  const HOQFiler::UploadList twice = {uploadOf("t", "first"), uploadOf("t", "2nd")};
  EXPECT_EQ(upload(twice).errors, Texts{cannotOpen(dir / "t", "File exists", EEXIST)});
  EXPECT_EQ(left(), "t=first");
  EXPECT_EQ(upload({uploadOf("t", "first"), uploadOf("t", "2nd")}, kOverwrite).code, 0);
  EXPECT_EQ(left(), "t=2nd");
}

TEST_F(Upload, DataShorterThanAnnouncedFails) {
  for (const std::uint64_t size : {std::uint64_t{4}, kUnknown >> 1, kUnknown - 1, kUnknown}) {
    const UploadPtr item = uploadOf("t", "abc");
    item->size = size;
    const Told told = upload({item}, kOverwrite);
    EXPECT_EQ(told.code, -1) << size;
    EXPECT_EQ(told.errors, Texts{"-1 Cannot read data from client"}) << size;
    EXPECT_EQ(item->offset, 0);
    EXPECT_EQ(left(), "t");
  }
}

TEST_F(Upload, OnlyTheAnnouncedBytesAreWritten) {
  const UploadPtr item = uploadOf("t", "abc");
  item->size = 2;
  EXPECT_EQ(upload({item}).code, 0);
  EXPECT_EQ(left(), "t=ab");
}

TEST_F(Upload, AnEmptyListFails) {
  const Told told = upload({});
  EXPECT_EQ(told.code, -1);
  EXPECT_EQ(told.errors, Texts());
  EXPECT_EQ(told.records, Texts());
}

TEST_F(Upload, NewFilesHaveTheModeLessTheUmask) {
  EXPECT_EQ(upload({uploadOf("a", "")}, 0, 0777).code, 0);
  EXPECT_EQ(upload({uploadOf("b", "")}, 0, 0600).code, 0);
  EXPECT_EQ(infoOf("a").st_mode & 07777, 0755U);
  EXPECT_EQ(infoOf("b").st_mode & 07777, 0600U);
}

TEST_F(Upload, ARelativePathStartsAtTheWorkingDirectoryAndElseAtTheRoot) {
  const HOQFiler::UploadList none;
  const struct {
    const char* cwd;
    const char* path;
    const char* expected;
  } rows[] = {{"", "a", "/a"},    {"", "/x/a", "/x/a"},      {"/w", "a", "/w/a"},
              {"/w", "/a", "/a"}, {"/w", "../a", "/w/../a"}, {"w", "a", "w/a"},
              {"/", "a", "//a"},  {"/w", "", "/w/"}};
  for (const auto& row : rows)
    EXPECT_EQ(UploadOperateLocal(row.cwd, &none, 0, 0, nullptr).addPath(row.path), row.expected);
}

TEST_F(Upload, WithoutAWorkingDirectoryARelativePathIsBelowTheRoot) {
  cwd.clear();
  EXPECT_EQ(upload({uploadOf((dir / "a").substr(1), "x")}).code, 0);
  EXPECT_EQ(left(), "a=x");
}

TEST_F(Upload, OddNamesAreOrdinary) {
  const TempDir model;
  for (const std::string& name : trees::everyByteNames(model.path())) {
    const UploadPtr item = uploadOf(name, "x");
    EXPECT_EQ(upload({item}).code, 0) << name;
  }
  EXPECT_EQ(trees::pathsBelow(dir.path()), trees::pathsBelow(model.path()));
}

/// A client's record that refuses at one of its operations, and notes them all.
class RefusingUpload : public HOQFileUploadData {
 public:
  RefusingUpload(const char* target, std::string at)
      : HOQFileUploadData(target, 3, 0), at_(std::move(at)) {
    contents = "abc";
  }
  int start() override { return refuse("start") ? 7 : HOQFileUploadData::start(); }
  int data(std::size_t count, const char*& block) override {
    return refuse("data") ? 7 : HOQFileUploadData::data(count, block);
  }
  int close() override { return refuse("close") ? 7 : 0; }
  void abort() override { (void)refuse("abort"); }

  std::string calls;

 private:
  bool refuse(const std::string& call) {
    calls += call + " ";
    if (call == at_) setErrorMessage("refused");
    return call == at_;
  }

  const std::string at_;
};

TEST_F(Upload, AClientThatRefusesFailsIt) {
  const struct {
    const char* path;
    const char* at;
    const char* calls;
    std::string error;
    const char* left;
  } rows[] = {
      {"t", "", "start data close ", "", "t=abc"},
      {"t", "start", "start ", "-1 refused", ""},
      {"t", "data", "start data close ", "-1 Cannot read data from client", "t"},
      {"t", "close", "start data close ", "-1 refused", "t=abc"},
      {"no/t", "", "start abort ", cannotOpen(dir / "no/t", "No such file or directory", ENOENT),
       ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.at);
    removeContents(dir.path());
    const auto item = boost::make_shared<RefusingUpload>(row.path, row.at);
    const Told told = upload({item});
    EXPECT_EQ(told.code, row.error.empty() ? 0 : -1);
    EXPECT_EQ(told.errors, row.error.empty() ? Texts() : Texts{row.error});
    EXPECT_EQ(item->calls, row.calls);
    EXPECT_EQ(left(), row.left);
  }
}

TEST_F(Upload, WithoutCredentialsFilesStayTheProcesss) {
  ScriptedFiler filer(dir.path());
  EXPECT_EQ(filer.upload({uploadOf("t", "x")}, 0, 0644, HOQFiler::HandlerDelegate(), nullptr), 0);
  EXPECT_EQ(filer.routinesAsked, 0) << "no change of owner";
  EXPECT_EQ(infoOf("t").st_uid, geteuid());
}

TEST_F(Upload, FilesAreGivenToTheRequestersIds) {
  HOQ_NEEDS_ROOT("gives files away");
  cwd = dir / "w";
  trees::make(dir.path(), "w/");
  credentials = HOQUserCredentials(4242, 4343);
  credentials.gids.push_back(1);
  EXPECT_EQ(upload({uploadOf("a", "1"), uploadOf(dir / "b", "2")}).code, 0);
  for (const char* name : {"w/a", "b"}) {
    EXPECT_EQ(infoOf(name).st_uid, 4242U) << name;
    EXPECT_EQ(infoOf(name).st_gid, 4343U) << name;
  }
  credentials.gids.clear();
  EXPECT_EQ(upload({uploadOf("c", "3")}).code, 0);
  EXPECT_EQ(infoOf("w/c").st_uid, 4242U);
  EXPECT_EQ(infoOf("w/c").st_gid, getegid());
}

TEST_F(Upload, FilesAreGivenToTheRequestersName) {
  HOQ_NEEDS_ROOT("gives files away");
  credentials = HOQUserCredentials(4242, 4343);
  credentials.name = "nobody";
  EXPECT_EQ(upload({uploadOf("a", "1")}).code, 0);
  EXPECT_EQ(infoOf("a").st_uid, 65534U) << "the name counts, not the id";
  EXPECT_EQ(infoOf("a").st_gid, getegid());
  credentials.groups = {"nogroup", "root"};
  EXPECT_EQ(upload({uploadOf("b", "1")}).code, 0);
  EXPECT_EQ(infoOf("b").st_gid, getgrnam("nogroup")->gr_gid);
}

TEST_F(Upload, AnOwnerThatIsNotThereFailsItWithTheFilesWritten) {
  credentials.name = "no such user";
  const Told told = upload({uploadOf("a", "1")});
  EXPECT_EQ(told.code, -1);
  ASSERT_EQ(told.errors.size(), 1U);
  EXPECT_NE(told.errors[0].find("\"" + dir.path() + "\", Cannot find user no such user"),
            std::string::npos)
      << told.errors[0];
  EXPECT_EQ(left(), "a=1");
}

TEST_F(Upload, AnOwnerThatCannotBeGivenFailsItAsAnyChangeOfOwner) {
  credentials = HOQUserCredentials(0, 0);
  FaultPlan plan("b", EPERM, Call::Chown);
  failBy(plan);
  const Told told = upload({uploadOf("a", "1"), uploadOf(dir / "b", "2")});
  EXPECT_TRUE(plan.struck() || !isRoot());
  EXPECT_EQ(told.code, 2056);
  ASSERT_EQ(told.errors.size(), 1U);
  EXPECT_NE(told.errors[0].find("Cannot change owner: Operation not permitted[1]"),
            std::string::npos)
      << told.errors[0];
}

TEST_F(Upload, AFailedUploadGivesNothingAway) {
  credentials = HOQUserCredentials(0, 0);
  ScriptedFiler filer(dir.path());
  filer.setCred(credentials);
  EXPECT_EQ(filer.upload({uploadOf("a", "1"), uploadOf("no/b", "2")}, 0, 0644,
                         HOQFiler::HandlerDelegate(), nullptr),
            -1);
  EXPECT_EQ(filer.routinesAsked, 0);
}

TEST_F(Upload, AUploadedNameIsNoPatternOfOtherFiles) {
  HOQ_NEEDS_ROOT("gives files away");
  trees::make(dir.path(), "ab");
  credentials = HOQUserCredentials(4242, 4343);
  EXPECT_EQ(upload({uploadOf("a*", "1")}, kPatterns).code, 0);
  EXPECT_EQ(infoOf("a*").st_uid, 4242U);
  EXPECT_EQ(infoOf("ab").st_uid, geteuid());
}

TEST_F(Upload, ADirectoryThatVanishesIsToldOf) {
  trees::make(dir.path(), "d/");
  class Vanishing : public RefusingUpload {
   public:
    explicit Vanishing(std::string directory)
        : RefusingUpload("d/t", ""), directory_(std::move(directory)) {}
    int start() override { return rmdir(directory_.c_str()); }

   private:
    const std::string directory_;
  };
  EXPECT_EQ(upload({boost::make_shared<Vanishing>(dir / "d")}).errors,
            Texts{cannotOpen(dir / "d/t", "No such file or directory", ENOENT)});
}

TEST_F(Upload, TheClientCanEndIt) {
  class Ending : public HOQFilerBase::FileOperationControlHandler {
   public:
    bool wantsEnd() const override { return ++asked == 3; }
    mutable int asked = 0;
  };
  boost::intrusive_ptr<HOQFilerBase::FileOperationControlHandler> control(new Ending);
  ScriptedFiler filer(dir.path());
  EXPECT_EQ(filer.upload({uploadOf("a", "1"), uploadOf("b", "2")}, 0, 0644,
                         HOQFiler::HandlerDelegate(), &control),
            -1);
  EXPECT_EQ(filer.handler->messages(), Texts{"The transfer was ended by the client"});
  EXPECT_EQ(left(), "a=1");
  control.reset();
  EXPECT_EQ(filer.upload({uploadOf("b", "2")}, 0, 0644, HOQFiler::HandlerDelegate(), &control), 0);
}

}  // namespace
}  // namespace HOQ::test
