#include "output/FieldText.h"

#include <fmt/format.h>
#include <time.h>

namespace HOQ::cli {
namespace {

struct Kind {
  std::uint32_t kind;
  char letter;
  const char* words;
};

constexpr Kind kKinds[] = {
    {HOQFileType::kRegular, '-', "regular file"},
    {HOQFileType::kDirectory, 'd', "directory"},
    {HOQFileType::kLink, 'l', "symbolic link"},
    {HOQFileType::kFifo, 'p', "named pipe"},
    {HOQFileType::kSocket, 's', "socket"},
    {HOQFileType::kBlockDevice, 'b', "block device"},
    {HOQFileType::kCharacterDevice, 'c', "character device"},
};

const Kind* findKind(std::uint32_t kind) {
  for (const Kind& row : kKinds)
    if (row.kind == kind) return &row;
  return nullptr;
}

std::int64_t minuteOf(std::int64_t seconds) {
  return seconds / 60 - (seconds % 60 < 0 ? 1 : 0);  // rounds down, before 1970 as well
}

std::string minuteText(const struct tm& parts) {
  const auto put = [](char* at, int number) {
    at[0] = static_cast<char>('0' + number / 10);
    at[1] = static_cast<char>('0' + number % 10);
  };
  const long long year = parts.tm_year + 1900LL;
  if (year < 0 || year > 9999)
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}", year, parts.tm_mon + 1, parts.tm_mday,
                       parts.tm_hour, parts.tm_min);
  std::string text = "YYYY-MM-DD hh:mm";
  put(&text[0], static_cast<int>(year / 100));
  put(&text[2], static_cast<int>(year % 100));
  put(&text[5], parts.tm_mon + 1);
  put(&text[8], parts.tm_mday);
  put(&text[11], parts.tm_hour);
  put(&text[14], parts.tm_min);
  return text;
}

}  // namespace

std::array<char, 10> modeText(const HOQFileType& record) {
  std::array<char, 10> text;
  const Kind* kind = findKind(record.type);
  text[0] = kind != nullptr ? kind->letter : '?';
  for (unsigned i = 0; i < 9; ++i)
    text[i + 1] = (record.permissions & (0400U >> i)) != 0 ? "rwx"[i % 3] : '-';
  constexpr struct {
    unsigned bit;
    unsigned place;
    char with, without;  // execute permission
  } kSpecial[] = {{04000, 3, 's', 'S'}, {02000, 6, 's', 'S'}, {01000, 9, 't', 'T'}};
  for (const auto& special : kSpecial)
    if ((record.permissions & special.bit) != 0)
      text[special.place] = text[special.place] == 'x' ? special.with : special.without;
  return text;
}

std::string sizeText(std::uint64_t bytes, bool human) {
  if (!human || bytes < 1024) return std::to_string(bytes);
  int unit = 0;  // of "KMGTPE"
  while (unit < 5 && (bytes >> (10 * (unit + 1))) >= 1024) ++unit;
  const int shift = 10 * (unit + 1);
  const std::uint64_t whole = bytes >> shift;
  const std::uint64_t rest = bytes & ((std::uint64_t{1} << shift) - 1);
  // Tenths, rounded up; the rest is below 2^60, so ten times it fits.
  const std::uint64_t tenths =
      whole * 10 + ((rest * 10 + (std::uint64_t{1} << shift) - 1) >> shift);
  if (tenths < 100) return fmt::format("{}.{}{}", tenths / 10, tenths % 10, "KMGTPE"[unit]);
  const std::uint64_t rounded = whole + (rest != 0 ? 1 : 0);
  if (rounded == 1024 && unit < 5) return fmt::format("1.0{}", "KMGTPE"[unit + 1]);
  return fmt::format("{}{}", rounded, "KMGTPE"[unit]);
}

const char* kindText(std::uint32_t kind) {
  const Kind* row = findKind(kind);
  return row != nullptr ? row->words : "unknown";
}

std::string ownerText(const std::string& name, std::uint32_t id) {
  return name.empty() || name == "unknown" ? std::to_string(id) : name;
}

std::string_view TimeText::of(std::int64_t seconds) {
  const std::int64_t minute = minuteOf(seconds);
  Minute& known = minutes_[static_cast<std::uint64_t>(minute) % minutes_.size()];
  if (known.minute == minute && !known.text.empty()) return known.text;
  struct tm parts {};
  const time_t time = seconds;
  if (::localtime_r(&time, &parts) == nullptr) return odd_ = fmt::format("@{}", seconds);
  std::string text = minuteText(parts);
  // Where the offset has seconds (old local times), the minute begins elsewhere.
  if (parts.tm_gmtoff % 60 != 0) return odd_ = std::move(text);
  known = {minute, std::move(text)};
  return known.text;
}

}  // namespace HOQ::cli
