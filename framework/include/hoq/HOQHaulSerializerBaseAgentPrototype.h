#pragma once

#include <optional>
#include <string>

#include <hoq/HOQExport.h>
#include <hoq/HOQHaulQueue.h>
#include <hoq/HOQHaulSerializerBasePrototype.h>
#include <hoq/HOQMessageIterator.h>
#include <hoq/HOQRequestAgent.h>
#include <hoq/HOQStageSession.h>

namespace HOQ {

/// Stands for an end of a transfer on another node: each stage becomes a call there.
class HOQ_EXPORT HOQHaulSerializerBaseAgentPrototype
    : public HOQRequestAgent,
      virtual public HOQHaulSerializerBasePrototype {
 public:
  /// `functional`: the name by which the other node knows the object. `flags`: none is defined.
  HOQHaulSerializerBaseAgentPrototype(const HOQEID& eid, HOQAccessProviderPtr access,
                                      const std::string& functional, int flags);
  ~HOQHaulSerializerBaseAgentPrototype() override;

  int init(const HOQConnectionInfo& connection, HOQHaulParamsPtr params) override;
  int create() override;
  int finish() override;
  HOQConnectorPtr createConnectorFromSelf() override;

  /// Instead of create(), the stages and finish(): sends the transfer behind those that are under
  /// way in `queue`, which is opened if it is empty. -1 when that cannot be done.
  int sendWhole(HOQHaulQueuePtr& queue, std::optional<std::string> contents);

  /// The first code other than 0 that a call to the other node came back with; 0: none yet.
  int firstFailure() const { return firstFailure_; }

 protected:
  /// The parameters into, and out of, a stage message. 0, or non-zero on failure.
  virtual int serializeParams(HOQHaulParamsPtr params, HOQMessageIterator* it) = 0;
  virtual int deserializeParams(const HOQMessageIterator* it, HOQHaulParamsPtr params) = 0;

  /// Runs the stage there and returns its code; -1 with the error text set when there is no
  /// session.
  int callStage(const char* stage);
  int callStageWithHandle(const char* stage, HOQChannelEndPtr end);

 private:
  int putParams(HOQMessage& message);
  int outcome(int code, const char* call);

  const std::string functional_;
  HOQStageSessionPtr session_;
  int firstFailure_ = 0;
};

}  // namespace HOQ
