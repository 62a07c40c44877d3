#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <hoq/HOQFileType.h>

namespace HOQ::cli {

// Records in little memory, for this process alone.

/// Appends a number in as few bytes as it takes, seven bits in each.
void appendNumber(std::string& out, std::uint64_t number);
/// Takes one off the front. False, with nothing done: it is not there whole.
[[nodiscard]] bool takeNumber(std::string_view& in, std::uint64_t& number);

/// Appends a text behind its length.
void appendText(std::string& out, std::string_view text);
/// Takes one off the front, which stays where it is. False, with nothing done: it is not there
/// whole.
[[nodiscard]] bool takeText(std::string_view& in, std::string_view& text);

/// Appends everything of `record` but its name and what is below it.
void packRecord(std::string& out, const HOQFileType& record);
/// Makes a record again that was packed, but for its name and what is below it.
void unpackRecord(std::string_view packed, HOQFileType& record);

}  // namespace HOQ::cli
