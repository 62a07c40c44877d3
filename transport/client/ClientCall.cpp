#include "client/ClientCall.h"

#include <grpcpp/impl/codegen/proto_utils.h>

#include <chrono>

namespace HOQ::transport {
namespace {

constexpr std::chrono::milliseconds kControlInterval{100};

}  // namespace

ClientCall::~ClientCall() {
  context_.TryCancel();
  queue_.Shutdown();
  void* tag = nullptr;
  bool ok = false;
  while (queue_.Next(&tag, &ok)) {
  }
}

void ClientCall::begin(std::unique_ptr<Reader> reader) {
  reader_ = std::move(reader);
  reader_->StartCall(tagOf(kStarted));
}

void ClientCall::begin(std::unique_ptr<ReaderWriter> both, UploadSource& source) {
  both_ = std::move(both);
  source_ = &source;
  both_->StartCall(nullptr);  // corked: it goes with the first message
  writeMore();
}

void ClientCall::writeMore() {
  if (source_ == nullptr || writing_) return;
  writing_ = true;
  if (source_->next(message_)) return both_->Write(message_, tagOf(kWrote));
  source_ = nullptr;
  both_->WritesDone(tagOf(kWrote));
}

bool ClientCall::await(Tag wanted) {
  for (;;) {
    void* tag = nullptr;
    bool ok = false;
    const auto until = control_ == nullptr || endedByControl_
                           ? std::chrono::system_clock::time_point::max()
                           : std::chrono::system_clock::now() + kControlInterval;
    const auto came = queue_.AsyncNext(&tag, &ok, until);
    if (control_ != nullptr && !endedByControl_ && control_->wantsEnd()) {
      endedByControl_ = true;
      cancel();
    }
    if (came != grpc::CompletionQueue::NextStatus::GOT_EVENT) continue;
    if (tag == tagOf(kWrote)) {
      writing_ = false;
      if (!ok) source_ = nullptr;  // the node wants no more
      writeMore();
    }
    if (tag == tagOf(wanted)) return ok;
  }
}

bool ClientCall::next(hoq::v1::FilerReply& reply) {
  if (reader_)
    reader_->Read(&reply, tagOf(kRead));
  else
    both_->Read(&reply, tagOf(kRead));
  return await(kRead);
}

grpc::Status ClientCall::finish() {
  grpc::Status status;
  source_ = nullptr;
  if (reader_)
    reader_->Finish(&status, tagOf(kFinished));
  else
    both_->Finish(&status, tagOf(kFinished));
  (void)await(kFinished);  // always goes well
  return status;
}

}  // namespace HOQ::transport
