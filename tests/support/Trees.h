#pragma once

#include <string>
#include <vector>

#include "support/TempDir.h"

namespace HOQ::test::trees {

// A tree in one line: items parted by blanks, parents made where they are missing.
//   d/        a directory          f        an empty file       f=text   a file with text
//   l->to     a symbolic link      h=>f     a hard link to f (both relative to the root)
//   p|        a FIFO               s~       a socket
// "%MODE", octal, behind a directory's "/" or a file's name, or before its "=", gives it that
// mode; modes are given last, so a directory may lose its rights with its contents in place.

/// Makes the items of `line` below `root`, which is there. Throws std::runtime_error.
void make(const std::string& root, const std::string& line);

/// What is below `root`, in the same language, sorted by path: a directory only where it is empty
/// or `kEveryDirectory` is asked for. Bytes outside printable ASCII, blanks and "\" are written as
/// "\xNN". Hard links show as files of their own.
enum class Show { kLeaves, kEveryDirectory };
std::string snapshot(const std::string& root, Show show = Show::kLeaves);

/// Paths of everything below `root`, relative to it, sorted.
std::vector<std::string> pathsBelow(const std::string& root);

// Trees with names. Each is made below `root`.

/// Files, empty ones too, and no directory.
void flat(const std::string& root);
/// Links to files and directories, dangling ones, a link to itself, two in a circle, one to the
/// directory it stands in.
void links(const std::string& root);
/// A file for each byte that a name may have, and names that trip programs up: "-", "a\nb",
/// "100%s%n", a blank, patterns, one of 255 bytes. Returns the names.
std::vector<std::string> everyByteNames(const std::string& root);
/// Directories named "d", one in the other, `levels` of them, with a file "f" of one byte in each.
/// The path of the innermost may be longer than a path can be.
void deepChain(const std::string& root, int levels);
/// Two directories of mode 0 between others (their contents are in place), and a file of mode 0.
void unreadable(const std::string& root);
/// One item of every kind that can be made without privileges.
void everyKind(const std::string& root);

}  // namespace HOQ::test::trees
