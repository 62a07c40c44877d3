#include "listing/Packing.h"

#include <hoq/HOQAssert.h>

namespace HOQ::cli {
namespace {

/// A small number, whichever its sign.
std::uint64_t folded(std::int64_t number) {
  return (static_cast<std::uint64_t>(number) << 1) ^ static_cast<std::uint64_t>(number >> 63);
}

std::int64_t unfolded(std::uint64_t number) {
  return static_cast<std::int64_t>((number >> 1) ^ (0 - (number & 1)));
}

std::uint64_t number(std::string_view& in) {
  std::uint64_t taken = 0;
  const bool whole = takeNumber(in, taken);
  HOQ_ASSERT(whole);
  return taken;
}

std::uint32_t number32(std::string_view& in) { return static_cast<std::uint32_t>(number(in)); }

std::string_view text(std::string_view& in) {
  std::string_view taken;
  const bool whole = takeText(in, taken);
  HOQ_ASSERT(whole);
  return taken;
}

}  // namespace

void appendNumber(std::string& out, std::uint64_t value) {
  char bytes[10];
  std::size_t count = 0;
  for (; value >= 0x80; value >>= 7) bytes[count++] = static_cast<char>(value | 0x80);
  bytes[count++] = static_cast<char>(value);
  out.append(bytes, count);
}

bool takeNumber(std::string_view& in, std::uint64_t& value) {
  std::uint64_t taken = 0;
  for (std::size_t i = 0; i < in.size() && i < 10; ++i) {
    const auto byte = static_cast<unsigned char>(in[i]);
    taken |= static_cast<std::uint64_t>(byte & 0x7F) << (7 * i);
    if (byte >= 0x80) continue;
    in.remove_prefix(i + 1);
    value = taken;
    return true;
  }
  return false;
}

void appendText(std::string& out, std::string_view value) {
  appendNumber(out, value.size());
  out.append(value);
}

bool takeText(std::string_view& in, std::string_view& value) {
  std::string_view rest = in;
  std::uint64_t length = 0;
  if (!takeNumber(rest, length) || rest.size() < length) return false;
  value = rest.substr(0, static_cast<std::size_t>(length));
  in = rest.substr(value.size());
  return true;
}

void packRecord(std::string& out, const HOQFileType& record) {
  appendNumber(out, record.type);
  appendNumber(out, record.permissions);
  appendText(out, record.user);
  appendNumber(out, record.uid);
  appendText(out, record.group);
  appendNumber(out, record.gid);
  appendNumber(out, record.size);
  appendNumber(out, folded(record.mtime));
  appendNumber(out, record.nlink);
  appendText(out, record.linkTarget);
  appendText(out, record.contentType);
  appendNumber(out, record.sizes.size());
  for (const long long size : record.sizes) appendNumber(out, folded(size));
  appendNumber(out, record.valid);
}

void unpackRecord(std::string_view packed, HOQFileType& record) {
  record.type = number32(packed);
  record.permissions = number32(packed);
  record.user = text(packed);
  record.uid = number32(packed);
  record.group = text(packed);
  record.gid = number32(packed);
  record.size = number(packed);
  record.mtime = unfolded(number(packed));
  record.nlink = number32(packed);
  record.linkTarget = text(packed);
  record.contentType = text(packed);
  record.sizes.resize(static_cast<std::size_t>(number(packed)));
  for (long long& size : record.sizes) size = unfolded(number(packed));
  record.valid = number32(packed);
}

}  // namespace HOQ::cli
