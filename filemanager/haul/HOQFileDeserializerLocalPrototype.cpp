#include "haul/HOQFileDeserializerLocalPrototype.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <cerrno>
#include <cstring>

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQResultCodes.h>

#include "engine/FileError.h"
#include "filer/HOQFilerLocal.h"

namespace HOQ {
namespace {

constexpr int kTypeShift = 12;  // from a mode's file type bits to the type's number

}  // namespace

// Kept: unlike the sending end, the base is given no provider.
HOQFileDeserializerLocalPrototype::HOQFileDeserializerLocalPrototype(HOQAccessProviderPtr)
    : HOQHaulSerializerBaseLocalPrototype(HOQAccessProviderPtr()) {}

HOQFileDeserializerLocalPrototype::~HOQFileDeserializerLocalPrototype() = default;

boost::shared_ptr<HOQFileDeserializerParams> HOQFileDeserializerLocalPrototype::params() const {
  return boost::static_pointer_cast<HOQFileDeserializerParams>(getParams());
}

int HOQFileDeserializerLocalPrototype::startCopying(HOQChannelEndPtr end) {
  beginCommand();
  const int code = prepare(std::move(end));
  return endCommand(HOQRequestErrorData(code, ""));
}

int HOQFileDeserializerLocalPrototype::prepare(HOQChannelEndPtr end) {
  if (receiver.isRunning()) {
    setErrorMessage("A file is being received already");
    return kFailed;
  }
  if (!routine) routine = HOQFilerLocal(HOQAccessProviderPtr()).createRoutine(params()->dstPath);
  if (findPlace() != 0) return kFailed;
  const bool exists = routine->stat() == 0;  // kept: not asked again once it was removed
  if (exists) {
    const bool overwrite = params()->options.has(HOQFilerOptions::kOverwrite);
    const int refused = overwrite ? removeExisting() : refuseExisting();
    if (refused != 0) return refused;
    if (!overwrite) return mergeInto(end);
  }
  routine->securityAttributes = &params()->security;
  routine->statBuffer.st_mode = (routine->statBuffer.st_mode & S_IFMT) >> kTypeShift;
  return params()->isRegular ? makeFile(std::move(end)) : makeDirectory(exists);
}

/// Points the routine at the place of the item.
int HOQFileDeserializerLocalPrototype::findPlace() {
  std::string name;
  routine->convert(params()->name, name);
  FileError error(params()->options);
  if (error.setCwd(params()->cwd) != 0) return kFailed;
  if (error.getFullPath(params()->dstPath, routine->path) != 0) return kFailed;
  const bool isDirectory = routine->stat() == 0 && routine->isDir();
  if (isDirectory || params()->depth >= 1) HOQFileRoutine::makePath(routine->path, name.c_str());
  return 0;
}

/// A directory is merged into a directory; nothing else may be there.
int HOQFileDeserializerLocalPrototype::refuseExisting() {
  if (routine->isDir() && S_ISDIR(static_cast<mode_t>(params()->security.value))) return 0;
  setErrorMessage("Can't overwrite \"%s\"", routine->path);
  return kFailed;
}

/// Kept: the mode alone says what is merged. Contents that are announced all the same go nowhere,
/// so whoever sends them is told.
int HOQFileDeserializerLocalPrototype::mergeInto(const HOQChannelEndPtr& end) {
  if (params()->isRegular && end) end->giveUp("Can't overwrite \"" + routine->path + "\"");
  return 0;
}

int HOQFileDeserializerLocalPrototype::removeExisting() {
  if (routine->isDir()) return 0;
  const std::string& source = params()->source;
  if (!source.empty() && source == HOQFileDeserializerParams::identityOf(routine->statBuffer)) {
    setErrorMessage("Cannot copy file onto itself");
    return kFailed;
  }
  const int removed = routine->rmitem();
  const int cause = errno;
  if (removed != 0)
    setErrorMessage("\"%s\", %s: %s", routine->path, "Cannot remove file", std::strerror(cause));
  return removed;
}

/// Kept: where something else was removed, nothing is made.
int HOQFileDeserializerLocalPrototype::makeDirectory(bool exists) {
  if (exists) return 0;
  errno = 0;  // the routine reads it after a success as well
  const int made = routine->mkdir(nullptr);
  if (made != 0) setErrorMessage("Cannot create directory");
  return made;
}

/// Without the overwrite bit, since what was there is gone: a file that is there all the same is
/// another transfer's, and two that wrote into one would leave a mixture.
int HOQFileDeserializerLocalPrototype::makeFile(HOQChannelEndPtr end) {
  const int flags = params()->options.flags & ~HOQFilerOptions::kOverwrite;
  if (receiver.init(std::move(end), routine, HOQFilerOptions(flags)) != 0) return kFailed;
  madeFile = true;
  fileId = idOfPlace();
  const int failed = receiver.startReceiveData();
  if (failed == 0) return 0;
  setErrorMessage("Cannot start to receive: %s", std::strerror(failed));
  return kFailed;
}

HOQFileDeserializerLocalPrototype::FileId HOQFileDeserializerLocalPrototype::idOfPlace() {
  const struct stat before = routine->statBuffer;
  FileId id;
  if (routine->stat() == 0) id = FileId(routine->statBuffer.st_dev, routine->statBuffer.st_ino);
  routine->statBuffer = before;
  return id;
}

int HOQFileDeserializerLocalPrototype::waitCopyingFinish() {
  beginCommand();
  int code = kFailed;
  if (receiver.isRunning()) {
    code = receiver.waitFinish();
    // The thread's own error text is gone with it.
    if (!receiver.isWhole()) setErrorMessage("%s", receiver.whyNotWhole());
  } else {
    setErrorMessage("No file is being received");
  }
  return endCommand(HOQRequestErrorData(code, ""));
}

int HOQFileDeserializerLocalPrototype::finish() {
  if (receiver.isRunning()) {
    receiver.giveUp("The transfer was broken off");
    (void)receiver.waitFinish();
  }
  int code = 0;
  if (madeFile && !receiver.isWhole()) {
    code = kFailed;
    if (!receiver.whyNotWhole().empty()) setErrorMessage("%s", receiver.whyNotWhole());
    removeFile();
  }
  madeFile = false;
  receiver = HOQFileReceiver();
  routine.reset();
  const int ended = HOQHaulSerializerBaseLocalPrototype::finish();
  return code != 0 ? code : ended;
}

/// Removes the file, unless something else has taken its place meanwhile.
void HOQFileDeserializerLocalPrototype::removeFile() {
  if (routine->isOpened()) (void)routine->close();
  const FileId none;
  if (fileId != none && idOfPlace() == fileId) (void)routine->rmitem();
}

HOQHaulParamsPtr HOQFileDeserializerLocalPrototype::createParams() const {
  return boost::make_shared<HOQFileDeserializerParams>("", "", HOQFilerOptions(0), 0, "", false);
}

std::vector<HOQRequiredElement> HOQFileDeserializerLocalPrototype::requiredElements() const {
  using Kind = HOQMessageElement::Kind;
  using Params = HOQFileDeserializerParams;
  return {{Params::kCwd, Kind::kString},
          {Params::kDstPath, Kind::kPath},
          {Params::kOptions, Kind::kChild},
          {HOQFilerOptions::kFlagsElement, Kind::kInt, Params::kOptions},
          {Params::kDepth, Kind::kInt},
          {Params::kName, Kind::kString},
          {HOQSecurityAttributes::kModeElement, Kind::kInt}};
}

int HOQFileDeserializerLocalPrototype::readParams(const HOQMessageIterator& it,
                                                  HOQHaulSerializerBaseParams& params) const {
  return it.getObj(static_cast<HOQFileDeserializerParams&>(params));
}

}  // namespace HOQ
