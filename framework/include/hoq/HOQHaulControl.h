#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <string>

#include <hoq/HOQAccessProviderPrototype.h>
#include <hoq/HOQChannelPrototype.h>
#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQExport.h>
#include <hoq/HOQFunctional.h>
#include <hoq/HOQHaulDeserializerPrototype.h>
#include <hoq/HOQHaulQueue.h>
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

  /// Starts the transfer of a small item behind those that are under way, without waiting: what
  /// the sending end sends is taken at once, and the other node begins with it when those before
  /// it have come to a good end. Then 0, and settle() will tell the outcome. Anything else: nothing
  /// has happened, and when nothing is under way any more, start() will do, and tell of failures.
  ///
  /// `contents`: whether the item has any, of which at most kMostAhead bytes are taken.
  int goAhead(HOQHaulParamsPtr sourceParams, const HOQConnectionInfo& destination,
              HOQHaulParamsPtr destinationParams, bool contents);
  static constexpr std::size_t kMostAhead = std::size_t{64} << 10;

  /// How many are under way. Whoever lets it grow waits for the first of them now and then.
  std::size_t underWay() const { return underWay_; }

  /// Waits for the oldest that is under way. Its code is 0 as start()'s would be, kNodeUnreachable
  /// or kNodeRefused where that is it, or what the stage returned that failed; what was behind a
  /// failure is not under way any more, and was not begun. There must be one.
  HOQHaulOutcome settle();

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

  int takeAhead(const HOQHaulParamsPtr& params, std::string& contents);
  int setUp(const HOQHaulParamsPtr& sourceParams, const HOQHaulParamsPtr& destinationParams);

  HOQHaulQueuePtr ahead_;  // empty: none was needed yet, or the last one has failed
  std::size_t underWay_ = 0;
  bool mayGoAhead_ = true;  // as far as is known
};

}  // namespace HOQ
