#pragma once

#include <sys/types.h>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <utility>
#include <vector>

#include <hoq/HOQHaulSerializerBaseLocalPrototype.h>

#include "haul/HOQFileSender.h"
#include "haul/HOQFileSerializerParams.h"
#include "haul/HOQFileSerializerPrototype.h"

namespace HOQ {

/// The sending end on this node. One transfer.
class HOQFileSerializerLocalPrototype : public HOQFileSerializerPrototype,
                                        public HOQHaulSerializerBaseLocalPrototype {
 public:
  explicit HOQFileSerializerLocalPrototype(HOQAccessProviderPtr access);
  ~HOQFileSerializerLocalPrototype() override;

  /// Holds the file that is meant: the receiving end, should it be on the same file system, may put
  /// its own in that one's place.
  int create() override;

  /// HOQFileSender's code for the file, or -1 when another has taken its place; with one other than
  /// 0, `end` is given up. The end is let go by finish().
  int copy(HOQChannelEndPtr end) override;
  int finish() override;

  HOQHaulParamsPtr createParams() const override;
  std::vector<HOQRequiredElement> requiredElements() const override;
  int readParams(const HOQMessageIterator& it, HOQHaulSerializerBaseParams& params) const override;

 private:
  using FileId = std::pair<dev_t, ino_t>;

  boost::shared_ptr<HOQFileSerializerParams> params() const;
  int send(const HOQChannelEndPtr& end, const boost::shared_ptr<HOQFileRoutine>& routine);
  void letGo();
  static FileId idOf(HOQFileRoutine& routine);

  HOQFileSender sender;
  boost::shared_ptr<HOQFileRoutine> held;  // empty but between create() and copy()
  FileId heldId;
};

}  // namespace HOQ
