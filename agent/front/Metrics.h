#pragma once

#include <cstddef>
#include <string>

#include "front/Tally.h"
#include "front/Workers.h"
#include "tls/TlsPump.h"

namespace HOQ::agent {

/// What there is at this moment, besides what Tally has counted.
struct Levels {
  std::size_t connections = 0;
  std::size_t handshaking = 0;
  std::size_t workers = 0;
  tls::TlsPump::Counters pump;
};

/// The metrics in Prometheus' text format.
std::string metricsText(const Tally& tally, const Levels& levels, const Workers& workers);

}  // namespace HOQ::agent
