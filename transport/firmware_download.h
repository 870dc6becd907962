#pragma once
#include <cstdint>

#include "transport/device.h"

namespace kavix::transport {

// Loads a parsed image into the controller's program memory the way its
// hardware boot loader expects: hold the CPU in reset, write every run of
// bytes that the mask marks, release the CPU. The controller then runs the
// new code, which leaves the bus and enumerates again. `downloaded` counts
// the image bytes written.
uint32_t download_firmware(Device &device, const uint8_t *image, const uint8_t *mask,
                           uint32_t count, uint32_t &downloaded);

}  // namespace kavix::transport
