#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <hoq/HOQFileFilter.h>
#include <hoq/HOQUserCredentials.h>

namespace HOQ::cli {

/// The kinds of values that a request's keys take.
enum class KeyType {
  kString,
  kStrings,
  kInt32,
  kUint32,
  kInt64,
  kFilters,  // null is allowed, and as good as absent
  kCredentials,
  kUploadItems,
  kDownloadItems,
};

/// One key of an operation's request.
struct Key {
  const char* name;
  KeyType type;
  bool required;
  const char* help;
};

/// One element of "items": a file to carry. Uploads have either `data` or a local `file`.
struct TransferItem {
  std::string path;
  std::uint64_t size = 0;
  std::int64_t offset = 0;
  std::string data;
  std::string file;
  bool isFromFile = false;
};

/// A request that was read and found right: the values of its keys.
class Request {
 public:
  using Filters = std::vector<HOQFileFilter>;
  using Items = std::vector<TransferItem>;
  using Value = std::variant<std::string, std::vector<std::string>, std::int64_t, Filters,
                             HOQUserCredentials, Items>;

  void set(const std::string& key, Value value) { values_[key] = std::move(value); }

  bool has(std::string_view key) const { return values_.find(key) != values_.end(); }
  std::int64_t number(std::string_view key, std::int64_t absent) const {
    return has(key) ? get<std::int64_t>(key) : absent;
  }
  std::string text(std::string_view key) const {
    return has(key) ? get<std::string>(key) : std::string();
  }
  const std::vector<std::string>& texts(std::string_view key) const {
    return get<std::vector<std::string>>(key);
  }
  /// Null when absent.
  const Filters* filters(std::string_view key) const {
    return has(key) ? &get<Filters>(key) : nullptr;
  }
  const Items& items(std::string_view key) const { return get<Items>(key); }
  const HOQUserCredentials* credentials(std::string_view key) const {
    return has(key) ? &get<HOQUserCredentials>(key) : nullptr;
  }

 private:
  template <class T>
  const T& get(std::string_view key) const {
    return std::get<T>(values_.find(key)->second);
  }

  std::map<std::string, Value, std::less<>> values_;
};

/// Reads a request of an operation that takes `keys`. Throws CommandError(kExitUsage) with one line
/// for text that is not one JSON object, unknown, repeated and missing keys, and values of another
/// type: numbers out of the type's range and strings with a NUL byte are such.
Request readRequest(const std::string& json, const std::vector<Key>& keys);

}  // namespace HOQ::cli
