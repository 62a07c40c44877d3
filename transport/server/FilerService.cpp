#include <hoq/HOQConnectionInfo.h>
#include <hoq/v1/filer.grpc.pb.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <optional>
#include <utility>

#include "codec/Requests.h"
#include "server/CarriedItems.h"
#include "server/EventHandler.h"
#include "server/FilerCall.h"
#include "server/Services.h"

namespace HOQ::transport {
namespace {

namespace wire = hoq::v1;
using grpc::CallbackServerContext;
using Result = wire::FilerEvent::Result;
using Texts = google::protobuf::RepeatedPtrField<std::string>;

/// A reactor of either kind that is the wire of a call. Deletes itself.
template <class Reactor>
class Replies : public Reactor, public FilerWire {
 public:
  Replies(CallbackServerContext* context, std::shared_ptr<FilerCall> call)
      : context_(context), call_(std::move(call)) {}

  void write(const wire::FilerReply& reply) override { this->StartWrite(&reply); }
  void writeAndFinish(const wire::FilerReply& reply) override {
    this->StartWriteAndFinish(&reply, grpc::WriteOptions(), grpc::Status::OK);
  }
  void finish(const grpc::Status& status) override { this->Finish(status); }
  void cancel() override { context_->TryCancel(); }

  void OnWriteDone(bool ok) override { call_->wrote(ok); }
  void OnCancel() override { call_->cancelled(); }
  void OnDone() override { delete this; }

 protected:
  CallbackServerContext* const context_;
  const std::shared_ptr<FilerCall> call_;
};

using StreamReplies = Replies<grpc::ServerWriteReactor<wire::FilerReply>>;

class UploadReplies final
    : public Replies<grpc::ServerBidiReactor<wire::UploadRequest, wire::FilerReply>> {
 public:
  using Replies::Replies;
  void read(wire::UploadRequest* message) override { StartRead(message); }
  void OnReadDone(bool ok) override { call_->got(ok); }
};

HOQFiler::Paths pathsOf(const Texts& paths) { return HOQFiler::Paths(paths.begin(), paths.end()); }

HOQFilerOptions optionsOf(const wire::RequestContext& context) {
  return HOQFilerOptions(context.options());
}

/// What the call is about, for its record.
CallRecord recordOf(const char* method, bool changes, const Texts* paths,
                    const std::string& destination = std::string()) {
  constexpr int kShown = 16;
  CallRecord record;
  record.method = method;
  record.changes = changes;
  record.destination = destination;
  if (paths == nullptr) return record;
  record.pathCount = static_cast<std::size_t>(paths->size());
  record.paths.assign(paths->begin(), paths->begin() + std::min(paths->size(), kShown));
  return record;
}

CallRecord recordOf(const char* method, bool changes, const WireItems& items) {
  Texts paths;
  for (const wire::TransferItem& item : items) *paths.Add() = item.path();
  return recordOf(method, changes, &paths);
}

Result resultOf(int code) {
  Result result;
  result.set_code(code);
  return result;
}

Result list(HOQFiler& filer, const wire::ListRequest& request) {
  HOQFiler::Filters filters;
  for (const wire::FileFilter& each : request.filters().filters())
    filters.push_back(fromWire(each));
  HOQFiler::FileTypes records;
  return resultOf(filer.list(pathsOf(request.paths()), &records, optionsOf(request.context()),
                             request.has_filters() ? &filters : nullptr, request.fields()));
}

Result stat(HOQFiler& filer, const wire::StatRequest& request) {
  HOQFiler::FileTypes records;
  return resultOf(filer.stat(pathsOf(request.paths()), &records, optionsOf(request.context()),
                             request.fields()));
}

/// Search answers with its code; what it found comes without an answer.
Result search(HOQFiler& filer, const wire::SearchRequest& request, FilerCall& call) {
  HOQFiler::FileTypes records;
  const int code = filer.search(pathsOf(request.paths()), request.pattern(), &records,
                                request.limit(), optionsOf(request.context()));
  sendRecords(call, records);
  return resultOf(code);
}

template <class Request>
std::optional<HOQSecurityAttributes> attributesOf(const Request& request) {
  if (!request.has_mode()) return std::nullopt;
  return HOQSecurityAttributes(request.mode());
}

const HOQSecurityAttributes* pointerTo(const std::optional<HOQSecurityAttributes>& attributes) {
  return attributes ? &*attributes : nullptr;
}

Result mkdir(HOQFiler& filer, const wire::MkdirRequest& request) {
  const auto attributes = attributesOf(request);
  return resultOf(
      filer.mkdir(pathsOf(request.paths()), pointerTo(attributes), optionsOf(request.context())));
}

Result chown(HOQFiler& filer, const wire::ChownRequest& request) {
  const HOQFiler::Paths paths = pathsOf(request.paths());
  const HOQFilerOptions options = optionsOf(request.context());
  if (request.has_names())
    return resultOf(filer.chown(paths, request.names().user(), request.names().group(), options));
  return resultOf(filer.chown(paths, request.ids().uid(), request.ids().gid(), options));
}

Result copyToNode(HOQFiler& filer, const wire::CopyToNodeRequest& request) {
  const auto attributes = attributesOf(request);
  HOQConnectionInfo node;
  node.target = request.node();
  return resultOf(filer.copy(pathsOf(request.paths()), node, request.destination(),
                             optionsOf(request.context()), pointerTo(attributes)));
}

Result readlink(HOQFiler& filer, const wire::ReadlinkRequest& request) {
  Result result;
  std::string target;
  result.set_code(filer.readlink(request.path(), target));
  if (result.code() == 0) result.set_target(target);
  return result;
}

/// Runs an upload or download of `items` with `run`, and keeps the client informed of them.
template <class Item, class Run>
Result carry(const WireItems& items, FilerCall& call, const Run& run) {
  ItemNews news(call);
  std::vector<boost::shared_ptr<typename Item::Base>> list;
  for (const wire::TransferItem& item : items)
    list.push_back(boost::make_shared<typename Item::Made>(item, list.size(), call, news));
  boost::intrusive_ptr<HOQFilerBase::FileOperationControlHandler> control(new GoneControl(call));
  call.beforeRecord = [&news] { news.tell(); };
  const int code = run(list, &control);
  call.beforeRecord = nullptr;
  news.tell();
  return resultOf(code);
}

struct UploadItem {
  using Base = HOQFileUploadInfo;
  using Made = StreamedUpload;
};
struct DownloadItem {
  using Base = HOQFileDownloadInfo;
  using Made = StreamedDownload;
};

Result download(HOQFiler& filer, const wire::DownloadRequest& request, FilerCall& call) {
  return carry<DownloadItem>(request.items(), call, [&](const auto& list, auto* control) {
    return filer.download(list, optionsOf(request.context()), HOQSecurityAttributes(0),
                          HOQFiler::HandlerDelegate(), control);
  });
}

Result upload(HOQFiler& filer, const wire::UploadStart& start, FilerCall& call) {
  return carry<UploadItem>(start.items(), call, [&](const auto& list, auto* control) {
    return filer.upload(list, optionsOf(start.context()), HOQSecurityAttributes(start.mode()),
                        HOQFiler::HandlerDelegate(), control);
  });
}

class FilerService final : public wire::Filer::CallbackService {
 public:
  FilerService(std::shared_ptr<Ledger> ledger, Pool& pool)
      : ledger_(std::move(ledger)), pool_(pool) {}

  using Reactor = grpc::ServerWriteReactor<wire::FilerReply>;

  Reactor* List(CallbackServerContext* context, const wire::ListRequest* request) override {
    return start(context, *request, recordOf("List", false, &request->paths()),
                 [request](HOQFiler& filer, FilerCall&) { return list(filer, *request); });
  }
  Reactor* Stat(CallbackServerContext* context, const wire::StatRequest* request) override {
    return start(context, *request, recordOf("Stat", false, &request->paths()),
                 [request](HOQFiler& filer, FilerCall&) { return stat(filer, *request); });
  }
  Reactor* Search(CallbackServerContext* context, const wire::SearchRequest* request) override {
    return start(
        context, *request, recordOf("Search", false, &request->paths()),
        [request](HOQFiler& filer, FilerCall& call) { return search(filer, *request, call); });
  }
  Reactor* Remove(CallbackServerContext* context, const wire::PathsRequest* request) override {
    return start(
        context, *request, recordOf("Remove", true, &request->paths()),
        [request](HOQFiler& filer, FilerCall&) {
          return resultOf(filer.remove(pathsOf(request->paths()), optionsOf(request->context())));
        });
  }
  Reactor* Mkdir(CallbackServerContext* context, const wire::MkdirRequest* request) override {
    return start(context, *request, recordOf("Mkdir", true, &request->paths()),
                 [request](HOQFiler& filer, FilerCall&) { return mkdir(filer, *request); });
  }
  Reactor* Chmod(CallbackServerContext* context, const wire::ChmodRequest* request) override {
    return start(context, *request, recordOf("Chmod", true, &request->paths()),
                 [request](HOQFiler& filer, FilerCall&) {
                   return resultOf(filer.chmod(pathsOf(request->paths()), request->mode(),
                                               optionsOf(request->context())));
                 });
  }
  Reactor* Chown(CallbackServerContext* context, const wire::ChownRequest* request) override {
    if (request->owner_case() == wire::ChownRequest::OWNER_NOT_SET)
      return refuse(context, recordOf("Chown", true, &request->paths()), "No owner is named");
    return start(context, *request, recordOf("Chown", true, &request->paths()),
                 [request](HOQFiler& filer, FilerCall&) { return chown(filer, *request); });
  }
  Reactor* Copy(CallbackServerContext* context, const wire::CopyRequest* request) override {
    return start(context, *request,
                 recordOf("Copy", true, &request->paths(), request->destination()),
                 [request](HOQFiler& filer, FilerCall&) {
                   return resultOf(filer.copy(pathsOf(request->paths()), request->destination(),
                                              optionsOf(request->context())));
                 });
  }
  Reactor* Move(CallbackServerContext* context, const wire::CopyRequest* request) override {
    return start(context, *request,
                 recordOf("Move", true, &request->paths(), request->destination()),
                 [request](HOQFiler& filer, FilerCall&) {
                   return resultOf(filer.move(pathsOf(request->paths()), request->destination(),
                                              optionsOf(request->context())));
                 });
  }
  Reactor* CopyToNode(CallbackServerContext* context,
                      const wire::CopyToNodeRequest* request) override {
    return start(context, *request,
                 recordOf("CopyToNode", true, &request->paths(),
                          request->node() + " " + request->destination()),
                 [request](HOQFiler& filer, FilerCall&) { return copyToNode(filer, *request); });
  }
  Reactor* Link(CallbackServerContext* context, const wire::LinkRequest* request) override {
    Texts name;
    *name.Add() = request->name();
    return start(context, *request, recordOf("Link", true, &name, request->target()),
                 [request](HOQFiler& filer, FilerCall&) {
                   return resultOf(filer.link(request->target(), request->name(),
                                              optionsOf(request->context())));
                 });
  }
  Reactor* Readlink(CallbackServerContext* context, const wire::ReadlinkRequest* request) override {
    Texts path;
    *path.Add() = request->path();
    return start(context, *request, recordOf("Readlink", false, &path),
                 [request](HOQFiler& filer, FilerCall&) { return readlink(filer, *request); });
  }
  Reactor* Download(CallbackServerContext* context, const wire::DownloadRequest* request) override {
    return start(
        context, *request, recordOf("Download", false, request->items()),
        [request](HOQFiler& filer, FilerCall& call) { return download(filer, *request, call); });
  }
  grpc::ServerBidiReactor<wire::UploadRequest, wire::FilerReply>* Upload(
      CallbackServerContext* context) override;

 private:
  template <class Request>
  Reactor* start(CallbackServerContext* context, const Request& request, CallRecord record,
                 FilerCall::Body body) {
    const auto call = newCall(*context, std::move(record));
    auto* const replies = new StreamReplies(context, call);
    call->start(replies, request.context(), std::move(body));
    return replies;
  }

  std::shared_ptr<FilerCall> newCall(const CallbackServerContext& context, CallRecord record) {
    record.address = callerAddress(context.peer());
    return std::make_shared<FilerCall>(ledger_, pool_, std::move(record));
  }

  Reactor* refuse(CallbackServerContext* context, CallRecord record, const char* why) {
    const auto call = newCall(*context, std::move(record));
    auto* const replies = new StreamReplies(context, call);
    call->refuse(replies, grpc::Status(grpc::StatusCode::INVALID_ARGUMENT, why));
    return replies;
  }

  const std::shared_ptr<Ledger> ledger_;
  Pool& pool_;
};

grpc::ServerBidiReactor<wire::UploadRequest, wire::FilerReply>* FilerService::Upload(
    CallbackServerContext* context) {
  const auto call = newCall(*context, recordOf("Upload", true, nullptr));
  auto* const replies = new UploadReplies(context, call);
  FilerCall* const held = call.get();  // by `replies`
  call->readMessages(replies, [held, replies](wire::UploadRequest* first) {
    if (first == nullptr || !first->has_start())
      return held->refuse(replies, grpc::Status(grpc::StatusCode::INVALID_ARGUMENT,
                                                "An upload begins with its start"));
    const auto start = std::make_shared<wire::UploadStart>(std::move(*first->mutable_start()));
    const CallRecord about = recordOf("Upload", true, start->items());
    held->record().paths = about.paths;
    held->record().pathCount = about.pathCount;
    held->start(replies, start->context(),
                [start](HOQFiler& filer, FilerCall& of) { return upload(filer, *start, of); });
  });
  return replies;
}

}  // namespace

std::unique_ptr<grpc::Service> makeFilerService(std::shared_ptr<Ledger> ledger, Pool& operations) {
  return std::make_unique<FilerService>(std::move(ledger), operations);
}

}  // namespace HOQ::transport
