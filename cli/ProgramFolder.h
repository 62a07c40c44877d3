#pragma once

#include <span>
#include <string>

namespace HOQ::cli {

/// The folder that this program lies in.
std::string programFolder();

/// Where `file` lies: in the first of `folders`, which start at the program's folder, that has it.
/// Empty: in none.
std::string findBeside(const char* file, std::span<const char* const> folders);

}  // namespace HOQ::cli
