#pragma once
#include <cstdint>

namespace kavix::platform {

// Windows error numbers that the platform layer itself gives. They keep their
// Windows values, which are part of the library's interface.
constexpr uint32_t kErrorTooManyOpenFiles = 4;
constexpr uint32_t kErrorNotEnoughMemory = 8;
constexpr uint32_t kErrorInvalidParameter = 87;
constexpr uint32_t kErrorInsufficientBuffer = 122;
constexpr uint32_t kErrorBusy = 170;
constexpr uint32_t kErrorInvalidWindowHandle = 1400;  // the queue was destroyed
constexpr uint32_t kErrorNotEnoughQuota = 1816;       // the queue is full

}  // namespace kavix::platform
