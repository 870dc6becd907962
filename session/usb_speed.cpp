#include "session/usb_speed.h"

#include <memory>
#include <new>

#include "KavixD.h"
#include "session/export_frame.h"
#include "session/wire.h"

namespace kavix {

namespace {
constexpr uint8_t kEndpointDescriptor = 5;
constexpr uint8_t kEndpointDirectionIn = 0x80;
constexpr uint8_t kTransferTypeMask = 0x03;
constexpr uint8_t kTransferTypeBulk = 2;
constexpr uint32_t kDescriptorBufferBytes = 1024;
constexpr uint16_t kFirmwareVersionUsb3 = 256;
}  // namespace

uint8_t usb_speed_from_configuration(const uint8_t *d, uint32_t length) {
    if (length < 10) return kUsbHighSpeed;
    // Each descriptor starts with its own length; the walk trusts it, but a
    // zero length would never move on, so it ends the walk there.
    for (uint32_t at = 0; at < length; at += d[at]) {
        if (length - at < 2) break;
        if (d[at + 1] == kEndpointDescriptor && length - at >= 6 &&
            (d[at + 2] & kEndpointDirectionIn) != 0 &&
            (d[at + 3] & kTransferTypeMask) == kTransferTypeBulk) {
            const uint16_t packet = wire::u16(d + at + 4);
            if (packet < 65) return kUsbFullSpeed;
            if (packet < 513) return kUsbHighSpeed;
            return kUsbSuperSpeed;
        }
        if (d[at] == 0) break;
    }
    return kUsbFullSpeed;
}

}  // namespace kavix

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetUSBSpeed(KAVIX_HANDLE camera, uint8_t *speed) {
    return kavix::session_export(camera, [&](kavix::Session &s) -> uint32_t {
        if (speed == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *speed = kavix::kUsbFullSpeed;
        std::unique_ptr<uint8_t[]> buffer(new uint8_t[kavix::kDescriptorBufferBytes]);
        uint32_t length = 0;
        const uint32_t result = KavixUSBD_GetConfigDescriptor(
            s.usb(), buffer.get(), kavix::kDescriptorBufferBytes, &length);
        if (result == 0) return s.fail(KAVIX_E_TRANSFER_FAILED);
        if (length > kavix::kDescriptorBufferBytes) length = kavix::kDescriptorBufferBytes;
        *speed = kavix::usb_speed_from_configuration(buffer.get(), length);
        return result;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetUSBMaxSpeed(KAVIX_HANDLE camera, uint8_t *speed) {
    return kavix::session_export(camera, [&](kavix::Session &s) -> KAVIX_BOOL {
        if (speed == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *speed = s.info.FirmwareVersion >= kavix::kFirmwareVersionUsb3 ? kavix::kUsbSuperSpeed
                                                                       : kavix::kUsbHighSpeed;
        return 1;
    });
}
