#include <hoq/intToStr.h>

namespace HOQ {

std::string intToStr(int number) { return std::to_string(number); }

}  // namespace HOQ
