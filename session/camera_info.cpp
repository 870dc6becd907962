#include "session/camera_info.h"

#include "session/wire.h"

namespace kavix {

bool decode_camera_info(const uint8_t (&record)[kCameraInfoRecordBytes], CameraInfo &info) {
    const uint8_t *r = record;
    if (wire::u16(r + 2) == kKavixVendorId) {
        info.VendorId = wire::u16(r + 2);
        info.ProductId = wire::u16(r + 4);
        info.FpgaVersion = wire::u16(r + 6);
        info.FirmwareVersion = wire::u16(r + 8);
        info.ColorArray = wire::u16(r + 10);
        info.HeaderBytes = wire::u16(r + 12);
        info.EnableImageSizeFlags = wire::u32(r + 14);
        info.EnableTransferBits = wire::u32(r + 18);
        info.Reserved0 = wire::u32(r + 22);
        info.EnableScanModes = wire::u16(r + 26);
        info.ClockMax = wire::u32(r + 28);
        info.ClockMin = wire::u32(r + 32);
        info.ClockDefault = wire::u32(r + 36);
        info.EnableClockModes = wire::u32(r + 40);
        info.ShutterFlags = wire::u16(r + 44);
        info.Reserved1 = wire::u16(r + 46);
        info.Reserved2 = wire::u32(r + 48);
        info.EnableTriggerVersion = wire::u32(r + 52);
        info.MaxWidth = wire::u32(r + 56);
        info.MaxHeight = wire::u32(r + 60);
        return true;
    }
    // The old form has no vendor field: everything sits two bytes earlier
    // and stops after the scan modes.
    info.VendorId = kKavixVendorId;
    info.ProductId = wire::u16(r + 2);
    info.FpgaVersion = wire::u16(r + 4);
    info.FirmwareVersion = wire::u16(r + 6);
    info.ColorArray = wire::u16(r + 8);
    info.HeaderBytes = wire::u16(r + 10);
    info.EnableImageSizeFlags = wire::u32(r + 12);
    info.EnableTransferBits = wire::u32(r + 16);
    info.Reserved0 = wire::u32(r + 20);
    info.EnableScanModes = wire::u16(r + 24);
    return false;
}

}  // namespace kavix
