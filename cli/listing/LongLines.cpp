#include "listing/LongLines.h"

#include <algorithm>

#include "output/Utf8.h"

namespace HOQ::cli {
namespace {

std::size_t digitsOf(std::uint64_t number) { return fmt::format_int(number).size(); }

void appendRight(Output& out, std::string_view text, std::size_t width) {
  if (text.size() < width) out.append(std::string(width - text.size(), ' '));
  out.append(text);
}

void appendLeft(Output& out, std::string_view text, std::size_t width) {
  out.append(text);
  const std::size_t used = displayWidth(text);
  if (used < width) out.append(std::string(width - used, ' '));
}

const char* colorOf(const HOQFileType& record) {
  switch (record.type) {
    case HOQFileType::kDirectory:
      return "\x1b[1;34m";
    case HOQFileType::kLink:
      return "\x1b[1;36m";
    case HOQFileType::kSocket:
      return "\x1b[1;35m";
    case HOQFileType::kFifo:
    case HOQFileType::kBlockDevice:
    case HOQFileType::kCharacterDevice:
      return "\x1b[33m";
    default:
      return (record.permissions & 0111) != 0 ? "\x1b[1;32m" : nullptr;
  }
}

std::string shownText(const Style& style, std::string_view text) {
  return style.escaped ? escapeForTerminal(text) : std::string(text);
}

}  // namespace

void appendName(Output& out, const Style& style, const HOQFileType& record, std::string_view name) {
  const char* color = style.colored ? colorOf(record) : nullptr;
  if (color != nullptr) out.append(color);
  if (style.escaped)
    out.append(escapeForTerminal(name));
  else
    out.append(name);
  if (color != nullptr) out.append("\x1b[0m");
}

void LongWidths::measure(const HOQFileType& record, const Style& style) {
  link = std::max(link, digitsOf(record.nlink));
  user = std::max(user, displayWidth(ownerText(record.user, record.uid)));
  group = std::max(group, displayWidth(ownerText(record.group, record.gid)));
  size = std::max(size, style.human ? sizeText(record.size, true).size() : digitsOf(record.size));
}

void LongLines::write(Output& out, const HOQFileType& record, std::string_view name) {
  const auto mode = modeText(record);
  out.append({mode.data(), mode.size()});
  out.append(" ");
  const fmt::format_int links(record.nlink);
  appendRight(out, {links.data(), links.size()}, widths_.link);
  out.append(" ");
  appendLeft(out, shownText(style_, ownerText(record.user, record.uid)), widths_.user);
  out.append(" ");
  appendLeft(out, shownText(style_, ownerText(record.group, record.gid)), widths_.group);
  out.append(" ");
  appendRight(out, sizeText(record.size, style_.human), widths_.size);
  out.append(" ");
  out.append(times_.of(record.mtime));
  out.append(" ");
  appendName(out, style_, record, name);
  if (record.type == HOQFileType::kLink) {
    out.append(" -> ");
    out.append(shownText(style_, record.linkTarget));
  }
  out.append("\n");
  out.checkpoint();
}

}  // namespace HOQ::cli
