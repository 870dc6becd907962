#pragma once
#include <cstdint>

namespace kavix::transport {

// Windows error numbers that cross the transport's interface. They keep their
// Windows values: applications and the camera library compare against them.
namespace win {
inline constexpr uint32_t kSuccess = 0;
inline constexpr uint32_t kFileNotFound = 2;
inline constexpr uint32_t kAccessDenied = 5;
inline constexpr uint32_t kInvalidHandle = 6;
inline constexpr uint32_t kNotEnoughMemory = 8;
inline constexpr uint32_t kInvalidData = 13;
inline constexpr uint32_t kCrc = 23;
inline constexpr uint32_t kGenFailure = 31;
inline constexpr uint32_t kNotSupported = 50;
inline constexpr uint32_t kInvalidParameter = 87;
inline constexpr uint32_t kBusy = 170;
inline constexpr uint32_t kInsufficientBuffer = 122;
inline constexpr uint32_t kSemTimeout = 121;
inline constexpr uint32_t kWaitTimeout = 258;
inline constexpr uint32_t kOperationAborted = 995;
inline constexpr uint32_t kDeviceNotConnected = 1167;
}  // namespace win

}  // namespace kavix::transport
