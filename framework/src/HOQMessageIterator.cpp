#include <hoq/HOQMessageIterator.h>

#include <algorithm>

namespace HOQ {
namespace {

using Kind = HOQMessageElement::Kind;

HOQMessageElement* firstOf(HOQMessage& message, int id) {
  const auto found = std::find_if(message.elements.begin(), message.elements.end(),
                                  [id](const HOQMessageElement& each) { return each.id == id; });
  return found == message.elements.end() ? nullptr : &*found;
}

}  // namespace

HOQMessageElement* HOQMessageIterator::put(int id, Kind kind) {
  if (id < 1 || depth_ > HOQMessage::kMaxDepth) return nullptr;
  HOQMessageElement& element = message_->elements.emplace_back();
  element.id = id;
  element.kind = kind;
  return &element;
}

HOQMessageElement* HOQMessageIterator::get(int id, Kind kind) const {
  HOQMessageElement* const element = firstOf(*message_, id);
  return element != nullptr && element->kind == kind ? element : nullptr;
}

int HOQMessageIterator::putString(const std::string& value, int id) {
  HOQMessageElement* const element = put(id, Kind::kString);
  if (element == nullptr) return -1;
  element->text = value;
  return 0;
}

int HOQMessageIterator::putPath(const std::string& value, int id) {
  HOQMessageElement* const element = put(id, Kind::kPath);
  if (element == nullptr) return -1;
  element->text = value;
  return 0;
}

int HOQMessageIterator::putInt(int value, int id) {
  HOQMessageElement* const element = put(id, Kind::kInt);
  if (element == nullptr) return -1;
  element->number = value;
  return 0;
}

int HOQMessageIterator::putEmpty(int id) { return put(id, Kind::kEmpty) == nullptr ? -1 : 0; }

int HOQMessageIterator::getString(std::string& value, int id) const {
  const HOQMessageElement* const element = get(id, Kind::kString);
  if (element == nullptr) return -1;
  value = element->text;
  return 0;
}

int HOQMessageIterator::getPath(std::string& value, int id) const {
  const HOQMessageElement* const element = get(id, Kind::kPath);
  if (element == nullptr) return -1;
  value = element->text;
  return 0;
}

int HOQMessageIterator::getInt(int& value, int id) const {
  const HOQMessageElement* const element = get(id, Kind::kInt);
  if (element == nullptr) return -1;
  value = element->number;
  return 0;
}

int HOQMessageIterator::find(int id) const { return firstOf(*message_, id) == nullptr ? -1 : 0; }

bool HOQMessageIterator::openChild(int id, HOQMessageIterator& child) {
  // Not a child that could take no elements.
  if (depth_ >= HOQMessage::kMaxDepth) return false;
  HOQMessageElement* const element = put(id, Kind::kChild);
  if (element == nullptr) return false;
  child.message_ = &element->child;
  child.depth_ = depth_ + 1;
  return true;
}

bool HOQMessageIterator::findChild(int id, HOQMessageIterator& child) const {
  if (depth_ >= HOQMessage::kMaxDepth) return false;
  HOQMessageElement* const element = get(id, Kind::kChild);
  if (element == nullptr) return false;
  child.message_ = &element->child;
  child.depth_ = depth_ + 1;
  return true;
}

}  // namespace HOQ
