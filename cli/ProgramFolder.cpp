#include "ProgramFolder.h"

#include <unistd.h>

#include <climits>

namespace HOQ::cli {

std::string programFolder() {
  char path[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0) return ".";
  const std::string program(path, static_cast<std::size_t>(length));
  return program.substr(0, program.rfind('/'));
}

std::string findBeside(const char* file, std::span<const char* const> folders) {
  const std::string start = programFolder();
  for (const char* folder : folders) {
    std::string place = start + folder + file;
    if (::access(place.c_str(), F_OK) == 0) return place;
  }
  return "";
}

}  // namespace HOQ::cli
