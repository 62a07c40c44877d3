#pragma once

#include <hoq/HOQHaulDeserializerPrototype.h>

namespace HOQ {

/// The receiving end of one item's transfer.
class HOQFileDeserializerPrototype : public HOQHaulDeserializerPrototype {};

}  // namespace HOQ
