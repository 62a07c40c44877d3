#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <hoq/HOQExport.h>
#include <hoq/HOQUserCredentials.h>

namespace HOQ {

// The identity of a process: its user, its groups, and the umask that goes with them. What is taken
// here holds for the whole process, every thread of it, and for good.

/// Turns the names in credentials into ids. One thread.
class HOQ_EXPORT HOQIdentityNames {
 public:
  virtual ~HOQIdentityNames();

  /// 0 with the id; -1 where there is no such name, or the database cannot be read.
  virtual int userId(const std::string& name, std::uint32_t& id) = 0;
  virtual int groupId(const std::string& name, std::uint32_t& id) = 0;
};

/// Takes on what `credentials` say, in this order:
///
/// 1. the umask, unless it is negative;
/// 2. the groups: `gids`, then the ids of `groups`, names that are not found left out. Unless the
///    list is empty they become the supplementary groups, and the first the group;
/// 3. the user: `uid`, else the id of `name`; with neither the user stays.
///
/// 0; -1 with errno at the first step that fails (errno 0: an unknown user name), the steps before
/// it are done then. Who means to give something up for good asks whyNotOnly() afterwards.
HOQ_EXPORT int takeIdentity(const HOQUserCredentials& credentials, HOQIdentityNames& names);

/// The same by ids alone: names count as not found.
HOQ_EXPORT int takeIdentity(const HOQUserCredentials& credentials);

/// Credentials that say nothing, not even a umask.
HOQ_EXPORT HOQUserCredentials emptyCredentials();

/// Fills `credentials` with a user's name, id and groups, as the system's databases have them: the
/// primary group first, the supplementary ones after it, so that whoever takes them keeps none of
/// its own. The umask stays as it is. 0; -1 with errno, 0 where there is no such user; then
/// `credentials` is unchanged. Any thread.
HOQ_EXPORT int credentialsOf(const std::string& user, HOQUserCredentials& credentials);
HOQ_EXPORT int credentialsOf(std::uint32_t uid, HOQUserCredentials& credentials);

/// Why this process is not the user and groups of `credentials` (ids alone count; both must be
/// given) and nothing else; empty if it is. Looks at its real, effective and saved ids, its groups
/// and its capabilities, and tries the ways back to root, all of which must be closed. For root
/// only the ids and groups are looked at. A process with more than one thread asks for that one.
HOQ_EXPORT std::string whyNotOnly(const HOQUserCredentials& credentials);

/// Whether `credentials` say nothing that this process is not already: its effective user, and
/// groups among its own. What they leave out counts as its own. The umask is not looked at.
HOQ_EXPORT bool isOwnIdentity(const HOQUserCredentials& credentials);

}  // namespace HOQ
