#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <string>

#include <hoq/HOQEID.h>
#include <hoq/HOQHaulControl.h>

namespace HOQ {

/// Drives the transfers of files and directories, one item at a time.
class HOQFileControl : public HOQHaulControl {
 public:
  explicit HOQFileControl(HOQAccessProviderPtr access);
  ~HOQFileControl() override;

  /// Runs one item between the two ends. 0; -1: no channel; -2: the receiving end did not start;
  /// -3: the sending end failed; -4: the receiving end failed while it finished. The end that
  /// failed set the error text. After -3 and -4 the receiving end may still be at work.
  int process() override;

  /// What the transfer of an item that went ahead came to, as start() would have it.
  static int codeOf(const HOQHaulOutcome& outcome);

  /// The end on the source node; empty, with the error text set, where none is to be had.
  boost::intrusive_ptr<HOQHaulSerializerPrototype> createSerializer() override;

  /// The end on the destination node, which is connected to where that is needed, and stays so for
  /// later items, as long as they go to the same target. Empty without a destination, and, with the
  /// error text set, where it cannot be reached.
  boost::intrusive_ptr<HOQHaulDeserializerPrototype> createDeserializer() override;

  /// Names the two nodes and the ways to them. -1, with the error text set and nothing changed,
  /// when one of them is not valid.
  virtual int setAccess(const HOQEID& source, const HOQAccessProviderPtr& sourceAccess,
                        const HOQEID& destination, const HOQAccessProviderPtr& destinationAccess);

  virtual HOQHaulControl* getThis() { return this; }

 private:
  bool connectDestination();

  HOQEID srcEid = HOQEID::EID_INVALID;
  HOQEID dstEid;
  HOQAccessProviderPtr srcAccess;
  HOQAccessProviderPtr dstAccess;
  std::string dstTarget;  // that dstAccess was made for; empty where setAccess() gave it
};

}  // namespace HOQ
