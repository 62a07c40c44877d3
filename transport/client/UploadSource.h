#pragma once

#include <hoq/v1/filer.pb.h>

#include <cstdint>

#include <hoq/HOQFiler.h>

namespace HOQ::transport {

/// The messages of an upload: the start, then each item's bytes, taken from the caller's records as
/// they are sent. One thread.
class UploadSource {
 public:
  /// `items` is not owned.
  UploadSource(const HOQFiler::UploadList& items, hoq::v1::UploadStart start)
      : items_(items), start_(std::move(start)) {}
  /// Lets go of the item in work, if there is one.
  ~UploadSource();
  UploadSource(const UploadSource&) = delete;
  UploadSource& operator=(const UploadSource&) = delete;

  /// False: that was all.
  bool next(hoq::v1::UploadRequest& message);

 private:
  void begin(hoq::v1::UploadRequest& message);
  void goOn(hoq::v1::UploadRequest& message);

  const HOQFiler::UploadList& items_;
  hoq::v1::UploadStart start_;
  bool started_ = false;
  bool failed_ = false;
  std::size_t current_ = 0;
  bool isOpen_ = false;  // the current one
  std::uint64_t left_ = 0;
  bool moved_ = false;
};

}  // namespace HOQ::transport
