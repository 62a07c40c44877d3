#pragma once

#include <toml++/toml.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace HOQ::agent {

/// What is wrong with a file, and where its keys stand.
class Findings {
 public:
  explicit Findings(std::string file) : file_(std::move(file)) {}

  /// Adds "FILE:LINE: KEY: REASON"; without a key, "FILE:LINE: REASON".
  void complain(int line, const std::string& key, const std::string& reason);

  void note(const std::string& key, int line) { lines_.emplace(key, line); }

  bool none() const { return problems_.empty(); }

  /// In the order of their lines.
  std::vector<std::string> problems() const;

  const std::map<std::string, int>& lines() const { return lines_; }

 private:
  const std::string file_;
  std::multimap<int, std::string> problems_;
  std::map<std::string, int> lines_;
};

/// Reads one table of the file: keys are taken with their types and ranges, and what nobody took
/// is unknown. A key that is bad is complained of once and then looks absent.
class TableReader {
 public:
  /// `prefix` goes before keys in complaints: "limits." for [limits]. The table and the findings
  /// must outlive this.
  TableReader(const toml::table& table, std::string prefix, Findings& findings);

  bool has(const std::string& key) const { return table_.contains(key); }

  /// A text that is not empty and has no control characters.
  std::optional<std::string> text(const std::string& key);

  /// A whole number from `least` to `most`; `value` stays as it is without one.
  void number(const std::string& key, std::uint32_t least, std::uint32_t most,
              std::uint32_t& value);

  /// Texts, each handed on with its line. Returns whether the key is there and is an array.
  bool texts(const std::string& key,
             const std::function<void(const std::string& text, int line)>& each);

  const toml::table* table(const std::string& key);

  /// The tables of an array such as [[client]].
  std::vector<const toml::table*> tables(const std::string& key);

  /// Complains of a key that must be there, at the table's own line.
  void missing(const std::string& key);

  void complain(const std::string& key, const std::string& reason);

  /// Complains of the keys that nobody asked for.
  void finish();

 private:
  const toml::node* take(const std::string& key);
  int line(const std::string& key) const;

  const toml::table& table_;
  const std::string prefix_;
  Findings& findings_;
  std::set<std::string> taken_;
};

}  // namespace HOQ::agent
