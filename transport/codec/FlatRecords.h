#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstdint>
#include <functional>
#include <vector>

#include <hoq/HOQFileType.h>

namespace hoq::v1 {
class FileRecord;
class FilerEvent;
}  // namespace hoq::v1

namespace HOQ::transport {

using FileTypes = std::vector<boost::shared_ptr<HOQFileType>>;

/// Hands trees of records on as events with a batch of flat records each. Trees may be of any
/// depth. Stops where `take`, which gets a batch and its size in bytes, returns false.
void flatten(const FileTypes& records,
             const std::function<bool(hoq::v1::FilerEvent&& batch, std::size_t bytes)>& take);

/// Makes trees of flat records again. One thread.
class RecordTrees {
 public:
  /// The next record. False: its parent is not among those before it.
  [[nodiscard]] bool add(hoq::v1::FileRecord&& record);

  /// Appends the trees to `records`, and begins anew.
  void moveTo(FileTypes& records);

 private:
  FileTypes tops_;
  std::vector<HOQFileType*> all_;  // in the order of their numbers; owned by tops_
};

}  // namespace HOQ::transport
