#pragma once
// Finding cameras on the bus: opening a device index with the recovery of a
// device that doesn't answer, and counting the devices present.
#include <cstdint>

#include "KavixUSBD.h"

namespace kavix {

// Device indexes walked: 0 to 126.
inline constexpr uint32_t kDeviceIndexes = KAVIXUSBD_MAX_DEVICES;

struct DeviceProbe {
    KAVIXUSB_HANDLE handle = nullptr;  // set only for a usable device held by us alone
    bool exists = false;  // false ends a walk: no device at this index, or recovery failed
    uint32_t result = 0;  // the open's Windows error when there is no device
};

// Opens the device at `index`. A device that another client holds is closed
// again and counts as existing without a handle. A device that fails its
// probe is sent the transport's recovery operations, the first in the first
// round and the second in every later one, and opened again, until it answers
// or a step fails. Drivers too old for recovery end the attempt.
DeviceProbe open_device_by_index(uint32_t index);

// How many devices open one after the other from index 0, each closed at once.
uint32_t count_devices();

}  // namespace kavix
