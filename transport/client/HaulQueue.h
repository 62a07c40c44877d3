#pragma once

#include <hoq/v1/haul.pb.h>

#include <deque>
#include <memory>
#include <optional>
#include <string>

#include <hoq/HOQHaulQueue.h>

#include "client/Link.h"

namespace HOQ::transport {

/// Transfers to a node that go whole, on a stream of their own.
class HaulQueue final : public HOQHaulQueue {
 public:
  HaulQueue(std::shared_ptr<Links> links, std::string address, std::string functional);
  ~HaulQueue() override;

  int send(const HOQMessage& params, std::optional<std::string> contents) override;
  HOQHaulOutcome await() override;

 private:
  bool open();
  bool sendAgain();
  HOQHaulOutcome lost(const std::string& text);

  const std::shared_ptr<Links> links_;
  const std::string address_;
  const std::string functional_;
  LinkPtr link_;
  std::shared_ptr<HaulStream> stream_;
  /// What is under way: a node may end a stream that seems idle before it has seen all of it.
  std::deque<hoq::v1::HaulRequest::Whole> sent_;
  bool isAgain_ = false;    // sent again, and no outcome since
  bool hasFailed_ = false;  // then the stream takes no more
  NodeOutcome unreachable_;
};

}  // namespace HOQ::transport
