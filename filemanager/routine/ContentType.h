#pragma once

#include <string>

namespace HOQ {

/// Puts what the command "file -ib" says of `path` into `buf` (`size` bytes, zeroed by the caller):
/// its first line, whole, cut to size - 1 bytes; or "application/x-not-regular-file" where the
/// command cannot be started. Returns `buf`. Costs one child process.
char* getContentType(const char* path, char* buf, int size);

/// The same, into a string. Apart from its callers, whose frames are small: they may run at the
/// bottom of a deep walk.
[[gnu::noinline]] void storeContentType(const std::string& path, std::string& contentType);

}  // namespace HOQ
