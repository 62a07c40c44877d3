#pragma once

#include <google/protobuf/repeated_ptr_field.h>
#include <hoq/v1/filer.pb.h>

#include <string>
#include <vector>

#include <hoq/HOQFileDownloadInfo.h>
#include <hoq/HOQFileUploadInfo.h>
#include <hoq/HOQFiler.h>

#include "server/FilerCall.h"
#include "server/Spool.h"

namespace HOQ::transport {

using WireItems = google::protobuf::RepeatedPtrField<hoq::v1::TransferItem>;

/// Tells the client what has become of the items of its upload or download: where the one in work
/// stands is sent before each record that speaks of it. The operation's thread.
class ItemNews {
 public:
  explicit ItemNews(FilerCall& call) : call_(call) {}

  /// `item` is in work from here on; not owned.
  void takeUp(std::size_t number, const HOQFileTransferInfo& item);
  /// Sends where the item in work stands, where that is new.
  void tell();
  bool step(hoq::v1::FilerEvent::Item::Step step);

 private:
  bool send(hoq::v1::FilerEvent::Item::Step step);

  FilerCall& call_;
  const HOQFileTransferInfo* item_ = nullptr;
  std::size_t number_ = 0;
  std::uint64_t toldSize_ = 0;
  std::int64_t toldOffset_ = 0;
};

/// The bytes of an upload's item, as they come from the client. The messages of the items follow
/// one another, so only the one in work may take them.
class StreamedUpload final : public HOQFileUploadInfo {
 public:
  StreamedUpload(const hoq::v1::TransferItem& item, std::size_t number, FilerCall& call,
                 ItemNews& news);

  int start() override;
  int data(std::size_t count, const char*& block) override;
  int close() override;
  std::string getSource() const override { return source_; }
  std::string getDestination() const override { return destination_; }

 private:
  bool next();

  FilerCall& call_;
  ItemNews& news_;
  const std::size_t number_;
  const std::string source_;
  const std::string destination_;
  hoq::v1::UploadRequest message_;
  std::size_t taken_ = 0;  // of message_'s data
  bool isEmpty_ = true;    // nothing in message_
  Spool block_;
};

/// The bytes of a download's item on their way to the client.
class StreamedDownload final : public HOQFileDownloadInfo {
 public:
  StreamedDownload(const hoq::v1::TransferItem& item, std::size_t number, FilerCall& call,
                   ItemNews& news);

  int start() override;
  int append(const char* bytes, std::size_t count) override;
  int close() override;
  std::string getSource() const override { return source_; }
  std::string getDestination() const override { return destination_; }

 private:
  FilerCall& call_;
  ItemNews& news_;
  const std::size_t number_;
  const std::string source_;
  const std::string destination_;
};

/// Ends an upload or download whose client is gone.
class GoneControl final : public HOQFilerBase::FileOperationControlHandler {
 public:
  explicit GoneControl(const FilerCall& call) : call_(call) {}
  bool wantsEnd() const override { return call_.gone(); }

 private:
  const FilerCall& call_;
};

}  // namespace HOQ::transport
