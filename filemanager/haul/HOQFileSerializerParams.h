#pragma once

#include <string>

#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQHaulSerializerBasePrototype.h>
#include <hoq/HOQMessageIterator.h>

namespace HOQ {

/// What the sending end of a transfer is told: which item to read.
class HOQFileSerializerParams : public HOQHaulSerializerBaseParams {
 public:
  HOQFileSerializerParams(const std::string& sourcePath, const HOQFilerOptions& requestOptions);
  ~HOQFileSerializerParams() override;

  /// Numbers of the record's elements in a message between nodes.
  enum Element : int {
    kSrcPath = 1156,  // string
    kOptions = 1260,  // child
  };

  /// Puts the elements. 0, whatever becomes of them.
  struct Writer {
    int operator()(HOQMessageIterator& it, const HOQFileSerializerParams& params) const;
  };
  /// Gets them; one that is missing or of another kind leaves its field as it was. 0.
  struct Reader {
    int operator()(const HOQMessageIterator& it, HOQFileSerializerParams& params) const;
  };

  std::string srcPath;      // full path on the sending node
  HOQFilerOptions options;  // carried along; the sending end does not look at them
};

}  // namespace HOQ
