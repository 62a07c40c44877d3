// Whatever a node sends as the parameters of a transfer's end: it is refused with a text, or makes
// an end, which then refuses stages that are out of order. Nothing is carried.

#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQStageService.h>
#include <hoq/v1/records.pb.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "TransferFactories.h"
#include "codec/Elements.h"

using namespace HOQ;

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

std::string bytesOf(const HOQMessage& message) {
  hoq::v1::ElementMessage wire;
  require(transport::toWire(message, wire));
  return wire.SerializeAsString();
}

/// What was read is what is written, and reading that makes the same of it.
void throughTheWire(const HOQMessage& message) {
  hoq::v1::ElementMessage wire;
  const std::string bytes = bytesOf(message);
  require(wire.ParseFromString(bytes));
  HOQMessage again;
  require(transport::fromWire(wire, again));
  require(bytesOf(again) == bytes);
}

void createEnd(const char* functional, HOQMessage message) {
  HOQStageService service;
  if (service.create(functional, message) != 0) {
    require(!getErrorMessage().empty());
    require(getErrorMessage().find('\n') == std::string::npos);
    require(service.call("copy", HOQChannelEndPtr()) != 0);
  }
  require(service.call("wait_copying_finish", HOQChannelEndPtr()) != 0);  // nothing was started
  require(!getErrorMessage().empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TransferFactories<> factories;
  static const HOQAccessChecker::ClientContextPtr client(new HOQClientContext("f", true, true));
  const HOQAccessChecker::Scope scope(client);

  hoq::v1::ElementMessage wire;
  HOQMessage message;
  if (!wire.ParseFromArray(data, static_cast<int>(size))) return -1;
  if (!transport::fromWire(wire, message)) return 0;
  require(!message.isTooDeep());
  throughTheWire(message);
  createEnd("hoqfile_serializer", message);
  createEnd("hoqfile_deserializer", message);
  return 0;
}
