#pragma once

#include <string>
#include <string_view>

#include <hoq/HOQFileType.h>

#include "output/Output.h"

namespace HOQ::cli {

/// Appends a JSON string, or {"base64": ...} where `text` is not valid UTF-8.
void appendJson(Output::Buffer& out, std::string_view text);

/// Appends what stands between the braces of a record's object, except its children: every key,
/// as the node answered it.
void appendJsonFields(Output::Buffer& out, const HOQFileType& record);

/// Appends records and everything below them as a JSON array. Deep trees need no deep stack.
void appendJsonRecords(Output& out, const std::vector<boost::shared_ptr<HOQFileType>>& records);

}  // namespace HOQ::cli
