#pragma once

#include <cstddef>

#include <hoq/HOQFileType.h>

namespace HOQ::cli {

/// Takes the records of a listing as they come, in place of a list that holds them. One thread.
class RecordTaker {
 public:
  virtual ~RecordTaker() = default;

  /// Whether what is below the top level is to come by itself, before the directory that it is in.
  virtual bool takesTrees() const = 0;

  /// The next record, `level` directories below the top level. It may come with what is below it.
  virtual void take(const HOQFileType& record, std::size_t level) = 0;

  /// Forgets everything, for a listing that begins anew.
  virtual void clear() = 0;
};

}  // namespace HOQ::cli
