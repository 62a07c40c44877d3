#include "Conditions.h"

#include <fnmatch.h>
#include <time.h>

#include <charconv>
#include <limits>
#include <optional>

#include <hoq/HOQUserMLocal.h>

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

using Comparison = Condition::Comparison;
using Field = Condition::Field;
using Number = std::int64_t;

constexpr Number kLargest = std::numeric_limits<Number>::max();
constexpr Number kLargestId = 0xFFFFFFFE;  // one more means "no id"

[[noreturn]] void fail(const std::string& text, const std::string& why) {
  throw CommandError(kExitUsage, "--filter \"" + text + "\": " + why);
}

struct ComparisonRow {
  const char* text;
  Comparison comparison;
};
/// Longer ones first.
constexpr ComparisonRow kComparisons[] = {
    {"!=", Comparison::kNotEqual},     {"<=", Comparison::kLessEqual},
    {">=", Comparison::kGreaterEqual}, {"=", Comparison::kEqual},
    {"<", Comparison::kLess},          {">", Comparison::kGreater},
};

struct KindRow {
  char letter;
  HOQFileType::Kind kind;
};
constexpr KindRow kKinds[] = {
    {'f', HOQFileType::kRegular},
    {'d', HOQFileType::kDirectory},
    {'l', HOQFileType::kLink},
    {'p', HOQFileType::kFifo},
    {'s', HOQFileType::kSocket},
    {'b', HOQFileType::kBlockDevice},
    {'c', HOQFileType::kCharacterDevice},
};

std::optional<Number> parseNumber(const std::string& text, Number least, Number largest) {
  Number number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < least || number > largest)
    return std::nullopt;
  return number;
}

std::optional<Number> parseSize(const std::string& text) {
  constexpr std::string_view kUnits = "kKmMgGtT";
  const std::size_t unit = text.empty() ? std::string::npos : kUnits.find(text.back());
  const bool hasUnit = unit != std::string::npos;
  const int shift = hasUnit ? 10 * (static_cast<int>(unit / 2) + 1) : 0;
  const auto number =
      parseNumber(text.substr(0, text.size() - (hasUnit ? 1 : 0)), 0, kLargest >> shift);
  return number ? std::optional(*number << shift) : std::nullopt;
}

/// YYYY-MM-DD[THH:MM[:SS]] in local time, or @SECONDS since 1970.
std::optional<Number> parseTime(const std::string& text) {
  if (!text.empty() && text.front() == '@') return parseNumber(text.substr(1), -kLargest, kLargest);
  for (const char* format : {"%Y-%m-%d", "%Y-%m-%dT%H:%M", "%Y-%m-%dT%H:%M:%S"}) {
    struct tm parts {};
    const char* end = ::strptime(text.c_str(), format, &parts);
    if (end == nullptr || *end != '\0') continue;
    const int day = parts.tm_mday;
    parts.tm_isdst = -1;
    const time_t seconds = ::mktime(&parts);
    if (parts.tm_mday != day) return std::nullopt;  // no such day, as the 31st of June
    return seconds;
  }
  return std::nullopt;
}

std::optional<Number> parseKind(const std::string& text) {
  for (const KindRow& row : kKinds)
    if (text.size() == 1 && text.front() == row.letter) return row.kind;
  return std::nullopt;
}

std::optional<Number> parseId(const std::string& text) { return parseNumber(text, 0, kLargestId); }

std::optional<Number> parseUser(const std::string& text) {
  if (text.empty()) return std::nullopt;  // would select every user
  std::vector<HOQUser> users;
  if (HOQUserMLocal(nullptr).getUser(users, {text, 0xFFFFFFFF}) == 0 && !users.empty())
    return users.front().id;
  return parseId(text);
}

std::optional<Number> parseGroup(const std::string& text) {
  if (text.empty()) return std::nullopt;
  std::vector<HOQGroup> groups;
  if (HOQUserMLocal(nullptr).getGroup(groups, {text, 0xFFFFFFFF}) == 0 && !groups.empty())
    return groups.front().id;
  return parseId(text);
}

std::optional<Number> parseNothing(const std::string&) { return 0; }  // a pattern is any text

struct FieldRow {
  const char* name;
  Field field;
  bool ordered;    // has more than = and !=
  bool differing;  // has !=
  std::optional<Number> (*parse)(const std::string&);
  const char* wanted;
};

constexpr FieldRow kFields[] = {
    {"size", Field::kSize, true, true, parseSize, "a number of bytes, with k, M, G or T as units"},
    {"type", Field::kType, false, true, parseKind, "one of f d l p s b c"},
    {"mtime", Field::kMtime, true, true, parseTime, "YYYY-MM-DD[THH:MM[:SS]] or @SECONDS"},
    {"ctime", Field::kCtime, true, false, parseTime, "YYYY-MM-DD[THH:MM[:SS]] or @SECONDS"},
    {"user", Field::kUid, false, true, parseUser, "a known user's name or an id"},
    {"group", Field::kGid, false, true, parseGroup, "a known group's name or an id"},
    {"uid", Field::kUid, true, true, parseId, "an id"},
    {"gid", Field::kGid, true, true, parseId, "an id"},
    {"name", Field::kName, false, true, parseNothing, "a pattern"},
};

const FieldRow& findField(const std::string& text, const std::string& name) {
  for (const FieldRow& row : kFields)
    if (name == row.name) return row;
  fail(text, "FIELD is one of size, type, mtime, ctime, user, group, uid, gid, name");
}

const ComparisonRow& findComparison(const std::string& text, std::size_t position) {
  for (const ComparisonRow& row : kComparisons)
    if (text.compare(position, std::string_view(row.text).size(), row.text) == 0) return row;
  fail(text, "the operators are = != < <= > >=");
}

Condition parseCondition(const std::string& text) {
  const std::size_t end = text.find_first_of("=!<>");
  if (end == std::string::npos) fail(text, "a condition is FIELD OP VALUE, for instance size>1M");
  const FieldRow& field = findField(text, text.substr(0, end));
  const ComparisonRow& row = findComparison(text, end);
  const std::string value = text.substr(end + std::string_view(row.text).size());
  const bool equality =
      row.comparison == Comparison::kEqual || row.comparison == Comparison::kNotEqual;
  if ((!equality && !field.ordered) ||
      (row.comparison == Comparison::kNotEqual && !field.differing))
    fail(text, std::string(field.name) + " has no " + row.text);
  const auto number = field.parse(value);
  if (!number) fail(text, "VALUE must be " + std::string(field.wanted));
  return {field.field, row.comparison, *number, field.field == Field::kName ? value : ""};
}

template <class T>
bool holds(Comparison comparison, const T& left, const T& right) {
  switch (comparison) {
    case Comparison::kEqual:
      return left == right;
    case Comparison::kNotEqual:
      return left != right;
    case Comparison::kLess:
      return left < right;
    case Comparison::kLessEqual:
      return left <= right;
    case Comparison::kGreater:
      return left > right;
    case Comparison::kGreaterEqual:
      return left >= right;
  }
  return false;
}

bool matchesOne(const Condition& condition, const HOQFileType& record) {
  const auto number = [&condition](Number value) {
    return holds(condition.comparison, value, condition.number);
  };
  switch (condition.field) {
    case Field::kSize:
      return number(static_cast<Number>(record.size));
    case Field::kType:
      return number(record.type);
    case Field::kMtime:
      return number(record.mtime);
    case Field::kUid:
      return number(record.uid);
    case Field::kGid:
      return number(record.gid);
    case Field::kName:
      return (::fnmatch(condition.pattern.c_str(), record.name.c_str(), 0) == 0) ==
             (condition.comparison == Comparison::kEqual);
    case Field::kCtime:
      return true;  // not in the record; the Filer has tested it
  }
  return true;
}

/// The closed range that a comparison other than != leaves to a number.
struct Bounds {
  std::optional<Number> least;
  std::optional<Number> largest;
};

Bounds boundsOf(const Condition& condition) {
  const Number number = condition.number;
  switch (condition.comparison) {
    case Comparison::kEqual:
      return {number, number};
    case Comparison::kLess:
      return {std::nullopt, number - 1};
    case Comparison::kLessEqual:
      return {std::nullopt, number};
    case Comparison::kGreater:
      if (number == kLargest) return {number, number - 1};  // nothing is greater
      return {number + 1, std::nullopt};
    case Comparison::kGreaterEqual:
      return {number, std::nullopt};
    case Comparison::kNotEqual:
      break;
  }
  return {};
}

/// Where a field's bounds go in the record: the members and the bits that switch them on.
template <class T>
void setBounds(HOQFileFilter& filter, const Bounds& bounds, T HOQFileFilter::*least,
               std::uint32_t leastBit, T HOQFileFilter::*largest, std::uint32_t largestBit) {
  if (bounds.least) {
    filter.*least = static_cast<T>(*bounds.least);
    filter.valid |= leastBit;
  }
  if (bounds.largest) {
    filter.*largest = static_cast<T>(*bounds.largest);
    filter.valid |= largestBit;
  }
}

/// Ids below 0 do not fit the record: "uid<0" is left to the answer.
bool fitsId(const Bounds& bounds) { return !bounds.largest || *bounds.largest >= 0; }

/// The record that catches exactly what the condition refuses, where there is one.
std::optional<HOQFileFilter> filterOf(const Condition& condition) {
  using Filter = HOQFileFilter;
  if (condition.comparison == Comparison::kNotEqual) return std::nullopt;
  const Bounds bounds = boundsOf(condition);
  Filter filter;
  switch (condition.field) {
    case Field::kSize:
      setBounds(filter, bounds, &Filter::sizeMin, Filter::kSizeMin, &Filter::sizeMax,
                Filter::kSizeMax);
      return filter;
    case Field::kCtime:
      setBounds(filter, bounds, &Filter::timeMin, Filter::kTimeMin, &Filter::timeMax,
                Filter::kTimeMax);
      return filter;
    case Field::kType:
      filter.type = static_cast<std::uint32_t>(condition.number);
      filter.valid = Filter::kType;
      return filter;
    case Field::kUid:
      if (!fitsId(bounds)) return std::nullopt;
      setBounds(filter, bounds, &Filter::uidMin, Filter::kUidMin, &Filter::uidMax, 0);
      return filter;
    case Field::kGid:
      if (!fitsId(bounds)) return std::nullopt;
      setBounds(filter, bounds, &Filter::gidMin, Filter::kGidMin, &Filter::gidMax, 0);
      return filter;
    case Field::kMtime:
    case Field::kName:
      return std::nullopt;  // the record's time is ctime, its name test is another one
  }
  return std::nullopt;
}

}  // namespace

Conditions::Conditions(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) conditions_.push_back(parseCondition(text));
}

bool Conditions::matches(const HOQFileType& record) const {
  for (const Condition& condition : conditions_)
    if (!matchesOne(condition, record)) return false;
  return true;
}

std::vector<HOQFileFilter> Conditions::filtersOf(bool indispensableOnly) const {
  std::vector<HOQFileFilter> filters;
  for (const Condition& condition : conditions_) {
    if (indispensableOnly && condition.field != Field::kCtime) continue;
    if (const auto filter = filterOf(condition)) filters.push_back(*filter);
  }
  return filters;
}

}  // namespace HOQ::cli
