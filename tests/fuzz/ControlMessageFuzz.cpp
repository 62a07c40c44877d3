// Whatever the other end of a control socket sends: it is refused, or is a message that goes
// through encoding and decoding unchanged.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "control/Message.h"

using namespace HOQ::agent;

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void decodeAs(Sender sender, std::string_view bytes) {
  const Decoded decoded = decode(bytes, sender);
  if (!decoded.error.empty()) return;
  require(kindOf(decoded.message).sender == sender);
  const std::string again = encode(decoded.message);
  require(again == bytes);
  require(decode(again, sender).message == decoded.message);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  for (const Sender sender : {Sender::Front, Sender::Worker, Sender::Starter, Sender::Spawner}) {
    decodeAs(sender, bytes);
  }
  return 0;
}
