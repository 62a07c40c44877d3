#include <hoq/HOQMessage.h>

#include <iterator>
#include <utility>

namespace HOQ {
namespace {

// The children of `elements` that have elements themselves, without what is left of them.
void takeChildren(std::vector<HOQMessageElement>& elements, std::vector<HOQMessageElement>& into) {
  for (HOQMessageElement& element : elements) {
    std::vector<HOQMessageElement>& below = element.child.elements;
    into.insert(into.end(), std::make_move_iterator(below.begin()),
                std::make_move_iterator(below.end()));
    below.clear();
  }
}

}  // namespace

HOQMessage::~HOQMessage() {
  std::vector<HOQMessageElement> rest;
  takeChildren(elements, rest);
  while (!rest.empty()) {
    std::vector<HOQMessageElement> next;
    takeChildren(rest, next);
    rest.swap(next);
  }
}

bool HOQMessage::isTooDeep() const {
  std::vector<std::pair<const HOQMessage*, int>> rest{{this, 1}};
  while (!rest.empty()) {
    const auto [message, depth] = rest.back();
    rest.pop_back();
    if (message->elements.empty()) continue;
    if (depth > kMaxDepth) return true;
    for (const HOQMessageElement& element : message->elements)
      if (!element.child.elements.empty()) rest.emplace_back(&element.child, depth + 1);
  }
  return false;
}

}  // namespace HOQ
