#pragma once

#include "listing/Listing.h"
#include "output/Output.h"

namespace HOQ::cli {

/// Draws a directory and everything below it, a line for each entry. Where conditions are set,
/// directories that do not meet them appear as far as something below them does.
void drawTree(Output& out, const View& view, const Directory& directory);

}  // namespace HOQ::cli
