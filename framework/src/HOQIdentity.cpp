#include <hoq/HOQIdentity.h>

#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include <hoq/HOQUserMLocal.h>

namespace HOQ {
namespace {

constexpr std::uint32_t kNone = HOQUserCredentials::kNone;
constexpr std::size_t kFirstBufferBytes = 4 * 1024;
constexpr std::size_t kMaxBufferBytes = 1024 * 1024;

/// What passwd(5) has of a user.
struct Account {
  std::string name;
  uid_t uid = 0;
  gid_t gid = 0;
};

/// Reads one account with getpwnam_r or getpwuid_r. 0; -1 with errno, 0 where there is none.
template <class Call, class Key>
int readAccount(Call call, Key key, Account& account) {
  std::vector<char> buffer(kFirstBufferBytes);
  passwd entry{};
  passwd* found = nullptr;
  int error;
  while ((error = call(key, &entry, buffer.data(), buffer.size(), &found)) == ERANGE &&
         buffer.size() < kMaxBufferBytes)
    buffer.resize(buffer.size() * 2);
  if (found == nullptr) {
    errno = error == ENOENT || error == ESRCH ? 0 : error;
    return -1;
  }
  account = {entry.pw_name, entry.pw_uid, entry.pw_gid};
  return 0;
}

/// getgrouplist(3) puts the group that it is given first.
std::vector<std::uint32_t> groupsOf(const Account& account) {
  std::vector<gid_t> groups(64);
  for (;;) {
    int count = static_cast<int>(groups.size());
    if (getgrouplist(account.name.c_str(), account.gid, groups.data(), &count) >= 0) {
      groups.resize(static_cast<std::size_t>(count));
      return {groups.begin(), groups.end()};
    }
    groups.resize(std::max(groups.size() * 2, static_cast<std::size_t>(count)));
  }
}

void fill(const Account& account, HOQUserCredentials& credentials) {
  credentials.name = account.name;
  credentials.uid = account.uid;
  credentials.groups.clear();
  credentials.gids = groupsOf(account);
}

std::vector<gid_t> ownGroups() {
  std::vector<gid_t> groups;
  const int count = getgroups(0, nullptr);
  if (count <= 0) return groups;
  groups.resize(static_cast<std::size_t>(count));
  const int got = getgroups(count, groups.data());
  groups.resize(static_cast<std::size_t>(std::max(got, 0)));
  return groups;
}

std::vector<gid_t> sorted(std::vector<gid_t> ids) {
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

bool holdsCapabilities() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  if (syscall(SYS_capget, &header, data) != 0) return true;  // not known to be without
  return std::any_of(std::begin(data), std::end(data),
                     [](const auto& half) { return (half.permitted | half.effective) != 0; });
}

/// Whether one of the ways to an identity that was given up is open. Those that succeed have done
/// harm already: the caller is not to go on.
bool canReturn(uid_t uid, gid_t gid) {
  constexpr uid_t kRoot = 0;
  return (uid != kRoot &&
          (setuid(kRoot) == 0 || seteuid(kRoot) == 0 || setresuid(kRoot, kRoot, kRoot) == 0)) ||
         (gid != kRoot && (setgid(kRoot) == 0 || setegid(kRoot) == 0)) ||
         setgroups(0, nullptr) == 0;
}

/// The databases as they are now.
class SystemNames : public HOQIdentityNames {
 public:
  int userId(const std::string& name, std::uint32_t& id) override {
    std::vector<HOQUser> users;
    return first(HOQUserMLocal(nullptr).getUser(users, HOQUserNameID{name}), users, id);
  }
  int groupId(const std::string& name, std::uint32_t& id) override {
    std::vector<HOQGroup> groups;
    return first(HOQUserMLocal(nullptr).getGroup(groups, HOQGroupNameID{name}), groups, id);
  }

 private:
  template <class Row>
  static int first(int result, const std::vector<Row>& rows, std::uint32_t& id) {
    if (result != 0 || rows.empty()) return -1;
    id = rows.front().id;
    return 0;
  }
};

class NoNames final : public HOQIdentityNames {
 public:
  int userId(const std::string&, std::uint32_t&) override {
    errno = 0;
    return -1;
  }
  int groupId(const std::string&, std::uint32_t&) override { return -1; }
};

}  // namespace

HOQIdentityNames::~HOQIdentityNames() = default;

int takeIdentity(const HOQUserCredentials& credentials, HOQIdentityNames& names) {
  if (credentials.umask >= 0) (void)umask(static_cast<mode_t>(credentials.umask));

  std::vector<gid_t> groups(credentials.gids.begin(), credentials.gids.end());
  for (const std::string& name : credentials.groups) {
    std::uint32_t id = kNone;
    if (names.groupId(name, id) == 0) groups.push_back(id);
  }
  if (!groups.empty()) {
    if (setgroups(groups.size(), groups.data()) != 0) return -1;
    if (setgid(groups.front()) != 0) return -1;
  }

  std::uint32_t uid = credentials.uid;
  if (uid == kNone && !credentials.name.empty() && names.userId(credentials.name, uid) != 0)
    return -1;
  return uid != kNone && setuid(uid) != 0 ? -1 : 0;
}

int takeIdentity(const HOQUserCredentials& credentials) {
  NoNames names;
  return takeIdentity(credentials, names);
}

HOQUserCredentials emptyCredentials() {
  HOQUserCredentials credentials(kNone, kNone);
  credentials.umask = -1;
  return credentials;
}

int credentialsOf(const std::string& user, HOQUserCredentials& credentials) {
  Account account;
  if (readAccount(getpwnam_r, user.c_str(), account) != 0) return -1;
  fill(account, credentials);
  return 0;
}

int credentialsOf(std::uint32_t uid, HOQUserCredentials& credentials) {
  Account account;
  if (readAccount(getpwuid_r, static_cast<uid_t>(uid), account) != 0) return -1;
  fill(account, credentials);
  return 0;
}

std::string whyNotOnly(const HOQUserCredentials& credentials) {
  if (credentials.uid == kNone || credentials.gids.empty()) return "no whole identity is asked for";
  const uid_t uid = credentials.uid;
  const gid_t gid = credentials.gids.front();
  uid_t users[3];
  gid_t groups[3];
  if (getresuid(&users[0], &users[1], &users[2]) != 0 ||
      getresgid(&groups[0], &groups[1], &groups[2]) != 0)
    return "the ids cannot be read";
  if (std::any_of(std::begin(users), std::end(users), [uid](uid_t id) { return id != uid; }))
    return "a user id is another one";
  if (std::any_of(std::begin(groups), std::end(groups), [gid](gid_t id) { return id != gid; }))
    return "a group id is another one";
  if (sorted(ownGroups()) != sorted({credentials.gids.begin(), credentials.gids.end()}))
    return "the supplementary groups are other ones";
  if (uid == 0) return "";
  if (holdsCapabilities()) return "capabilities are left";
  if (canReturn(uid, gid)) return "there is a way back";
  return "";
}

bool isOwnIdentity(const HOQUserCredentials& credentials) {
  SystemNames names;
  if (credentials.uid != kNone && credentials.uid != geteuid()) return false;
  if (std::uint32_t uid = kNone;
      !credentials.name.empty() && (names.userId(credentials.name, uid) != 0 || uid != geteuid()))
    return false;
  std::vector<std::uint32_t> groups = credentials.gids;
  for (const std::string& name : credentials.groups) {
    std::uint32_t id = kNone;
    if (names.groupId(name, id) != 0) return false;
    groups.push_back(id);
  }
  if (groups.empty()) return true;
  const std::vector<gid_t> own = ownGroups();
  return std::all_of(groups.begin(), groups.end(), [&own](std::uint32_t id) {
    return id == getegid() || std::find(own.begin(), own.end(), id) != own.end();
  });
}

}  // namespace HOQ
