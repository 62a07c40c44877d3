#pragma once

#include "tls/Result.h"

namespace HOQ::tls {

/// What a failure of OpenSSL means: kUntrusted where the other side refused our certificate or
/// showed none, kProtocol where it does not speak as we do, and what to look at.
/// `code` is ERR_peek_error()'s; `shaking`: the handshake had not ended on our side.
Error adviceOn(unsigned long code, bool shaking);

}  // namespace HOQ::tls
