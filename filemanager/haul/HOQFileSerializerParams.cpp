#include "haul/HOQFileSerializerParams.h"

namespace HOQ {

HOQFileSerializerParams::HOQFileSerializerParams(const std::string& sourcePath,
                                                 const HOQFilerOptions& requestOptions)
    : srcPath(sourcePath), options(requestOptions) {}

HOQFileSerializerParams::~HOQFileSerializerParams() = default;

int HOQFileSerializerParams::Writer::operator()(HOQMessageIterator& it,
                                                const HOQFileSerializerParams& params) const {
  (void)it.putString(params.srcPath, kSrcPath);
  (void)it.putObj(params.options, kOptions);
  return 0;
}

int HOQFileSerializerParams::Reader::operator()(const HOQMessageIterator& it,
                                                HOQFileSerializerParams& params) const {
  (void)it.getString(params.srcPath, kSrcPath);
  (void)it.getObj(params.options, kOptions);
  return 0;
}

}  // namespace HOQ
