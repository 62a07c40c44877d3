#pragma once

#include <cstdint>
#include <string>

#include <hoq/HOQExport.h>

namespace HOQ {

/// One file, or one piece of a file, that an upload or a download carries: what is common to both.
///
/// The client makes the records of a request and keeps them; the request advances `offset` by what
/// it moved and, in a download, learns `size`. Used by the request's thread alone, one call at a
/// time. A call that fails leaves its reason in the thread's current error text (setErrorMessage).
class HOQ_EXPORT HOQFileTransferInfo {
 public:
  /// The value of a size that is not known yet; 0 says the same.
  static constexpr std::uint64_t kUnknownSize = 0xFFFFFFFFFFFFFFFF;

  HOQFileTransferInfo(std::string filePath, std::uint64_t bytes, std::int64_t start);
  HOQFileTransferInfo(const HOQFileTransferInfo&) = delete;
  HOQFileTransferInfo& operator=(const HOQFileTransferInfo&) = delete;
  virtual ~HOQFileTransferInfo();

  bool hasKnownSize() const { return size != 0 && size != kUnknownSize; }

  /// Before the first byte: 0, or other than 0 to refuse. Here: 0.
  virtual int start();
  /// After the last byte, and after a failure that comes once the file is open. Other than 0: the
  /// client's end could not finish, and the request fails. Here: 0.
  virtual int close();
  /// Instead of close(): the file could not be opened. Here: nothing.
  virtual void abort();

  /// Where the bytes come from and where they go, as progress records tell it.
  virtual std::string getSource() const = 0;
  virtual std::string getDestination() const = 0;

  std::string path;     // on the node
  std::uint64_t size;   // bytes
  std::int64_t offset;  // where in the file the first byte lies; 0 or below: at its start
};

}  // namespace HOQ
