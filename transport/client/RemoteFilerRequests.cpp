#include "client/RemoteFilerRequests.h"

#include <grpcpp/channel.h>
#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQAssert.h>
#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQFileDownloadInfo.h>
#include <hoq/HOQFileUploadInfo.h>
#include <hoq/HOQResultCodes.h>
#include <hoq/v1/filer.grpc.pb.h>

#include <utility>

#include "client/ClientCall.h"
#include "codec/Requests.h"

namespace HOQ::transport {
namespace {

namespace wire = hoq::v1;
using Stub = wire::Filer::Stub;

void fill(wire::TransferItem& to, const HOQFileTransferInfo& from) {
  to.set_path(from.path);
  to.set_size(from.size);
  to.set_offset(from.offset);
  to.set_source(from.getSource());
  to.set_destination(from.getDestination());
}

}  // namespace

RemoteFilerRequests::RemoteFilerRequests(std::shared_ptr<Links> links, std::string address)
    : HOQRequestModificatorImpl(HOQEID(), HOQAccessProviderPtr()),
      links_(std::move(links)),
      address_(std::move(address)) {}

void RemoteFilerRequests::fill(wire::RequestContext& context,
                               const HOQFilerOptions& options) const {
  context.set_cwd(cwd);
  context.set_options(options.flags);
  toWire(cred, *context.mutable_credentials());
  if (const auto client = HOQAccessChecker::getClientContext())
    context.set_asked_by(client->name());
}

template <class Request>
Request RemoteFilerRequests::make(const HOQFilerOptions& options) const {
  Request request;
  fill(*request.mutable_context(), options);
  return request;
}

template <class Request>
Request RemoteFilerRequests::make(const Paths& paths, const HOQFilerOptions& options) const {
  Request request = make<Request>(options);
  for (const std::string& path : paths) request.add_paths(path);
  return request;
}

ReplyTaker::Places RemoteFilerRequests::places() const {
  ReplyTaker::Places places;
  places.handler = getContext()->getHandler();
  return places;
}

/// Tells the caller that its request came to nothing.
int RemoteFilerRequests::fail(const NodeOutcome& outcome) {
  failure_ = outcome.failure;
  if (const HOQRequestHandlerPtr& handler = getContext()->getHandler())
    handler->error(HOQRequestErrorData(kFailed, outcome.text));
  else
    setErrorMessage("%s", outcome.text);
  return kFailed;
}

LinkPtr RemoteFilerRequests::linkFor(std::size_t requestBytes) {
  failure_ = NodeFailure::kNone;
  NodeOutcome outcome;
  LinkPtr link = links_->get(address_, outcome);
  if (link && requestBytes > link->settings().messageBytes) {
    outcome = {NodeFailure::kProtocol,
               "The request is too large for one message to node \"" + address_ + "\""};
    link.reset();
  }
  if (!link) (void)fail(outcome);
  return link;
}

template <class Request, class Prepare>
int RemoteFilerRequests::run(const Request& request, Prepare prepare, ReplyTaker::Places places,
                             const FileOperationControlHandler* control) {
  const LinkPtr link = linkFor(request.ByteSizeLong());
  if (!link) return kFailed;
  ClientCall call(control);
  Stub stub(link->channel());
  call.begin((stub.*prepare)(&call.context(), request, &call.queue()));
  return conduct(call, *link, std::move(places));
}

int RemoteFilerRequests::conduct(ClientCall& call, Link& link, ReplyTaker::Places places) {
  ReplyTaker taker(std::move(places));
  wire::FilerReply reply;
  bool wanted = true;
  while (wanted && call.next(reply)) wanted = taker.take(reply);
  if (taker.answered()) noteOutcome(taker.answerCode());
  if (!wanted && !taker.done()) call.cancel();
  // The status comes behind everything else; what else a node sends is not wanted.
  while (!wanted && call.next(reply)) call.cancel();
  const grpc::Status status = call.finish();
  if (taker.done() && !taker.isNonsense()) return taker.code();
  if (taker.failed()) return kFailed;
  if (call.endedByControl()) {
    if (const HOQRequestHandlerPtr& handler = getContext()->getHandler())
      handler->error(HOQRequestErrorData(kFailed, "The transfer was ended by the client"));
    return kFailed;
  }
  NodeOutcome outcome = outcomeOf(address_, status);
  if (outcome.failure == NodeFailure::kNone || taker.isNonsense())
    outcome = {NodeFailure::kProtocol, "Node \"" + address_ + "\" did not answer as a node does"};
  if (outcome.failure == NodeFailure::kLost && !link.stands()) link.noteLost();
  return fail(outcome);
}

int RemoteFilerRequests::list(const Paths& paths, FileTypes* result, const HOQFilerOptions& options,
                              const Filters* filters, unsigned int fields) {
  HOQ_ASSERT(result != nullptr);
  auto request = make<wire::ListRequest>(paths, options);
  request.set_fields(fields);
  if (filters != nullptr) {
    wire::ListRequest::Filters& to = *request.mutable_filters();
    for (const HOQFileFilter& each : *filters) toWire(each, *to.add_filters());
  }
  ReplyTaker::Places to = places();
  to.records = result;
  to.handsOver = to.handler && to.handler->takesRecords();
  return run(request, &Stub::PrepareAsyncList, to);
}

int RemoteFilerRequests::stat(const Paths& paths, FileTypes* result, const HOQFilerOptions& options,
                              unsigned int fields) {
  HOQ_ASSERT(result != nullptr);
  auto request = make<wire::StatRequest>(paths, options);
  request.set_fields(fields);
  ReplyTaker::Places to = places();
  to.records = result;
  return run(request, &Stub::PrepareAsyncStat, to);
}

int RemoteFilerRequests::search(const Paths& paths, const std::string& pattern, FileTypes* result,
                                long long limit, const HOQFilerOptions& options) {
  auto request = make<wire::SearchRequest>(paths, options);
  request.set_pattern(pattern);
  request.set_limit(limit);
  ReplyTaker::Places to = places();
  to.records = result;
  return run(request, &Stub::PrepareAsyncSearch, to);
}

int RemoteFilerRequests::remove(const Paths& paths, const HOQFilerOptions& options) {
  return run(make<wire::PathsRequest>(paths, options), &Stub::PrepareAsyncRemove, places());
}

int RemoteFilerRequests::mkdir(const Paths& paths, const HOQSecurityAttributes* attributes,
                               const HOQFilerOptions& options) {
  auto request = make<wire::MkdirRequest>(paths, options);
  if (attributes != nullptr) request.set_mode(attributes->value);
  return run(request, &Stub::PrepareAsyncMkdir, places());
}

int RemoteFilerRequests::chmod(const Paths& paths, int mode, const HOQFilerOptions& options) {
  auto request = make<wire::ChmodRequest>(paths, options);
  request.set_mode(mode);
  return run(request, &Stub::PrepareAsyncChmod, places());
}

int RemoteFilerRequests::chown(const Paths& paths, const std::string& user,
                               const std::string& group, const HOQFilerOptions& options) {
  auto request = make<wire::ChownRequest>(paths, options);
  request.mutable_names()->set_user(user);
  request.mutable_names()->set_group(group);
  return run(request, &Stub::PrepareAsyncChown, places());
}

int RemoteFilerRequests::chown(const Paths& paths, unsigned int uid, unsigned int gid,
                               const HOQFilerOptions& options) {
  auto request = make<wire::ChownRequest>(paths, options);
  request.mutable_ids()->set_uid(uid);
  request.mutable_ids()->set_gid(gid);
  return run(request, &Stub::PrepareAsyncChown, places());
}

int RemoteFilerRequests::copy(const Paths& paths, const std::string& destination,
                              const HOQFilerOptions& options) {
  auto request = make<wire::CopyRequest>(paths, options);
  request.set_destination(destination);
  return run(request, &Stub::PrepareAsyncCopy, places());
}

int RemoteFilerRequests::move(const Paths& paths, const std::string& destination,
                              const HOQFilerOptions& options) {
  auto request = make<wire::CopyRequest>(paths, options);
  request.set_destination(destination);
  return run(request, &Stub::PrepareAsyncMove, places());
}

int RemoteFilerRequests::copy(const Paths& paths, const HOQConnectionInfo& node,
                              const std::string& destination, const HOQFilerOptions& options,
                              const HOQSecurityAttributes* attributes) {
  auto request = make<wire::CopyToNodeRequest>(paths, options);
  request.set_node(node.target);
  request.set_destination(destination);
  if (attributes != nullptr) request.set_mode(attributes->value);
  return run(request, &Stub::PrepareAsyncCopyToNode, places());
}

int RemoteFilerRequests::link(const std::string& target, const std::string& name,
                              const HOQFilerOptions& options) {
  auto request = make<wire::LinkRequest>(options);
  request.set_target(target);
  request.set_name(name);
  return run(request, &Stub::PrepareAsyncLink, places());
}

int RemoteFilerRequests::readlink(const std::string& path, std::string& target) {
  auto request = make<wire::ReadlinkRequest>(HOQFilerOptions(0));
  request.set_path(path);
  ReplyTaker::Places to = places();
  to.target = &target;
  return run(request, &Stub::PrepareAsyncReadlink, to);
}

int RemoteFilerRequests::download(const DownloadList& items, const HOQFilerOptions& options,
                                  const HOQSecurityAttributes&, const HandlerDelegate&,
                                  boost::intrusive_ptr<FileOperationControlHandler>* control) {
  auto request = make<wire::DownloadRequest>(options);
  for (const auto& item : items) transport::fill(*request.add_items(), *item);
  ReplyTaker::Places to = places();
  to.downloads = &items;
  return run(request, &Stub::PrepareAsyncDownload, to,
             control != nullptr ? control->get() : nullptr);
}

int RemoteFilerRequests::upload(const UploadList& items, const HOQFilerOptions& options,
                                const HOQSecurityAttributes& attributes, const HandlerDelegate&,
                                boost::intrusive_ptr<FileOperationControlHandler>* control) {
  auto start = make<wire::UploadStart>(options);
  for (const auto& item : items) transport::fill(*start.add_items(), *item);
  start.set_mode(attributes.value);
  const LinkPtr link = linkFor(start.ByteSizeLong());
  if (!link) return kFailed;
  ReplyTaker::Places to = places();
  to.uploads = &items;
  UploadSource source(items, std::move(start));
  ClientCall call(control != nullptr ? control->get() : nullptr);
  call.context().set_initial_metadata_corked(true);
  Stub stub(link->channel());
  call.begin(stub.PrepareAsyncUpload(&call.context(), &call.queue()), source);
  return conduct(call, *link, to);
}

}  // namespace HOQ::transport
