#include "commands/ModeWalk.h"

#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQResultCodes.h>

#include "PathText.h"
#include "commands/EachPath.h"
#include "commands/RealPath.h"
#include "listing/Selection.h"

namespace HOQ::cli {
namespace {

constexpr std::size_t kBatch = 512;      // paths in one request
constexpr unsigned kOwnerEnters = 0500;  // reads and searches
constexpr unsigned kFields = HOQFileType::kType | HOQFileType::kPermissions | HOQFileType::kName;

}  // namespace

ModeWalk::ModeWalk(Session& session, const ModeChange& change, unsigned mask, bool followLinks)
    : session_(session),
      change_(change),
      mask_(mask),
      followLinks_(followLinks),
      items_(session, 0, kFields),
      followed_(session, HOQFilerOptions::kFollowLinks, kFields) {}

unsigned ModeWalk::modeOf(const HOQFileType& record) const {
  return change_.apply(record.permissions, record.type == HOQFileType::kDirectory, mask_);
}

void ModeWalk::item(const std::string& full, const HOQFileType& record) {
  if (record.type == HOQFileType::kDirectory) return directory(full, record);
  Paths& batch = batches_[modeOf(record)];
  batch.push_back(full);
  if (batch.size() < kBatch) return;
  send(modeOf(record), batch);
  batch.clear();
}

void ModeWalk::tree(const std::string& full, const HOQFileType& record) {
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

void ModeWalk::entry(const std::string& full, const HOQFileType& record, Paths& queue) {
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

void ModeWalk::enter(const std::string& full, const HOQFileType& record, Paths& queue) {
  if (followLinks_ && !entered_.insert(realPath(session_, full)).second) return;
  queue.push_back(full);
  directory(full, record);
}

void ModeWalk::directory(const std::string& full, const HOQFileType& record) {
  const unsigned mode = modeOf(record);
  const bool opensUp = (mode & kOwnerEnters & ~record.permissions) != 0;
  if (opensUp)
    send(mode, {full});
  else
    directories_.emplace_back(full, mode);
}

ExitStatus ModeWalk::finish() {
  for (const auto& [mode, paths] : batches_) send(mode, paths);
  batches_.clear();
  while (!directories_.empty()) {
    Paths batch;
    const unsigned mode = directories_.back().second;
    while (!directories_.empty() && directories_.back().second == mode && batch.size() < kBatch) {
      batch.push_back(std::move(directories_.back().first));
      directories_.pop_back();
    }
    send(mode, batch);
  }
  return status_;
}

/// A request stops at the path that fails; then each path gets one of its own.
void ModeWalk::send(unsigned mode, const Paths& paths) {
  if (paths.empty() || status_ == kExitRefused) return;
  const int code = session_.filer(session_.directory())
                       ->chmod(paths, static_cast<int>(mode), HOQFilerOptions(0));
  if (code == kPathFailed && paths.size() > 1) {
    (void)session_.news().takeErrors();  // told again by the path's own request
    for (const std::string& path : paths) send(mode, {path});
    return;
  }
  session_.reportErrors();
  if (code != 0) status_ = worse(status_, statusOf(code));
  if (code == kAccessRefused) session_.reportError("\"" + paths.front() + "\", access refused");
}

}  // namespace HOQ::cli
