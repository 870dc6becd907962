#include "session/device_walk.h"

namespace kavix {

namespace {

// Drivers before 3.0 build 5 know no recovery.
constexpr uint32_t kRecoveryDriverMajor = 0x30000;
constexpr uint32_t kRecoveryDriverMinor = 5;

bool driver_supports_recovery(KAVIXUSB_HANDLE device) {
    uint32_t version[4] = {};
    if (KavixUSBD_GetDriverVersion(device, &version[0], &version[1], &version[2], &version[3]) ==
        0) {
        return false;
    }
    return version[0] > kRecoveryDriverMajor ||
           (version[0] == kRecoveryDriverMajor && version[1] >= kRecoveryDriverMinor);
}

}  // namespace

DeviceProbe open_device_by_index(uint32_t index) {
    for (uint32_t round = 0;; ++round) {
        KAVIXUSB_HANDLE device = KavixUSBD_OpenDevice(index);
        if (device == nullptr) return {nullptr, false, KavixUSBD_GetLastError()};

        uint32_t clients = 0;
        KavixUSBD_GetOpenCount(device, &clients);
        if (clients > 1) {  // another client holds it
            KavixUSBD_CloseDevice(device);
            return {nullptr, true, 0};
        }

        uint32_t discarded[2] = {};
        if (KavixUSBD_ProbeDevice(device, &discarded[0], &discarded[1]) != 0) {
            return {device, true, 0};
        }

        if (round == 0 && !driver_supports_recovery(device)) {
            KavixUSBD_CloseDevice(device);
            return {nullptr, false, 0};
        }
        const uint32_t recovered =
            round == 0 ? KavixUSBD_ResetPipes(device) : KavixUSBD_ResetPort(device);
        KavixUSBD_CloseDevice(device);
        if (recovered == 0) return {nullptr, false, 0};
    }
}

uint32_t count_devices() {
    uint32_t count = 0;
    for (uint32_t index = 0; index < kDeviceIndexes; ++index) {
        KAVIXUSB_HANDLE device = KavixUSBD_OpenDevice(index);
        if (device == nullptr) break;
        ++count;
        KavixUSBD_CloseDevice(device);
    }
    return count;
}

}  // namespace kavix
