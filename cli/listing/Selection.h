#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <hoq/HOQFileType.h>

#include "Conditions.h"

namespace HOQ::cli {

/// One record of a listing, in its place.
struct Entry {
  std::uint64_t order;        // the name's first bytes: settles most comparisons
  const HOQFileType* record;  // not owned
  bool shown;                 // else it is there for what is below it
};

/// Says which records of a directory are shown, and sorts them by the bytes of their names.
class Selection {
 public:
  using Records = std::vector<boost::shared_ptr<HOQFileType>>;

  /// `all`: hidden names as well. `conditions` is not owned and must outlive this object.
  Selection(bool all, const Conditions& conditions) : all_(all), conditions_(conditions) {}

  enum class Place {
    kNone,
    kThere,  // not shown itself
    kShown,
  };

  /// `dots`: "." and ".." as well, where hidden names are shown and nothing is filtered. `tree`:
  /// directories that the conditions refuse are there, not shown.
  Place placeOf(const HOQFileType& record, bool dots, bool tree) const;

  /// Those that have a place, sorted.
  std::vector<Entry> of(const Records& records, bool dots, bool tree) const;

  bool filters() const { return !conditions_.empty(); }

 private:
  const bool all_;
  const Conditions& conditions_;
};

bool isDots(const std::string& name);

}  // namespace HOQ::cli
