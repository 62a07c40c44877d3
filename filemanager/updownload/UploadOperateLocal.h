#pragma once

#include <string>

#include <hoq/HOQFile.h>
#include <hoq/HOQFileUploadInfo.h>
#include <hoq/HOQFiler.h>

#include "updownload/HOQFileUpDownload.h"

namespace HOQ {

/// Writes what came with a request to files of this node.
class UploadOperateLocal : public HOQFileUpDownload<HOQFiler::UploadList> {
 public:
  /// `list` is not owned and must outlive this object.
  UploadOperateLocal(const std::string& workingDirectory, const HOQFiler::UploadList* list,
                     const HOQFilerOptions& options, const HOQSecurityAttributes& attributes,
                     HOQRequestHandlerPtr requestHandler);

  int openFile() override;
  int processFile() override;
  int closeFile() override;

  /// Where an item's file lies. A relative path starts at the working directory; where that is
  /// empty, at the root (kept).
  std::string addPath(const std::string& itemPath) const;

 private:
  /// Sets the current error text to the failure `cause` of writing. -1.
  int failWriting(int cause) const;

  std::string cwd;
  HOQFile file;
};

}  // namespace HOQ
