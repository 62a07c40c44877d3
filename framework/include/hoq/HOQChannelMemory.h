#pragma once

#include <chrono>
#include <cstddef>

#include <hoq/HOQChannelPrototype.h>

namespace HOQ {

/// How much a channel may hold, and how long it may stand still.
struct HOQChannelLimits {
  std::size_t bytes = std::size_t{1} << 20;  // in each direction
  std::chrono::milliseconds idle{60000};     // no byte passed: the waiting operation fails
};

/// The limits that channels of this process are made with where nothing else is said. Set once,
/// before the first transfer.
HOQ_EXPORT void setChannelLimits(const HOQChannelLimits& limits);
HOQ_EXPORT const HOQChannelLimits& channelLimits();

/// A channel whose two ends are in this process. Bytes pass both ways. What was written before an
/// end was dropped is still read at the other; then comes the failure.
HOQ_EXPORT HOQChannelPtr newChannelMemory(const HOQChannelLimits& limits = channelLimits());

/// Opens such channels, whatever the connection.
HOQ_EXPORT HOQConnectorPtr newConnectorMemory(const HOQChannelLimits& limits = channelLimits());

}  // namespace HOQ
