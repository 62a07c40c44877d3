#include "listing/Spool.h"

#include <algorithm>
#include <limits>

#include "listing/Packing.h"

namespace HOQ::cli {

void Spool::append(std::string_view key, std::string_view value) {
  appendText(last_, key);
  appendText(last_, value);
  if (last_.size() < memoryBytes_) return;
  if (!file_.write(last_, written_)) {
    memoryBytes_ = std::numeric_limits<std::size_t>::max();
    return;
  }
  written_ += last_.size();
  last_.clear();
}

void Spool::read(std::uint64_t offset, std::size_t length, std::string& out) const {
  if (offset >= written_)
    out.append(last_, static_cast<std::size_t>(offset - written_), length);
  else
    file_.read(offset, static_cast<std::size_t>(std::min<std::uint64_t>(length, written_ - offset)),
               out);
}

}  // namespace HOQ::cli
