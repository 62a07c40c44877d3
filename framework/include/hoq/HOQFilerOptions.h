#pragma once

#include <hoq/HOQExport.h>

namespace HOQ {

class HOQMessageIterator;

/// The options of a Filer request: one set of bits. Bits above the named ones are carried along.
struct HOQFilerOptions {
  enum Bit : int {
    kOverwrite = 0x1,       // an existing target may be replaced
    kRecursive = 0x2,       // directories are entered
    kFollowLinks = 0x4,     // links stand for what they lead to
    kWildcards = 0x8,       // paths are patterns of "*[]?"
    kSumSizes = 0x10,       // directories carry the size of what is beneath them
    kOneFileSystem = 0x20,  // directories on other devices are not entered
    kSymbolicLink = 0x40,   // link makes a symbolic link
  };

  HOQFilerOptions(int bits) : flags(bits) {}

  bool has(Bit bit) const { return (flags & bit) != 0; }

  /// The element of a message that carries the bits.
  static constexpr int kFlagsElement = 1261;

  /// Always 0: what is not there stays as it was.
  struct HOQ_EXPORT Writer {
    int operator()(HOQMessageIterator& it, const HOQFilerOptions& options) const;
  };
  struct HOQ_EXPORT Reader {
    int operator()(const HOQMessageIterator& it, HOQFilerOptions& options) const;
  };

  int flags;
};

}  // namespace HOQ
