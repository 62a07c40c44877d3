#include "commands/NodeTransfer.h"

#include <fmt/format.h>

#include <algorithm>
#include <random>
#include <utility>

#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQResultCodes.h>

#include "PathText.h"
#include "commands/RealPath.h"
#include "node/LinkBreaker.h"
#include "node/RemoteNode.h"

namespace HOQ::cli {
namespace {

constexpr int kPrivate = 0700;

std::string temporaryName() {
  std::random_device random;
  return fmt::format(".hoq-{:08x}{:08x}", random(), random());
}

/// What the records of a request say of the way to the node.
ExitStatus worstOf(const std::vector<News::Event>& events) {
  ExitStatus worst = kExitDone;
  for (const News::Event& event : events) {
    const auto* error = std::get_if<HOQRequestErrorData>(&event);
    if (error == nullptr) continue;
    if (error->code == kNodeUnreachable) return kExitNoNode;
    worst = worse(worst, error->code == kNodeRefused ? kExitRefused : kExitFailed);
  }
  return worst;
}

}  // namespace

NodeTransfer::NodeTransfer(Session& session, const TransferOptions& options, NodeTarget target)
    : session_(session),
      options_(options),
      target_(std::move(target)),
      lookup_(session, options.followLinks ? HOQFilerOptions::kFollowLinks : 0,
              HOQFileType::kType | HOQFileType::kSize),
      progress_(session, options.followLinks) {}

boost::shared_ptr<HOQFiler> NodeTransfer::there() {
  return node_->filer("/", NewsPtr(&session_.news()));
}

RecordPtr NodeTransfer::examine(const std::string& path, int options) {
  // "/." and an empty path: so that what a link on the way leads to is found as the system does.
  const auto filer =
      node_->filer(path == "/" ? path : join(parentOf(path), "."), NewsPtr(&session_.news()));
  HOQFiler::FileTypes records;
  const int code = filer->stat({leafOf(path)}, &records, HOQFilerOptions(options),
                               HOQFileType::kType | HOQFileType::kLinkTarget);
  (void)session_.news().takeErrors();  // a place that cannot be examined is not there for us
  if (code == kAccessRefused)
    throw CommandError(kExitRefused, quoted(target_.text()) + ", access refused");
  return records.empty() ? RecordPtr() : records.front();
}

NodeTransfer::Kind NodeTransfer::kindOf(const std::string& path) {
  const RecordPtr record = examine(path, HOQFilerOptions::kFollowLinks);
  if (!record) return Kind::kMissing;
  return record->type == HOQFileType::kDirectory ? Kind::kDirectory : Kind::kOther;
}

std::string NodeTransfer::linkText(const std::string& path) {
  const RecordPtr record = examine(path, 0);
  return record && record->type == HOQFileType::kLink ? record->linkTarget : "";
}

/// Where the sending node is not this one, the target need not be within our reach: then it has to
/// be a directory that is there.
void NodeTransfer::examineTarget() {
  destination_ = resolve("/", target_.path);
  try {
    node_ = std::make_unique<RemoteNode>(session_.network(), target_.address);
  } catch (const CommandError&) {
    if (!session_.isRemote()) throw;
    return;
  }
  kind_ = kindOf(destination_);
  // The receiving node takes a link for the place itself.
  const auto text = [this](const std::string& path) { return linkText(path); };
  if (kind_ == Kind::kDirectory && !text(destination_).empty())
    destination_ = realPath(text, destination_);
}

void NodeTransfer::checkTarget(const std::vector<Named>& named) {
  const std::string name = quoted(target_.text());
  if (kind_ == Kind::kDirectory) return;
  if (named.size() > 1)
    throw CommandError(kExitFailed, name + " is not a directory, as several items need");
  if (kind_ == Kind::kOther && namesDirectory(target_.path))
    throw CommandError(kExitFailed, name + ", Not a directory");
}

ExitStatus NodeTransfer::run(const std::vector<std::string>& sources) {
  ExitStatus status = kExitDone;
  const auto named = namedItems(session_, sources, options_.wildcards, status);
  if (status == kExitRefused) return status;
  examineTarget();
  checkTarget(named);
  for (const Named& item : named) {
    const ExitStatus outcome = carry(item);
    status = worse(status, outcome);
    if (outcome == kExitNoNode || outcome == kExitRefused) break;
  }
  progress_.finish();
  return status;
}

ExitStatus NodeTransfer::carry(const Named& named) {
  const RecordPtr record = lookup_.require(named.typed, named.full);
  if (lookup_.refused()) return kExitRefused;
  if (!record) return kExitFailed;
  const bool isDirectory = record->type == HOQFileType::kDirectory;
  if (isDirectory && !options_.recursive) {
    session_.reportError(quoted(named.typed) + " is a directory; -R copies it");
    return kExitFailed;
  }
  if (isDirectory && kind_ == Kind::kMissing) return sendIntoPlace(named);
  if (!isDirectory && kind_ == Kind::kMissing && namesDirectory(target_.path)) {
    session_.reportError(quoted(target_.text()) + ", No such file or directory");
    return kExitFailed;
  }
  const bool through = namesDirectory(named.typed) && isLink(session_, named.full);
  Place place = placeOf(session_, named.full, through);
  if (namesContents(named.typed) && !through) place = {named.full, ""};
  return send(named, place, destination_);
}

ExitStatus NodeTransfer::send(const Named& named, const Place& place,
                              const std::string& destination) {
  const int flags = (options_.recursive ? HOQFilerOptions::kRecursive : 0) |
                    (options_.force ? HOQFilerOptions::kOverwrite : 0) |
                    (options_.followLinks ? HOQFilerOptions::kFollowLinks : 0);
  const auto filer = session_.filer(place.directory);
  progress_.requestBegins(place.path.empty() ? place.directory : place.path, target_.text());
  const int code = filer->copy({place.path}, HOQConnectionInfo{target_.address}, destination,
                               HOQFilerOptions(flags), nullptr);
  if (interruption_ != nullptr) interruption_->check();  // what it broke is no news
  const ExitStatus status = reported(code, named.typed);
  progress_.requestEnded(status == kExitDone);
  return status;
}

/// The node makes the tree in a directory that nobody else enters, so that whoever looks at the
/// destination sees nothing or all of it.
ExitStatus NodeTransfer::sendIntoPlace(const Named& named) {
  Interruption interruption;
  const std::string temporary = join(parentOf(destination_), temporaryName());
  const HOQSecurityAttributes attributes(kPrivate);
  const int made = there()->mkdir({temporary}, &attributes, HOQFilerOptions(0));
  if (made != 0) return worse(reported(made, target_.text()), kExitFailed);
  (void)there()->chmod({temporary}, kPrivate, HOQFilerOptions(0));
  (void)session_.news().takeErrors();

  const bool through = namesDirectory(named.typed) && isLink(session_, named.full);
  const Place place = placeOf(session_, named.full, through);
  ExitStatus status = sendInto(temporary, named, place, interruption);
  // A source without a name of its own ("/", a link's directory) arrives as the directory itself.
  const std::string name = leafOf(named.full);
  const bool nameless = place.path.empty();
  if (status == kExitDone) status = moveIntoPlace(nameless ? temporary : join(temporary, name));
  if (status == kExitDone && nameless) return status;
  const int removed = there()->remove({temporary}, HOQFilerOptions(HOQFilerOptions::kRecursive));
  return worse(status, reported(removed, target_.text()));
}

/// A signal ends the program, but not before it has removed what it has begun.
ExitStatus NodeTransfer::sendInto(const std::string& temporary, const Named& named,
                                  const Place& place, Interruption& interruption) {
  try {
    const LinkBreaker breaker(interruption, session_.network().client(),
                              {target_.address, session_.settings().node});
    interruption_ = &interruption;
    const ExitStatus status = send(named, place, temporary);
    interruption_ = nullptr;
    return status;
  } catch (const Interrupted&) {
    interruption.acknowledge();
    abandon(temporary);
    session_.console().stopProgress();
    Interruption::die();
  }
}

/// Another node that sends may not know yet that nobody waits for it, and add to what is removed:
/// it stops at the first item that has no place any more.
void NodeTransfer::abandon(const std::string& temporary) {
  constexpr int kTries = 20;
  for (int i = 0; i < kTries && kindOf(temporary) == Kind::kDirectory; ++i)
    (void)there()->remove({temporary}, HOQFilerOptions(HOQFilerOptions::kRecursive));
  (void)session_.news().takeErrors();
}

ExitStatus NodeTransfer::moveIntoPlace(const std::string& arrived) {
  const int moved =
      there()->move({arrived}, destination_, HOQFilerOptions(HOQFilerOptions::kRecursive));
  return reported(moved, target_.text());
}

ExitStatus NodeTransfer::reported(int code, const std::string& typed) {
  const ExitStatus told = worstOf(session_.news().events);
  return worse(told, concluded(session_, code, typed));
}

}  // namespace HOQ::cli
