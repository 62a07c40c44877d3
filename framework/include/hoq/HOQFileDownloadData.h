#pragma once

#include <string>

#include <hoq/HOQExport.h>
#include <hoq/HOQFileDownloadInfo.h>

namespace HOQ {

/// A download's record that keeps its bytes in memory.
class HOQ_EXPORT HOQFileDownloadData : public HOQFileDownloadInfo {
 public:
  using HOQFileDownloadInfo::HOQFileDownloadInfo;
  ~HOQFileDownloadData() override;

  /// Begins empty (again).
  int start() override;
  int append(const char* bytes, std::size_t count) override;

  std::string contents;
};

}  // namespace HOQ
