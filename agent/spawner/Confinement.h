#pragma once

#include <string>
#include <vector>

namespace HOQ::agent {

/// What a confined process sees of the system.
struct Confinement {
  std::vector<std::string> roots;     // absolute folders, under their own names
  bool readOnly = false;              // the roots
  std::vector<std::string> programs;  // folders that its own program needs, read-only
};

/// Gives this process, which is root's and has one thread, a mount namespace of its own in which
/// there are the roots and, read-only, what programs need to run and to name users and kinds of
/// contents; nothing else of the system, no /proc among it. Working directory and root are its
/// "/" then. Descriptors that are open stay; the caller sees to them.
///
/// Where the kernel has Landlock, changes are kept within the roots by that as well.
///
/// A root must be a folder that no link leads to, or whoever may change the link could choose what
/// is shown. In roots devices are not devices and set-user-id programs gain nothing. The folders
/// above a root are not there, so their modes do not count.
///
/// Empty; else why it cannot be, and the process is not to go on.
std::string confine(const Confinement& confinement);

}  // namespace HOQ::agent
