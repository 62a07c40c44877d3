#pragma once

#include "listing/Listing.h"
#include "output/Output.h"

namespace HOQ::cli {

/// Writes a record as an object on a line: "path" and the record's own keys.
void writeJsonLine(Output& out, std::string_view path, const HOQFileType& record);

/// Writes the entries of a directory, and of a tree everything below, parents first.
void writeJsonLines(Output& out, const Directory& directory, const Selection& selection);

}  // namespace HOQ::cli
