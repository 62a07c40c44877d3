#pragma once

#include <string>

#include <hoq/HOQExport.h>

namespace HOQ {

/// `number` in decimal.
HOQ_EXPORT std::string intToStr(int number);

}  // namespace HOQ
