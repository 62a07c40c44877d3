#include "codec/FlatRecords.h"

#include <hoq/v1/filer.pb.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <iterator>
#include <utility>

namespace HOQ::transport {
namespace {

namespace wire = hoq::v1;

/// Enough for one write to pay, little enough that two sides work at the same time.
constexpr std::size_t kBatchBytes = 64 * 1024;

/// What a record takes beside its texts, about.
constexpr std::size_t kRecordBytes = 48;

std::size_t write(const HOQFileType& from, std::uint64_t parent, wire::FileRecord& to) {
  to.set_parent(parent);
  to.set_name(from.name);
  to.set_type(from.type);
  to.set_permissions(from.permissions);
  to.set_user(from.user);
  to.set_uid(from.uid);
  to.set_group(from.group);
  to.set_gid(from.gid);
  to.set_size(from.size);
  to.set_mtime(from.mtime);
  to.set_nlink(from.nlink);
  to.set_link_target(from.linkTarget);
  to.set_content_type(from.contentType);
  for (const long long size : from.sizes) to.add_sizes(size);
  to.set_valid(from.valid);
  return kRecordBytes + from.name.size() + from.user.size() + from.group.size() +
         from.linkTarget.size() + from.contentType.size() + 10 * from.sizes.size();
}

void read(wire::FileRecord& from, HOQFileType& to) {
  to.name = std::move(*from.mutable_name());
  to.type = from.type();
  to.permissions = from.permissions();
  to.user = std::move(*from.mutable_user());
  to.uid = from.uid();
  to.group = std::move(*from.mutable_group());
  to.gid = from.gid();
  to.size = from.size();
  to.mtime = from.mtime();
  to.nlink = from.nlink();
  to.linkTarget = std::move(*from.mutable_link_target());
  to.contentType = std::move(*from.mutable_content_type());
  to.sizes.assign(from.sizes().begin(), from.sizes().end());
  to.valid = from.valid();
}

/// A list of siblings that is being walked.
struct Level {
  const FileTypes* records;
  std::size_t next;
  std::uint64_t parent;
};

}  // namespace

void flatten(const FileTypes& records,
             const std::function<bool(wire::FilerEvent&&, std::size_t)>& take) {
  std::vector<Level> walk{{&records, 0, 0}};
  std::uint64_t number = 0;
  wire::FilerEvent batch;
  std::size_t bytes = 0;
  while (!walk.empty()) {
    Level& level = walk.back();
    if (level.next == level.records->size()) {
      walk.pop_back();
      continue;
    }
    const HOQFileType& record = *(*level.records)[level.next++];
    bytes += write(record, level.parent, *batch.mutable_records()->add_records());
    ++number;
    if (!record.children.empty()) walk.push_back({&record.children, 0, number});
    if (bytes < kBatchBytes) continue;
    if (!take(std::move(batch), std::exchange(bytes, 0))) return;
    batch.Clear();
  }
  if (bytes != 0) (void)take(std::move(batch), bytes);  // the last one
}

bool RecordTrees::add(wire::FileRecord&& record) {
  if (record.parent() > all_.size()) return false;
  auto made = boost::make_shared<HOQFileType>();
  read(record, *made);
  FileTypes& siblings = record.parent() == 0 ? tops_ : all_[record.parent() - 1]->children;
  all_.push_back(made.get());
  siblings.push_back(std::move(made));
  return true;
}

void RecordTrees::moveTo(FileTypes& records) {
  records.insert(records.end(), std::make_move_iterator(tops_.begin()),
                 std::make_move_iterator(tops_.end()));
  tops_.clear();
  all_.clear();
}

}  // namespace HOQ::transport
