#pragma once

#include <functional>
#include <string>

#include "Session.h"

namespace HOQ::cli {

/// `full`, a resolved path, without links on its way and at its end, asked of the node link by
/// link. What is not there, or cannot be examined, stays as it is named.
std::string realPath(Session& session, const std::string& full);

/// The same where `linkText` says what the link at a path records, empty where there is none.
std::string realPath(const std::function<std::string(const std::string& full)>& linkText,
                     const std::string& full);

}  // namespace HOQ::cli
