#pragma once
// The USB speed a camera runs at, judged by the packet size of its first bulk
// IN endpoint: 0 full speed, 1 high speed, 2 SuperSpeed.
#include <cstdint>

namespace kavix {

inline constexpr uint8_t kUsbFullSpeed = 0;
inline constexpr uint8_t kUsbHighSpeed = 1;
inline constexpr uint8_t kUsbSuperSpeed = 2;

// Walks a configuration descriptor with its subordinate descriptors. Shorter
// than 10 bytes counts as high speed; no bulk IN endpoint as full speed.
uint8_t usb_speed_from_configuration(const uint8_t *descriptors, uint32_t length);

}  // namespace kavix
