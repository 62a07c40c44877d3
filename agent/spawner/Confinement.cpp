#include "spawner/Confinement.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <system_error>
#include <utility>

#include "spawner/Landlock.h"
#include "tls/UniqueFd.h"

namespace HOQ::agent {
namespace {

// What is there beside the roots, each where the system has it.
constexpr const char* kFolders[] = {
    "/usr/lib", "/usr/lib32", "/usr/lib64", "/usr/libx32", "/lib", "/lib32", "/lib64", "/libx32",
    "/usr/share/file", "/usr/share/misc",  // what "file" knows contents
                                           // by
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    "/proc",  // their runtimes read it
#endif
};
constexpr const char* kFiles[] = {
    "/usr/bin/file",    "/etc/passwd", "/etc/group",      "/etc/nsswitch.conf",
    "/etc/ld.so.cache", "/etc/magic",  "/etc/magic.mime",
};
constexpr const char* kDevices[] = {"/dev/null", "/dev/urandom"};

/// Covered by the scaffold while that is built; every system has it.
constexpr char kStage[] = "/usr";

struct Failure {
  std::string text;
};

[[noreturn]] void fail(const std::string& what, int error) {
  throw Failure{what + ": " + std::generic_category().message(error)};
}

bool isWithin(const std::string& path, const std::string& folder) {
  return path == folder || path.compare(0, folder.size() + 1, folder + "/") == 0;
}

/// A copy of the mounts at a path, not attached to anything.
tls::UniqueFd clone(const std::string& path, const tls::UniqueFd& at, std::uint64_t attributes) {
  tls::UniqueFd tree(::open_tree(
      at.get(), "",
      AT_EMPTY_PATH | AT_RECURSIVE | OPEN_TREE_CLONE | static_cast<unsigned>(OPEN_TREE_CLOEXEC)));
  if (!tree) fail(path, errno);
  struct mount_attr attr {};
  attr.attr_set = attributes;
  if (::mount_setattr(tree.get(), "", AT_EMPTY_PATH | AT_RECURSIVE, &attr, sizeof attr) != 0) {
    fail(path, errno);
  }
  return tree;
}

class Scaffold {
 public:
  /// A root, which must be there.
  void addRoot(const std::string& path, bool readOnly) {
    open_how how{};
    how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    const tls::UniqueFd at(
        static_cast<int>(::syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how)));
    const int error = errno;
    if (!at && error == ELOOP) throw Failure{path + ": a link leads to it"};
    if (!at) fail(path, error);
    const std::uint64_t attributes = kInert | (readOnly ? MOUNT_ATTR_RDONLY : 0);
    trees_[path] = {clone(path, at, attributes), true, ""};
  }

  /// Something of the system, unless it is missing or within what is there already.
  void add(const std::string& path, std::uint64_t attributes) {
    for (const auto& [known, tree] : trees_) {
      if (isWithin(path, known)) return;
    }
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return;
    if (S_ISLNK(info.st_mode) && path.rfind('/') == 0) {  // "/lib" and the like
      trees_[path] = {tls::UniqueFd(), false, linkTarget(path)};
      return;
    }
    const tls::UniqueFd at(::open(path.c_str(), O_PATH | O_CLOEXEC));
    if (!at || ::fstat(at.get(), &info) != 0) return;
    trees_[path] = {clone(path, at, attributes | MOUNT_ATTR_RDONLY), S_ISDIR(info.st_mode), ""};
  }

  /// Puts it all together in a file system of its own, and makes that the root.
  void raise() {
    if (::mount("none", kStage, "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=755,size=1m")) {
      fail("scaffold", errno);
    }
    for (const auto& [path, tree] : trees_) attach(path, tree);  // what leads somewhere comes first
    // The old root ends up below the new one, and is let go of.
    if (::chdir(kStage) != 0 || ::syscall(SYS_pivot_root, ".", ".") != 0 ||
        ::umount2(".", MNT_DETACH) != 0 || ::chdir("/") != 0) {
      fail("new root", errno);
    }
    struct mount_attr attr {};
    attr.attr_set = MOUNT_ATTR_RDONLY;
    if (::mount_setattr(AT_FDCWD, "/", 0, &attr, sizeof attr) != 0) fail("scaffold", errno);
  }

  static constexpr std::uint64_t kInert = MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV;

 private:
  struct Tree {
    tls::UniqueFd mounts;
    bool isFolder = false;
    std::string link;  // instead of mounts: what a link means
  };

  static std::string linkTarget(const std::string& path) {
    char target[4096];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    if (length <= 0) fail(path, errno);
    return {target, static_cast<std::size_t>(length)};
  }

  static void attach(const std::string& path, const Tree& tree) {
    const std::string place = kStage + path;
    for (std::size_t slash = sizeof kStage; slash != std::string::npos;) {
      slash = place.find('/', slash + 1);
      const bool isLast = slash == std::string::npos;
      if (isLast && !tree.isFolder) break;
      // What is there already is the scaffold's, or lies in a tree that was attached.
      if (::mkdir(place.substr(0, slash).c_str(), 0755) != 0 && errno != EEXIST) fail(path, errno);
    }
    if (!tree.link.empty()) {
      if (::symlink(tree.link.c_str(), place.c_str()) != 0) fail(path, errno);
      return;
    }
    if (!tree.isFolder) {
      const tls::UniqueFd made(::open(place.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
      if (!made) fail(path, errno);
    }
    if (::move_mount(tree.mounts.get(), "", AT_FDCWD, place.c_str(), MOVE_MOUNT_F_EMPTY_PATH)) {
      fail(path, errno);
    }
  }

  std::map<std::string, Tree> trees_;  // by path: a folder comes before what lies in it
};

}  // namespace

std::string confine(const Confinement& confinement) try {
  if (::unshare(CLONE_NEWNS) != 0) fail("mount namespace", errno);
  if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    fail("mount namespace", errno);
  }
  Scaffold scaffold;
  for (const std::string& root : confinement.roots) scaffold.addRoot(root, confinement.readOnly);
  for (const std::string& folder : confinement.programs) scaffold.add(folder, Scaffold::kInert);
  for (const char* folder : kFolders) scaffold.add(folder, Scaffold::kInert);
  for (const char* file : kFiles) scaffold.add(file, Scaffold::kInert);
  for (const char* device : kDevices) scaffold.add(device, MOUNT_ATTR_NOSUID);
  scaffold.raise();
  if (std::string why = lockWrites(confinement.roots, confinement.readOnly); !why.empty())
    throw Failure{std::move(why)};
  return "";
} catch (const Failure& failure) {
  return "cannot confine it to its roots: " + failure.text;
}

}  // namespace HOQ::agent
