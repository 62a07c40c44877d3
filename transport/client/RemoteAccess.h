#pragma once

#include <memory>
#include <string>

#include <hoq/HOQAccessAgentPrototype.h>

#include "client/Link.h"

namespace HOQ::transport {

/// The way to a node's ends of transfers. One thread until it is connected, then any.
class RemoteAccess final : public HOQAccessAgentPrototype {
 public:
  explicit RemoteAccess(std::shared_ptr<Links> links) : links_(std::move(links)) {}

  HOQEID getEID() const override { return eid_; }
  int initializeSync(const HOQConnectionInfo& connection, HOQRequestHandlerPtr progress) override;
  HOQStageSessionPtr openSession(const std::string& name) override;
  HOQHaulQueuePtr openQueue(const std::string& name) override;

 private:
  const std::shared_ptr<Links> links_;
  std::string address_;
  HOQEID eid_;
};

/// Makes them.
class RemoteTransport final : public HOQTransport {
 public:
  explicit RemoteTransport(std::shared_ptr<Links> links) : links_(std::move(links)) {}
  HOQAccessAgentPtr createAgent() override { return HOQAccessAgentPtr(new RemoteAccess(links_)); }

 private:
  const std::shared_ptr<Links> links_;
};

}  // namespace HOQ::transport
