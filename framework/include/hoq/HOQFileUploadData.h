#pragma once

#include <string>

#include <hoq/HOQExport.h>
#include <hoq/HOQFileUploadInfo.h>

namespace HOQ {

/// An upload's record with its bytes in memory.
class HOQ_EXPORT HOQFileUploadData : public HOQFileUploadInfo {
 public:
  using HOQFileUploadInfo::HOQFileUploadInfo;
  ~HOQFileUploadData() override;

  /// Begins with the first byte (again).
  int start() override;
  int data(std::size_t count, const char*& block) override;

  std::string contents;

 private:
  std::size_t taken_ = 0;
};

}  // namespace HOQ
