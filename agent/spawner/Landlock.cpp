#include "spawner/Landlock.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

#include "tls/UniqueFd.h"

namespace HOQ::agent {
namespace {

constexpr int kMovesBetweenFolders = 2;  // versions of Landlock
constexpr int kKnowsTruncate = 3;

constexpr std::uint64_t kTruncate = 1ULL << 14;  // not in the headers of older systems
constexpr std::uint64_t kReads =
    LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr std::uint64_t kChanges =
    LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE |
    LANDLOCK_ACCESS_FS_MAKE_CHAR | LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
    LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_BLOCK |
    LANDLOCK_ACCESS_FS_MAKE_SYM | LANDLOCK_ACCESS_FS_REFER;

constexpr char kNull[] = "/dev/null";

/// The kernel's, or below 0.
int version() {
  return static_cast<int>(
      ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION));
}

/// Empty, or why `access` cannot be given to what lies at `path`.
std::string allow(const tls::UniqueFd& rules, const std::string& path, std::uint64_t access) {
  const tls::UniqueFd at(::open(path.c_str(), O_PATH | O_CLOEXEC));
  landlock_path_beneath_attr rule{};
  rule.allowed_access = access;
  rule.parent_fd = at.get();
  if (at &&
      ::syscall(SYS_landlock_add_rule, rules.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0)
    return "";
  return path + ": " + std::generic_category().message(errno);
}

}  // namespace

bool hasLandlock() { return version() >= kMovesBetweenFolders; }

std::string lockWrites(const std::vector<std::string>& roots, bool readOnly) {
  if (!hasLandlock()) return "";
  const std::uint64_t truncate = version() >= kKnowsTruncate ? kTruncate : 0;
  landlock_ruleset_attr handled{};
  handled.handled_access_fs = kReads | kChanges | truncate;
  const tls::UniqueFd rules(static_cast<int>(
      ::syscall(SYS_landlock_create_ruleset, &handled, sizeof handled.handled_access_fs, 0)));
  if (!rules) return "Landlock: " + std::generic_category().message(errno);
  std::string why = allow(rules, "/", kReads);
  if (why.empty()) why = allow(rules, kNull, LANDLOCK_ACCESS_FS_WRITE_FILE | truncate);
  for (const std::string& root : roots) {
    if (!readOnly && why.empty()) why = allow(rules, root, kReads | kChanges | truncate);
  }
  if (!why.empty()) return why;
  if (::syscall(SYS_landlock_restrict_self, rules.get(), 0) == 0) return "";
  return "Landlock: " + std::generic_category().message(errno);
}

}  // namespace HOQ::agent
