#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "contents/Digest.h"
#include "contents/Side.h"

namespace HOQ::cli {

/// SHA-256 of the first `bytes` of a file, read piece by piece. Nothing where the file ends before.
/// Throws SideError where it cannot be read.
std::optional<Digest> digestOfBeginning(Side& side, const std::string& path, std::uint64_t bytes);

/// The digest of the first `bytes` of both files, when they are the same ones: the two are read
/// beside each other. Nothing: they differ, or one is shorter.
std::optional<Digest> sameBeginning(Side& one, const std::string& path, Side& other,
                                    const std::string& otherPath, std::uint64_t bytes);

}  // namespace HOQ::cli
