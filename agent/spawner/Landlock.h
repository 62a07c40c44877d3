#pragma once

#include <string>
#include <vector>

namespace HOQ::agent {

/// From here on this process and those that it starts can change nothing in the file system but
/// what lies in `roots`, and there nothing either where these are `readOnly`; everything can still
/// be read and executed. Absolute paths of folders; "/dev/null" can be written to as well.
///
/// A second lock behind a mount namespace: see landlock(7). It does not cover examining, chmod and
/// chown. The process needs root's rights or no_new_privs. Where the kernel has no Landlock, or one
/// that cannot let files be moved between folders, nothing happens.
///
/// Empty; else why it failed.
std::string lockWrites(const std::vector<std::string>& roots, bool readOnly);

/// Whether the kernel has one that lockWrites() uses.
bool hasLandlock();

}  // namespace HOQ::agent
