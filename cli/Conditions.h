#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <hoq/HOQFileFilter.h>
#include <hoq/HOQFileType.h>

namespace HOQ::cli {

/// One condition of --filter, for instance "size>1M".
struct Condition {
  enum class Field { kSize, kType, kMtime, kCtime, kUid, kGid, kName };
  enum class Comparison { kEqual, kNotEqual, kLess, kLessEqual, kGreater, kGreaterEqual };

  Field field;
  Comparison comparison;
  std::int64_t number = 0;  // bytes, seconds, an id, or a HOQFileType::Kind
  std::string pattern;      // of kName, as fnmatch(3) takes it
};

/// What the entries of a listing must be: all conditions at once.
///
/// A condition is tested twice where that helps: the Filer leaves out what its filter record can
/// express, which saves work, and the answer is looked at once more, since that record cannot
/// express everything and never leaves out a directory.
class Conditions {
 public:
  /// Reads FIELD OP VALUE texts. Throws CommandError(kExitUsage) with a line about the first that
  /// is not one. User and group names are looked up on this machine.
  explicit Conditions(const std::vector<std::string>& texts);

  bool empty() const { return conditions_.empty(); }

  /// Whether a record of an answer meets every condition that the answer can tell.
  bool matches(const HOQFileType& record) const;

  /// The records that leave out, of anything but directories, nothing that matches() would keep.
  std::vector<HOQFileFilter> filters() const { return filtersOf(false); }
  /// Those of conditions that only the Filer can test (ctime).
  std::vector<HOQFileFilter> indispensableFilters() const { return filtersOf(true); }

 private:
  std::vector<HOQFileFilter> filtersOf(bool indispensableOnly) const;

  std::vector<Condition> conditions_;
};

}  // namespace HOQ::cli
