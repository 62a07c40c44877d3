#pragma once

#include <cstddef>

namespace HOQ::test {

/// Where a field stands in an object.
template <class Object, class Field>
std::size_t offsetIn(const Object& object, const Field& field) {
  return static_cast<std::size_t>(reinterpret_cast<const char*>(&field) -
                                  reinterpret_cast<const char*>(&object));
}

}  // namespace HOQ::test

/// Afterwards, memberOf(Tag()) is the pointer to `Class`'s field of that type, be it private: names
/// in an explicit instantiation are not checked for access.
#define HOQ_PROBE_MEMBER(Tag, Class, field, ...)         \
  struct Tag {                                           \
    using Pointer = __VA_ARGS__ Class::*;                \
    friend Pointer memberOf(Tag);                        \
  };                                                     \
  template <Tag::Pointer Member>                         \
  struct Reveal##Tag {                                   \
    friend Tag::Pointer memberOf(Tag) { return Member; } \
  };                                                     \
  template struct Reveal##Tag<&Class::field>
