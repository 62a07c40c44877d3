#pragma once

#include <string>

#include <hoq/HOQExport.h>

namespace HOQ {

/// Resolves ".", ".." and repeated separators of `path` in place, by its text alone.
///
/// An absolute path stays absolute and ends without a separator, except that the root is one. A
/// relative path stays relative: "." and "a/.." become empty, and ".." components that lead out of
/// it stay at its front. Returns 0, or -1 with `path` as it was when an absolute path climbs above
/// the root.
int HOQ_EXPORT canonizePath(std::string& path, char separator);

}  // namespace HOQ
