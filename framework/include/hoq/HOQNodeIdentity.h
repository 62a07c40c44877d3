#pragma once

#include <string>

#include <hoq/HOQAccessProviderPrototype.h>
#include <hoq/HOQEID.h>
#include <hoq/HOQExport.h>

namespace HOQ {

/// The identifier of the environment that this process is: random, made at the first call, unless
/// the host has set its node's own.
HOQ_EXPORT HOQEID nodeEID();

/// For a host, before the first transfer.
HOQ_EXPORT void setNodeEID(const HOQEID& eid);

/// A fresh random one (RFC 4122, version 4).
HOQ_EXPORT HOQEID newEID();

/// As 32 hexadecimal digits, and back: a text of another form gives EID_INVALID.
HOQ_EXPORT std::string toText(const HOQEID& eid);
HOQ_EXPORT HOQEID eidFromText(const std::string& text);

/// Names the running kernel that this process is on: what it says of devices and inodes means the
/// same to every process that is told the same name. Empty where there is none.
HOQ_EXPORT const std::string& kernelName();

/// The provider of this process: it leads to nodeEID().
HOQ_EXPORT boost::intrusive_ptr<HOQAccessProviderPrototype> localAccess();

}  // namespace HOQ
