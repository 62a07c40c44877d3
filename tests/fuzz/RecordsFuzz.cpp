// Whatever a node answers as a batch of flat records: it is refused, or makes trees that flatten to
// records with which the same trees are made.

#include <hoq/HOQFileType.h>
#include <hoq/v1/filer.pb.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "codec/FlatRecords.h"

using namespace HOQ;
using hoq::v1::FilerEvent;

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

bool makeTrees(FilerEvent::Records& records, transport::FileTypes& trees) {
  transport::RecordTrees maker;
  for (hoq::v1::FileRecord& record : *records.mutable_records())
    if (!maker.add(std::move(record))) return false;
  maker.moveTo(trees);
  return true;
}

/// All of it as one batch, in the order of a walk.
FilerEvent::Records flat(const transport::FileTypes& trees) {
  FilerEvent::Records all;
  transport::flatten(trees, [&](FilerEvent&& batch, std::size_t bytes) {
    require(bytes > 0);
    all.MergeFrom(batch.records());
    return true;
  });
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FilerEvent::Records wire;
  if (!wire.ParseFromArray(data, static_cast<int>(size))) return -1;
  const int count = wire.records_size();
  transport::FileTypes trees;
  if (!makeTrees(wire, trees)) return 0;

  FilerEvent::Records once = flat(trees);
  require(once.records_size() == count);
  const std::string bytes = once.SerializeAsString();
  transport::FileTypes again;
  require(makeTrees(once, again));
  require(flat(again).SerializeAsString() == bytes);
  return 0;
}
