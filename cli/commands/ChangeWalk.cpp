#include "commands/ChangeWalk.h"

#include <hoq/HOQResultCodes.h>

#include "Parallel.h"
#include "PathText.h"
#include "commands/RealPath.h"
#include "listing/Selection.h"

namespace HOQ::cli {
namespace {

constexpr std::size_t kBatch = 512;      // paths in one request
constexpr unsigned kOwnerEnters = 0500;  // reads and searches
constexpr unsigned kFields = HOQFileType::kType | HOQFileType::kPermissions | HOQFileType::kName;

}  // namespace

ChangeWalk::ChangeWalk(Session& session, Plan plan, Change kind, Request request, bool followLinks)
    : session_(session),
      plan_(std::move(plan)),
      kind_(kind),
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
    const bool isTree = recursive && record->type == HOQFileType::kDirectory &&
                        (entered || !isLink(session_, named.full));
    if (!isTree)
      item(named.full, *record);
    else if (kind_ == Change::kSame && !followLinks_ && !namesDirectory(named.typed))
      plainTrees(named.full, record);
    else
      tree(named.full, *record);
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

void ChangeWalk::plainTrees(const std::string& full, const RecordPtr& record) {
  using Work = TreeSurvey::Work;
  const TreeSurvey survey(session_, full, record, kFields);
  const std::vector<int> codes = wholly(survey);
  for (std::size_t i = 0; i < codes.size() && !ended_; ++i) {
    const TreeSurvey::Directory& at = survey.directories()[i];
    if (at.work == Work::kWhole) concludeWhole(at, codes[i]);
    if (at.work == Work::kByItem) tree(at.full, *at.record);
    if (at.work != Work::kEntries) continue;
    entriesOf(at.full);
    directory(at.full, *at.record);
  }
}

/// Makes the requests for whole trees, several at once; their codes by directory. What they have
/// to say is left to the careful walk, which then meets the same.
std::vector<int> ChangeWalk::wholly(const TreeSurvey& survey) {
  const auto& found = survey.directories();
  Node& node = session_.node();
  News::Counter& counter = session_.news().items;
  std::vector<int> codes(found.size(), 0);
  std::vector<std::size_t> whole;
  for (std::size_t i = 0; i < found.size(); ++i)
    if (found[i].work == TreeSurvey::Work::kWhole) whole.push_back(i);
  inParallel(node, whole.size(), [&](std::size_t next) {
    const TreeSurvey::Directory& root = found[whole[next]];
    try {
      const auto filer = node.filer(session_.directory(), NewsPtr(new News(counter)));
      codes[whole[next]] = request_(*filer, {root.full}, plan_(*root.record),
                                    HOQFilerOptions(HOQFilerOptions::kRecursive));
    } catch (const CommandError&) {
      codes[whole[next]] = kPathFailed;
    }
  });
  return codes;
}

/// A request stops at what fails; then the tree is gone through item by item. Any other failure is
/// the same for every request, and is told by another one.
void ChangeWalk::concludeWhole(const TreeSurvey::Directory& root, int code) {
  if (code == 0) return;
  if (code == kPathFailed) return tree(root.full, *root.record);
  code = request_(*session_.filer(session_.directory()), {root.full}, plan_(*root.record),
                  HOQFilerOptions(HOQFilerOptions::kRecursive));
  status_ = worse(status_, concluded(session_, code, root.full));
  ended_ = code != 0;
}

void ChangeWalk::entriesOf(const std::string& full) {
  const Listed listed = items_.list(full, false, nullptr);
  if (!listed.complete) status_ = worse(status_, kExitFailed);
  for (const RecordPtr& child : listed.records)
    if (child->type != HOQFileType::kDirectory && child->type != HOQFileType::kLink)
      item(join(full, child->name), *child);
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
  const int code =
      request_(*session_.filer(session_.directory()), paths, change, HOQFilerOptions(0));
  if (code == kPathFailed && paths.size() > 1) {
    (void)session_.news().takeErrors();  // told again by the path's own request
    for (const std::string& path : paths) send(change, {path});
    return;
  }
  status_ = worse(status_, concluded(session_, code, paths.front()));
  ended_ = code != 0 && code != kPathFailed;
}

}  // namespace HOQ::cli
