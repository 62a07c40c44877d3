#include <hoq/HOQErrorMessage.h>

namespace HOQ {
namespace {

thread_local std::string currentMessage;

}  // namespace

void setErrorMessage(std::string_view format, std::initializer_list<HOQMessageArgument> arguments) {
  // Built apart: format and arguments may point into the current text.
  std::string message;
  message.reserve(format.size());
  const HOQMessageArgument* next = arguments.begin();
  for (std::size_t at = 0; at < format.size(); ++at) {
    const char kind = format[at] == '%' && at + 1 < format.size() ? format[at + 1] : '\0';
    if (kind == '%') {
      message += '%';
      ++at;
    } else if ((kind == 's' || kind == 'd') && next != arguments.end()) {
      next->appendTo(message);
      ++next;
      ++at;
    } else {
      message += format[at];
    }
  }
  currentMessage.swap(message);
}

const std::string& getErrorMessage() { return currentMessage; }

void clearErrorMessage() { currentMessage.clear(); }

}  // namespace HOQ
