#include "operations/RemoteCopyMoveOperate.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <cerrno>
#include <utility>

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQResultCodes.h>

#include "engine/PathHelpers.h"
#include "engine/operatePaths.h"
#include "filer/HOQFilerLocal.h"
#include "haul/HOQFileControl.h"
#include "haul/HOQFileDeserializerParams.h"
#include "haul/HOQFileSerializerParams.h"

namespace HOQ {
namespace {

const std::string registrationName;  // of the transfer control: the default one

constexpr std::size_t kMostAhead = 64;  // items under way

}  // namespace

/// What the walk says, behind what is still to be said of the items before.
class RemoteCopyMoveOperate::OrderedNews final : public HOQRequestHandlerPrototype {
 public:
  OrderedNews(RemoteCopyMoveOperate& operation, HOQRequestHandlerPtr handler)
      : operation_(operation), handler_(std::move(handler)) {}

  void error(const HOQRequestErrorData& error) override {
    // After an item that has failed the walk would not have come here.
    if (operation_.settle() == 0) handler_->error(error);
  }
  void progress(const HOQRequestProgressData& progress) override { handler_->progress(progress); }
  void answer(const HOQMsgWriter& answer, const HOQRequestErrorData& outcome) override {
    handler_->answer(answer, outcome);
  }
  bool itemReached() override { return handler_->itemReached(); }

 private:
  RemoteCopyMoveOperate& operation_;
  const HOQRequestHandlerPtr handler_;
};

RemoteCopyMoveOperate::RemoteCopyMoveOperate(HOQFileRoutine& source, HOQFileRoutine& targetRoutine,
                                             const HOQFilerOptions& requestOptions,
                                             boost::shared_ptr<HOQHaulControl> transferControl,
                                             const HOQSecurityAttributes* requestAttributes)
    : FileOperate(source, requestOptions, true),
      target(targetRoutine),
      control(std::move(transferControl)),
      attributes(requestAttributes) {}

RemoteCopyMoveOperate::~RemoteCopyMoveOperate() = default;

int RemoteCopyMoveOperate::operate(const char* name) {
  if (failure != 0) return failure;
  const HOQFileRoutine& source = *path.routine;
  if (targetLength == -1)
    targetLength = static_cast<int>(target.path.size());
  else
    target.path.resize(static_cast<std::size_t>(targetLength));

  const int refused = refuseItem();
  if (refused != 0) return refused;
  // A pattern's last component may have been walked as the current path itself, without a name.
  const bool nameless = *name == '\0' && has(HOQFilerOptions::kWildcards);
  const std::string itemName = baseName(nameless ? source.path.c_str() : name);
  const bool isDirectory = source.isDir();
  const int failed = isDirectory ? transferDirectory(itemName) : transfer(itemName);
  if (failed != 0) return failed;

  if (isDirectory || depth >= 1) makePath(target.path, itemName);
  return isDirectory && !has(HOQFilerOptions::kRecursive) ? kDone : kDescend;
}

/// The other node can be given directories and regular files. What it cannot be given is refused
/// before it would remove what stands in the item's place.
int RemoteCopyMoveOperate::refuseItem() {
  const HOQFileRoutine& source = *path.routine;
  errno = 0;  // the system has nothing to say of these
  if (isLink()) return setPathLastError(kFailed, "Cannot copy link");
  if (!source.isDir() && !source.isReg())
    return setPathLastError(kFailed, "Cannot copy special file");
  if (source.isDir() && moveItems && !has(HOQFilerOptions::kRecursive))
    return setPathError(kFailed, "Cannot move directory without recursively flag");
  if (source.isDir() && ownCopies.contains({source.statBuffer.st_dev, source.statBuffer.st_ino}))
    return setPathError(kFailed, "Cannot copy directory into itself");
  return 0;
}

/// Whether the item would have to be sent as a link: also where links are followed, but for one to
/// a directory, since the sending end opens what it is told and does not follow. One that cannot
/// be told counts as a link.
bool RemoteCopyMoveOperate::isLink() {
  HOQFileRoutine& source = *path.routine;
  if (!source.followLinks || source.isDir()) return source.isLink();
  const struct stat before = source.statBuffer;
  source.followLinks = false;
  const bool link = source.stat() != 0 || source.isLink();
  source.followLinks = true;
  source.statBuffer = before;
  errno = 0;
  return link;
}

int RemoteCopyMoveOperate::transfer(const std::string& itemName) {
  const HOQFileRoutine& source = *path.routine;
  const auto sourceParams =
      boost::make_shared<HOQFileSerializerParams>(source.path, HOQFilerOptions(0));
  const auto targetParams = boost::make_shared<HOQFileDeserializerParams>(
      error.cwd, target.path, error.options, depth, itemName, source.isReg());
  targetParams->security =
      attributes ? *attributes : HOQSecurityAttributes(static_cast<int>(source.statBuffer.st_mode));
  if (source.isReg())
    targetParams->source = HOQFileDeserializerParams::identityOf(source.statBuffer);

  control->async(news ? news : error.handler, "");
  if (sendAhead(sourceParams, targetParams) == 0)
    return ahead.size() >= kMostAhead ? settleOldest() : 0;
  if (const int failed = settle(); failed != 0) return failed;
  if (error.handler) error.handler->progress(HOQRequestProgressData(source.path));
  error.lastError = control->start(HOQConnectionInfo(), sourceParams, *connection, targetParams);
  isConnected = isConnected || error.lastError == 0;
  if (error.lastError == 0) return 0;
  const int code = error.lastError > 0 ? kFailed : error.lastError;
  const std::string text = getErrorMessage();  // reporting may change it
  return setPathError(code, text.c_str());
}

/// Where nothing can be replaced, and one failure ends the walk.
bool RemoteCopyMoveOperate::mayGoAhead() const {
  const HOQFileRoutine& source = *path.routine;
  const bool isSmall =
      source.isDir() || (source.isReg() && source.statBuffer.st_size + 8 <=
                                               static_cast<off_t>(HOQHaulControl::kMostAhead));
  return news && isConnected && isSmall && !moveItems && !has(HOQFilerOptions::kOverwrite) &&
         !has(HOQFilerOptions::kWildcards);
}

/// 0: it is under way. Otherwise nothing has happened.
int RemoteCopyMoveOperate::sendAhead(
    const boost::shared_ptr<HOQFileSerializerParams>& sourceParams,
    const boost::shared_ptr<HOQFileDeserializerParams>& targetParams) {
  const HOQFileRoutine& source = *path.routine;
  if (!mayGoAhead() ||
      control->goAhead(sourceParams, *connection, targetParams, source.isReg()) != 0)
    return kFailed;
  ahead.push_back(source.path);
  if (ahead.size() == 1) tell(source.path);
  return 0;
}

void RemoteCopyMoveOperate::report(HOQRequestHandlerPtr handler) {
  news = std::move(handler);
  if (news) error.handler.reset(new OrderedNews(*this, news));
}

void RemoteCopyMoveOperate::tell(const std::string& itemPath) {
  news->progress(HOQRequestProgressData(itemPath));
}

int RemoteCopyMoveOperate::settle() {
  while (failure == 0 && !ahead.empty()) (void)settleOldest();
  return failure;
}

int RemoteCopyMoveOperate::settleOldest() {
  const HOQHaulOutcome outcome = control->settle();
  const std::string item = std::move(ahead.front());
  ahead.pop_front();
  if (outcome.code == 0) {
    if (!ahead.empty()) tell(ahead.front());
    return 0;
  }
  ahead.clear();
  failure = HOQFileControl::codeOf(outcome);
  const std::string walked = std::exchange(path.routine->path, item);
  error.handler.swap(news);
  (void)setPathError(failure, outcome.text.c_str());
  error.handler.swap(news);
  path.routine->path = walked;
  return failure;
}

/// The other node may share this one's file system, and the walk then meet what it sent, without an
/// end. What is at the item's place only after the transfer tells.
int RemoteCopyMoveOperate::transferDirectory(const std::string& itemName) {
  std::string inTarget = target.path;
  makePath(inTarget, itemName);
  std::vector<std::string> absent;
  struct stat found;
  for (const std::string& place : {target.path, inTarget})
    if (!examine(place, found)) absent.push_back(place);

  int failed = transfer(itemName);
  if (failed == 0) failed = settle();
  if (failed != 0) return failed;
  for (const std::string& place : absent)
    if (examine(place, found) && S_ISDIR(found.st_mode))
      ownCopies.emplace(found.st_dev, found.st_ino);
  return 0;
}

/// Looks at a place of the target's as if it were this node's.
bool RemoteCopyMoveOperate::examine(const std::string& place, struct stat& found) {
  HOQFileRoutine& source = *path.routine;
  const struct stat before = source.statBuffer;
  std::string item = isFullpath(place) ? place : error.cwd + place;
  source.path.swap(item);
  const bool isThere = source.stat() == 0;
  source.path.swap(item);
  found = source.statBuffer;
  source.statBuffer = before;
  return isThere;
}

int RemoteCopyMoveOperate::beforeDir(int& savedLength) {
  ++depth;
  if (path.scanning) return 0;  // its matches go where the pattern as a whole goes
  savedLength = targetLength;
  targetLength = -1;
  return 0;
}

int RemoteCopyMoveOperate::afterDir(int savedLength, int result) {
  --depth;
  if (path.scanning) return result;
  if (savedLength >= 0) {
    target.path.resize(static_cast<std::size_t>(savedLength));
    targetLength = -1;
  }
  if (result != 0 || !moveItems) return result;
  const int removed = path.routine->rmdir();
  return removed == 0 ? 0 : setPathLastError(removed, "Cannot remove item");
}

int HOQFilerLocal::copy(const Paths& paths, const HOQConnectionInfo& node,
                        const std::string& destination, const HOQFilerOptions& options,
                        const HOQSecurityAttributes* attributes) {
  beginCommand();
  const auto end = [this](int code) { return endCommand(HOQRequestErrorData(code, "")); };
  if (refused(HOQAccessChecker::kChange)) return end(kAccessRefused);
  const boost::shared_ptr<HOQHaulControl> control =
      HOQFunctionality<HOQHaulControlFactory>::kit().getFileControlLocal(getAccess(),
                                                                         registrationName);
  if (!control) return end(kNotProvided);
  const boost::shared_ptr<HOQFileRoutine> source = createRoutine(cwd);
  const boost::shared_ptr<HOQFileRoutine> target = createRoutine(destination);
  if (!source || !target) return end(kNoRoutine);
  RemoteCopyMoveOperate operation(*source, *target, options, control, attributes);
  operation.report(getProgressHandler());
  operation.connection = boost::make_shared<HOQConnectionInfo>(node);
  if (operation.error.setCwd(cwd) != 0) return end(kNoRoutine);
  (void)operatePaths(operation, paths, cwd);  // told item by item: kept
  (void)operation.settle();
  return end(0);
}

}  // namespace HOQ
