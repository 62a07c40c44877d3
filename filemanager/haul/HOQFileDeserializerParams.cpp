#include "haul/HOQFileDeserializerParams.h"

#include <hoq/HOQNodeIdentity.h>

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

std::string HOQFileDeserializerParams::identityOf(const struct stat& file) {
  const std::string& kernel = kernelName();
  if (kernel.empty()) return std::string();
  return kernel + ":" + std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino);
}

int HOQFileDeserializerParams::Writer::operator()(HOQMessageIterator& it,
                                                  const HOQFileDeserializerParams& params) const {
  (void)it.putString(params.cwd, kCwd);
  (void)it.putPath(params.dstPath, kDstPath);
  (void)it.putObj(params.options, kOptions);
  (void)it.putInt(params.depth, kDepth);
  (void)it.putString(params.name, kName);
  (void)it.putObj(params.security);
  if (params.isRegular) (void)it.putEmpty(kIsRegular);
  HOQMessageIterator child(it);
  if (!params.source.empty() && it.openChild(kSource, child))
    (void)child.putString(params.source, kIdentity);
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
  HOQMessageIterator child(it);
  if (it.findChild(kSource, child)) (void)child.getString(params.source, kIdentity);
  return 0;
}

}  // namespace HOQ
