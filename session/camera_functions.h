#pragma once
#include <cstdint>

#include "session/camera_info.h"

namespace kavix {

// Whether the camera has function `id`: the bit 16 w + b of its function
// words, with the rules for models whose early FPGA versions lack them.
bool camera_has_function(const CameraInfo &info, const FunctionBits &bits, uint32_t id);

}  // namespace kavix
