// What removing and changing modes say of entries of which they ask no more than the kind.
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "filemanager/operations/ChangesFixture.h"

namespace HOQ::test {
namespace {

class Unexamined : public ChangesFixture {
 protected:
  Said removeTree(const std::string& item) {
    return said(
        [&](HOQFilerLocal& filer) { return filer.remove({item}, HOQFilerOptions(kRecursive)); });
  }

  /// Does `deed` just before the first call of that kind on the item.
  template <class Deed>
  void once(Call call, const std::string& item, Deed deed) {
    interfere([this, call, item, deed, done = false](Call at, const std::string& path) mutable {
      if (done || at != call || path != dir / item) return;
      done = true;
      deed(path.c_str());
    });
  }
};

TEST_F(Unexamined, EntriesOutOfReachAreToldAsWhatCannotBeExamined) {
  trees::make(dir.path(), "d/f%600 e/f%600");
  ASSERT_EQ(::chmod((dir / "d").c_str(), 0600), 0);  // to be read, not searched
  EXPECT_EQ(asUnprivileged([this] {
              const Said removal = removeTree("d");
              EXPECT_EQ(removal.code, 2056);
              EXPECT_EQ(removal.messages,
                        placed(Texts{"\"@/d/f\", Cannot get information: Permission denied[13]"}));
              EXPECT_EQ(removal.codes, std::vector<int>{-1});
              const Said change = chmod({"e"}, 0600, kRecursive);
              EXPECT_EQ(change.code, 2056);
              EXPECT_EQ(change.messages,
                        placed(Texts{"\"@/e/f\", Cannot get information: Permission denied[13]"}));
              EXPECT_EQ(change.codes, std::vector<int>{-1});
            }),
            "");
}

TEST_F(Unexamined, AnEntryThatVanishesIsToldAsWhatCannotBeExamined) {
  trees::make(dir.path(), "d/f e/f");
  const Texts gone{"\"@/d/f\", Cannot get information: No such file or directory[2]",
                   "\"@/e/f\", Cannot get information: No such file or directory[2]"};
  once(Call::Rmitem, "d/f", unlink);
  EXPECT_EQ(removeTree("d").messages, placed(Texts{gone[0]}));
  once(Call::Chmod, "e/f", unlink);
  EXPECT_EQ(chmod({"e"}, 0700, kRecursive).messages, placed(Texts{gone[1]}));
  EXPECT_EQ(left(), "d/ e/");
}

TEST_F(Unexamined, WhatCanBeExaminedButNotChangedKeepsItsOwnError) {
  trees::make(dir.path(), "d/f e/f");
  FaultPlan removal("/f", EBUSY, Call::Rmitem);
  failBy(removal);
  EXPECT_EQ(removeTree("d").messages,
            placed(Texts{"\"@/d/f\", Cannot remove item: Device or resource busy[16]"}));
  FaultPlan change("/f", EPERM, Call::Chmod);
  failBy(change);
  EXPECT_EQ(chmod({"e"}, 0700, kRecursive).messages,
            placed(Texts{"\"@/e/f\", Cannot change mode: Operation not permitted[1]"}));
  EXPECT_EQ(left(), "d/f e/f");
}

TEST_F(Unexamined, AnEntryThatHasBecomeADirectoryIsRemovedAsOne) {
  trees::make(dir.path(), "d/f g");
  once(Call::Rmitem, "d/f", [](const char* path) {
    EXPECT_EQ(unlink(path), 0);
    EXPECT_EQ(::mkdir(path, 0700), 0);
    trees::make(path, "h/i k");
  });
  const Said outcome = removeTree("d");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.messages, Texts{});
  EXPECT_EQ(left(), "g");
}

}  // namespace
}  // namespace HOQ::test
