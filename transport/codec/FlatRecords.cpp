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

RecordBatches::RecordBatches(Take take)
    : take_(std::move(take)), batch_(std::make_unique<wire::FilerEvent>()) {}

RecordBatches::~RecordBatches() = default;

bool RecordBatches::flush() {
  if (bytes_ == 0) return true;
  const bool wanted = take_(std::move(*batch_), std::exchange(bytes_, 0));
  batch_->Clear();
  return wanted;
}

bool RecordBatches::add(const HOQFileType& tree) {
  const auto put = [this](const HOQFileType& record, std::uint64_t parent) {
    bytes_ += write(record, parent, *batch_->mutable_records()->add_records());
    ++number_;
    return bytes_ < kBatchBytes || flush();
  };
  if (!put(tree, 0)) return false;
  if (tree.children.empty()) return true;
  std::vector<Level> walk{{&tree.children, 0, number_}};
  while (!walk.empty()) {
    Level& level = walk.back();
    if (level.next == level.records->size()) {
      walk.pop_back();
      continue;
    }
    const HOQFileType& record = *(*level.records)[level.next++];
    if (!put(record, level.parent)) return false;
    if (!record.children.empty()) walk.push_back({&record.children, 0, number_});
  }
  return true;
}

void flatten(const FileTypes& records, const RecordBatches::Take& take) {
  RecordBatches batches(take);
  for (const auto& record : records)
    if (!batches.add(*record)) return;
  (void)batches.flush();  // the last one
}

bool RecordTrees::add(wire::FileRecord&& record) {
  const std::uint64_t parent = record.parent();
  if (parent != 0 && (parent <= gone_ || parent - gone_ > all_.size())) return false;
  auto made = boost::make_shared<HOQFileType>();
  read(record, *made);
  if (parent == 0) lastTop_ = all_.size();
  FileTypes& siblings = parent == 0 ? tops_ : all_[parent - gone_ - 1]->children;
  all_.push_back(made.get());
  siblings.push_back(std::move(made));
  return true;
}

void RecordTrees::moveWholeTo(FileTypes& records) {
  if (tops_.size() < 2) return;
  records.insert(records.end(), std::make_move_iterator(tops_.begin()),
                 std::make_move_iterator(tops_.end() - 1));
  tops_.erase(tops_.begin(), tops_.end() - 1);
  all_.erase(all_.begin(), all_.begin() + static_cast<std::ptrdiff_t>(lastTop_));
  gone_ += std::exchange(lastTop_, 0);
}

void RecordTrees::moveTo(FileTypes& records) {
  records.insert(records.end(), std::make_move_iterator(tops_.begin()),
                 std::make_move_iterator(tops_.end()));
  tops_.clear();
  all_.clear();
  gone_ = lastTop_ = 0;
}

}  // namespace HOQ::transport
