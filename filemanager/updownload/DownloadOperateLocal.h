#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <string>

#include <hoq/HOQFileDownloadInfo.h>
#include <hoq/HOQFiler.h>

#include "routine/HOQFileRoutine.h"
#include "updownload/HOQFileUpDownload.h"

namespace HOQ {

/// Reads files of this node into the items of a request, each in one piece.
class DownloadOperateLocal : public HOQFileUpDownload<HOQFiler::DownloadList> {
 public:
  /// `list` is not owned and must outlive this object. `source` is not empty and used by nobody
  /// else.
  DownloadOperateLocal(const std::string& workingDirectory, const HOQFiler::DownloadList* list,
                       const HOQFilerOptions& options, const HOQSecurityAttributes& attributes,
                       HOQRequestHandlerPtr requestHandler,
                       boost::shared_ptr<HOQFileRoutine> source);
  ~DownloadOperateLocal() override;

  int openFile() override;
  int processFile() override;
  int closeFile() override;

 private:
  int refuseFifo();
  int positionAndMeasure();
  int fail(const char* message, const std::string& path, const HOQRequestErrorData& cause);
  HOQRequestErrorData lastCause();
  char* pieceBuffer();

  std::string cwd;
  boost::shared_ptr<HOQFileRoutine> routine;
  boost::shared_ptr<char> buffer;  // empty until the first piece
};

}  // namespace HOQ
