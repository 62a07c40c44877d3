#pragma once

#include <sys/stat.h>

#include <string>

#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQHaulSerializerBasePrototype.h>
#include <hoq/HOQMessageIterator.h>
#include <hoq/HOQSecurityAttributes.h>

namespace HOQ {

/// What the receiving end of a transfer is told: where the item goes, and what it is.
class HOQFileDeserializerParams : public HOQHaulSerializerBaseParams {
 public:
  /// `security` becomes mode 0777; assign it afterwards.
  HOQFileDeserializerParams(const std::string& directory, const std::string& destination,
                            const HOQFilerOptions& requestOptions, int itemDepth,
                            const std::string& itemName, bool hasContents);
  ~HOQFileDeserializerParams() override;

  /// Numbers of the record's elements in a message between nodes. The elements of `security` stand
  /// beside these.
  enum Element : int {
    kCwd = 1157,        // string
    kDstPath = 1154,    // path
    kOptions = 1260,    // child
    kDepth = 1422,      // 32-bit integer
    kName = 1026,       // string
    kIsRegular = 1161,  // empty; absent: not a regular file
    kSource = 1423,     // child; absent: nothing is said of the file that is sent
    kIdentity = 1424,   // string within kSource
  };

  /// Puts the elements. 0, whatever becomes of them.
  struct Writer {
    int operator()(HOQMessageIterator& it, const HOQFileDeserializerParams& params) const;
  };
  /// Gets them; one that is missing or of another kind leaves its field as it was, but for
  /// `isRegular`, which says whether its element is there. 0.
  struct Reader {
    int operator()(const HOQMessageIterator& it, HOQFileDeserializerParams& params) const;
  };

  /// What a file is told by on whichever node looks at it, as far as they share a kernel: equal
  /// texts mean the same file. Empty where that cannot be said.
  static std::string identityOf(const struct stat& file);

  std::string cwd;      // where a relative dstPath starts
  std::string dstPath;  // the directory that receives the item, or the new item's own path
  HOQFilerOptions options;
  int depth;         // below the top item; 0: the top item itself
  std::string name;  // the last component of the source's path
  HOQSecurityAttributes security{0777};
  bool isRegular;      // its contents follow on the channel
  std::string source;  // identity of the file that is sent, which must not be removed for its copy
};

}  // namespace HOQ
