#include "commands/TreeSurvey.h"

#include <algorithm>
#include <thread>

#include <hoq/HOQFilerOptions.h>

#include "Parallel.h"
#include "PathText.h"
#include "listing/Selection.h"

namespace HOQ::cli {
namespace {

constexpr std::size_t kSmall = 1024;  // items that are not worth a second request

/// What a directory holds, as far as the survey needs it.
struct Found {
  Records directories;
  std::size_t items = 0;
  bool isReadable = false;
  bool hasLink = false;
};

/// What one listing says; it asks for no more than the survey needs.
class Glance : public News {
 public:
  using News::News;
  bool kindsSuffice() const override { return true; }
};

/// Quiet: a directory that cannot be read is met again by whoever changes it.
Found listed(Node& node, const std::string& full, unsigned fields) {
  News::Counter looked{0};  // what is looked at here is changed, and counted, later
  const NewsPtr news(new Glance(looked));
  Records records;
  Found found;
  try {
    const int code =
        node.filer(full, news)->list({""}, &records, HOQFilerOptions(0), nullptr, fields);
    found.isReadable = code == 0 && news->events.empty();
  } catch (const CommandError&) {
    return found;  // no Filer, and no reading
  }
  for (RecordPtr& record : records) {
    if (isDots(record->name)) continue;
    ++found.items;
    if (record->type == HOQFileType::kLink) found.hasLink = true;
    if (record->type == HOQFileType::kDirectory) found.directories.push_back(std::move(record));
  }
  return found;
}

}  // namespace

TreeSurvey::TreeSurvey(Session& session, const std::string& root, const RecordPtr& record,
                       unsigned fields)
    : session_(session) {
  directories_.push_back({root, 0, record});
  for (std::size_t from = 0; from < directories_.size();) {
    const std::size_t to = directories_.size();
    list(from, to, fields);
    from = to;
  }
  addUp();
  divide();
}

/// Lists a level of the tree and appends the next one.
void TreeSurvey::list(std::size_t from, std::size_t to, unsigned fields) {
  std::vector<Found> level(to - from);
  Node& node = session_.node();
  inParallel(node, level.size(),
             [&](std::size_t i) { level[i] = listed(node, directories_[from + i].full, fields); });
  for (std::size_t i = 0; i < level.size(); ++i) {
    Directory& at = directories_[from + i];
    at.entries = at.items = level[i].items;
    at.isPlain = level[i].isReadable && !level[i].hasLink;
    if (!level[i].isReadable) at.work = Work::kByItem;
    if (!level[i].isReadable) continue;
    const std::string full = at.full;  // the vector moves
    for (RecordPtr& record : level[i].directories)
      directories_.push_back({join(full, record->name), from + i, std::move(record)});
  }
}

void TreeSurvey::addUp() {
  for (std::size_t i = directories_.size(); i-- > 1;) {
    Directory& above = directories_[directories_[i].parent];
    above.items += directories_[i].items;
    above.isPlain = above.isPlain && directories_[i].isPlain;
  }
}

/// A large tree without links is taken apart as well, so that several requests share it: where
/// most of it is further below, since single entries cost more.
void TreeSurvey::divide() {
  const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
  const std::size_t share = std::max(kSmall, directories_.front().items / (4 * cores));
  for (std::size_t i = 0; i < directories_.size(); ++i) {
    Directory& at = directories_[i];
    if (at.work == Work::kByItem) continue;
    const Work above = i == 0 ? Work::kEntries : directories_[at.parent].work;
    const bool isDivided = at.items > share && at.entries < at.items / 2;
    if (above == Work::kEntries) at.work = at.isPlain && !isDivided ? Work::kWhole : Work::kEntries;
  }
}

}  // namespace HOQ::cli
