#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <vector>

#include <hoq/HOQExport.h>

namespace HOQ {

struct HOQFileType;

/// What an answer can consist of, one operation for each kind. A host that sends answers on
/// implements it; `tag` is the number under which the answer stands in its message.
class HOQ_EXPORT HOQMsgSink {
 public:
  using FileTypes = std::vector<boost::shared_ptr<HOQFileType>>;

  virtual ~HOQMsgSink();

  /// `records` stay the caller's and are valid during the call.
  virtual void fileTypes(int tag, const FileTypes& records) = 0;
};

/// An answer that waits to be written, once, by whoever delivers it.
class HOQ_EXPORT HOQMsgWriter {
 public:
  virtual ~HOQMsgWriter();

  /// Hands the answer to the sink's operation for its kind.
  virtual void write(HOQMsgSink& sink) const = 0;
};

/// A writer of `records` under `tag`. The records are not copied and must outlive the writer,
/// which the caller owns until it hands it to HOQRequestLocal::endCommandWithAnswer.
[[nodiscard]] HOQ_EXPORT HOQMsgWriter* newHOQWriterData(const HOQMsgSink::FileTypes* records,
                                                        int tag);

}  // namespace HOQ
