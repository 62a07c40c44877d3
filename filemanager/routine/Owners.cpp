// The Linux routine's owners and credentials.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include <hoq/HOQIdentity.h>
#include <hoq/HOQUserMLocal.h>

#include "routine/FilterMatch.h"
#include "routine/HOQFileRoutineLin.h"

namespace HOQ {
namespace {

constexpr std::uint32_t kNone = HOQUserCredentials::kNone;
constexpr mode_t kSetIdBits = S_ISUID | S_ISGID;

/// The id of the row called `name`; -1 where there is none, with errno 0: the system failed in
/// nothing, and what reading the tables left there says nothing of the name.
int idOf(const std::set<UserId>& table, const char* name, std::uint32_t& id) {
  const auto found = table.find(UserId(name));
  if (found == table.end()) {
    errno = 0;
    return -1;
  }
  id = found->id;
  return 0;
}

/// Names as the routine's tables have them.
class TableNames : public HOQIdentityNames {
 public:
  explicit TableNames(HOQFileRoutineLin& routine) : routine_(routine) {}

  int userId(const std::string& name, std::uint32_t& id) override {
    Gids ids;
    if (routine_.convownLin(name.c_str(), nullptr, ids) != 0) return -1;
    id = ids.uid;
    return 0;
  }
  int groupId(const std::string& name, std::uint32_t& id) override {
    Gids ids;
    if (routine_.convownLin(nullptr, name.c_str(), ids) != 0) return -1;
    id = ids.gid;
    return 0;
  }

 private:
  HOQFileRoutineLin& routine_;
};

}  // namespace

int read_pw(std::set<UserId>& users) {
  std::vector<HOQUser> list;
  const int result = HOQUserMLocal(nullptr).getUser(list, HOQUserNameID());
  if (result == 0)
    for (HOQUser& user : list) users.emplace(std::move(user.name), user.id);
  return result;
}

int read_gr(std::set<UserId>& groups) {
  std::vector<HOQGroup> list;
  const int result = HOQUserMLocal(nullptr).getGroup(list, HOQGroupNameID());
  if (result == 0)
    for (HOQGroup& group : list) groups.emplace(std::move(group.name), group.id);
  return result;
}

bool HOQFileRoutineLin::loadTables() {
  if (!tablesLoaded) tablesLoaded = read_pw(users) == 0 && read_gr(groups) == 0;
  return tablesLoaded;
}

int HOQFileRoutineLin::convownLin(const char* user, const char* group, Gids& ids) {
  if (!loadTables()) return -1;
  if (user && idOf(users, user, ids.uid) != 0) return -1;
  if (group && idOf(groups, group, ids.gid) != 0) return -1;
  return 0;
}

int HOQFileRoutineLin::convown(const char* user, const char* group, void*& owner) {
  Gids ids;
  if (convownLin(user, group, ids) != 0) return -1;
  owner = new Gids(ids);
  return 0;
}

int HOQFileRoutineLin::convown(unsigned uid, unsigned gid, void*& owner) {
  owner = new Gids{uid, gid};
  return 0;
}

int HOQFileRoutineLin::convown(void* owner, unsigned& uid, unsigned& gid) {
  const auto* ids = static_cast<const Gids*>(owner);
  uid = ids->uid;
  gid = ids->gid;
  return 0;
}

int HOQFileRoutineLin::convown(void* owner, std::string& user, std::string& group) {
  return namesOf(*static_cast<const Gids*>(owner), user, group);
}

const std::string* HOQFileRoutineLin::nameOf(std::uint32_t id, const std::set<UserId>& table,
                                             IdNames& met) {
  const auto [place, isNew] = met.try_emplace(id, nullptr);
  if (isNew) {
    const auto row = std::find_if(table.begin(), table.end(), [&](const UserId& candidate) {
      return CompareUid()(id, candidate);
    });
    if (row != table.end()) place->second = &row->name;
  }
  return place->second;
}

int HOQFileRoutineLin::namesOf(const Gids& ids, std::string& user, std::string& group) {
  if (!loadTables()) return -1;
  if (ids.uid != kNone) {
    const std::string* name = nameOf(ids.uid, users, userNames);
    if (!name) return -1;
    user = *name;
  }
  if (ids.gid != kNone) {
    const std::string* name = nameOf(ids.gid, groups, groupNames);
    if (!name) return -1;
    group = *name;
  }
  return 0;
}

int HOQFileRoutineLin::getown(void*& owner) {
  if (!isExamined && stat() != 0) return -1;
  return convown(statBuffer.st_uid, statBuffer.st_gid, owner);
}

int HOQFileRoutineLin::chown(void* owner) {
  const auto* ids = static_cast<const Gids*>(owner);
  const bool isTheirs = isNewAndOf(*ids);
  madeFile.path.clear();  // from here on it is like any other
  if (isTheirs) return 0;
  const Place at = place();
  if (::fchownat(at.directory, at.name, ids->uid, ids->gid, 0) != 0) return -1;
  if (isLink() || (statBuffer.st_mode & kSetIdBits) == 0) return 0;
  return chmod(static_cast<int>(statBuffer.st_mode));  // the system took the bits away
}

/// Whether the path is the file that open() has made, and `ids` are its owner already. Changing the
/// owner takes set-id bits away, also where it stays the same.
bool HOQFileRoutineLin::isNewAndOf(const Gids& ids) const {
  if (madeFile.path.empty() || path != madeFile.path ||
      ((madeFile.mode | statBuffer.st_mode) & kSetIdBits) != 0)
    return false;
  return (ids.uid == kNone || ids.uid == madeFile.owner.uid) &&
         (ids.gid == kNone || ids.gid == madeFile.owner.gid);
}

int HOQFileRoutineLin::freeown(void* owner) {
  delete static_cast<Gids*>(owner);
  return 0;
}

int HOQFileRoutineLin::setCredentials(const HOQUserCredentials& credentials) {
  TableNames names(*this);
  return takeIdentity(credentials, names);
}

}  // namespace HOQ
