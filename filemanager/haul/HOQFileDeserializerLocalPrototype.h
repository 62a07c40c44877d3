#pragma once

#include <sys/types.h>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <string>
#include <utility>
#include <vector>

#include <hoq/HOQHaulSerializerBaseLocalPrototype.h>

#include "haul/HOQFileDeserializerParams.h"
#include "haul/HOQFileDeserializerPrototype.h"
#include "haul/HOQFileReceiver.h"

namespace HOQ {

/// The receiving end on this node: makes a directory, or a regular file whose contents a thread of
/// its own receives. One transfer. finish() must be called before the object goes.
class HOQFileDeserializerLocalPrototype : public HOQFileDeserializerPrototype,
                                          public HOQHaulSerializerBaseLocalPrototype {
 public:
  /// The provider is not used.
  explicit HOQFileDeserializerLocalPrototype(HOQAccessProviderPtr access);
  ~HOQFileDeserializerLocalPrototype() override;

  /// Makes the item, and for a regular file starts the thread. The overwrite bit lets an item that
  /// is no directory be removed first, unless it is the very file that is to be sent. 0, or a code
  /// with the error text set.
  int startCopying(HOQChannelEndPtr end) override;

  /// Waits for the thread. Its code: 0, although the file may not be whole (the error text is then
  /// set), or 1 when not even its size came. -1: no thread runs.
  int waitCopyingFinish() override;

  /// Ends a thread that still runs, and removes a file that was made and is not whole: -1 then,
  /// with the error text set. What such a file replaced is lost.
  int finish() override;

  HOQHaulParamsPtr createParams() const override;
  std::vector<HOQRequiredElement> requiredElements() const override;
  int readParams(const HOQMessageIterator& it, HOQHaulSerializerBaseParams& params) const override;

 private:
  using FileId = std::pair<dev_t, ino_t>;

  boost::shared_ptr<HOQFileDeserializerParams> params() const;
  int prepare(HOQChannelEndPtr end);
  int findPlace();
  int refuseExisting();
  int mergeInto(const HOQChannelEndPtr& end);
  int removeExisting();
  int makeDirectory(bool exists);
  int makeFile(HOQChannelEndPtr end);
  FileId idOfPlace();
  void removeFile();

  HOQFileReceiver receiver;
  boost::shared_ptr<HOQFileRoutine> routine;  // of the destination; empty until startCopying()
  bool madeFile = false;                      // by this transfer
  FileId fileId;                              // of what it made; none where it could not be told
};

}  // namespace HOQ
