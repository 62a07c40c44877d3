#pragma once

#include <grpcpp/client_context.h>
#include <grpcpp/completion_queue.h>
#include <grpcpp/support/async_stream.h>
#include <hoq/v1/filer.pb.h>

#include <memory>
#include <utility>

#include <hoq/HOQFilerBase.h>

#include "client/UploadSource.h"

namespace HOQ::transport {

/// A call to a node's Filer, worked by the thread that waits for it. One thread.
class ClientCall {
 public:
  using Reader = grpc::ClientAsyncReader<hoq::v1::FilerReply>;
  using ReaderWriter = grpc::ClientAsyncReaderWriter<hoq::v1::UploadRequest, hoq::v1::FilerReply>;
  using Control = HOQFilerBase::FileOperationControlHandler;

  /// `control` may be null; asked while this waits. Not owned.
  explicit ClientCall(const Control* control) : control_(control) {}
  ~ClientCall();

  // Once, one of them; what the reader was prepared with is context() and queue().
  void begin(std::unique_ptr<Reader> reader);
  void begin(std::unique_ptr<ReaderWriter> both, UploadSource& source);

  /// The next reply. False: there is none any more.
  bool next(hoq::v1::FilerReply& reply);
  /// The call's status, after a next() that was false or enough replies.
  grpc::Status finish();
  void cancel() { context_.TryCancel(); }
  /// The control wanted the end.
  bool endedByControl() const { return endedByControl_; }

  grpc::ClientContext& context() { return context_; }
  grpc::CompletionQueue& queue() { return queue_; }

 private:
  enum Tag { kStarted, kRead, kWrote, kFinished };

  void* tagOf(Tag tag) { return &tags_[tag]; }
  /// Waits for an event, and says whether it went well.
  bool await(Tag tag);
  void writeMore();

  const Control* const control_;
  grpc::ClientContext context_;
  grpc::CompletionQueue queue_;
  std::unique_ptr<Reader> reader_;
  std::unique_ptr<ReaderWriter> both_;
  UploadSource* source_ = nullptr;  // not owned
  hoq::v1::UploadRequest message_;  // being written
  bool writing_ = false;
  bool endedByControl_ = false;
  char tags_[4] = {};
};

}  // namespace HOQ::transport
