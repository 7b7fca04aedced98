#pragma once
// The detector of each app scene.

#include "CatonDetection.h"

#include <cstdint>
#include <memory>

namespace mqqoe {

// Null, after logging why, for a scene without a detector or without memory.
std::unique_ptr<CatonDetection> makeCatoner(int32_t detectionType);

}  // namespace mqqoe
