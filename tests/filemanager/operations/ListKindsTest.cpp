// Lists for a receiver that is content with the kinds of entries, against those for any other.
#include <sys/stat.h>

#include <cerrno>
#include <map>
#include <sstream>
#include <string>

#include "filemanager/operations/ChangesFixture.h"

namespace HOQ::test {
namespace {

constexpr unsigned kKind = HOQFileType::kType | HOQFileType::kName;
constexpr unsigned kAsked = kKind | HOQFileType::kPermissions;

class GlancingHandler : public CollectingHandler {
 public:
  bool kindsSuffice() const override { return true; }
};

class ListKinds : public ChangesFixture {
 protected:
  Outcome glance(const HOQFiler::Paths& paths, int options = 0, unsigned fields = kAsked,
                 const HOQFiler::Filters* filters = nullptr) {
    const CollectingHandlerPtr handler(new GlancingHandler);
    ScriptedFiler filer(dir.path(), maker);
    HOQRequestModificator::of(filer).sync(handler, "");
    Outcome outcome{0, {}, {}};
    outcome.code = filer.list(paths, &outcome.records, HOQFilerOptions(options), filters, fields);
    outcome.messages = handler->messages();
    return outcome;
  }

  /// Everything that was answered and said, sorted by name. The folder above the place is others'.
  static std::string told(const Outcome& outcome) {
    std::ostringstream out;
    tell(out, outcome.records, "");
    for (const std::string& message : outcome.messages) out << message << "\n";
    out << outcome.code << "\n";
    return out.str();
  }

 private:
  static void tell(std::ostream& out, const Records& records, const std::string& above) {
    std::multimap<std::string, const HOQFileType*> sorted;
    for (const auto& record : records) sorted.emplace(record->name, record.get());
    for (const auto& [name, record] : sorted) {
      if (name == "..") continue;
      out << above << name << " " << record->type << " " << record->permissions << " "
          << record->user << " " << record->uid << " " << record->size << " " << record->mtime
          << " " << record->nlink << " " << record->linkTarget << " " << record->valid << "\n";
      tell(out, record->children, above + name + "/");
    }
  }
};

TEST_F(ListKinds, NamesAndKindsAreThoseOfAnyListAndDirectoriesAreKnownWhole) {
  trees::make(dir.path(), "d/%750 e/%700 f%600 g%644 h%640 l->f m->d n->no p| s~");
  const Outcome plain = list({"."}, 0, nullptr, kAsked);
  const Outcome outcome = glance({"."});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.messages, Texts{});
  ASSERT_EQ(namesOf(outcome.records), namesOf(plain.records));
  int examined = 0;
  for (const auto& known : plain.records) {
    if (known->valid == 0) continue;  // the placeholders
    SCOPED_TRACE(known->name);
    const HOQFileType& record = recordOf(outcome.records, known->name);
    EXPECT_EQ(record.type, known->type);
    const bool isDir = record.type == HOQFileType::kDirectory;
    const bool isWhole = record.valid == known->valid;
    EXPECT_TRUE(isWhole || !isDir);
    EXPECT_EQ(record.permissions, isWhole ? known->permissions : 0U);
    EXPECT_EQ(record.valid, isWhole ? kAsked : kKind);
    if (!isDir && isWhole) ++examined;
  }
  EXPECT_LE(examined, 1) << "or the place's file system does not tell kinds";
}

TEST_F(ListKinds, EveryDirectoryOfATreeHasAnEntryThatWasExamined) {
  trees::make(dir.path(), "d/a/x d/b/y d/c/z");
  const Outcome outcome = glance({"d"}, kRecursive);
  EXPECT_EQ(outcome.code, 0);
  for (const auto& [directory, file] :
       std::map<std::string, std::string>{{"a", "x"}, {"b", "y"}, {"c", "z"}})
    EXPECT_EQ(recordOf(recordOf(outcome.records, directory).children, file).valid, kAsked);
}

TEST_F(ListKinds, WhoeverAsksForMoreGetsIt) {
  trees::make(dir.path(), "d/f=1 d/g=22 d/e/h=333 d/l->f d/m->e d/n->no f=4444");
  HOQFileFilter filter;
  filter.valid = HOQFileFilter::kNamePattern;
  filter.namePattern = "f";
  const HOQFiler::Filters filters{filter};
  const HOQFiler::Filters none;
  const struct {
    const char* what;
    int options;
    unsigned fields;
    const HOQFiler::Filters* filters;
  } rows[] = {
      {"another field", 0, kAsked | HOQFileType::kSize, nullptr},
      {"the owner", 0, kAsked | HOQFileType::kUser, nullptr},
      {"link targets", 0, kAsked | HOQFileType::kLinkTarget, nullptr},
      {"every field", kRecursive, kAllFields, nullptr},
      {"sums", kSums, kAsked, nullptr},
      {"sums of a tree", kSums | kRecursive, kAsked, nullptr},
      {"links followed", kFollow, kAsked, nullptr},
      {"links followed in a tree", kFollow | kRecursive, kAsked, nullptr},
      {"filters", 0, kAsked, &filters},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Outcome plain = list({"d"}, row.options, row.filters, row.fields);
    EXPECT_EQ(told(glance({"d"}, row.options, row.fields, row.filters)), told(plain));
  }
}

TEST_F(ListKinds, ADirectoryThatCannotBeSearchedTellsOfEachEntry) {
  trees::make(dir.path(), "d/f d/g/ d/h");
  ASSERT_EQ(::chmod((dir / "d").c_str(), 0600), 0);
  EXPECT_EQ(asUnprivileged([this] {
              const Outcome plain = list({"d"}, 0, nullptr, kAsked);
              EXPECT_EQ(plain.messages.size(), 3U);
              EXPECT_EQ(told(glance({"d"})), told(plain));
            }),
            "");
}

}  // namespace
}  // namespace HOQ::test
