#include "client/UploadSource.h"

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQFileUploadInfo.h>

#include <algorithm>

namespace HOQ::transport {
namespace {

constexpr std::uint64_t kFrame = 256 * 1024;

void say(hoq::v1::UploadRequest& message, bool started) {
  message.mutable_failure()->set_started(started);
  message.mutable_failure()->set_text(getErrorMessage());
}

}  // namespace

UploadSource::~UploadSource() {
  if (!isOpen_) return;
  if (moved_)
    (void)items_[current_]->close();  // the request has failed already
  else
    items_[current_]->abort();
}

bool UploadSource::next(hoq::v1::UploadRequest& message) {
  message.Clear();
  if (!started_) {
    started_ = true;
    message.mutable_start()->Swap(&start_);
    return true;
  }
  if (failed_ || current_ == items_.size()) return false;
  if (!isOpen_) {
    begin(message);
    if (failed_) return true;
  }
  goOn(message);
  return true;
}

void UploadSource::begin(hoq::v1::UploadRequest& message) {
  HOQFileUploadInfo& item = *items_[current_];
  failed_ = item.start() != 0;
  if (failed_) return say(message, false);
  isOpen_ = true;
  moved_ = false;
  left_ = item.size;
}

void UploadSource::goOn(hoq::v1::UploadRequest& message) {
  HOQFileUploadInfo& item = *items_[current_];
  if (left_ == 0) {
    isOpen_ = false;
    ++current_;
    hoq::v1::UploadRequest::ItemEnd& end = *message.mutable_end();
    if (item.close() == 0) return;
    end.set_failure(getErrorMessage().empty() ? "The client's end failed" : getErrorMessage());
    return;
  }
  const std::size_t piece = std::min(left_, kFrame);
  const char* block = nullptr;
  moved_ = true;
  if (item.data(piece, block) != 0) {
    failed_ = true;
    isOpen_ = false;
    say(message, true);
    (void)item.close();  // the request fails
    return;
  }
  message.set_data(block, piece);
  left_ -= piece;
}

}  // namespace HOQ::transport
