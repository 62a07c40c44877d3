#include "control/Wire.h"

namespace HOQ::agent {

void WireWriter::integer(std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) bytes_.push_back(static_cast<char>(value >> (8 * i)));
}

void WireWriter::text(std::string_view text, std::size_t limit) {
  text = text.substr(0, limit);
  u32(static_cast<std::uint32_t>(text.size()));
  bytes_.append(text);
}

Read WireReader::integer(int bytes, std::uint64_t& out) {
  if (state_ != Read::Ok) return state_;
  if (rest_.size() < static_cast<std::size_t>(bytes)) return fail(Read::Missing);
  out = 0;
  for (int i = 0; i < bytes; ++i) {
    out |= std::uint64_t{static_cast<unsigned char>(rest_[static_cast<std::size_t>(i)])} << (8 * i);
  }
  rest_.remove_prefix(static_cast<std::size_t>(bytes));
  return Read::Ok;
}

Read WireReader::upTo(std::uint8_t last, std::uint8_t& out) {
  if (state_ != Read::Ok) return state_;
  if (rest_.empty()) return fail(Read::Missing);
  const auto value = static_cast<std::uint8_t>(rest_.front());
  if (value > last) return fail(Read::WrongValue);
  out = value;
  rest_.remove_prefix(1);
  return Read::Ok;
}

Read WireReader::u32(std::uint32_t& out) {
  std::uint64_t value = 0;
  const Read read = integer(4, value);
  if (read == Read::Ok) out = static_cast<std::uint32_t>(value);
  return read;
}

Read WireReader::u64(std::uint64_t& out) {
  std::uint64_t value = 0;
  const Read read = integer(8, value);
  if (read == Read::Ok) out = value;
  return read;
}

Read WireReader::i32(std::int32_t& out) {
  std::uint32_t value = 0;
  const Read read = u32(value);
  if (read == Read::Ok) out = static_cast<std::int32_t>(value);
  return read;
}

Read WireReader::text(std::size_t limit, std::string& out) {
  const std::string_view before = rest_;
  std::uint32_t length = 0;
  if (u32(length) != Read::Ok) return state_;
  if (length > limit || length > rest_.size()) {
    const bool tooLong = length > limit;
    rest_ = before;
    return fail(tooLong ? Read::TooLong : Read::Missing);
  }
  out.assign(rest_.substr(0, length));
  rest_.remove_prefix(length);
  return Read::Ok;
}

Read WireReader::count(std::uint32_t limit, std::uint32_t& out) {
  const std::string_view before = rest_;
  std::uint32_t value = 0;
  if (u32(value) != Read::Ok) return state_;
  if (value > limit) {
    rest_ = before;
    return fail(Read::TooLong);
  }
  out = value;
  return Read::Ok;
}

}  // namespace HOQ::agent
