#pragma once

#include <memory>
#include <string>

#include <hoq/HOQRequestAgent.h>
#include <hoq/HOQRequestModificatorImpl.h>

#include "client/Link.h"
#include "client/ReplyTaker.h"

namespace HOQ::transport {

class ClientCall;

/// The Filer of a node: each request is a call.
class RemoteFilerRequests final : public HOQRequestModificatorImpl<HOQFiler, HOQRequestAgent>,
                                  public RemoteFiler {
 public:
  RemoteFilerRequests(std::shared_ptr<Links> links, std::string address);

  NodeFailure failure() const override { return failure_; }

  int list(const Paths& paths, FileTypes* result, const HOQFilerOptions& options,
           const Filters* filters, unsigned int fields) override;
  int remove(const Paths& paths, const HOQFilerOptions& options) override;
  int copy(const Paths& paths, const HOQConnectionInfo& node, const std::string& destination,
           const HOQFilerOptions& options, const HOQSecurityAttributes* attributes) override;
  int copy(const Paths& paths, const std::string& destination,
           const HOQFilerOptions& options) override;
  int move(const Paths& paths, const std::string& destination,
           const HOQFilerOptions& options) override;
  int upload(const UploadList& items, const HOQFilerOptions& options,
             const HOQSecurityAttributes& attributes, const HandlerDelegate& delegate,
             boost::intrusive_ptr<FileOperationControlHandler>* control) override;
  int download(const DownloadList& items, const HOQFilerOptions& options,
               const HOQSecurityAttributes& attributes, const HandlerDelegate& delegate,
               boost::intrusive_ptr<FileOperationControlHandler>* control) override;
  int chmod(const Paths& paths, int mode, const HOQFilerOptions& options) override;
  int chown(const Paths& paths, const std::string& user, const std::string& group,
            const HOQFilerOptions& options) override;
  int chown(const Paths& paths, unsigned int uid, unsigned int gid,
            const HOQFilerOptions& options) override;
  int link(const std::string& target, const std::string& name,
           const HOQFilerOptions& options) override;
  int stat(const Paths& paths, FileTypes* result, const HOQFilerOptions& options,
           unsigned int fields) override;
  int readlink(const std::string& path, std::string& target) override;
  int search(const Paths& paths, const std::string& pattern, FileTypes* result, long long limit,
             const HOQFilerOptions& options) override;
  int mkdir(const Paths& paths, const HOQSecurityAttributes* attributes,
            const HOQFilerOptions& options) override;

 private:
  /// A request with its context filled in.
  template <class Request>
  Request make(const HOQFilerOptions& options) const;
  template <class Request>
  Request make(const Paths& paths, const HOQFilerOptions& options) const;
  void fill(hoq::v1::RequestContext& context, const HOQFilerOptions& options) const;
  ReplyTaker::Places places() const;

  /// Calls what `prepare` prepares, and returns the request's code.
  template <class Request, class Prepare>
  int run(const Request& request, Prepare prepare, ReplyTaker::Places places,
          const FileOperationControlHandler* control = nullptr);
  int conduct(ClientCall& call, Link& link, ReplyTaker::Places places);
  LinkPtr linkFor(std::size_t requestBytes);
  int fail(const NodeOutcome& outcome);

  const std::shared_ptr<Links> links_;
  const std::string address_;
  NodeFailure failure_ = NodeFailure::kNone;
};

}  // namespace HOQ::transport
