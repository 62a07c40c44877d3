#include "server/CarriedItems.h"

#include <hoq/HOQErrorMessage.h>

#include <algorithm>
#include <utility>

namespace HOQ::transport {
namespace {

namespace wire = hoq::v1;
using Step = wire::FilerEvent::Item::Step;

constexpr std::size_t kFrame = 256 * 1024;

}  // namespace

void ItemNews::takeUp(std::size_t number, const HOQFileTransferInfo& item) {
  tell();
  item_ = &item;
  number_ = number;
  toldSize_ = item.size;
  toldOffset_ = item.offset;
}

void ItemNews::tell() {
  if (item_ != nullptr && (item_->size != toldSize_ || item_->offset != toldOffset_))
    (void)send(wire::FilerEvent::Item::STEP_NONE);
}

bool ItemNews::step(Step step) { return send(step); }

bool ItemNews::send(Step step) {
  toldSize_ = item_->size;
  toldOffset_ = item_->offset;
  wire::FilerEvent event;
  wire::FilerEvent::Item& to = *event.mutable_item();
  to.set_number(static_cast<std::uint32_t>(number_));
  to.set_size(toldSize_);
  to.set_offset(toldOffset_);
  to.set_step(step);
  return call_.send(std::move(event), FilerCall::Haste::kNone);
}

StreamedUpload::StreamedUpload(const wire::TransferItem& item, std::size_t number, FilerCall& call,
                               ItemNews& news)
    : HOQFileUploadInfo(item.path(), item.size(), item.offset()),
      call_(call),
      news_(news),
      number_(number),
      source_(item.source()),
      destination_(item.destination()) {}

/// The next message in message_. False: there is none.
bool StreamedUpload::next() {
  taken_ = 0;
  isEmpty_ = !call_.receive(message_);
  return !isEmpty_;
}

int StreamedUpload::start() {
  news_.takeUp(number_, *this);
  if (!next()) return -1;
  if (!message_.has_failure() || message_.failure().started()) return 0;
  setErrorMessage("%s", message_.failure().text());
  return -1;
}

int StreamedUpload::data(std::size_t count, const char*& block) {
  block_.clear();
  while (block_.size() < count) {
    if ((isEmpty_ || (message_.has_data() && taken_ == message_.data().size())) && !next())
      return -1;
    if (!message_.has_data()) return -1;  // it ended, or failed
    const std::size_t piece = std::min(count - block_.size(), message_.data().size() - taken_);
    if (!block_.append(message_.data().data() + taken_, piece)) return -1;
    taken_ += piece;
    call_.record().bytesIn += piece;
  }
  block = block_.bytes();
  return block == nullptr && count != 0 ? -1 : 0;
}

int StreamedUpload::close() {
  while (!isEmpty_ && message_.has_data() && next()) {
  }
  block_.clear();
  if (isEmpty_ || message_.has_failure()) return 0;  // told already
  if (message_.end().failure().empty()) return 0;
  setErrorMessage("%s", message_.end().failure());
  return -1;
}

StreamedDownload::StreamedDownload(const wire::TransferItem& item, std::size_t number,
                                   FilerCall& call, ItemNews& news)
    : HOQFileDownloadInfo(item.path(), item.size(), item.offset()),
      call_(call),
      news_(news),
      number_(number),
      source_(item.source()),
      destination_(item.destination()) {}

int StreamedDownload::start() {
  news_.takeUp(number_, *this);
  return news_.step(wire::FilerEvent::Item::STEP_START) ? 0 : -1;
}

int StreamedDownload::append(const char* bytes, std::size_t count) {
  while (count > 0) {
    const std::size_t piece = std::min(count, kFrame);
    wire::FilerEvent event;
    event.set_data(bytes, piece);
    if (!call_.send(std::move(event), FilerCall::Haste::kNone)) return -1;
    call_.record().bytesOut += piece;
    bytes += piece;
    count -= piece;
  }
  return 0;
}

int StreamedDownload::close() {
  news_.tell();
  return news_.step(wire::FilerEvent::Item::STEP_END) ? 0 : -1;
}

}  // namespace HOQ::transport
