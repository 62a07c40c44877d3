#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include <hoq/HOQFileType.h>

namespace hoq::v1 {
class FileRecord;
class FilerEvent;
}  // namespace hoq::v1

namespace HOQ::transport {

using FileTypes = std::vector<boost::shared_ptr<HOQFileType>>;

/// Hands trees of records on as events with a batch of flat records each. Trees may be of any
/// depth, and come one after the other. One thread.
class RecordBatches {
 public:
  /// Gets a batch and its size in bytes; false: no more is wanted.
  using Take = std::function<bool(hoq::v1::FilerEvent&& batch, std::size_t bytes)>;

  explicit RecordBatches(Take take);
  RecordBatches(const RecordBatches&) = delete;
  RecordBatches& operator=(const RecordBatches&) = delete;
  ~RecordBatches();

  /// The next tree. False: no more is wanted.
  bool add(const HOQFileType& tree);

  /// Hands on what waits for more. False: no more is wanted.
  bool flush();

 private:
  const Take take_;
  std::unique_ptr<hoq::v1::FilerEvent> batch_;
  std::size_t bytes_ = 0;     // in the batch
  std::uint64_t number_ = 0;  // of the last record
};

/// Hands all of `records` on. Stops where no more is wanted.
void flatten(const FileTypes& records, const RecordBatches::Take& take);

/// Makes trees of flat records again. One thread.
class RecordTrees {
 public:
  /// The next record. False: its parent is not among those before it, or in a tree that was moved
  /// away as whole.
  [[nodiscard]] bool add(hoq::v1::FileRecord&& record);

  /// Appends the trees to `records`, and begins anew.
  void moveTo(FileTypes& records);

  /// Appends those trees that have another one behind them to `records`: they are whole, and get no
  /// further record.
  void moveWholeTo(FileTypes& records);

 private:
  FileTypes tops_;
  std::vector<HOQFileType*> all_;  // in the order of their numbers; owned by tops_
  std::uint64_t gone_ = 0;         // how many came before those, in trees that were moved away
  std::size_t lastTop_ = 0;        // the place of the last tree's first record in all_
};

}  // namespace HOQ::transport
