#pragma once
// The frame every KavixUSBD_ operation shares: the handle check, the result as a
// 32-bit boolean with the reason in the thread's last error, and no exception
// across the boundary (an allocation failure becomes 8).
#include <cstdint>
#include <memory>
#include <new>

#include "KavixUSBD.h"
#include "platform/last_error.h"
#include "transport/device_registry.h"
#include "transport/windows_errors.h"

namespace kavix::transport {

// Result of an operation: 1, or 0 with the thread's last error.
inline int32_t result(uint32_t error) {
    if (error == win::kSuccess) return 1;
    platform::set_last_error(error);
    return 0;
}

// Runs `body` on the device behind an open handle; `body` returns an error number.
template <typename Body>
int32_t with_device(KAVIXUSB_HANDLE handle, Body body) {
    try {
        std::shared_ptr<Device> device = DeviceRegistry::instance().device(handle);
        if (!device) return result(win::kInvalidHandle);
        return result(body(*device));
    } catch (const std::bad_alloc &) {
        return result(win::kNotEnoughMemory);
    }
}

}  // namespace kavix::transport
