#include "listing/Frames.h"

#include <algorithm>
#include <utility>

#include "listing/Packing.h"

namespace HOQ::cli {

bool Frames::next(std::string_view& key, std::string_view& value) {
  do {
    std::string_view rest = std::string_view(buffer_).substr(used_);
    if (takeText(rest, key) && takeText(rest, value)) {
      used_ = buffer_.size() - rest.size();
      return true;
    }
  } while (readMore());
  return false;
}

bool Frames::readMore() {
  if (at_ == end_) return false;
  buffer_.erase(0, std::exchange(used_, 0));
  const std::size_t had = buffer_.size();
  read_(at_, static_cast<std::size_t>(std::min<std::uint64_t>(end_ - at_, atOnce_)), buffer_);
  at_ += buffer_.size() - had;
  return true;
}

}  // namespace HOQ::cli
