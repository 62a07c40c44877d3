#pragma once

#include <string>

namespace HOQ {

// Rules of "/"-separated paths, by their text alone.

/// True for a path that begins with "/".
bool isFullpath(const std::string& s);

/// Makes a path that is not empty end with "/".
void setLastDiv(std::string& s);

/// Takes off one trailing "/"; "/" becomes empty.
void eraseLastDiv(std::string& s);

/// Appends a component; an empty `name` appends nothing. In every case one trailing "/" goes.
void makePath(std::string& s, const std::string& name);

/// The last `c` in [begin, end), or null.
char* _ftstrrchr(const char* begin, const char* end, char c);

/// The text after the last "/", or all of it.
const char* baseName(const char* path);

}  // namespace HOQ
