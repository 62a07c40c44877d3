#pragma once

#include <hoq/HOQHaulSerializerPrototype.h>

namespace HOQ {

/// The sending end of one file's transfer.
class HOQFileSerializerPrototype : public HOQHaulSerializerPrototype {};

}  // namespace HOQ
