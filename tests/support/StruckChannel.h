#pragma once

#include <hoq/HOQChannelPrototype.h>

#include <string>

namespace HOQ::test {

/// Opens channels in memory with the limits of the HaulWorld, which is asked at each opening
/// ("connect"), and at each "read" and "write" of their ends, whether it fails. Empty, with the
/// error text as the world has it, when `call`, the making of the connector, is struck.
HOQConnectorPtr newStruckConnector(const std::string& call);

}  // namespace HOQ::test
