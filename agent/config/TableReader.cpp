#include "config/TableReader.h"

#include <algorithm>

namespace HOQ::agent {
namespace {

constexpr std::size_t kMostProblems = 50;

int lineOf(const toml::node& node) {
  return std::max(1, static_cast<int>(node.source().begin.line));
}

const char* typeName(const toml::node& node) {
  switch (node.type()) {
    case toml::node_type::table:
      return "a table";
    case toml::node_type::array:
      return "an array";
    case toml::node_type::string:
      return "a text";
    case toml::node_type::integer:
      return "an integer";
    case toml::node_type::floating_point:
      return "a number with a fraction";
    case toml::node_type::boolean:
      return "a truth value";
    default:
      return "a date or time";
  }
}

std::string unlike(const char* wanted, const toml::node& node) {
  return std::string("must be ") + wanted + ", not " + typeName(node);
}

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

/// Why a text is none that names anything; empty if it is good.
std::string badText(const std::string& text) {
  if (text.empty()) return "must not be empty";
  const bool control = std::any_of(text.begin(), text.end(), isControl);
  return control ? "must not contain control characters" : "";
}

}  // namespace

void Findings::complain(int line, const std::string& key, const std::string& reason) {
  if (problems_.size() >= kMostProblems) return;
  std::string text = file_ + ":" + std::to_string(line) + ": ";
  if (!key.empty()) text += key + ": ";
  text += reason;
  // A key in quotes may hold anything, and a complaint is one line.
  std::replace_if(text.begin(), text.end(), isControl, '?');
  problems_.emplace(line, std::move(text));
}

std::vector<std::string> Findings::problems() const {
  std::vector<std::string> texts;
  for (const auto& [line, text] : problems_) texts.push_back(text);
  return texts;
}

TableReader::TableReader(const toml::table& table, std::string prefix, Findings& findings)
    : table_(table), prefix_(std::move(prefix)), findings_(findings) {}

int TableReader::line(const std::string& key) const {
  const toml::node* node = table_.get(key);
  return lineOf(node ? *node : table_);
}

const toml::node* TableReader::take(const std::string& key) {
  taken_.insert(key);
  const toml::node* node = table_.get(key);
  if (node) findings_.note(prefix_ + key, lineOf(*node));
  return node;
}

void TableReader::complain(const std::string& key, const std::string& reason) {
  findings_.complain(line(key), prefix_ + key, reason);
}

void TableReader::missing(const std::string& key) { complain(key, "missing"); }

std::optional<std::string> TableReader::text(const std::string& key) {
  const toml::node* node = take(key);
  if (!node) return std::nullopt;
  const auto* value = node->as_string();
  const std::string bad = value ? badText(value->get()) : unlike("a text", *node);
  if (bad.empty()) return value->get();
  complain(key, bad);
  return std::nullopt;
}

void TableReader::number(const std::string& key, std::uint32_t least, std::uint32_t most,
                         std::uint32_t& value) {
  const toml::node* node = take(key);
  if (!node) return;
  const auto* number = node->as_integer();
  if (!number) return complain(key, unlike("an integer", *node));
  if (number->get() < static_cast<std::int64_t>(least) ||
      number->get() > static_cast<std::int64_t>(most)) {
    return complain(key, "must be from " + std::to_string(least) + " to " + std::to_string(most));
  }
  value = static_cast<std::uint32_t>(number->get());
}

bool TableReader::texts(const std::string& key,
                        const std::function<void(const std::string&, int)>& each) {
  const toml::node* node = take(key);
  if (!node) return false;
  const toml::array* array = node->as_array();
  if (!array) {
    complain(key, unlike("an array of texts", *node));
    return false;
  }
  for (const toml::node& element : *array) {
    const auto* value = element.as_string();
    const std::string bad = value ? badText(value->get()) : unlike("a text", element);
    if (bad.empty()) {
      each(value->get(), lineOf(element));
    } else {
      findings_.complain(lineOf(element), prefix_ + key, bad);
    }
  }
  return true;
}

const toml::table* TableReader::table(const std::string& key) {
  const toml::node* node = take(key);
  if (!node) return nullptr;
  if (!node->is_table()) complain(key, unlike(("a table, [" + key + "]").c_str(), *node));
  return node->as_table();
}

std::vector<const toml::table*> TableReader::tables(const std::string& key) {
  std::vector<const toml::table*> found;
  const toml::node* node = take(key);
  if (!node) return found;
  const std::string wanted = "an array of tables, [[" + key + "]]";
  if (!node->is_array()) {
    complain(key, unlike(wanted.c_str(), *node));
    return found;
  }
  for (const toml::node& element : *node->as_array()) {
    if (element.is_table()) {
      found.push_back(element.as_table());
    } else {
      findings_.complain(lineOf(element), prefix_ + key, unlike(wanted.c_str(), element));
    }
  }
  return found;
}

void TableReader::finish() {
  for (const auto& [key, node] : table_) {
    const std::string name(key.str());
    if (taken_.count(name) == 0) {
      const auto at = static_cast<int>(key.source().begin.line);
      findings_.complain(at > 0 ? at : lineOf(node), prefix_ + name, "unknown key");
    }
  }
}

}  // namespace HOQ::agent
