#include "routine/ContentType.h"

#include <cstring>

#include <hoq/HWExec.h>

namespace HOQ {

char* getContentType(const char* path, char* buf, int size) {
  static constexpr char kUnknown[] = "application/x-not-regular-file";
  const char* const arguments[] = {"file", "-ib", path, nullptr};
  const char* const environment[] = {"LANG=en_US.utf8", "LC_ALL=en_US.utf8", nullptr};
  const auto room = static_cast<std::size_t>(size) - 1;

  std::strncpy(buf, kUnknown, room);
  HWExec command;
  command.saveEnv(environment);
  if (command.exec(GenExec::kStandardOutput, arguments, nullptr) != 0) return buf;
  if (const char* line = command.gets(GenExec::kStandardOutput)) std::strncpy(buf, line, room);
  command.wait();
  return buf;
}

void storeContentType(const std::string& path, std::string& contentType) {
  char text[4097] = {};
  contentType = getContentType(path.c_str(), text, sizeof text);
}

}  // namespace HOQ
