#include <gtest/gtest.h>
#include <hoq/HOQDelegate1.h>
#include <hoq/HOQEID.h>
#include <hoq/HOQFileFilter.h>
#include <hoq/HOQFileType.h>
#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQRequestErrorData.h>
#include <hoq/HOQRequestProgressData.h>
#include <hoq/HOQSecurityAttributes.h>
#include <hoq/HOQUserCredentials.h>

#include <cstddef>
#include <memory>
#include <type_traits>

namespace HOQ {
namespace {

// Other hosts are compiled against the records: their fields keep this order.
#define BEFORE(Record, first, second) \
  static_assert(offsetof(Record, first) < offsetof(Record, second))
BEFORE(HOQFileType, children, name);
BEFORE(HOQFileType, name, type);
BEFORE(HOQFileType, type, permissions);
BEFORE(HOQFileType, permissions, user);
BEFORE(HOQFileType, user, uid);
BEFORE(HOQFileType, uid, group);
BEFORE(HOQFileType, group, gid);
BEFORE(HOQFileType, gid, size);
BEFORE(HOQFileType, size, mtime);
BEFORE(HOQFileType, mtime, nlink);
BEFORE(HOQFileType, nlink, linkTarget);
BEFORE(HOQFileType, linkTarget, contentType);
BEFORE(HOQFileType, contentType, sizes);
BEFORE(HOQFileType, sizes, valid);
BEFORE(HOQUserCredentials, name, uid);
BEFORE(HOQUserCredentials, uid, groups);
BEFORE(HOQUserCredentials, groups, gids);
BEFORE(HOQUserCredentials, gids, umask);
BEFORE(HOQRequestErrorData, code, message);
#undef BEFORE
static_assert(offsetof(HOQFileType, children) == 0);
static_assert(offsetof(HOQUserCredentials, name) == 0);
static_assert(offsetof(HOQFilerOptions, flags) == 0 && sizeof(HOQFilerOptions) == sizeof(int));
static_assert(sizeof(HOQFileType::size) == 8 && sizeof(HOQFileType::mtime) == 8);
static_assert(std::has_virtual_destructor_v<HOQSecurityAttributes>);

using FileTypePtr = boost::shared_ptr<HOQFileType>;

TEST(FileType, StartsEmpty) {
  const HOQFileType fresh;
  EXPECT_TRUE(fresh.children.empty() && fresh.sizes.empty());
  for (const std::string* text :
       {&fresh.name, &fresh.user, &fresh.group, &fresh.linkTarget, &fresh.contentType})
    EXPECT_EQ(*text, "");
  for (const std::uint32_t number :
       {fresh.type, fresh.permissions, fresh.uid, fresh.gid, fresh.nlink, fresh.valid})
    EXPECT_EQ(number, 0u);
  EXPECT_EQ(fresh.size, 0u);
  EXPECT_EQ(fresh.mtime, 0);
}

TEST(FileType, NeverUnmarksAField) {
  HOQFileType record;
  record.setValid(HOQFileType::kSize | HOQFileType::kName);
  record.setValid(HOQFileType::kType);
  record.setValid(0);
  EXPECT_EQ(record.valid, 0x441u);
}

TEST(FileType, NumbersItsFieldsAsRequestsDo) {
  const std::uint32_t fields[] = {
      HOQFileType::kType,       HOQFileType::kPermissions, HOQFileType::kUser,
      HOQFileType::kUid,        HOQFileType::kGroup,       HOQFileType::kGid,
      HOQFileType::kSize,       HOQFileType::kMtime,       HOQFileType::kNlink,
      HOQFileType::kLinkTarget, HOQFileType::kName,        HOQFileType::kContentType};
  std::uint32_t bit = 1;
  for (const std::uint32_t field : fields) {
    EXPECT_EQ(field, bit);
    bit <<= 1;
  }
}

// `levels` records, each the only child of the one before.
FileTypePtr chain(int levels) {
  FileTypePtr top(new HOQFileType);
  for (int level = 1; level < levels; ++level) {
    FileTypePtr parent(new HOQFileType);
    parent->children.push_back(std::move(top));
    top = std::move(parent);
  }
  return top;
}

TEST(FileType, TakesADeepTreeApartWithoutOverflowingTheStack) {
  constexpr int kLevels = 100'000;
  chain(kLevels).reset();

  HOQFileType overwritten;
  overwritten.children.push_back(chain(kLevels));
  overwritten = HOQFileType();
  EXPECT_TRUE(overwritten.children.empty());

  FileTypePtr wide(new HOQFileType);
  for (int i = 0; i < 3; ++i) wide->children.push_back(chain(kLevels));
  wide.reset();
}

TEST(FileType, LeavesASharedChildWithItsContents) {
  const FileTypePtr kept = chain(3);
  {
    HOQFileType parent;
    parent.children = {chain(2), kept, FileTypePtr(), kept};
    HOQFileType twin(parent);
  }
  EXPECT_EQ(kept.use_count(), 1);
  ASSERT_EQ(kept->children.size(), 1u);
  EXPECT_EQ(kept->children[0]->children.size(), 1u);
}

TEST(FileFilter, CatchesNothingWhenFresh) {
  const HOQFileFilter fresh;
  for (const std::uint32_t number :
       {fresh.type, fresh.uid, fresh.uidMin, fresh.gid, fresh.gidMin, fresh.valid})
    EXPECT_EQ(number, 0u);
  for (const std::int64_t number : {fresh.timeMin, fresh.timeMax, fresh.sizeMin, fresh.sizeMax})
    EXPECT_EQ(number, 0);
  EXPECT_EQ(fresh.uidMax, 0xFFFFFFFFu);
  EXPECT_EQ(fresh.gidMax, 0xFFFFFFFFu);
  EXPECT_EQ(fresh.userPattern + fresh.groupPattern + fresh.namePattern, "");
  for (std::uint32_t bit = 1; bit != 0; bit <<= 1) EXPECT_FALSE(fresh.isValid(bit));
}

TEST(FileFilter, IsValidOnlyInTheBitsThatAreSet) {
  HOQFileFilter filter;
  filter.valid = HOQFileFilter::kType | HOQFileFilter::kNamePattern;
  EXPECT_TRUE(filter.isValid(1));
  EXPECT_TRUE(filter.isValid(2048));
  EXPECT_FALSE(filter.isValid(2));
}

TEST(FilerOptions, KeepEveryBit) {
  for (const int bits : {0, 0x1, 0x7F, 0x80, 0x7FFFFFFF, -1}) {
    const HOQFilerOptions options(bits);
    const HOQFilerOptions copy(options);
    EXPECT_EQ(copy.flags, bits);
  }
  EXPECT_TRUE(HOQFilerOptions(0x8).has(HOQFilerOptions::kWildcards));
  EXPECT_FALSE(HOQFilerOptions(0x77).has(HOQFilerOptions::kWildcards));
}

TEST(SecurityAttributes, CarryTheModeWord) {
  const HOQSecurityAttributes directory(040755);
  HOQSecurityAttributes other(0);
  other = directory;
  EXPECT_EQ(other.value, 0x4000 | 0755);
  EXPECT_EQ(HOQSecurityAttributes(directory).value, 040755);
}

TEST(UserCredentials, HaveTheGroupAsTheFirstOfItsGroupsUnlessItIsNotGiven) {
  const HOQUserCredentials given(7, 8);
  EXPECT_EQ(given.name, "");
  EXPECT_EQ(given.uid, 7u);
  EXPECT_TRUE(given.groups.empty());
  EXPECT_EQ(given.gids, std::vector<std::uint32_t>{8});
  EXPECT_EQ(given.umask, 0);

  const HOQUserCredentials root(0, 0);
  EXPECT_EQ(root.gids, std::vector<std::uint32_t>{0});

  const HOQUserCredentials none(0xFFFFFFFF, 0xFFFFFFFF);
  EXPECT_EQ(none.uid, 0xFFFFFFFFu);
  EXPECT_TRUE(none.gids.empty());
}

TEST(EID, IsValidOnceABitIsSet) {
  EXPECT_FALSE(HOQEID().isValid());
  EXPECT_FALSE(HOQEID::EID_INVALID.isValid());
  EXPECT_EQ(HOQEID(), HOQEID::EID_INVALID);
  EXPECT_TRUE(HOQEID(1, 0).isValid());
  EXPECT_TRUE(HOQEID(0, 1).isValid());
}

TEST(EID, EqualsAnotherInBothHalves) {
  const HOQGUIDBase base(0x0123456789ABCDEF, 0xFEDCBA9876543210);
  EXPECT_EQ(base.high(), 0x0123456789ABCDEFu);
  EXPECT_EQ(base.low(), 0xFEDCBA9876543210u);
  EXPECT_EQ(HOQEID(1, 2), HOQEID(1, 2));
  EXPECT_NE(HOQEID(1, 2), HOQEID(1, 3));
  EXPECT_NE(HOQEID(1, 2), HOQEID(2, 2));
  EXPECT_NE(HOQEID(1, 2), HOQEID(2, 1));
}

TEST(Delegate1, CallsWhatItWasMadeOf) {
  int told = 0;
  const HOQDelegate1<int, int> delegate([&told](int number) {
    told = number;
    return number + 1;
  });
  EXPECT_FALSE(delegate.empty());
  EXPECT_EQ(delegate(41), 42);
  EXPECT_EQ(told, 41);
}

TEST(Delegate1, IsEmptyWithoutACall) {
  EXPECT_TRUE((HOQDelegate1<int, int>().empty()));
  EXPECT_TRUE((HOQDelegate1<int, int>(std::function<int(int)>()).empty()));
}

TEST(Delegate1, PassesAnArgumentThatCanOnlyBeMoved) {
  const HOQDelegate1<int, std::unique_ptr<int>> delegate(
      [](std::unique_ptr<int> number) { return *number; });
  EXPECT_EQ(delegate(std::make_unique<int>(5)), 5);
}

TEST(RequestRecords, KeepWhatTheyAreGiven) {
  const HOQRequestErrorData error(2056, "100%s\n\xff");
  EXPECT_EQ(error.code, 2056);
  EXPECT_EQ(error.message, "100%s\n\xff");

  const HOQRequestProgressData progress("/a/b");
  EXPECT_EQ(progress.status, "/a/b");
  EXPECT_EQ(progress.operation, "");
  EXPECT_EQ(progress.percent, 0u);
  EXPECT_TRUE(progress.parameters.empty());
}

}  // namespace
}  // namespace HOQ
