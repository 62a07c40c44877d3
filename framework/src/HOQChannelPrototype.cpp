#include <hoq/HOQChannelPrototype.h>

namespace HOQ {

HOQChannelPrototype::~HOQChannelPrototype() = default;

void HOQChannelPrototype::giveUp(const std::string& text) {
  for (const HOQChannelEndPtr& end : {getSourceEnd(), getDestinationEnd()})
    if (end) end->giveUp(text);
}

std::string HOQChannelPrototype::failure() {
  for (const HOQChannelEndPtr& end : {getSourceEnd(), getDestinationEnd()}) {
    std::string text = end ? end->failure() : std::string();
    if (!text.empty()) return text;
  }
  return std::string();
}

}  // namespace HOQ
