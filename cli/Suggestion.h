#pragma once

#include <string>
#include <vector>

namespace HOQ::cli {

/// "; did you mean X?" with the candidate that `word` is most likely a slip of; empty when none is
/// near.
std::string suggestion(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace HOQ::cli
