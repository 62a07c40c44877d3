#pragma once

#include <cstddef>

#include <hoq/HOQExport.h>
#include <hoq/HOQFileTransferInfo.h>

namespace HOQ {

/// A file, or a piece of one, that a client asks for: `size` bytes from `offset` on, at most 512
/// KiB of them. A size that is not known becomes what is left of the file there.
class HOQ_EXPORT HOQFileDownloadInfo : public HOQFileTransferInfo {
 public:
  using HOQFileTransferInfo::HOQFileTransferInfo;
  ~HOQFileDownloadInfo() override;

  /// Takes the next `count` bytes, which are valid during the call. Other than 0: cannot.
  virtual int append(const char* bytes, std::size_t count) = 0;

  /// Here: the path.
  std::string getSource() const override;
  /// Here: unknown, an empty text.
  std::string getDestination() const override;
};

}  // namespace HOQ
