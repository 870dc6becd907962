// The KavixUSBD_ device and firmware operations: argument checks, the handle
// check, and the hand-over to the device's backend. Nothing here throws across
// the boundary: an allocation failure becomes 8.
#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "KavixUSBD.h"
#include "platform/last_error.h"
#include "transport/controller_ops.h"
#include "transport/controller_protocol.h"
#include "transport/device_registry.h"
#include "transport/export_frame.h"
#include "transport/firmware_download.h"
#include "transport/intel_hex.h"
#include "transport/windows_errors.h"

using kavix::platform::set_last_error;
using namespace kavix::transport;

namespace {

void store(uint32_t *out, uint32_t value) {
    if (out) *out = value;
}

}  // namespace

extern "C" {

KAVIXUSBD_API KAVIXUSB_HANDLE KavixUSBD_OpenDevice(uint32_t index) {
    try {
        uint32_t error = win::kSuccess;
        KAVIXUSB_HANDLE handle = DeviceRegistry::instance().open(index, error);
        if (!handle) set_last_error(error);
        return handle;
    } catch (const std::bad_alloc &) {
        set_last_error(win::kNotEnoughMemory);
        return nullptr;
    }
}

KAVIXUSBD_API int32_t KavixUSBD_CloseDevice(KAVIXUSB_HANDLE handle) {
    return result(DeviceRegistry::instance().close(handle) ? win::kSuccess : win::kInvalidHandle);
}

KAVIXUSBD_API int32_t KavixUSBD_GetDriverVersion(KAVIXUSB_HANDLE handle, uint32_t *v0,
                                                 uint32_t *v1, uint32_t *v2, uint32_t *v3) {
    return with_device(handle, [&](Device &d) {
        if (!v0 || !v1 || !v2 || !v3) return win::kInvalidParameter;
        uint32_t words[4] = {};
        if (uint32_t e = d.driver_version(words)) return e;
        *v0 = words[0];
        *v1 = words[1];
        *v2 = words[2];
        *v3 = words[3];
        return win::kSuccess;
    });
}

KAVIXUSBD_API int32_t KavixUSBD_GetLibraryVersion(uint32_t *major, uint32_t *minor,
                                                  uint32_t *patch, uint32_t *build) {
    if (!major || !minor || !patch || !build) return result(win::kInvalidParameter);
    *major = KAVIX_VERSION_MAJOR;
    *minor = KAVIX_VERSION_MINOR;
    *patch = KAVIX_VERSION_PATCH;
    *build = 0;
    return 1;
}

KAVIXUSBD_API int32_t KavixUSBD_GetConfigDescriptor(KAVIXUSB_HANDLE handle, uint8_t *buffer,
                                                    uint32_t capacity, uint32_t *length) {
    return with_device(handle, [&](Device &d) {
        if (!length || (capacity && !buffer)) return win::kInvalidParameter;
        std::vector<uint8_t> descriptor;
        if (uint32_t e = d.config_descriptor(descriptor)) return e;
        *length = static_cast<uint32_t>(descriptor.size());
        if (descriptor.size() > capacity) return win::kInsufficientBuffer;
        std::copy(descriptor.begin(), descriptor.end(), buffer);
        return win::kSuccess;
    });
}

KAVIXUSBD_API int32_t KavixUSBD_GetFunctionAddress(KAVIXUSB_HANDLE handle, uint8_t *address) {
    return with_device(handle, [&](Device &d) {
        if (!address) return win::kInvalidParameter;
        return d.function_address(*address);
    });
}

KAVIXUSBD_API int32_t KavixUSBD_GetOpenCount(KAVIXUSB_HANDLE handle, uint32_t *count) {
    return with_device(handle, [&](Device &d) {
        if (!count) return win::kInvalidParameter;
        *count = DeviceRegistry::instance().handles_on_device(handle) + d.external_clients();
        return win::kSuccess;
    });
}

KAVIXUSBD_API int32_t KavixUSBD_ProbeDevice(KAVIXUSB_HANDLE handle, uint32_t *status,
                                            uint32_t *detail) {
    store(status, 0);
    store(detail, 0);
    return with_device(handle, [&](Device &d) {
        const uint32_t e = d.probe();
        store(status, e);
        return e;
    });
}

KAVIXUSBD_API int32_t KavixUSBD_ResetPipes(KAVIXUSB_HANDLE handle) {
    return with_device(handle, [](Device &d) { return d.recover(Recovery::ResetPipes); });
}

KAVIXUSBD_API int32_t KavixUSBD_ResetPort(KAVIXUSB_HANDLE handle) {
    return with_device(handle, [](Device &d) { return d.recover(Recovery::ResetPort); });
}

KAVIXUSBD_API int32_t KavixUSBD_ControlTransfer(KAVIXUSB_HANDLE handle, uint8_t request_type,
                                                uint8_t request, uint16_t value, uint16_t index,
                                                uint16_t length, void *buffer,
                                                uint32_t *transferred) {
    store(transferred, 0);
    return with_device(handle, [&](Device &d) {
        if (length && !buffer) return win::kInvalidParameter;
        SetupPacket s{request_type, request, value, index, length};
        uint32_t moved = 0;
        const uint32_t e = d.control(s, static_cast<uint8_t *>(buffer), moved);
        store(transferred, moved);
        return e;
    });
}

KAVIXUSBD_API int32_t KavixUSBD_ReadEeprom(KAVIXUSB_HANDLE handle, uint32_t first, uint32_t last,
                                           uint8_t *buffer, uint32_t *transferred) {
    store(transferred, 0);
    return with_device(handle, [&](Device &d) {
        uint32_t done = 0;
        const uint32_t e = eeprom_transfer(d, true, first, last, buffer, done);
        store(transferred, done);
        return e;
    });
}

KAVIXUSBD_API int32_t KavixUSBD_WriteEeprom(KAVIXUSB_HANDLE handle, uint32_t first, uint32_t last,
                                            const uint8_t *buffer, uint32_t *transferred) {
    store(transferred, 0);
    return with_device(handle, [&](Device &d) {
        uint32_t done = 0;
        const uint32_t e =
            eeprom_transfer(d, false, first, last, const_cast<uint8_t *>(buffer), done);
        store(transferred, done);
        return e;
    });
}

namespace {
int32_t i2c(KAVIXUSB_HANDLE handle, bool read, bool word, uint8_t bus, uint8_t address,
            uint16_t sub_address, uint32_t count, uint8_t *buffer, uint32_t *transferred) {
    store(transferred, 0);
    return with_device(handle, [&](Device &d) {
        if (address > 0x7F) return win::kInvalidParameter;
        uint32_t done = 0;
        const uint32_t e = i2c_transfer(d, read, word, bus, address, sub_address, count, buffer, done);
        store(transferred, done);
        return e;
    });
}

int32_t chip_registers(KAVIXUSB_HANDLE handle, bool read, uint16_t first, uint16_t last,
                       uint8_t *buffer, uint32_t *transferred) {
    store(transferred, 0);
    return with_device(handle, [&](Device &d) {
        if (last < first || !buffer) return win::kInvalidParameter;
        uint32_t done = 0;
        const uint32_t e = ram_transfer(d, read, first, uint32_t{last} - first + 1, buffer, done);
        store(transferred, done);
        return e;
    });
}
}  // namespace

KAVIXUSBD_API int32_t KavixUSBD_ReadI2CByte(KAVIXUSB_HANDLE handle, uint8_t bus, uint8_t address,
                                            uint8_t sub_address, uint8_t count, uint8_t *buffer,
                                            uint32_t *transferred) {
    return i2c(handle, true, false, bus, address, sub_address, count, buffer, transferred);
}

KAVIXUSBD_API int32_t KavixUSBD_WriteI2CByte(KAVIXUSB_HANDLE handle, uint8_t bus, uint8_t address,
                                             uint8_t sub_address, uint8_t count,
                                             const uint8_t *buffer, uint32_t *transferred) {
    return i2c(handle, false, false, bus, address, sub_address, count,
               const_cast<uint8_t *>(buffer), transferred);
}

KAVIXUSBD_API int32_t KavixUSBD_ReadI2CWord(KAVIXUSB_HANDLE handle, uint8_t bus, uint8_t address,
                                            uint16_t sub_address, uint16_t count, uint8_t *buffer,
                                            uint32_t *transferred) {
    return i2c(handle, true, true, bus, address, sub_address, count, buffer, transferred);
}

KAVIXUSBD_API int32_t KavixUSBD_WriteI2CWord(KAVIXUSB_HANDLE handle, uint8_t bus, uint8_t address,
                                             uint16_t sub_address, uint16_t count,
                                             const uint8_t *buffer, uint32_t *transferred) {
    return i2c(handle, false, true, bus, address, sub_address, count,
               const_cast<uint8_t *>(buffer), transferred);
}

KAVIXUSBD_API int32_t KavixUSBD_ReadChipRegisters(KAVIXUSB_HANDLE handle, uint16_t first,
                                                  uint16_t last, uint8_t *buffer,
                                                  uint32_t *transferred) {
    return chip_registers(handle, true, first, last, buffer, transferred);
}

KAVIXUSBD_API int32_t KavixUSBD_WriteChipRegisters(KAVIXUSB_HANDLE handle, uint16_t first,
                                                   uint16_t last, const uint8_t *buffer,
                                                   uint32_t *transferred) {
    return chip_registers(handle, false, first, last, const_cast<uint8_t *>(buffer), transferred);
}

KAVIXUSBD_API int32_t KavixUSBD_ParseFirmwareImage(const char *text, uint32_t length,
                                                   uint8_t *image, uint8_t *mask,
                                                   uint32_t capacity, uint32_t *count) {
    if (count) *count = 0;
    if (!text || !image || !mask || !count || capacity == 0) return result(win::kInvalidParameter);
    try {
        return result(parse_intel_hex(std::string_view(text, length), image, mask, capacity, *count));
    } catch (const std::bad_alloc &) {
        return result(win::kNotEnoughMemory);
    }
}

KAVIXUSBD_API int32_t KavixUSBD_FinishFirmwareImage(const uint8_t *image, const uint8_t *mask,
                                                    uint32_t count, uint8_t *destination,
                                                    uint32_t capacity, uint32_t *written) {
    if (written) *written = 0;
    if (!image || !mask || !written) return result(win::kInvalidParameter);
    *written = count;
    if (!destination) return 1;
    if (capacity < count) return result(win::kInsufficientBuffer);
    for (uint32_t a = 0; a < count; ++a) destination[a] = mask[a] ? image[a] : 0;
    return 1;
}

KAVIXUSBD_API int32_t KavixUSBD_DownloadFirmware(KAVIXUSB_HANDLE handle, const uint8_t *image,
                                                 const uint8_t *mask, uint32_t count,
                                                 uint32_t *downloaded) {
    store(downloaded, 0);
    return with_device(handle, [&](Device &d) {
        uint32_t done = 0;
        const uint32_t e = download_firmware(d, image, mask, count, done);
        store(downloaded, done);
        return e;
    });
}

}  // extern "C"
