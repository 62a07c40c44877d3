#include "updownload/UploadOperateLocal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "engine/PathHelpers.h"
#include "filer/HOQFilerLocal.h"

namespace HOQ {
namespace {

constexpr std::uint64_t kLargestPiece = 2147483647;

}  // namespace

UploadOperateLocal::UploadOperateLocal(const std::string& workingDirectory,
                                       const HOQFiler::UploadList* list,
                                       const HOQFilerOptions& options,
                                       const HOQSecurityAttributes& attributes,
                                       HOQRequestHandlerPtr requestHandler)
    : HOQFileUpDownload("upload", list, options, attributes, std::move(requestHandler), true),
      cwd(workingDirectory) {}

std::string UploadOperateLocal::addPath(const std::string& itemPath) const {
  return isFullpath(itemPath) ? itemPath : cwd + "/" + itemPath;
}

int UploadOperateLocal::openFile() {
  HOQFileUploadInfo& item = **current;
  if (item.start() != 0) return kFailed;
  const std::string path = addPath(item.path);
  const HOQFilerOptions options(static_cast<int>(optionFlags));
  if (file.openWrite(path, item.offset, options, &securityAttributes) == 0) return 0;
  const int cause = errno;
  setErrorMessage("Cannot open destination file \"%s\": %s [%d]", path, std::strerror(cause),
                  cause);
  item.abort();
  return cause;
}

int UploadOperateLocal::processFile() {
  const std::uint64_t size = std::min(remaining, kLargestPiece);
  const char* block = nullptr;
  if ((*current)->data(size, block) != 0) {
    setErrorMessage("Cannot read data from client");
    return kFailed;
  }
  std::uint64_t left = size;
  while (left != 0) {
    const long written = file.write(block, left);
    if (written < 0) return failWriting(errno);
    if (written == 0) break;  // kept: the piece counts as written
    block += written;
    left -= static_cast<std::uint64_t>(written);
  }
  return static_cast<int>(size);
}

int UploadOperateLocal::closeFile() {
  const int ended = HOQFileUpDownload::closeFile();
  if (file.close() == 0 || ended != 0) return ended;
  return failWriting(errno);
}

int UploadOperateLocal::failWriting(int cause) const {
  setErrorMessage("Cannot write to file \"%s\": %s [%d]", (*current)->path, std::strerror(cause),
                  cause);
  return kFailed;
}

/// Gives files to the user that the request works for; the result of that is the upload's.
int HOQFilerLocal::giveToRequester(const Paths& paths, const HOQFilerOptions& options) {
  const HOQUserCredentials& user = getCred();
  const HOQFilerOptions literal(options.flags & ~HOQFilerOptions::kWildcards);
  if (!user.name.empty())
    return chown(paths, user.name, user.groups.empty() ? "" : user.groups.front(), literal);
  if (user.uid == HOQUserCredentials::kNone) return 0;
  return chown(paths, user.uid, user.gids.empty() ? HOQUserCredentials::kNone : user.gids.front(),
               literal);
}

int HOQFilerLocal::upload(const UploadList& items, const HOQFilerOptions& options,
                          const HOQSecurityAttributes& attributes, const HandlerDelegate&,
                          boost::intrusive_ptr<FileOperationControlHandler>* control) {
  if (refused(HOQAccessChecker::kChange)) return kAccessRefused;
  UploadOperateLocal operation(cwd, &items, options, attributes, getContext()->getHandler());
  const int result = operation.operateFiles(control ? control->get() : nullptr);
  if (result != 0) return result;
  Paths written;
  written.reserve(items.size());
  for (const auto& item : items) written.push_back(operation.addPath(item->path));
  return giveToRequester(written, options);
}

}  // namespace HOQ
