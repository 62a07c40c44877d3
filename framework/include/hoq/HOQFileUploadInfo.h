#pragma once

#include <cstddef>

#include <hoq/HOQExport.h>
#include <hoq/HOQFileTransferInfo.h>

namespace HOQ {

/// A file, or a piece of one, that a client sends. `size` is how much of it there is; `offset` 0 or
/// below: the whole file, which is made or, with the overwrite bit, emptied; above: the piece lies
/// there.
class HOQ_EXPORT HOQFileUploadInfo : public HOQFileTransferInfo {
 public:
  using HOQFileTransferInfo::HOQFileTransferInfo;
  ~HOQFileUploadInfo() override;

  /// The next `count` bytes, in `block`, which stays the record's and is valid until its next call.
  /// Other than 0: there are not as many, or they cannot be had.
  virtual int data(std::size_t count, const char*& block) = 0;

  /// Here: unknown, an empty text.
  std::string getSource() const override;
  /// Here: the path.
  std::string getDestination() const override;
};

}  // namespace HOQ
