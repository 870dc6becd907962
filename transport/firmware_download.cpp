#include "transport/firmware_download.h"

#include "transport/controller_ops.h"
#include "transport/controller_protocol.h"
#include "transport/windows_errors.h"

namespace kavix::transport {

uint32_t download_firmware(Device &device, const uint8_t *image, const uint8_t *mask,
                           uint32_t count, uint32_t &downloaded) {
    downloaded = 0;
    if (!image || !mask || count == 0 || count > controller::kProgramMemory)
        return win::kInvalidParameter;

    uint8_t cpu = 1;
    uint32_t done = 0;
    if (uint32_t e = ram_transfer(device, false, controller::kCpuControl, 1, &cpu, done)) return e;

    for (uint32_t a = 0; a < count;) {
        if (!mask[a]) {
            ++a;
            continue;
        }
        uint32_t end = a;
        while (end < count && mask[end]) ++end;
        // ram_transfer copies from a writable buffer only for reads.
        if (uint32_t e = ram_transfer(device, false, a, end - a, const_cast<uint8_t *>(image + a), done)) {
            downloaded += done;
            return e;
        }
        downloaded += done;
        a = end;
    }

    cpu = 0;
    const uint32_t e = ram_transfer(device, false, controller::kCpuControl, 1, &cpu, done);
    // The new code may take the controller off the bus before the status
    // stage of this last write completes: that is its start, not a failure.
    return e == win::kDeviceNotConnected ? win::kSuccess : e;
}

}  // namespace kavix::transport
