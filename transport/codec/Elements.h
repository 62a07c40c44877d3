#pragma once

#include <hoq/HOQMessage.h>

namespace hoq::v1 {
class ElementMessage;
}

namespace HOQ::transport {

/// Messages in one another, at most.
constexpr int kDeepestMessage = 16;

/// A stage's parameters to the wire, and back. False: nested too deeply, or an element without a
/// number or a value; `message` is then not to be used.
[[nodiscard]] bool toWire(const HOQMessage& message, hoq::v1::ElementMessage& out);
[[nodiscard]] bool fromWire(const hoq::v1::ElementMessage& in, HOQMessage& message);

}  // namespace HOQ::transport
