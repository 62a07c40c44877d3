#include "haul/HOQFileDeserializerParams.h"

namespace HOQ {

HOQFileDeserializerParams::HOQFileDeserializerParams(const std::string& directory,
                                                     const std::string& destination,
                                                     const HOQFilerOptions& requestOptions,
                                                     int itemDepth, const std::string& itemName,
                                                     bool hasContents)
    : cwd(directory),
      dstPath(destination),
      options(requestOptions),
      depth(itemDepth),
      name(itemName),
      isRegular(hasContents) {}

HOQFileDeserializerParams::~HOQFileDeserializerParams() = default;

int HOQFileDeserializerParams::Writer::operator()(HOQMessageIterator& it,
                                                  const HOQFileDeserializerParams& params) const {
  (void)it.putString(params.cwd, kCwd);
  (void)it.putPath(params.dstPath, kDstPath);
  (void)it.putObj(params.options, kOptions);
  (void)it.putInt(params.depth, kDepth);
  (void)it.putString(params.name, kName);
  (void)it.putObj(params.security);
  if (params.isRegular) (void)it.putEmpty(kIsRegular);
  return 0;
}

int HOQFileDeserializerParams::Reader::operator()(const HOQMessageIterator& it,
                                                  HOQFileDeserializerParams& params) const {
  (void)it.getString(params.cwd, kCwd);
  (void)it.getObject<std::string, HOQFilePathReader>(params.dstPath, HOQFilePathReader(), kDstPath);
  (void)it.getObj(params.options, kOptions);
  (void)it.getInt(params.depth, kDepth);
  (void)it.getString(params.name, kName);
  (void)it.getObj(params.security);
  params.isRegular = it.find(kIsRegular) == 0;
  return 0;
}

}  // namespace HOQ
