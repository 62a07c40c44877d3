#include "contents/OpenLevels.h"

#include <algorithm>

namespace HOQ::cli {

void OpenLevels::add(const std::shared_ptr<Level>& level) {
  const auto ended = [](const auto& known) { return known->ended.load(); };
  levels_.erase(std::remove_if(levels_.begin(), levels_.end(), ended), levels_.end());
  levels_.push_back(level);
}

void OpenLevels::discard(Side& target) {
  for (const auto& level : levels_)
    if (!level->ended) level->place.discard(target);
}

}  // namespace HOQ::cli
