#include "updownload/DownloadOperateLocal.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "filer/HOQFilerLocal.h"

namespace HOQ {
namespace {

constexpr int kLargestPiece = 512 * 1024;

constexpr const char kCannotOpen[] = "Cannot open source file \"%s\": %s [%d]";

std::string getCWD(const std::string& cwd) { return cwd.empty() ? "" : cwd + "/"; }

}  // namespace

DownloadOperateLocal::DownloadOperateLocal(const std::string& workingDirectory,
                                           const HOQFiler::DownloadList* list,
                                           const HOQFilerOptions& options,
                                           const HOQSecurityAttributes& attributes,
                                           HOQRequestHandlerPtr requestHandler,
                                           boost::shared_ptr<HOQFileRoutine> source)
    : HOQFileUpDownload("download", list, options, attributes, std::move(requestHandler), true),
      cwd(workingDirectory),
      routine(std::move(source)) {}

/// Something is open only where memory ran out in the middle.
DownloadOperateLocal::~DownloadOperateLocal() {
  if (routine->isOpened()) (void)routine->close();
}

int DownloadOperateLocal::openFile() {
  routine->path = getCWD(cwd) + (*current)->path;  // kept: also before an absolute path
  const int refused = refuseFifo();
  if (refused != 0) return refused;
  errno = 0;  // the routine reads it after a success as well
  if (routine->open(O_RDONLY) < 0) return fail(kCannotOpen, routine->path, lastCause());
  const int prepared = positionAndMeasure();
  if (prepared != 0) (void)routine->close();  // it was only read
  return prepared;
}

/// Opening a FIFO would wait for somebody to write.
int DownloadOperateLocal::refuseFifo() {
  routine->followLinks = true;
  const bool isFifo = routine->stat() == 0 && S_ISFIFO(routine->statBuffer.st_mode);
  routine->followLinks =
      HOQFilerOptions(static_cast<int>(optionFlags)).has(HOQFilerOptions::kFollowLinks);
  if (!isFifo) return 0;
  return fail(kCannotOpen, routine->path, HOQRequestErrorData(ENXIO, std::strerror(ENXIO)));
}

/// 0, or a code with its reason in the current error text.
int DownloadOperateLocal::positionAndMeasure() {
  HOQFileDownloadInfo& item = **current;
  const int examined = routine->stat();
  if (examined != 0) {
    (void)fail("Cannot stat source file \"%s\": %s [%d]", routine->path, lastCause());
    return examined;
  }
  if (item.offset > 0) {
    const int sought = routine->seek(item.offset);
    if (sought != 0) {
      (void)fail("Cannot seek source file \"%s\": %s [%d]", routine->path, lastCause());
      return sought;
    }
  }
  if (!item.hasKnownSize()) {
    const std::int64_t before = std::max<std::int64_t>(item.offset, 0);
    const std::int64_t left = routine->statBuffer.st_size - before;
    item.size = left > 0 ? static_cast<std::uint64_t>(left) : 0;
  }
  return item.start() == 0 ? 0 : kFailed;
}

int DownloadOperateLocal::processFile() {
  HOQFileDownloadInfo& item = **current;
  if (fileSize < 1 || fileSize > kLargestPiece) {
    setErrorMessage(
        "Requested file \"%s\" is to big to be sent at once. Try to request file in pieces of "
        "%dKB",
        item.path, kLargestPiece / 1024);
    return kFailed;
  }
  char* const piece = pieceBuffer();
  const int wanted = static_cast<int>(remaining);
  int left = wanted;
  while (left > 0) {
    const long got = routine->read(piece, std::min(left, kLargestPiece));
    if (got < 0) {
      const int cause = errno;
      return fail("Cannot read from file \"%s\": %s [%d]", item.path,
                  HOQRequestErrorData(cause, std::strerror(cause)));
    }
    if (got == 0) break;
    if (item.append(piece, static_cast<std::size_t>(got)) != 0) return kFailed;
    left -= static_cast<int>(got);
  }
  return wanted;  // a file that ends early counts as whole: nothing of it remains
}

int DownloadOperateLocal::closeFile() {
  const int ended = HOQFileUpDownload::closeFile();
  (void)routine->close();  // it was only read
  return ended;
}

/// Sets the current error text. -1.
int DownloadOperateLocal::fail(const char* message, const std::string& path,
                               const HOQRequestErrorData& cause) {
  setErrorMessage(message, path, cause.message, cause.code);
  return kFailed;
}

/// Of the call that has just failed: errno must still be its own.
HOQRequestErrorData DownloadOperateLocal::lastCause() {
  HOQRequestErrorData cause(0, "");
  routine->getLastError(cause);
  return cause;
}

char* DownloadOperateLocal::pieceBuffer() {
  if (!buffer) {
    void* const memory = std::malloc(kLargestPiece);
    if (!memory) throw std::bad_alloc();
    buffer.reset(static_cast<char*>(memory), &std::free);
  }
  return buffer.get();
}

int HOQFilerLocal::download(const DownloadList& items, const HOQFilerOptions& options,
                            const HOQSecurityAttributes& attributes, const HandlerDelegate&,
                            boost::intrusive_ptr<FileOperationControlHandler>* control) {
  if (refused(HOQAccessChecker::kRead)) return kAccessRefused;
  const boost::shared_ptr<HOQFileRoutine> routine = createRoutine(cwd);
  if (!routine) return kNoRoutine;
  DownloadOperateLocal operation(cwd, &items, options, attributes, getContext()->getHandler(),
                                 routine);
  return operation.operateFiles(control ? control->get() : nullptr);
}

}  // namespace HOQ
