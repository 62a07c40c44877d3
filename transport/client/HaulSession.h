#pragma once

#include <memory>
#include <string>

#include <hoq/HOQStageSession.h>

#include "client/Link.h"

namespace HOQ::transport {

class SessionChannel;

/// An end of a transfer on a node: a transfer on one of the connection's streams, which waits for
/// the next one afterwards.
class HaulSession final : public HOQStageSession {
 public:
  HaulSession(std::shared_ptr<Links> links, std::string address, std::string functional);
  ~HaulSession() override;

  int create(const HOQMessage& params) override;
  HOQConnectorPtr connector() override;
  int call(const std::string& stage) override;
  int callWithHandle(const std::string& stage, HOQChannelEndPtr end) override;
  int finish() override;

  /// For the connector.
  HOQChannelPtr connect();

 private:
  int ready();
  int begin(bool freshStream);
  int run(const std::string& stage, bool withChannel);
  int lost(const std::string& text);

  const std::shared_ptr<Links> links_;
  const std::string address_;
  const std::string functional_;
  HOQMessage params_;
  bool created_ = false;
  bool answered_ = false;  // a stage of this session
  LinkPtr link_;
  std::shared_ptr<HaulStream> stream_;
  std::shared_ptr<SessionChannel> channel_;
};

}  // namespace HOQ::transport
