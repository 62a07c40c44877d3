#include "commands/ChangeWalk.h"

#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQResultCodes.h>

#include "PathText.h"
#include "commands/RealPath.h"
#include "listing/Selection.h"

namespace HOQ::cli {
namespace {

constexpr std::size_t kBatch = 512;      // paths in one request
constexpr unsigned kOwnerEnters = 0500;  // reads and searches
constexpr unsigned kFields = HOQFileType::kType | HOQFileType::kPermissions | HOQFileType::kName;

}  // namespace

ChangeWalk::ChangeWalk(Session& session, Plan plan, Request request, bool followLinks)
    : session_(session),
      plan_(std::move(plan)),
      request_(std::move(request)),
      followLinks_(followLinks),
      items_(session, 0, kFields),
      followed_(session, HOQFilerOptions::kFollowLinks, kFields) {}

ExitStatus ChangeWalk::run(const std::vector<Named>& items, bool recursive) {
  for (const Named& named : items) {
    const RecordPtr record = followed_.require(named.typed, named.full);
    if (followed_.refused()) return kExitRefused;
    if (!record) {
      status_ = worse(status_, kExitFailed);
      continue;
    }
    const bool entered = followLinks_ || namesDirectory(named.typed);
    if (recursive && record->type == HOQFileType::kDirectory &&
        (entered || !isLink(session_, named.full)))
      tree(named.full, *record);
    else
      item(named.full, *record);
  }
  finish();
  return status_;
}

void ChangeWalk::item(const std::string& full, const HOQFileType& record) {
  if (record.type == HOQFileType::kDirectory) return directory(full, record);
  const unsigned change = plan_(record);
  Paths& batch = batches_[change];
  batch.push_back(full);
  if (batch.size() < kBatch) return;
  send(change, batch);
  batch.clear();
}

void ChangeWalk::tree(const std::string& full, const HOQFileType& record) {
  Paths queue;
  enter(full, record, queue);
  for (std::size_t i = 0; i < queue.size(); ++i) {
    const std::string path = std::move(queue[i]);
    const Listed listed = items_.list(path, i == 0 || followLinks_, nullptr);
    if (!listed.complete) status_ = worse(status_, kExitFailed);
    for (const RecordPtr& child : listed.records)
      if (!isDots(child->name)) entry(join(path, child->name), *child, queue);
  }
}

void ChangeWalk::entry(const std::string& full, const HOQFileType& record, Paths& queue) {
  if (record.type == HOQFileType::kDirectory) return enter(full, record, queue);
  if (record.type != HOQFileType::kLink) return item(full, record);
  if (!followLinks_) return;
  std::string why;  // a link that leads nowhere is met by the request itself
  const RecordPtr leadsTo = followed_.find(full, false, why);
  if (!leadsTo || leadsTo->type != HOQFileType::kDirectory)
    item(full, leadsTo ? *leadsTo : record);
  else
    enter(full, *leadsTo, queue);
}

void ChangeWalk::enter(const std::string& full, const HOQFileType& record, Paths& queue) {
  if (followLinks_ && !entered_.insert(realPath(session_, full)).second) return;
  queue.push_back(full);
  directory(full, record);
}

void ChangeWalk::directory(const std::string& full, const HOQFileType& record) {
  const unsigned change = plan_(record);
  const bool opensUp = (change & kOwnerEnters & ~record.permissions) != 0;
  if (opensUp)
    send(change, {full});
  else
    directories_.emplace_back(full, change);
}

void ChangeWalk::finish() {
  for (const auto& [change, paths] : batches_) send(change, paths);
  batches_.clear();
  while (!directories_.empty()) {
    Paths batch;
    const unsigned change = directories_.back().second;
    while (!directories_.empty() && directories_.back().second == change && batch.size() < kBatch) {
      batch.push_back(std::move(directories_.back().first));
      directories_.pop_back();
    }
    send(change, batch);
  }
}

/// A request stops at the path that fails; then each path gets one of its own.
void ChangeWalk::send(unsigned change, const Paths& paths) {
  if (paths.empty() || ended_) return;
  const int code = request_(*session_.filer(session_.directory()), paths, change);
  if (code == kPathFailed && paths.size() > 1) {
    (void)session_.news().takeErrors();  // told again by the path's own request
    for (const std::string& path : paths) send(change, {path});
    return;
  }
  status_ = worse(status_, concluded(session_, code, paths.front()));
  ended_ = code != 0 && code != kPathFailed;
}

}  // namespace HOQ::cli
