#include "operations/ListStatOperate.h"

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <cerrno>
#include <limits>

#include <hoq/HOQAssert.h>

#include "filer/HOQFilerLocal.h"
#include "routine/FilterMatch.h"
#include "routine/HOQFileRoutineLin.h"

namespace HOQ {
namespace {

constexpr signed char kRequestPath = -1;
constexpr signed char kDeepest = std::numeric_limits<signed char>::max();

/// Records that wait for each other's content types before they are handed over together.
constexpr std::size_t kTypedTogether = 64;

}  // namespace

ListStatOperate::ListStatOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions,
                                 bool statMode, FileTypes& answer)
    : FileOperate(routine, requestOptions, statMode),
      depth(statMode && !requestOptions.has(HOQFilerOptions::kRecursive) ? 0 : kRequestPath),
      result(&answer),
      linuxRoutine(dynamic_cast<HOQFileRoutineLin*>(&routine)) {
  if (linuxRoutine) linuxRoutine->deferContentTypes(&types);
}

ListStatOperate::~ListStatOperate() {
  if (linuxRoutine) linuxRoutine->deferContentTypes(nullptr);
}

ListStatOperate::FileTypes& ListStatOperate::fileList() {
  return dirStack.empty() ? *result : dirStack.back()->children;
}

int ListStatOperate::filtrate(const char* name) {
  const bool wanted = !only || depth != 0 || path.isDots(name) || *only == name;
  return wanted ? 0 : 1;
}

int ListStatOperate::operate(const char* name) {
  HOQFileRoutine& routine = *path.routine;
  entered = nullptr;
  if (stopped_)
    return error.lastError = kFailed;  // behind a pattern, where a failure stops nothing
  if (depth >= 0 && routine.path.empty()) return setPathError(-1, "Cannot stat non directory item");
  if (depth == kRequestPath) {
    if (path.statError != 0 || !routine.isDir())
      return setPathError(-1, "Cannot list/stat non directory item");
    return kDescend;
  }
  if (path.statError != 0) {
    const int cause = examineAgain();
    if (cause != 0) return *name ? leaveOut(cause) : kDone;  // the tail of a pattern: no match
  }
  if (depth == 0) topDevice = routine.statBuffer.st_dev;

  const int dots = path.isDots(name);
  if (dots != 0) return routine.filters ? kDone : operateDots(name, dots == 2);
  if (!routine.isDir() && !matchFilters()) return kDescend;
  routine.kindSuffices = asksForKinds();  // of the next entries: this one was within reach
  return record(name, false);
}

bool ListStatOperate::asksForKinds() const {
  constexpr unsigned kAsked = HOQFileType::kName | HOQFileType::kType | HOQFileType::kPermissions;
  const std::vector<HOQFileFilter>* filters = path.routine->filters;
  return kindsSuffice && (fields & ~kAsked) == 0 && (!filters || filters->empty()) &&
         !has(HOQFilerOptions::kSumSizes) && !has(HOQFilerOptions::kFollowLinks);
}

/// Of an entry that could not be examined: a link that leads nowhere is described as the link.
/// 0, or the error number.
int ListStatOperate::examineAgain() {
  HOQFileRoutine& routine = *path.routine;
  const int cause = path.statError;
  if (!routine.followLinks || (cause != ENOENT && cause != ENOTDIR)) return cause;
  routine.followLinks = false;
  const int again = routine.stat() == 0 ? 0 : errno;
  routine.followLinks = true;
  return again;
}

/// An entry that is gone is no entry. Any other failure is told, and the listing goes on.
int ListStatOperate::leaveOut(int cause) {
  if (cause != ENOENT) {
    errno = cause;
    setPathLastError(-1, "Cannot get information");
  }
  return kDone;
}

int ListStatOperate::operateDots(const char* name, bool isParent) {
  const bool inTree = has(HOQFilerOptions::kRecursive);
  const int known = isParent ? 2 : 1;  // from this depth on, the directory has a record already
  const std::size_t below = isParent ? 2 : 1;
  if (depth >= known && !inTree) return kDone;
  if (depth >= known && dirStack.size() >= below) {
    addCopyFileType(name, dirStack[dirStack.size() - below]);
    return kDone;
  }

  std::string& current = path.routine->path;
  const std::string whole = current;
  std::size_t length = whole.size() - (isParent ? 3 : 2);  // without "/.." or "/."
  if (isParent) {
    length = length == 0 ? std::string::npos : whole.rfind('/', length - 1);
    if (length == std::string::npos) return kDone;
  }
  const int cause = examineUpTo(length);
  const int code = cause == 0 ? record(name, true) : leaveOut(cause);
  current = whole;
  return code;
}

/// Points the routine at the first `length` characters of its path and examines that. 0, or the
/// error number.
int ListStatOperate::examineUpTo(std::size_t length) {
  path.routine->path.resize(length < 2 ? length + 1 : length);  // the root stays the root
  return path.routine->stat() == 0 ? 0 : errno;
}

int ListStatOperate::record(const char* name, bool isDots) {
  HOQFileRoutine& routine = *path.routine;
  const bool inTree = has(HOQFilerOptions::kRecursive);
  const bool isReported = depth == 0 || inTree || has(HOQFilerOptions::kWildcards);
  const boost::shared_ptr<HOQFileType> info =
      isReported ? boost::make_shared<HOQFileType>() : summed;
  const unsigned mask = depth > 0 && !inTree ? static_cast<unsigned>(HOQFileType::kSize) : fields;
  const int filled = routine.fill(*info, name, isDots, mask);
  if (filled < 0) return setPathLastError(filled, "Cannot get information");

  const bool isDir = routine.isDir();
  if (filled == 0 && !isDots && !isDir && depth >= 1) addToSum(*info);
  const bool isListed = isReported && (filled == 0 || isDir);
  if (isListed && append(info) != 0) return kFailed;

  const bool elsewhere = routine.statBuffer.st_dev != topDevice;
  if (elsewhere && has(HOQFilerOptions::kOneFileSystem)) return kDone;
  if (isDots || !(inTree || has(HOQFilerOptions::kSumSizes))) return kDone;
  if (isDir && isListed) entered = info.get();
  return kDescend;
}

/// Whether what stands in fileList() is finished: the walk is not inside any of it.
bool ListStatOperate::finishesRecords() const {
  return dirStack.empty() ? openRecords == 0 : handsOverBelow;
}

/// Before a further record of a directory those before it are handed over, where they can be.
int ListStatOperate::append(const boost::shared_ptr<HOQFileType>& info) {
  FileTypes& list = fileList();
  if (receiver && finishesRecords() &&
      (!(fields & HOQFileType::kContentType) || list.size() >= kTypedTogether))
    handOver(list);
  if (stopped_) return error.lastError = kFailed;  // nobody is to be told
  list.push_back(info);
  return 0;
}

/// Hands over what is in `list`, which is fileList().
void ListStatOperate::handOver(FileTypes& list) {
  types.finish();
  const std::size_t level = dirStack.size();
  for (const boost::shared_ptr<HOQFileType>& info : list) {
    if (stopped_) break;
    stopped_ = !(level == 0 ? receiver->record(info) : receiver->recordBelow(info, level));
  }
  list.clear();
}

void ListStatOperate::finish() {
  if (receiver)
    handOver(*result);
  else
    types.finish();
}

void ListStatOperate::addToSum(const HOQFileType& info) {
  if (!has(HOQFilerOptions::kSumSizes)) return;
  if (!has(HOQFilerOptions::kRecursive))
    sizeSum += info.size;
  else if (!dirStack.empty())
    dirStack.back()->size += info.size;
}

int ListStatOperate::beforeDir(int&) {
  HOQFileType* const own = path.scanning ? nullptr : entered;
  levels.push_back(Level{own, sizeSum, depth});
  path.routine->kindSuffices = false;
  if (own) ++openRecords;
  if (depth < kDeepest) ++depth;
  if (own && has(HOQFilerOptions::kRecursive)) dirStack.push_back(own);
  return 0;
}

int ListStatOperate::afterDir(int, int walked) {
  const Level level = levels.back();
  levels.pop_back();
  if (level.record) {
    --openRecords;
    const bool summing = has(HOQFilerOptions::kSumSizes);
    if (has(HOQFilerOptions::kRecursive)) {
      if (handsOverBelow) handOver(level.record->children);
      dirStack.pop_back();
      if (summing && !dirStack.empty()) dirStack.back()->size += level.record->size;
    } else if (summing) {
      level.record->size = sizeSum - level.sumBefore;
    }
  }
  if (depth == 1) sizeSum = 0;
  depth = level.depthBefore;
  return walked;
}

void ListStatOperate::addCopyFileType(const char* name, const HOQFileType* source) {
  const auto copy = boost::make_shared<HOQFileType>();
  copy->name = name;
  copy->type = source->type;
  copy->permissions = source->permissions;
  copy->user = source->user;
  copy->uid = source->uid;
  copy->group = source->group;
  copy->gid = source->gid;
  copy->size = source->size;
  copy->mtime = source->mtime;
  copy->nlink = source->nlink;
  copy->linkTarget = source->linkTarget;
  copy->contentType = source->contentType;
  copy->sizes = source->sizes;
  copy->valid = source->valid;
  fileList().push_back(copy);
}

bool ListStatOperate::matchFilters() {
  const HOQFileRoutine& routine = *path.routine;
  if (!routine.filters) return true;
  return std::none_of(routine.filters->begin(), routine.filters->end(),
                      NotMatchFilter(&routine.statBuffer));
}

int HOQFilerLocal::list(const Paths& paths, FileTypes* result, const HOQFilerOptions& options,
                        const Filters* filters, unsigned int fields) {
  HOQ_ASSERT(result != nullptr);
  if (refused(HOQAccessChecker::kRead)) return kAccessRefused;
  beginCommand();
  const auto self = boost::make_shared<HOQFileType>();
  self->name = ".";
  const auto parent = boost::make_shared<HOQFileType>();
  parent->name = "..";

  const HOQRequestHandlerPtr handler = getProgressHandler();
  const bool handsOver = handler && handler->takesRecords();
  FileTypes unfinished;  // of what is handed over
  FileTypes& records = handsOver ? unfinished : *result;

  int code = kFailed;
  for (const std::string& requestPath : paths) {
    code = kFailed;
    const boost::shared_ptr<HOQFileRoutine> routine = createRoutine(cwd);
    if (!routine) break;
    records.push_back(self);
    records.push_back(parent);
    routine->setFilters(filters);
    ListStatOperate operation(*routine, options, false, records);
    operation.error.handler = handler;
    if (handsOver) operation.receiver = handler.get();
    operation.handsOverBelow = handsOver && handler->takesRecordsBelow();
    operation.fields = fields;
    operation.kindsSuffice = handler && handler->kindsSuffice();
    code = operatePaths(operation, {requestPath}, cwd);
    operation.finish();
    if (!operation.stopped()) continue;
    code = kFailed;
    break;
  }
  return endCommandWithAnswer(newHOQWriterData(result, kFileTypesTag),
                              HOQRequestErrorData(code, ""));
}

int HOQFilerLocal::stat(const Paths& paths, FileTypes* result, const HOQFilerOptions& options,
                        unsigned int fields) {
  HOQ_ASSERT(result != nullptr);
  if (refused(HOQAccessChecker::kRead)) return kAccessRefused;
  beginCommand();
  int code = kFailed;
  for (const std::string& requestPath : paths) {
    code = kFailed;
    const boost::shared_ptr<HOQFileRoutine> routine = createRoutine(cwd);
    if (!routine) break;
    const boost::filesystem::path wanted(requestPath);
    const std::string leaf = wanted.leaf().string();

    FileTypes found;
    ListStatOperate operation(*routine, options, !wanted.has_leaf(), found);
    operation.error.handler = getProgressHandler();
    operation.fields = fields;
    if (wanted.has_leaf() && !options.has(HOQFilerOptions::kWildcards)) operation.only = &leaf;
    code = operatePaths(operation, {wanted.branch_path().string()}, cwd);
    operation.finish();
    if (code != 0 || found.empty()) break;

    if (!wanted.has_leaf()) {
      result->push_back(found.front());
      continue;
    }
    for (const boost::shared_ptr<HOQFileType>& info : found) {
      if (info->name != leaf) continue;
      info->name = requestPath;
      result->push_back(info);
    }
  }
  return endCommandWithAnswer(newHOQWriterData(result, kFileTypesTag),
                              HOQRequestErrorData(code, ""));
}

int HOQFilerLocal::search(const Paths&, const std::string&, FileTypes*, long long,
                          const HOQFilerOptions&) {
  return refused(HOQAccessChecker::kRead) ? kAccessRefused : kNotProvided;
}

}  // namespace HOQ
