#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "filemanager/updownload/UpDownloadFixture.h"
#include "support/LoggingRoutine.h"

namespace HOQ::test {
namespace {

constexpr std::uint64_t kPiece = 524288;

class Download : public UpDownloadFixture {
 protected:
  static std::string toBig(const std::string& path) {
    return "-1 Requested file \"" + path +
           "\" is to big to be sent at once. Try to request file in pieces of 512KB";
  }
};

TEST_F(Download, BringsAWholeFile) {
  trees::make(dir.path(), "f=hello");
  const DownloadPtr item = downloadOf("f");
  const Told told = download({item});
  EXPECT_EQ(told.code, 0);
  EXPECT_EQ(told.errors, Texts());
  EXPECT_EQ(item->contents, "hello");
  EXPECT_EQ(item->size, 5U);
  EXPECT_EQ(item->offset, 5);
  EXPECT_EQ(told.records, (Texts{"starting 0: total 0 0/5, file 1/1: 0 0/0",
                                 "f 100: total 100 5/5, file 1/1: 100 5/5"}));
}

struct PieceCase {
  const char* name;
  std::uint64_t size;
  std::int64_t offset;
  std::size_t bytes;  // brought of a file of 3000
  std::uint64_t sizeAfter;
  std::int64_t offsetAfter;
};

TEST_F(Download, BringsPieces) {
  std::string contents;
  for (int i = 0; i < 3000; ++i) contents += static_cast<char>('a' + i % 23);
  trees::make(dir.path(), "f=" + contents);
  const PieceCase rows[] = {
      {"The rest from an offset", 0, 1000, 2000, 2000, 3000},
      {"The rest, told by the unknown size", kUnknown, 2999, 1, 1, 3000},
      {"A piece in the middle", 10, 5, 10, 10, 15},
      {"A piece at the start", 10, 0, 10, 10, 10},
      {"An offset below 0 is the start", 10, -7, 10, 10, -7},
      {"The whole from an offset below 0", 0, -1, 3000, 3000, -1},
      {"A piece over the end counts as whole", 100, 2990, 10, 100, 3090},
      {"A piece behind the end", 100, 5000, 0, 100, 5100},
      {"Nothing is left at the end", 0, 3000, 0, 0, 3000},
      {"Nothing is left behind the end", 0, 3001, 0, 0, 3001},
      {"The largest piece", kPiece, 0, 3000, kPiece, kPiece},
  };
  for (const PieceCase& row : rows) {
    SCOPED_TRACE(row.name);
    const DownloadPtr item = downloadOf("f", row.size, row.offset);
    EXPECT_EQ(download({item}).code, 0);
    const auto from = static_cast<std::size_t>(std::max<std::int64_t>(row.offset, 0));
    EXPECT_EQ(item->contents, from > 3000 ? "" : contents.substr(from, row.bytes));
    EXPECT_EQ(item->contents.size(), row.bytes);
    EXPECT_EQ(item->size, row.sizeAfter);
    EXPECT_EQ(item->offset, row.offsetAfter);
  }
}

TEST_F(Download, AFileThatEndsEarlyDoesNotEndTheList) {
  trees::make(dir.path(), "a=12 b=345");
  const DownloadPtr first = downloadOf("a", 8), second = downloadOf("b");
  const Told told = download({first, second});
  EXPECT_EQ(told.code, 0);
  EXPECT_EQ(first->contents, "12");
  EXPECT_EQ(second->contents, "345");
  EXPECT_EQ(told.records, (Texts{"starting 0: total 0 0/8, file 1/2: 0 0/0",
                                 "a 100: total 100 8/8, file 1/2: 100 8/8",
                                 "b 100: total 100 11/11, file 2/2: 100 3/3"}));
}

TEST_F(Download, ThePieceMayBe512KibAndNotAByteMore) {
  trees::make(dir.path(), "f=" + std::string(kPiece, 'x') + " g=" + std::string(614400, 'y'));
  const DownloadPtr fits = downloadOf("f");
  EXPECT_EQ(download({fits}).code, 0);
  EXPECT_EQ(fits->contents, std::string(kPiece, 'x'));

  const DownloadPtr whole = downloadOf("g");
  const Told told = download({whole});
  EXPECT_EQ(told.code, -1);
  EXPECT_EQ(told.errors, Texts{toBig("g")});
  EXPECT_EQ(whole->size, 614400U);
  EXPECT_EQ(whole->contents, "");
  for (const std::uint64_t size : {kPiece + 1, kUnknown >> 32, kUnknown >> 1, kUnknown - 1}) {
    const Told refused = download({downloadOf("f", size)});
    EXPECT_EQ(refused.code, -1) << size;
    EXPECT_EQ(refused.errors, Texts{toBig("f")}) << size;
  }
  const DownloadPtr tail = downloadOf("g", 0, 614400 - 524288);
  EXPECT_EQ(download({tail}).code, 0);
  EXPECT_EQ(tail->contents.size(), kPiece);
}

TEST_F(Download, AnEmptyFileIsClosedAtOnce) {
  trees::make(dir.path(), "f");
  CallLog log;
  maker = [&log](const std::string& directory) {
    return boost::shared_ptr<HOQFileRoutine>(new LoggingRoutine(directory, log));
  };
  const DownloadPtr item = downloadOf("f");
  const Told told = download({item});
  EXPECT_EQ(told.code, 0);
  EXPECT_EQ(told.records, (Texts{"starting 0: total - 0/0, file 1/1: 0 0/0",
                                 "f 100: total - 0/0, file 1/1: 100 0/0"}));
  EXPECT_EQ(log.count(Call::Read), 0);
  EXPECT_EQ(log.count(Call::Close), 1);
}

TEST_F(Download, OneRoutineServesTheListAndEachFileIsClosed) {
  trees::make(dir.path(), "a=1 b=2 c=3");
  CallLog log;
  int made = 0;
  maker = [&](const std::string& directory) {
    ++made;
    return boost::shared_ptr<HOQFileRoutine>(new LoggingRoutine(directory, log));
  };
  EXPECT_EQ(download({downloadOf("a"), downloadOf("b"), downloadOf("c")}).code, 0);
  EXPECT_EQ(made, 1);
  EXPECT_EQ(log.count(Call::Open), 3);
  EXPECT_EQ(log.count(Call::Close), 3);
  EXPECT_EQ(log.count(Call::Seek), 0);
}

TEST_F(Download, AnEmptyListFails) {
  const Told told = download({});
  EXPECT_EQ(told.code, -1);
  EXPECT_EQ(told.errors, Texts());
  EXPECT_EQ(told.records, Texts());
}

TEST_F(Download, WithoutARoutineItSays2002) {
  maker = [](const std::string&) { return boost::shared_ptr<HOQFileRoutine>(); };
  EXPECT_EQ(download({downloadOf("f")}).code, 2002);
}

TEST_F(Download, AnAbsolutePathStartsAtTheWorkingDirectoryAsWell) {
  trees::make(dir.path(), "etc/x=inside");
  const DownloadPtr item = downloadOf("/etc/x");
  EXPECT_EQ(download({item}).code, 0);
  EXPECT_EQ(item->contents, "inside");
  const Told missing = download({downloadOf("/etc/no")});
  EXPECT_EQ(missing.errors, Texts{"-1 Cannot open source file \"" + dir.path() +
                                  "//etc/no\": No such file or directory [2]"});
}

TEST_F(Download, WithoutAWorkingDirectoryThePathStandsAsItIs) {
  trees::make(dir.path(), "f=text");
  cwd.clear();
  const DownloadPtr item = downloadOf(dir / "f");
  EXPECT_EQ(download({item}).code, 0);
  EXPECT_EQ(item->contents, "text");
  const Told missing = download({downloadOf("surely/not/there")});
  EXPECT_EQ(missing.errors,
            Texts{"-1 Cannot open source file \"surely/not/there\": No such file or directory "
                  "[2]"});
}

TEST_F(Download, AFailureEndsTheListAndLeavesTheRestAsItWas) {
  trees::make(dir.path(), "a=1 c=3");
  const DownloadPtr a = downloadOf("a"), b = downloadOf("b", 7, 5), c = downloadOf("c");
  const Told told = download({a, b, c});
  EXPECT_EQ(told.code, -1);
  EXPECT_EQ(told.errors, Texts{"-1 Cannot open source file \"" + dir / "b" +
                               "\": No such file or directory [2]"});
  EXPECT_EQ(a->contents, "1");
  EXPECT_EQ(b->size, 7U);
  EXPECT_EQ(b->offset, 5);
  EXPECT_EQ(c->contents, "");
  EXPECT_EQ(c->size, 0U);
}

TEST_F(Download, AFifoIsRefusedAlsoBehindALink) {
  trees::make(dir.path(), "p| l->p");
  for (const char* name : {"p", "l"}) {
    const Told told = download({downloadOf(name)});
    EXPECT_EQ(told.code, -1);
    EXPECT_EQ(told.errors, Texts{"-1 Cannot open source file \"" + dir / name +
                                 "\": No such device or address [6]"});
  }
}

TEST_F(Download, ADirectoryIsAnEmptyFileUntilBytesAreAskedFor) {
  trees::make(dir.path(), "d/");
  EXPECT_EQ(download({downloadOf("d")}).code, 0);
  EXPECT_EQ(download({downloadOf("d", 1)}).errors,
            Texts{"-1 Cannot read from file \"d\": Is a directory [21]"});
}

TEST_F(Download, ALinksOwnSizeIsLearnedUnlessLinksAreFollowed) {
  trees::make(dir.path(), "f=0123456789 l->f");
  const DownloadPtr own = downloadOf("l"), followed = downloadOf("l"), told = downloadOf("l", 10);
  EXPECT_EQ(download({own}).code, 0);
  EXPECT_EQ(own->contents, "0");
  EXPECT_EQ(download({followed}, kFollow).code, 0);
  EXPECT_EQ(followed->contents, "0123456789");
  EXPECT_EQ(download({told}).code, 0);
  EXPECT_EQ(told->contents, "0123456789");
}

TEST_F(Download, OddNamesAreOrdinary) {
  for (const std::string& name : trees::everyByteNames(dir.path())) {
    const DownloadPtr item = downloadOf(name, 1);
    EXPECT_EQ(download({item}).code, 0) << name;
  }
  EXPECT_EQ(download({downloadOf("100%s%n")}).code, 0);
  EXPECT_EQ(download({downloadOf("%s%d%n")}).errors,
            Texts{"-1 Cannot open source file \"" + dir / "%s%d%n" +
                  "\": No such file or directory [2]"});
}

struct FaultCase {
  Call call;
  int nth;
  const char* error;  // @ is the place
};

TEST_F(Download, EachFailingCallIsToldInItsWords) {
  trees::make(dir.path(), "f=hello");
  const FaultCase rows[] = {
      {Call::Stat, 1, ""},  // before the open: ignored
      {Call::Open, 1, "-1 Cannot open source file \"@/f\": Input/output error [5]"},
      {Call::Stat, 2, "-1 Cannot stat source file \"@/f\": Input/output error [5]"},
      {Call::Seek, 1, "-1 Cannot seek source file \"@/f\": Input/output error [5]"},
      {Call::Read, 1, "-1 Cannot read from file \"f\": Input/output error [5]"},
      {Call::Close, 1, ""},  // it was only read
  };
  for (const FaultCase& row : rows) {
    SCOPED_TRACE(nameOf(row.call));
    FaultPlan plan(row.nth, EIO, row.call);
    failBy(plan);
    const Told told = download({downloadOf("f", 0, 1)});
    EXPECT_TRUE(plan.struck());
    std::string error = row.error;
    if (const auto at = error.find('@'); at != std::string::npos) error.replace(at, 1, dir.path());
    EXPECT_EQ(told.errors, error.empty() ? Texts() : Texts{error});
    EXPECT_EQ(told.code, error.empty() ? 0 : -1);
  }
}

TEST_F(Download, WhicheverCallFailsTheAnswerSaysSo) {
  trees::make(dir.path(), "a=one b=two");
  for (int n = 1;; ++n) {
    ASSERT_LE(n, 100);
    FaultPlan plan(n, ENOMEM);
    failBy(plan);
    const DownloadPtr a = downloadOf("a", 0, 1), b = downloadOf("b");
    const int free = dup(0);
    ASSERT_EQ(close(free), 0);
    const Told told = download({a, b});
    if (!plan.struck()) {
      EXPECT_EQ(told.code, 0);
      EXPECT_GE(n, 12);
      break;
    }
    // Of the calls of a file, only the look before the open and the close may fail unnoticed.
    const bool harmless = plan.call() == Call::Close || n == 1 || n == 7;
    EXPECT_EQ(told.code, harmless ? 0 : -1) << plan;
    EXPECT_EQ(told.errors.size(), harmless ? 0U : 1U) << plan;
    if (harmless) {
      EXPECT_EQ(a->contents + b->contents, "netwo") << plan;
    }
    const int after = dup(0);
    EXPECT_EQ(close(after), 0);
    EXPECT_EQ(after, free) << plan << ": a descriptor is left open";
  }
}

/// A receiver that refuses at one of its operations.
class RefusingDownload : public HOQFileDownloadData {
 public:
  enum At { kStart, kAppend, kClose };

  explicit RefusingDownload(At at) : HOQFileDownloadData("f", 0, 0), at_(at) {}
  int start() override { return refuse(kStart) ? 7 : HOQFileDownloadData::start(); }
  int append(const char* bytes, std::size_t count) override {
    return refuse(kAppend) ? 7 : HOQFileDownloadData::append(bytes, count);
  }
  int close() override { return refuse(kClose) ? 7 : 0; }

 private:
  bool refuse(At at) const {
    if (at != at_) return false;
    setErrorMessage("refused");
    return true;
  }

  const At at_;
};

TEST_F(Download, AReceiverThatRefusesFailsIt) {
  trees::make(dir.path(), "f=hello");
  using R = RefusingDownload;
  for (const auto at : {R::kStart, R::kAppend, R::kClose}) {
    CallLog log;
    maker = [&log](const std::string& directory) {
      return boost::shared_ptr<HOQFileRoutine>(new LoggingRoutine(directory, log));
    };
    const Told told = download({boost::make_shared<R>(at)});
    EXPECT_EQ(told.code, -1) << at;
    EXPECT_EQ(told.errors, Texts{"-1 refused"}) << at;
    EXPECT_EQ(log.count(Call::Close), 1) << at;
  }
}

TEST_F(Download, SourcesThatChangeMeanwhile) {
  trees::make(dir.path(), "f=0123456789");
  const struct {
    const char* name;
    off_t size;
    std::string expected;
  } rows[] = {{"shrinks", 4, "0123"}, {"vanishes to nothing", 0, ""}, {"grows", 20, "0123456789"}};
  for (const auto& row : rows) {
    trees::make(dir.path(), "g=0123456789");
    bool done = false;
    maker = [&](const std::string& directory) {
      return boost::shared_ptr<HOQFileRoutine>(
          new InterferingRoutine(directory, [&](Call call, const std::string& path) {
            if (call == Call::Read && !done) done = truncate(path.c_str(), row.size) == 0;
          }));
    };
    const DownloadPtr item = downloadOf("g");
    EXPECT_EQ(download({item}).code, 0) << row.name;
    EXPECT_TRUE(done);
    EXPECT_EQ(item->contents, row.expected) << row.name;
    EXPECT_EQ(unlink((dir / "g").c_str()), 0);
  }
}

TEST_F(Download, AHundredThousandItems) {
  trees::make(dir.path(), "f=x");
  HOQFiler::DownloadList items;
  for (int i = 0; i < 100'000; ++i) items.push_back(downloadOf("f", 1));
  ScriptedFiler filer(dir.path());
  filer.sync(nullptr, "");
  EXPECT_EQ(filer.download(items, 0, 0, HOQFiler::HandlerDelegate(), nullptr), 0);
  for (const auto& item : items) ASSERT_EQ(item->offset, 1);
}

}  // namespace
}  // namespace HOQ::test
