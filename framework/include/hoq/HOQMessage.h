#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <hoq/HOQExport.h>

namespace HOQ {

struct HOQMessageElement;

/// A message between nodes: numbered elements in order. A transport encodes it. Made from a peer's
/// bytes it may be nested in any depth: it goes without recursion, and whoever takes it in asks
/// isTooDeep() before anything that does recurse (copying does).
struct HOQ_EXPORT HOQMessage {
  /// How deep elements may stand: those of the message itself stand at 1.
  static constexpr int kMaxDepth = 16;

  HOQMessage() = default;
  HOQMessage(const HOQMessage&) = default;
  HOQMessage(HOQMessage&&) noexcept = default;
  HOQMessage& operator=(const HOQMessage&) = default;
  HOQMessage& operator=(HOQMessage&&) noexcept = default;
  ~HOQMessage();

  /// Whether an element stands deeper than kMaxDepth.
  bool isTooDeep() const;

  std::vector<HOQMessageElement> elements;
};

/// One numbered element. Numbers are from 1; 0 is nobody's.
struct HOQMessageElement {
  enum class Kind { kEmpty, kString, kPath, kInt, kChild };

  int id = 0;
  Kind kind = Kind::kEmpty;
  std::string text;         // of kString and kPath: any bytes
  std::int32_t number = 0;  // of kInt
  HOQMessage child;         // of kChild
};

}  // namespace HOQ
