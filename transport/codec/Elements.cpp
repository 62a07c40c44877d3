#include "codec/Elements.h"

#include <hoq/v1/records.pb.h>

namespace HOQ::transport {
namespace {

namespace wire = hoq::v1;
using Kind = HOQMessageElement::Kind;

bool write(const HOQMessage& message, wire::ElementMessage& out, int depth) {
  if (depth > kDeepestMessage) return false;
  for (const HOQMessageElement& element : message.elements) {
    wire::Element& to = *out.add_elements();
    to.set_id(element.id);
    switch (element.kind) {
      case Kind::kEmpty:
        to.mutable_empty();
        break;
      case Kind::kString:
        to.set_text(element.text);
        break;
      case Kind::kPath:
        to.set_path(element.text);
        break;
      case Kind::kInt:
        to.set_number(element.number);
        break;
      case Kind::kChild:
        if (!write(element.child, *to.mutable_child(), depth + 1)) return false;
        break;
    }
  }
  return true;
}

bool read(const wire::ElementMessage& in, HOQMessage& message, int depth);

bool readElement(const wire::Element& from, HOQMessageElement& element, int depth) {
  element.id = from.id();
  switch (from.value_case()) {
    case wire::Element::kEmpty:
      element.kind = Kind::kEmpty;
      return true;
    case wire::Element::kText:
      element.kind = Kind::kString;
      element.text = from.text();
      return true;
    case wire::Element::kPath:
      element.kind = Kind::kPath;
      element.text = from.path();
      return true;
    case wire::Element::kNumber:
      element.kind = Kind::kInt;
      element.number = from.number();
      return true;
    case wire::Element::kChild:
      element.kind = Kind::kChild;
      return read(from.child(), element.child, depth + 1);
    case wire::Element::VALUE_NOT_SET:
      break;
  }
  return false;
}

bool read(const wire::ElementMessage& in, HOQMessage& message, int depth) {
  if (depth > kDeepestMessage) return false;
  message.elements.resize(static_cast<std::size_t>(in.elements_size()));
  for (int i = 0; i < in.elements_size(); ++i) {
    if (in.elements(i).id() < 1) return false;
    if (!readElement(in.elements(i), message.elements[static_cast<std::size_t>(i)], depth))
      return false;
  }
  return true;
}

}  // namespace

bool toWire(const HOQMessage& message, wire::ElementMessage& out) { return write(message, out, 1); }

bool fromWire(const wire::ElementMessage& in, HOQMessage& message) { return read(in, message, 1); }

}  // namespace HOQ::transport
