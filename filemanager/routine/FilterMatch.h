#pragma once

#include <sys/stat.h>

#include <string>

#include <hoq/HOQFileFilter.h>

#include "routine/UserId.h"

namespace HOQ {

// The tests of HOQFileFilter. Each answers for one filter whether it catches the item; a list is
// searched for the first that does.

/// fnmatch(3) without flags: `a` is the pattern, `b` the text.
bool MatchString(const char* a, const std::string& b);

/// Owner ids and entry name.
class MatchFilter {
 public:
  /// `name` null: names are not tested. Not owned.
  explicit MatchFilter(const char* name) : name_(name) {}

  /// The maximum ids are compared whether or not a bit asks for it, and the entry's name is the
  /// pattern, the filter's the text: kept, requests are written for it.
  bool operator()(const struct stat* st, const HOQFileFilter& f) const;

 private:
  const char* name_;
};

/// Owner names.
class MatchUG {
 public:
  /// Null: that one is not tested. Not owned.
  MatchUG(const char* user, const char* group) : user_(user), group_(group) {}

  bool operator()(const HOQFileFilter& f) const;

 private:
  const char* user_;
  const char* group_;
};

/// Type, time of the last status change, size.
class NotMatchFilter {
 public:
  /// For the one-argument form. Not owned.
  explicit NotMatchFilter(const struct stat* st = nullptr) : st_(st) {}

  bool operator()(const struct stat* st, const HOQFileFilter& f) const;
  bool operator()(const HOQFileFilter& f) const { return (*this)(st_, f); }

 private:
  const struct stat* st_;
};

/// Collects which owner patterns a list has.
class FilterConvert {
 public:
  static constexpr char kUserFlag = 1;
  static constexpr char kGroupFlag = 2;

  void operator()(char* flags, const HOQFileFilter& f) const;
};

/// Finds a table row by id.
class CompareUid {
 public:
  bool operator()(unsigned id, const UserId& row) const { return row.id == id; }
};
using CompareGid = CompareUid;

}  // namespace HOQ
