// Where an item goes, and what becomes of what is there.
#include "filemanager/haul/DeserializerFixture.h"

namespace HOQ::test {
namespace {

class DeserializerRules : public DeserializerFixture {
 protected:
  /// Runs a transfer of `params`, with the contents "new" for a regular file. The code of its
  /// start; whatever started must end well.
  int carry(const ParamsPtr& params) {
    clearErrorMessage();
    const HOQChannelPtr fresh = newChannelMemory();
    const Deserializer one = deserializing(params);
    const int code = one->startCopying(fresh->getDestinationEnd());
    if (code == 0 && params->isRegular) {
      send(fresh, sizeHeader(3) + "new");
      EXPECT_EQ(one->waitCopyingFinish(), 0);
    }
    const std::string text = getErrorMessage();
    EXPECT_EQ(one->finish(), 0);
    clearErrorMessage();
    setErrorMessage("%s", text);
    return code;
  }
};

struct OverwriteCase {
  const char* name;
  bool isRegular;
  const char* there;  // beside the item's place, t
  int options;
  int code;
  const char* error;
  const char* left;
};

constexpr char kRefused[] = "Can't overwrite \"@/t\"";
constexpr char kCannotOpen[] = "Cannot open file to write";
constexpr int kOver = kOverwriteBit;

const OverwriteCase kOverwriteCases[] = {
    {"A directory is made where nothing is", false, "", 0, 0, "", "t/"},
    {"also with the overwrite bit", false, "", kOver, 0, "", "t/"},
    {"A directory is merged into an empty one", false, "t/", 0, 0, "", "t/"},
    {"and into one with entries", false, "t/f=1", 0, 0, "", "t/f=1"},
    {"With the overwrite bit a directory is kept", false, "t/f=1", kOver, 0, "", "t/f=1"},
    {"A directory is not put over a file", false, "t=old", 0, -1, kRefused, "t=old"},
    {"Kept: a file that is overwritten by a directory goes, and no directory comes", false, "t=old",
     kOver, 0, "", ""},
    {"A directory is not put over a link to one", false, "d/ t->d", 0, -1, kRefused, "d/ t->d"},
    {"Kept: as with a file", false, "d/ t->d", kOver, 0, "", "d/"},
    {"A directory is not put over a lost link", false, "t->no", 0, -1, kRefused, "t->no"},
    {"Kept: as with a file", false, "t->no", kOver, 0, "", ""},
    {"A directory is not put over a FIFO", false, "t|", 0, -1, kRefused, "t|"},
    {"Kept: as with a file", false, "t|", kOver, 0, "", ""},
    {"A directory is not put over a socket", false, "t~", 0, -1, kRefused, "t~"},
    {"Kept: as with a file", false, "t~", kOver, 0, "", ""},

    {"A file is made where nothing is", true, "", 0, 0, "", "t=new"},
    {"also with the overwrite bit", true, "", kOver, 0, "", "t=new"},
    {"A file is not put over a file", true, "t=old", 0, -1, kRefused, "t=old"},
    {"With the overwrite bit it replaces it", true, "t=older", kOver, 0, "", "t=new"},
    {"and leaves its other names alone", true, "o=older t=>o", kOver, 0, "", "o=older t=new"},
    {"A file is not put over a directory", true, "t/", 0, -1, kRefused, "t/"},
    {"A directory is never removed", true, "t/", kOver, -1, kCannotOpen, "t/"},
    {"A file is not put over a link", true, "f=1 t->f", 0, -1, kRefused, "f=1 t->f"},
    {"With the overwrite bit the link goes, not what it leads to", true, "f=1 t->f", kOver, 0, "",
     "f=1 t=new"},
    {"A file is not put over a link to a directory", true, "d/ t->d", 0, -1, kRefused, "d/ t->d"},
    {"but replaces it", true, "d/ t->d", kOver, 0, "", "d/ t=new"},
    {"A file is not written through a lost link", true, "t->no", 0, -1, kRefused, "t->no"},
    {"but replaces it", true, "t->no", kOver, 0, "", "t=new"},
    {"A file is not put over a FIFO", true, "t|", 0, -1, kRefused, "t|"},
    {"but replaces it", true, "t|", kOver, 0, "", "t=new"},
    {"A file is not put over a socket", true, "t~", 0, -1, kRefused, "t~"},
    {"but replaces it", true, "t~", kOver, 0, "", "t=new"},
};

TEST_F(DeserializerRules, WhatIsThereStaysOrGoes) {
  for (const OverwriteCase& row : kOverwriteCases)
    for (const int others : {0, 0x4, 0x72}) {  // bits that are not looked at
      SCOPED_TRACE(row.name);
      removeContents(dir.path());
      trees::make(dir.path(), row.there);
      EXPECT_EQ(carry(itemAtT(row.isRegular, row.options | others)), row.code) << row.there;
      EXPECT_EQ(getErrorMessage(), placed(row.error)) << row.there;
      EXPECT_EQ(left(), row.left) << row.there;
    }
}

// Kept: the attributes' type, not the item's, decides whether directories are merged; attributes
// from a request may have none.
TEST_F(DeserializerRules, DirectoriesAreMergedByTheTypeOfTheAttributes) {
  trees::make(dir.path(), "t/f=1");
  const ParamsPtr directory = itemAtT(false, 0);
  directory->security = HOQSecurityAttributes(0755);
  EXPECT_EQ(carry(directory), -1);
  EXPECT_EQ(getErrorMessage(), placed(kRefused));

  const ParamsPtr file = itemAtT(true, 0);
  file->security = HOQSecurityAttributes(kDirectoryMode);
  const Deserializer one = deserializing(file);
  EXPECT_EQ(one->startCopying(channel->getDestinationEnd()), 0);
  // Its contents go nowhere, and whoever sends them must not wait for somebody to take them.
  EXPECT_EQ(channel->getSourceEnd()->failure(), placed(kRefused));
  EXPECT_EQ(one->waitCopyingFinish(), -1);
  EXPECT_EQ(one->finish(), 0);
  EXPECT_EQ(left(), "t/f=1");
}

struct PlaceCase {
  const char* name;
  const char* there;
  const char* cwd;
  const char* destination;
  int depth;
  bool isRegular;
  int options;
  int code;
  const char* error;
  const char* left;
};

const PlaceCase kPlaces[] = {
    {"The top item gets the name that was asked for", "", "@", "t", 0, true, 0, 0, "", "t=new"},
    {"also a directory", "", "@", "t", 0, false, 0, 0, "", "t/"},
    {"In a directory that is there it keeps its own", "t/", "@", "t", 0, true, 0, 0, "", "t/n=new"},
    {"also a directory", "t/", "@", "t", 0, false, 0, 0, "", "t/n/"},
    {"Below the top, its own name always counts", "t/", "@", "t", 1, true, 0, 0, "", "t/n=new"},
    {"and its place must be there", "", "@", "t", 1, true, 0, -1, kCannotOpen, ""},
    {"also a directory's", "", "@", "t", 2, false, 0, -1, "Cannot create directory", ""},
    {"A link to a directory is no directory", "d/ t->d", "@", "t", 0, true, 0, -1, kRefused,
     "d/ t->d"},
    {"A file stands in its own place", "t=old", "@", "t", 0, true, 0, -1, kRefused, "t=old"},
    {"An absolute path needs no directory to start at", "", "/no/where", "@/t", 0, true, 0, 0, "",
     "t=new"},
    {"Paths are made canonical", "", "@/no/..", "x/.././/t/", 0, true, 0, 0, "", "t=new"},
    {"but patterns are not", "", "@", "x/../t", 0, true, 8, -1, kCannotOpen, ""},
    {"The working directory itself", "", "@", ".", 0, true, 0, 0, "", "n=new"},
    {"No path at all", "", "@", "", 0, true, 0, -1, kCannotOpen, ""},
    {"A working directory above the root", "", "/../x", "t", 0, true, 0, -1,
     "Invalid working directory \"/../x\"", ""},
    {"A path above the root", "", "@", "/../t", 0, false, 0, -1, "Wrong path \"/../t\"", ""},
};

TEST_F(DeserializerRules, EachItemHasItsPlace) {
  for (const PlaceCase& row : kPlaces) {
    SCOPED_TRACE(row.name);
    removeContents(dir.path());
    trees::make(dir.path(), row.there);
    EXPECT_EQ(carry(item(placed(row.cwd), placed(row.destination), row.options, row.depth, "n",
                         row.isRegular)),
              row.code);
    EXPECT_EQ(getErrorMessage(), placed(row.error));
    EXPECT_EQ(left(), row.left);
  }
}

TEST_F(DeserializerRules, OddNamesArriveAsTheyAre) {
  for (const char* name : {"100%s%n", "a\nb", "\xff\xfe", "*", " "}) {
    EXPECT_EQ(carry(item(dir.path(), ".", 0, 1, name, true)), 0);
    EXPECT_EQ(read(name), "new");
    EXPECT_EQ(carry(item(dir.path(), ".", 0, 1, name, true)), -1);
    EXPECT_EQ(getErrorMessage(), "Can't overwrite \"" + dir / name + "\"");
  }
}

TEST_F(DeserializerRules, ItemsGetTheirModeLessTheUmask) {
  const struct {
    mode_t umask;
    int mode;
    unsigned given;
  } rows[] = {{022, 0777, 0755}, {0, 0666, 0666}, {077, 0744, 0700}, {022, 0444, 0444}};
  for (const auto& row : rows)
    for (const bool isRegular : {true, false}) {
      const UmaskGuard guard(row.umask);
      const ParamsPtr params = itemAtT(isRegular, 0);
      params->security = HOQSecurityAttributes((isRegular ? S_IFREG : S_IFDIR) | row.mode);
      EXPECT_EQ(carry(params), 0);
      EXPECT_EQ(modeOf("t"), row.given);
      removeContents(dir.path());
    }
}

TEST_F(DeserializerRules, WhatCannotBeRemovedIsTold) {
  // Nobody may remove what the system itself keeps there.
  const std::string item = "/proc/self/comm";
  ASSERT_EQ(unlink(item.c_str()), -1);
  const std::string why = std::strerror(errno);
  const ParamsPtr params = this->item("/", item, kOverwriteBit, 0, "comm", true);
  EXPECT_EQ(carry(params), -1);
  EXPECT_EQ(getErrorMessage(), "\"" + item + "\", Cannot remove file: " + why);
}

// A stale error number of the thread must not pass for the routine's.
TEST_F(DeserializerRules, ADirectoryIsMadeWhateverTheLastErrorWas) {
  const Deserializer one = deserializing(itemAtT(false, 0));
  errno = EEXIST;
  EXPECT_EQ(one->startCopying(channel->getDestinationEnd()), 0);
  EXPECT_EQ(getErrorMessage(), "");
  EXPECT_EQ(left(), "t/");
}

TEST_F(DeserializerRules, AMessageFillsAFreshRecord) {
  HOQMessage message;
  HOQMessageIterator it(message);
  (void)it.putObj(*item("/w", "d", 3, 2, "n", true));
  HOQFileDeserializerLocalPrototype one{HOQAccessProviderPtr()};
  const HOQHaulParamsPtr params = one.createParams();
  EXPECT_EQ(one.readParams(it, *params), 0);
  const auto& record = dynamic_cast<const HOQFileDeserializerParams&>(*params);
  EXPECT_EQ(record.cwd, "/w");
  EXPECT_EQ(record.security.value, kRegularMode);
  EXPECT_TRUE(record.isRegular);
  const std::vector<HOQRequiredElement> all = one.requiredElements();
  // A directory's message has one less; the options' flags stand within theirs.
  EXPECT_EQ(all.size(), message.elements.size());
  for (const HOQRequiredElement& required : all) {
    const HOQMessageElement* const element = elementOf(message, required.id, required.within);
    ASSERT_NE(element, nullptr) << required.id;
    EXPECT_EQ(element->kind, required.kind) << required.id;
    EXPECT_NE(required.id, HOQFileDeserializerParams::kIsRegular);
  }
}

TEST_F(DeserializerRules, TheProviderIsNotUsed) {
  struct Provider : HOQAccessProviderPrototype {
    HOQEID getEID() const override { return HOQEID::EID_INVALID; }
  };
  const HOQAccessProviderPtr provider(new Provider);
  const HOQFileDeserializerLocalPrototype receiving(provider);
  EXPECT_FALSE(receiving.getAccess());
  EXPECT_EQ(provider->use_count(), 1U);
}

}  // namespace
}  // namespace HOQ::test
