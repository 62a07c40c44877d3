#pragma once

#include <string>

#include "tls/Result.h"

namespace HOQ::agent {

/// The node's identifier, 32 hexadecimal digits: made at the first call and kept in the file "eid"
/// of the folder `state`, which is made where it is missing (its parent must exist). kUsage when
/// it can be neither read nor made, or the file holds something else.
tls::Result<std::string> nodeEidIn(const std::string& state);

}  // namespace HOQ::agent
