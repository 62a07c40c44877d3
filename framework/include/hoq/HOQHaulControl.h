#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <string>

#include <hoq/HOQAccessProviderPrototype.h>
#include <hoq/HOQChannelPrototype.h>
#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQExport.h>
#include <hoq/HOQFunctional.h>
#include <hoq/HOQHaulDeserializerPrototype.h>
#include <hoq/HOQHaulSerializerPrototype.h>
#include <hoq/HOQRequestModificatorLocal.h>

namespace HOQ {

/// Drives transfers from a source node to a destination node, one item at a time: it makes the two
/// ends, sets them up, and has the derived class run the item between them. One thread at a time.
class HOQ_EXPORT HOQHaulControl : public HOQRequestModificatorLocal<HOQHaulControl>,
                                  public HOQFunctional {
 public:
  explicit HOQHaulControl(HOQAccessProviderPtr access);
  ~HOQHaulControl() override;

  /// Runs the transfer of one item with fresh ends, and waits for it. `source` is this process,
  /// named so or by no target at all; any other is refused. A derived class may still make a
  /// serializer of another node, with the deserializer here; two ends on other nodes are refused.
  ///
  /// 0 only when every announced byte was received and written and both ends and the channel came
  /// to a clean close. Otherwise non-zero with the error text set: kNodeUnreachable or
  /// kNodeRefused where that is it, else process()'s code, or -1 where that was 0. Nothing of the
  /// transfer outlives the call: no thread, no descriptor, no object.
  int start(const HOQConnectionInfo& source, HOQHaulParamsPtr sourceParams,
            const HOQConnectionInfo& destination, HOQHaulParamsPtr destinationParams);

  /// Whether `connection` needs a connection of its own: 0 when it is this process, whose
  /// identifier goes to `eid`; else non-zero, and `eid` as it was.
  static int checkConnectionParams(const HOQConnectionInfo& connection, HOQEID& eid);

 protected:
  /// Runs the item between the ends that start() has set up. 0, or a negative code with the error
  /// text set by the end that failed.
  virtual int process() = 0;
  virtual boost::intrusive_ptr<HOQHaulSerializerPrototype> createSerializer() = 0;
  virtual boost::intrusive_ptr<HOQHaulDeserializerPrototype> createDeserializer() = 0;

  // What process() works with; set by start(), dropped when it returns.
  HOQConnectionInfo connection;  // of the destination, and of the channel
  boost::intrusive_ptr<HOQHaulSerializerPrototype> serializer;
  boost::intrusive_ptr<HOQHaulDeserializerPrototype> deserializer;
  HOQConnectorPtr connector;

 private:
  class Ending;

  int setUp(const HOQHaulParamsPtr& sourceParams, const HOQHaulParamsPtr& destinationParams);
};

}  // namespace HOQ
