#pragma once

#include <string>
#include <string_view>

namespace HOQ::cli {

// Paths by their text alone: nothing here asks a node.

/// `typed` as an absolute path without ".", ".." and repeated separators; a relative one starts at
/// `directory`, which is absolute. What leads above the root stays there.
std::string resolve(const std::string& directory, std::string_view typed);

/// The parts of a resolved path; the root is its own parent and has an empty leaf.
std::string parentOf(const std::string& full);
std::string leafOf(const std::string& full);

/// `path` and `name` with one separator between them.
std::string join(std::string_view path, std::string_view name);

/// Whether `typed` asks for what a link leads to: it ends in "/", "." or "..".
bool namesDirectory(std::string_view typed);

/// Whether `typed` ends in "." or "..", whatever separators stand behind: what is in the directory.
bool namesContents(std::string_view typed);

/// `path` in double quotes, as messages show it.
std::string quoted(const std::string& path);

/// Whether the Filer takes a part of `text` as a pattern where patterns are allowed.
bool hasWildcards(std::string_view text);

}  // namespace HOQ::cli
