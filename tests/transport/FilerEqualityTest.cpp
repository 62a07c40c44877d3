// Every operation in process and through a node, with equal answers.
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQFileDownloadData.h>
#include <hoq/HOQFileUploadData.h>

#include <functional>
#include <sstream>

#include "support/ScriptedFiler.h"
#include "support/TakingHandler.h"
#include "support/Trees.h"
#include "transport/FilerOnNode.h"

namespace HOQ::test {
namespace {

constexpr unsigned kAllFields = 0x7FF;  // but the content type

/// Everything a client can see of an operation. Paths of the tree's root are written as "@".
class Seen {
 public:
  explicit Seen(std::string root) : root_(std::move(root)) {}

  template <class Value>
  void add(const char* name, const Value& value) {
    text_ << name << " " << value << "\n";
  }
  void add(const HOQFileType& record, int depth) {
    text_ << std::string(static_cast<std::size_t>(depth) % 64, ' ') << depth << " " << record.name
          << " " << record.type << " " << record.permissions << " " << record.user << " "
          << record.uid << " " << record.group << " " << record.gid << " " << record.size << " "
          << record.nlink << " " << record.linkTarget << " " << record.contentType << " "
          << record.valid << "\n";
    for (const auto& child : record.children) add(*child, depth + 1);
  }
  void add(const HOQFiler::FileTypes& records) {
    for (const auto& record : records) add(*record, 0);
  }
  void add(const CollectingHandler& news) {
    std::size_t error = 0;
    std::size_t progress = 0;
    for (const std::string& event : news.events) {
      if (event == "error") add("error", told(news.errors[error++]));
      if (event == "progress") add("progress", told(news.progressRecords[progress++]));
      if (event != "answer") continue;
      add("answer", news.answers.front().code);
      add(news.answers.front().records);
    }
    if (const auto* taking = dynamic_cast<const TakingHandler*>(&news)) add(taking->records);
  }
  std::string text() const {
    std::string text = text_.str();
    for (std::size_t at = 0; (at = text.find(root_, at)) != std::string::npos; ++at)
      text.replace(at, root_.size(), "@");
    return text;
  }

 private:
  static std::string told(const HOQRequestErrorData& error) {
    return std::to_string(error.code) + " " + error.message;
  }
  static std::string told(const HOQRequestProgressData& progress) {
    std::ostringstream out;
    out << progress.status << " " << progress.operation << " " << progress.percent;
    for (const auto& parameter : progress.parameters) {
      out << " " << parameter.name << "(" << parameter.value.index() << ")=";
      std::visit([&out](const auto& value) { out << value; }, parameter.value);
    }
    return out.str();
  }

  const std::string root_;
  std::ostringstream text_;
};

using Operation = std::function<void(HOQFiler& filer, const std::string& root, Seen& seen)>;

struct Case {
  const char* name;
  Operation run;
};

std::ostream& operator<<(std::ostream& out, const Case& each) { return out << each.name; }

void list(HOQFiler& filer, const HOQFiler::Paths& paths, int options, Seen& seen,
          const HOQFiler::Filters* filters = nullptr) {
  HOQFiler::FileTypes records;
  seen.add("code", filer.list(paths, &records, options, filters, kAllFields));
  seen.add(records);
}

void stat(HOQFiler& filer, const HOQFiler::Paths& paths, int options, Seen& seen) {
  HOQFiler::FileTypes records;
  seen.add("code", filer.stat(paths, &records, options, kAllFields));
  seen.add(records);
}

HOQFiler::Filters filterOutDirectories() {
  HOQFileFilter filter;
  filter.type = HOQFileType::kRegular;
  filter.namePattern = "*";
  filter.valid = HOQFileFilter::kType;
  return {filter};
}

void download(HOQFiler& filer, const HOQFiler::Paths& paths, std::uint64_t size,
              std::int64_t offset, Seen& seen) {
  HOQFiler::DownloadList list;
  std::vector<boost::shared_ptr<HOQFileDownloadData>> items;
  for (const std::string& path : paths) {
    items.push_back(boost::make_shared<HOQFileDownloadData>(path, size, offset));
    list.push_back(items.back());
  }
  seen.add("code", filer.download(list, 0, HOQSecurityAttributes(0), {}, nullptr));
  for (const auto& item : items) {
    seen.add("size", item->size);
    seen.add("offset", item->offset);
    seen.add("bytes", item->contents);
  }
}

boost::shared_ptr<HOQFileUploadData> upload(const std::string& path, const std::string& contents,
                                            std::uint64_t size, std::int64_t offset = 0) {
  auto item = boost::make_shared<HOQFileUploadData>(path, size, offset);
  item->contents = contents;
  return item;
}

void upload(HOQFiler& filer, const HOQFiler::UploadList& items, int options, Seen& seen) {
  seen.add("code", filer.upload(items, options, HOQSecurityAttributes(0640), {}, nullptr));
  for (const auto& item : items) seen.add("offset", item->offset);
}

const Case kCases[] = {
    {"List", [](HOQFiler& f, const std::string&, Seen& s) { list(f, {"."}, 0, s); }},
    {"ListRecursive", [](HOQFiler& f, const std::string&, Seen& s) { list(f, {"."}, 2, s); }},
    {"ListWildcards",
     [](HOQFiler& f, const std::string&, Seen& s) { list(f, {"*", "d/*"}, 8, s); }},
    {"ListSums", [](HOQFiler& f, const std::string&, Seen& s) { list(f, {"."}, 0x12, s); }},
    {"ListNothing", [](HOQFiler& f, const std::string&, Seen& s) { list(f, {}, 0, s); }},
    {"ListMissing",
     [](HOQFiler& f, const std::string&, Seen& s) { list(f, {"d", "missing", "f"}, 0, s); }},
    {"ListEmptyFilters",
     [](HOQFiler& f, const std::string&, Seen& s) {
       const HOQFiler::Filters none;
       list(f, {"."}, 0, s, &none);
     }},
    {"ListFilters",
     [](HOQFiler& f, const std::string&, Seen& s) {
       const HOQFiler::Filters filters = filterOutDirectories();
       list(f, {"."}, 2, s, &filters);
     }},
    {"ListAboveRoot",
     [](HOQFiler& f, const std::string&, Seen& s) { list(f, {"/../x"}, 0, s); }},
    {"Stat",
     [](HOQFiler& f, const std::string& root, Seen& s) {
       stat(f, {"f", "d/g", root + "/l"}, 0, s);
     }},
    {"StatFollowing", [](HOQFiler& f, const std::string&, Seen& s) { stat(f, {"l"}, 4, s); }},
    {"StatMissing", [](HOQFiler& f, const std::string&, Seen& s) { stat(f, {"no", "f"}, 0, s); }},
    {"StatBelowFile", [](HOQFiler& f, const std::string&, Seen& s) { stat(f, {"f/x"}, 0, s); }},
    {"StatOddNames",
     [](HOQFiler& f, const std::string&, Seen& s) { stat(f, {"odd\xff"}, 0, s); }},
    {"Search",
     [](HOQFiler& f, const std::string&, Seen& s) {
       HOQFiler::FileTypes records;
       s.add("code", f.search({"."}, "*", &records, -3, 2));
       s.add(records);
     }},
    {"Remove",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.remove({"f", "l"}, 0)); }},
    {"RemoveFull",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.remove({"d"}, 0)); }},
    {"RemoveTree",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.remove({"d"}, 2)); }},
    {"RemoveMissing",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.remove({"no", "f"}, 0)); }},
    {"Mkdir",
     [](HOQFiler& f, const std::string&, Seen& s) {
       const HOQSecurityAttributes attributes(0700);
       s.add("code", f.mkdir({"new", "d"}, &attributes, 0));
     }},
    {"MkdirParents",
     [](HOQFiler& f, const std::string&, Seen& s) {
       s.add("code", f.mkdir({"a/b/c"}, nullptr, 2));
     }},
    {"Chmod",
     [](HOQFiler& f, const std::string&, Seen& s) {
       s.add("code", f.chmod({"f", "no"}, 0600, 0));
     }},
    {"ChmodTree",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.chmod({"d"}, 0700, 2)); }},
    {"ChownNobodyKnown",
     [](HOQFiler& f, const std::string&, Seen& s) {
       s.add("code", f.chown({"f"}, "no such user%s", "", 0));
     }},
    {"ChownAsItIs",
     [](HOQFiler& f, const std::string&, Seen& s) {
       s.add("code", f.chown({"f", "d"}, 0xFFFFFFFF, 0xFFFFFFFF, 2));
     }},
    {"Copy",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.copy({"f"}, "f2", 0)); }},
    {"CopyOver",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.copy({"f"}, "d/g", 0)); }},
    {"CopyTree",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.copy({"d"}, "e", 2)); }},
    {"Move",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.move({"d", "f"}, "x", 2)); }},
    {"MoveOne",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.move({"d"}, "x", 2)); }},
    {"LinkHard",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.link("f", "h", 0)); }},
    {"LinkSymbolic",
     [](HOQFiler& f, const std::string&, Seen& s) {
       s.add("code", f.link("any\xfewhere", "h", 0x40));
     }},
    {"LinkTaken",
     [](HOQFiler& f, const std::string&, Seen& s) { s.add("code", f.link("f", "d", 0)); }},
    {"Readlink",
     [](HOQFiler& f, const std::string&, Seen& s) {
       std::string target = "untouched";
       s.add("code", f.readlink("l", target));
       s.add("target", target);
     }},
    {"ReadlinkOfFile",
     [](HOQFiler& f, const std::string&, Seen& s) {
       std::string target = "untouched";
       s.add("code", f.readlink("f", target));
       s.add("target", target);
     }},
    {"Download",
     [](HOQFiler& f, const std::string&, Seen& s) { download(f, {"f", "d/g", "empty"}, 0, 0, s); }},
    {"DownloadPiece",
     [](HOQFiler& f, const std::string&, Seen& s) { download(f, {"f", "d/g"}, 2, 1, s); }},
    {"DownloadTooMuch",
     [](HOQFiler& f, const std::string&, Seen& s) { download(f, {"f", "large"}, 0, 0, s); }},
    {"DownloadLargestPiece",
     [](HOQFiler& f, const std::string&, Seen& s) { download(f, {"large"}, 524288, 7, s); }},
    {"DownloadMissing",
     [](HOQFiler& f, const std::string&, Seen& s) { download(f, {"f", "no", "f"}, 0, 0, s); }},
    {"DownloadBeyondEnd",
     [](HOQFiler& f, const std::string&, Seen& s) { download(f, {"f"}, 100, 2, s); }},
    {"Upload",
     [](HOQFiler& f, const std::string& root, Seen& s) {
       upload(f, {upload(root + "/u", "uploaded", 8), upload(root + "/v", "", 0)}, 0, s);
     }},
    {"UploadLarge",
     [](HOQFiler& f, const std::string& root, Seen& s) {
       upload(f, {upload(root + "/u", std::string(300'001, 'u'), 300'001)}, 0, s);
     }},
    {"UploadPiece",
     [](HOQFiler& f, const std::string& root, Seen& s) {
       upload(f, {upload(root + "/f", "XY", 2, 1)}, 1, s);
     }},
    {"UploadOver",
     [](HOQFiler& f, const std::string& root, Seen& s) {
       upload(f, {upload(root + "/f", "new", 3), upload(root + "/u", "u", 1)}, 1, s);
     }},
    {"UploadOverWithout",
     [](HOQFiler& f, const std::string& root, Seen& s) {
       upload(f, {upload(root + "/f", "new", 3), upload(root + "/u", "u", 1)}, 0, s);
     }},
    {"UploadTooShort",
     [](HOQFiler& f, const std::string& root, Seen& s) {
       upload(f, {upload(root + "/u", "short", 700'000), upload(root + "/v", "v", 1)}, 0, s);
     }},
    {"UploadNowhere",
     [](HOQFiler& f, const std::string& root, Seen& s) {
       upload(f, {upload(root + "/no/u", std::string(3'000'000, 'x'), 3'000'000)}, 0, s);
     }},
    {"UploadNothing", [](HOQFiler& f, const std::string&, Seen& s) { upload(f, {}, 0, s); }},
};

class FilerEquality : public testing::TestWithParam<Case> {};

void makeTree(const std::string& root, const std::string& name) {
  trees::make(root, "f=abc d/g=inside d/e/ l->f empty d/e/deep/h=1");
  trees::make(root, "odd\xff=o");
  // Only where it is needed, since what is left is compared byte by byte.
  if (name.rfind("Download", 0) == 0) trees::make(root, "large=" + std::string(614'400, 'l'));
}

/// What the operation shows and leaves on a fresh tree.
template <class Run>
std::string seenOf(const Case& each, const Run& run) {
  const TempDir temp;
  const std::string root = temp / "r";  // what is beside it is nobody else's
  trees::make(temp.path(), "r/");
  makeTree(root, each.name);
  Seen seen(root);
  clearErrorMessage();
  run([&](HOQFiler& filer, CollectingHandler& news) {
    filer.setCwd(root);
    each.run(filer, root, seen);
    seen.add(news);
  });
  seen.add("error text", getErrorMessage());
  seen.add("left", trees::snapshot(root, trees::Show::kEveryDirectory));
  return seen.text();
}

TEST_P(FilerEquality, ThroughANodeIsAsInProcess) {
  struct RightsRow {
    bool read, change;
  };
  for (const RightsRow rights : {RightsRow{true, true}, RightsRow{true, false},
                                 RightsRow{false, true}, RightsRow{false, false}}) {
    SCOPED_TRACE(std::to_string(rights.read) + std::to_string(rights.change));
    const std::string local = seenOf(GetParam(), [&](const auto& with) {
      const Rights held(rights.read, rights.change);
      ScriptedFiler filer("");
      with(filer, *filer.handler);
    });
    const std::string remote = seenOf(GetParam(), [&](const auto& with) {
      OnNode<> node(nodeSettings(rights.read, rights.change));
      with(*node.filer, *node.handler);
      EXPECT_EQ(node.filer->failure(), transport::NodeFailure::kNone);
    });
    EXPECT_EQ(remote, local);
    EXPECT_NE(local.find("code"), std::string::npos);
  }
}

/// With a receiver that takes records one by one, and one that soon wants no more.
TEST_P(FilerEquality, ThroughANodeRecordsAreHandedOverAsInProcess) {
  for (const std::size_t most : {TakingHandler::kAll, std::size_t{2}}) {
    const boost::intrusive_ptr<TakingHandler> here(new TakingHandler(most));
    const boost::intrusive_ptr<TakingHandler> there(new TakingHandler(most));
    const std::string local = seenOf(GetParam(), [&](const auto& with) {
      const Rights held(true, true);
      ScriptedFiler filer("");
      HOQRequestModificator::of(filer).sync(here, "");
      with(filer, *here);
    });
    const std::string remote = seenOf(GetParam(), [&](const auto& with) {
      OnNode<> node;
      HOQRequestModificator::of(*node.filer).sync(there, "");
      with(*node.filer, *there);
      EXPECT_EQ(node.filer->failure(), transport::NodeFailure::kNone);
    });
    // Of a list that is stopped the node may have gone on, and told of it.
    if (most == TakingHandler::kAll) {
      EXPECT_EQ(remote, local);
    }
    EXPECT_EQ(there->records.size(), here->records.size());
    ASSERT_EQ(there->answers.size(), here->answers.size());
    if (!here->answers.empty()) {
      EXPECT_EQ(there->answers[0].code, here->answers[0].code);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, FilerEquality, testing::ValuesIn(kCases),
                         [](const auto& one) { return one.param.name; });

constexpr int kLevels = 10'000;

/// Answers with a directory in a directory in a directory.
class DeepFiler : public HOQFilerLocal {
 public:
  using HOQFilerLocal::HOQFilerLocal;
  int list(const Paths&, FileTypes* result, const HOQFilerOptions&, const Filters*,
           unsigned int) override {
    beginCommand();
    FileTypes* at = result;
    for (int level = 0; level < kLevels; ++level) {
      at->push_back(boost::make_shared<HOQFileType>());
      at->back()->name = std::to_string(level);
      at->push_back(boost::make_shared<HOQFileType>());
      at->back()->name = "beside";
      at = &at->front()->children;
    }
    return endCommandWithAnswer(newHOQWriterData(result, 1161), HOQRequestErrorData(0, ""));
  }
};

TEST(FilerOnNodeTree, ListsATreeOfTenThousandLevels) {
  OnNode<DeepFiler> node;
  HOQFiler::FileTypes records;
  EXPECT_EQ(node.filer->list({"."}, &records, 2, nullptr, 0x400), 0);
  const HOQFiler::FileTypes* at = &records;
  for (int level = 0; level < kLevels; ++level) {
    ASSERT_EQ(at->size(), 2u) << level;
    ASSERT_EQ(at->front()->name, std::to_string(level));
    ASSERT_EQ(at->back()->name, "beside");
    at = &at->front()->children;
  }
  EXPECT_TRUE(at->empty());
}

TEST(FilerOnNodeTree, ListsNamesOfEveryByte) {
  const TempDir root;
  const std::vector<std::string> names = trees::everyByteNames(root.path());
  OnNode<> node;
  node.filer->setCwd(root.path());
  HOQFiler::FileTypes records;
  EXPECT_EQ(node.filer->list({"."}, &records, 0, nullptr, 0x400), 0);
  std::vector<std::string> found;
  for (const auto& record : records) found.push_back(record->name);
  for (const std::string& name : names)
    EXPECT_NE(std::find(found.begin(), found.end(), name), found.end()) << name;
}

}  // namespace
}  // namespace HOQ::test
