#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQFileTransferInfo.h>
#include <hoq/HOQFilerBase.h>
#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQRequestHandlerPrototype.h>
#include <hoq/HOQResultCodes.h>
#include <hoq/HOQSecurityAttributes.h>

namespace HOQ {

/// Carries a list of items through opening, moving of pieces and closing, step by step, and tells
/// the request's handler how far it is. The subclass of a direction opens, moves and closes.
///
/// The list is its caller's and outlives this object, which advances the items in it. A failure
/// ends the list: nothing is tried again. One thread.
///
/// The fields and the virtual operations stand in an order that hosts are compiled against.
template <class List>
class HOQFileUpDownload {
 public:
  /// What a step returns when there is more to do; 0: the list is done; -1: failure, reported.
  static constexpr int kAgain = 1001;

  HOQFileUpDownload(const char* name, const List* list, const HOQFilerOptions& options,
                    const HOQSecurityAttributes& attributes, HOQRequestHandlerPtr requestHandler,
                    bool reports);
  HOQFileUpDownload(const HOQFileUpDownload&) = delete;
  HOQFileUpDownload& operator=(const HOQFileUpDownload&) = delete;
  virtual ~HOQFileUpDownload() = default;

  /// Opens the current item. 0, or a code with its reason in the current error text.
  virtual int openFile() = 0;
  /// Moves a piece of the current item. How many bytes; below 0: failure, with its reason in the
  /// current error text.
  virtual int processFile() = 0;
  /// Closes the current item, if there is one. Other than 0: what was moved may be lost, with the
  /// reason in the current error text.
  virtual int closeFile();
  /// Opens the current item once more, from its first byte. kAgain, or -1, reported.
  virtual int restartFile(bool closeFirst);

  /// Carries the whole list. 0, or -1: not all of it. `control` may be null, is not owned, and is
  /// asked before every step.
  int operateFiles(const HOQFilerBase::FileOperationControlHandler* control = nullptr);

  /// One step.
  int operateFile();

 protected:
  using Size = std::uint64_t;

  /// Adds the figures to the record, sets its percentage to that of the list, and sends it.
  void reportProgress();
  void reportError(const std::string& text, int code);
  void addProgressParam(HOQRequestProgressData::Value value, const char* name);

  const List* items;
  typename List::const_iterator current;
  HOQSecurityAttributes securityAttributes;  // for files that are made
  std::uint32_t optionFlags;
  HOQRequestProgressData progress;  // its percentage is also what the next one is compared with
  std::uint32_t state = kFresh;
  Size remaining = 0;            // of the current file
  Size fileSize = 0;             // of the current file
  HOQRequestHandlerPtr handler;  // may be empty
  Size totalBytes = 0;           // all sizes that are known
  Size totalProgressBytes = 0;
  bool reportsProgress;
  bool fileStarted = true;  // open, and nothing moved yet
  HOQRequestErrorData lastError{0, ""};

 private:
  static constexpr std::uint32_t kFresh = 1;
  static constexpr std::uint32_t kRunning = 2;

  /// The `part` of `whole` in percent, rounded down; 100 of nothing.
  static std::uint32_t percentOf(Size part, Size whole);
  static std::uint32_t low32(Size size) { return static_cast<std::uint32_t>(size); }

  int openCurrent();
  int openFirst();
  int openNextUnfinished(bool& started);
  int moveAPiece(bool started);
  void takeUpCurrent();
  void countMoved(Size moved);
  void addToTotal(Size size);
  void sendProgress();
};

template <class List>
HOQFileUpDownload<List>::HOQFileUpDownload(const char* name, const List* list,
                                           const HOQFilerOptions& options,
                                           const HOQSecurityAttributes& attributes,
                                           HOQRequestHandlerPtr requestHandler, bool reports)
    : items(list),
      current(list->begin()),
      securityAttributes(attributes),
      optionFlags(static_cast<std::uint32_t>(options.flags)),
      progress("starting"),
      handler(std::move(requestHandler)),
      reportsProgress(reports) {
  progress.operation = name;
}

template <class List>
int HOQFileUpDownload<List>::closeFile() {
  return current == items->end() ? 0 : (*current)->close();
}

template <class List>
int HOQFileUpDownload<List>::restartFile(bool closeFirst) {
  if (closeFirst) (void)closeFile();  // what was moved is moved again
  const int opened = openFile();
  if (opened != 0) {
    reportError(getErrorMessage(), opened);
    return kFailed;
  }
  fileStarted = true;
  takeUpCurrent();
  return kAgain;
}

template <class List>
int HOQFileUpDownload<List>::operateFiles(
    const HOQFilerBase::FileOperationControlHandler* control) {
  for (const auto& item : *items)
    if (item->size != HOQFileTransferInfo::kUnknownSize) addToTotal(item->size);
  int result = kAgain;
  while (result == kAgain) {
    if (control && control->wantsEnd()) {
      if (state == kRunning) (void)closeFile();  // the request fails as it is
      reportError("The transfer was ended by the client", kFailed);
      return kFailed;
    }
    result = operateFile();
  }
  return result;
}

template <class List>
int HOQFileUpDownload<List>::operateFile() {
  if (current == items->end()) return kFailed;
  if (state == kFresh) return openFirst();
  bool started = false;
  const int opened = openNextUnfinished(started);
  return opened == kAgain ? moveAPiece(started) : opened;
}

template <class List>
int HOQFileUpDownload<List>::openFirst() {
  current = items->begin();
  if (openCurrent() != 0) return kFailed;
  sendProgress();  // kept: of a file without figures, whose name is "starting"
  state = kRunning;
  takeUpCurrent();
  return kAgain;
}

/// Goes on to the next file that has something left to move. kAgain: it is open; 0: there is none.
template <class List>
int HOQFileUpDownload<List>::openNextUnfinished(bool& started) {
  while (remaining == 0) {
    if (closeFile() != 0) {
      reportError(getErrorMessage(), kFailed);
      return kFailed;
    }
    if ((*current)->size == 0) {
      progress.percent = 100;
      sendProgress();
    }
    ++current;
    if (current == items->end()) return 0;
    if (openCurrent() != 0) return kFailed;
    fileStarted = true;
    takeUpCurrent();
    started = true;
  }
  return kAgain;
}

template <class List>
int HOQFileUpDownload<List>::moveAPiece(bool started) {
  const int moved = processFile();
  if (moved < 0) {
    reportError(getErrorMessage(), kFailed);
    (void)closeFile();  // the failure that counts is reported
    return kFailed;
  }
  const std::uint32_t before = progress.percent;
  if (moved > 0) countMoved(static_cast<Size>(moved));
  if (started || (progress.percent != 0 && progress.percent != before)) sendProgress();
  return kAgain;
}

/// 0, or the failure's code, reported.
template <class List>
int HOQFileUpDownload<List>::openCurrent() {
  const bool wasKnown = (*current)->hasKnownSize();
  const int opened = openFile();
  if (opened != 0) {
    reportError(getErrorMessage(), opened);
    return opened;
  }
  const Size size = (*current)->size;
  if (!wasKnown && size != HOQFileTransferInfo::kUnknownSize) addToTotal(size);
  return 0;
}

template <class List>
void HOQFileUpDownload<List>::takeUpCurrent() {
  progress.status = (*current)->path;
  remaining = fileSize = (*current)->size;
}

template <class List>
void HOQFileUpDownload<List>::countMoved(Size moved) {
  fileStarted = false;
  totalProgressBytes += moved;
  remaining -= moved;
  HOQFileTransferInfo& item = **current;
  if (item.offset >= 0)
    item.offset = static_cast<std::int64_t>(static_cast<Size>(item.offset) + moved);
  const bool done = remaining == 0 || item.size == 0;
  progress.percent = done ? 100 : percentOf(fileSize - remaining, fileSize);
}

template <class List>
void HOQFileUpDownload<List>::reportError(const std::string& text, int code) {
  lastError = HOQRequestErrorData(code, text);
  if (handler) handler->error(lastError);
}

template <class List>
void HOQFileUpDownload<List>::addProgressParam(HOQRequestProgressData::Value value,
                                               const char* name) {
  progress.parameters.push_back({name, std::move(value)});
}

template <class List>
void HOQFileUpDownload<List>::sendProgress() {
  progress.parameters.clear();
  reportProgress();
}

template <class List>
void HOQFileUpDownload<List>::reportProgress() {
  const std::uint32_t total = percentOf(totalProgressBytes, totalBytes);
  if (totalBytes != 0) addProgressParam(total, "total_progress_percent");
  addProgressParam(totalProgressBytes, "total_progress_bytes");
  addProgressParam(totalBytes, "total_bytes");
  addProgressParam(low32(items->size()), "total_files");
  addProgressParam(low32(static_cast<Size>(current - items->begin()) + 1), "current_file_id");
  addProgressParam((*current)->getSource(), "current_file_src");
  addProgressParam((*current)->getDestination(), "current_file_dst");
  addProgressParam(fileSize, "current_file_size");
  addProgressParam(progress.percent, "current_progress_percent");
  // Kept: counted in 32 bits, as clients expect it.
  addProgressParam(low32(fileSize) - low32(remaining), "current_progress_bytes");
  if (totalBytes != 0) progress.percent = total;
  if (handler && reportsProgress) handler->progress(progress);
}

template <class List>
std::uint32_t HOQFileUpDownload<List>::percentOf(Size part, Size whole) {
  if (whole == 0) return 100;
  __extension__ using Wide = unsigned __int128;
  const Wide percent = static_cast<Wide>(part) * 100 / whole;
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  return percent > kMost ? kMost : static_cast<std::uint32_t>(percent);
}

/// Announced sizes may be anything: the sum stays at its largest.
template <class List>
void HOQFileUpDownload<List>::addToTotal(Size size) {
  totalBytes += std::min(size, std::numeric_limits<Size>::max() - totalBytes);
}

}  // namespace HOQ
