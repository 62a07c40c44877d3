#pragma once

#include <hoq/HOQRequestErrorData.h>
#include <hoq/HOQRequestProgressData.h>

#include "output/Output.h"

namespace HOQ::cli {

/// Append what a request had to say while it ran, as one JSON object: {"error": ...} or
/// {"progress": ...}.
void appendEvent(Output& out, const HOQRequestErrorData& error);
void appendEvent(Output& out, const HOQRequestProgressData& progress);

}  // namespace HOQ::cli
