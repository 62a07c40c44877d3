#pragma once

#include <string>

namespace HOQ::agent {

/// Log lines go to standard error: with time and level for people, or, where standard error is the
/// journal, with the level as the journal takes it and without a time. Before there are threads.
void setUpLogging();

/// `text` without control characters, for texts that strangers choose.
std::string printable(const std::string& text);

}  // namespace HOQ::agent
