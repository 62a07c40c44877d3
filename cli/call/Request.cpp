#include "call/Request.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "ExitStatus.h"
#include "output/Base64.h"
#include "output/Utf8.h"

namespace HOQ::cli {
namespace {

using Json = nlohmann::json;

/// Deeper than any request; keeps hostile nesting out of everything behind it.
constexpr int kDeepestNesting = 8;

/// Keys and texts of a request may hold anything; the complaint stays one readable line.
[[noreturn]] void fail(const std::string& line) {
  throw CommandError(kExitUsage, escapeForTerminal(line));
}

[[noreturn]] void failType(const std::string& key, const char* wanted) {
  fail("\"" + key + "\" must be " + wanted);
}

/// Parses strictly: the library alone would let the last of two equal keys win.
Json parse(const std::string& text) {
  std::vector<std::set<std::string>> seen;
  const auto check = [&seen](int depth, Json::parse_event_t event, Json& value) {
    if (depth > kDeepestNesting) fail("bad JSON: nested too deeply");
    if (event == Json::parse_event_t::object_start) seen.emplace_back();
    if (event == Json::parse_event_t::object_end) seen.pop_back();
    if (event == Json::parse_event_t::key && !seen.back().insert(value.get<std::string>()).second)
      fail("the key \"" + value.get<std::string>() + "\" stands twice");
    return true;
  };
  try {
    return Json::parse(text, check);
  } catch (const Json::parse_error& error) {
    const std::string what = error.what();  // "[json.exception...] parse error at ...: ..."
    const std::size_t cut = what.find("] ");
    fail("bad JSON: " + (cut == std::string::npos ? what : what.substr(cut + 2)));
  }
}

std::optional<std::string> decoded(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_object() || value.size() != 1) return std::nullopt;
  const auto encoded = value.find("base64");
  std::string bytes;
  if (encoded == value.end() || !encoded->is_string() ||
      !fromBase64(encoded->get_ref<const std::string&>(), bytes))
    return std::nullopt;
  return bytes;
}

std::string readString(const std::string& key, const Json& value) {
  const auto text = decoded(value);
  if (!text) failType(key, "a string or {\"base64\": \"...\"}");
  if (text->find('\0') != std::string::npos) failType(key, "a text without a NUL byte");
  return *text;
}

std::vector<std::string> readStrings(const std::string& key, const Json& value) {
  if (!value.is_array()) failType(key, "a list of strings");
  std::vector<std::string> texts;
  texts.reserve(value.size());
  for (const Json& element : value) texts.push_back(readString(key, element));
  return texts;
}

template <class Integer>
Integer readInteger(const std::string& key, const Json& value) {
  constexpr auto kMin = std::numeric_limits<Integer>::min();
  constexpr auto kMax = std::numeric_limits<Integer>::max();
  const std::string wanted =
      "an integer from " + std::to_string(kMin) + " to " + std::to_string(kMax);
  if (value.is_number_unsigned()) {
    const auto number = value.get<std::uint64_t>();
    if (number <= static_cast<std::uint64_t>(kMax)) return static_cast<Integer>(number);
  } else if (value.is_number_integer()) {
    const auto number = value.get<std::int64_t>();  // below 0
    if (number >= static_cast<std::int64_t>(kMin)) return static_cast<Integer>(number);
  }
  failType(key, wanted.c_str());
}

template <class Integer>
std::vector<Integer> readIntegers(const std::string& key, const Json& value) {
  if (!value.is_array()) failType(key, "a list of integers");
  std::vector<Integer> numbers;
  for (const Json& element : value) numbers.push_back(readInteger<Integer>(key, element));
  return numbers;
}

void readField(std::string& field, const std::string& key, const Json& value) {
  field = readString(key, value);
}
void readField(std::uint32_t& field, const std::string& key, const Json& value) {
  field = readInteger<std::uint32_t>(key, value);
}
void readField(std::int64_t& field, const std::string& key, const Json& value) {
  field = readInteger<std::int64_t>(key, value);
}

/// The keys of a filter are the record's own field names.
struct FilterField {
  const char* name;
  std::variant<std::uint32_t HOQFileFilter::*, std::int64_t HOQFileFilter::*,
               std::string HOQFileFilter::*>
      member;
};

const FilterField kFilterFields[] = {
    {"type", &HOQFileFilter::type},       {"userPattern", &HOQFileFilter::userPattern},
    {"uid", &HOQFileFilter::uid},         {"uidMin", &HOQFileFilter::uidMin},
    {"uidMax", &HOQFileFilter::uidMax},   {"groupPattern", &HOQFileFilter::groupPattern},
    {"gid", &HOQFileFilter::gid},         {"gidMin", &HOQFileFilter::gidMin},
    {"gidMax", &HOQFileFilter::gidMax},   {"timeMin", &HOQFileFilter::timeMin},
    {"timeMax", &HOQFileFilter::timeMax}, {"sizeMin", &HOQFileFilter::sizeMin},
    {"sizeMax", &HOQFileFilter::sizeMax}, {"namePattern", &HOQFileFilter::namePattern},
    {"valid", &HOQFileFilter::valid},
};

HOQFileFilter readFilter(const Json& value) {
  if (!value.is_object()) failType("filters", "a list of objects");
  HOQFileFilter filter;
  for (const auto& [name, field] : value.items()) {
    const FilterField* found = nullptr;
    for (const FilterField& row : kFilterFields)
      if (name == row.name) found = &row;
    if (found == nullptr) fail("unknown key \"" + name + "\" in a filter");
    std::visit([&, &fieldName = name, &fieldValue = field](
                   auto member) { readField(filter.*member, fieldName, fieldValue); },
               found->member);
  }
  return filter;
}

Request::Filters readFilters(const std::string& key, const Json& value) {
  if (!value.is_array()) failType(key, "null or a list of objects");
  Request::Filters filters;
  for (const Json& element : value) filters.push_back(readFilter(element));
  return filters;
}

HOQUserCredentials readCredentials(const std::string& key, const Json& value) {
  if (!value.is_object()) failType(key, "an object");
  const auto id = [&value](const char* name) {
    const auto found = value.find(name);
    return found == value.end() ? HOQUserCredentials::kNone
                                : readInteger<std::uint32_t>(name, *found);
  };
  HOQUserCredentials credentials(id("uid"), id("gid"));
  for (const auto& [name, field] : value.items()) {
    if (name == "name") {
      credentials.name = readString(name, field);
    } else if (name == "groups") {
      credentials.groups = readStrings(name, field);
    } else if (name == "gids") {
      for (const auto gid : readIntegers<std::uint32_t>(name, field))
        credentials.gids.push_back(gid);
    } else if (name == "umask") {
      credentials.umask = readInteger<std::int32_t>(name, field);
    } else if (name != "uid" && name != "gid") {
      fail("unknown key \"" + name + "\" in \"" + key + "\"");
    }
  }
  return credentials;
}

/// The bytes of an upload, which may be any.
std::string readBytes(const std::string& key, const Json& value) {
  std::string bytes;
  if (!value.is_string() || !fromBase64(value.get_ref<const std::string&>(), bytes))
    failType(key, "a base64 text");
  return bytes;
}

TransferItem readItem(const std::string& key, const Json& value, bool isUpload) {
  if (!value.is_object()) failType(key, "a list of objects");
  TransferItem item;
  for (const auto& [name, field] : value.items()) {
    if (name == "path") {
      item.path = readString(name, field);
    } else if (name == "size") {
      item.size = readInteger<std::uint64_t>(name, field);
    } else if (name == "offset") {
      item.offset = readInteger<std::int64_t>(name, field);
    } else if (isUpload && name == "data") {
      item.data = readBytes(name, field);
    } else if (isUpload && name == "file") {
      item.file = readString(name, field);
      item.isFromFile = true;
    } else {
      fail("unknown key \"" + name + "\" in an item");
    }
  }
  const auto missing = [](const char* what) {
    fail("the key " + std::string(what) + " is missing in an item");
  };
  if (!value.contains("path")) missing("\"path\"");
  if (!isUpload) return item;
  if (!value.contains("size")) missing("\"size\"");
  if (item.isFromFile && value.contains("data")) fail("an item has both \"data\" and \"file\"");
  if (!item.isFromFile && !value.contains("data")) missing("\"data\" or \"file\"");
  return item;
}

Request::Items readItems(const std::string& key, const Json& value, bool isUpload) {
  if (!value.is_array()) failType(key, "a list of objects");
  Request::Items items;
  items.reserve(value.size());
  for (const Json& element : value) items.push_back(readItem(key, element, isUpload));
  return items;
}

Request::Value readValue(const Key& key, const Json& value) {
  switch (key.type) {
    case KeyType::kString:
      return readString(key.name, value);
    case KeyType::kStrings:
      return readStrings(key.name, value);
    case KeyType::kInt32:
      return std::int64_t{readInteger<std::int32_t>(key.name, value)};
    case KeyType::kUint32:
      return std::int64_t{readInteger<std::uint32_t>(key.name, value)};
    case KeyType::kInt64:
      return readInteger<std::int64_t>(key.name, value);
    case KeyType::kFilters:
      return readFilters(key.name, value);
    case KeyType::kCredentials:
      return readCredentials(key.name, value);
    case KeyType::kUploadItems:
    case KeyType::kDownloadItems:
      return readItems(key.name, value, key.type == KeyType::kUploadItems);
  }
  failType(key.name, "of a known type");
}

std::string listed(const std::vector<Key>& keys) {
  std::string names;
  for (const Key& key : keys) names += (names.empty() ? "" : ", ") + std::string(key.name);
  return names;
}

}  // namespace

Request readRequest(const std::string& json, const std::vector<Key>& keys) {
  const Json object = parse(json);
  if (!object.is_object()) fail("bad JSON: the request must be one object");
  for (const auto& [name, value] : object.items()) {
    bool known = false;
    for (const Key& key : keys) known = known || name == key.name;
    if (!known) fail("unknown key \"" + name + "\" (keys: " + listed(keys) + ")");
  }
  Request request;
  for (const Key& key : keys) {
    const auto value = object.find(key.name);
    const bool absent = value == object.end();
    if (absent && key.required) fail("the key \"" + std::string(key.name) + "\" is missing");
    if (absent || (key.type == KeyType::kFilters && value->is_null())) continue;
    request.set(key.name, readValue(key, *value));
  }
  return request;
}

}  // namespace HOQ::cli
