#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

namespace kavix {

// Sensor clock a camera runs at until it tells otherwise, in Hz.
inline constexpr uint32_t kDefaultClockHz = 24545455;

// What the camera reports about itself in its information record (request
// 17). The defaults stand until the camera has been read; an old-form record
// leaves the clock fields and everything after them at these values.
struct CameraInfo {
    uint16_t VendorId = 0;
    uint16_t ProductId = 0;
    uint16_t FpgaVersion = 0;
    uint16_t FirmwareVersion = 0;
    uint16_t ColorArray = 0;
    uint16_t HeaderBytes = 0;
    uint32_t EnableImageSizeFlags = 0;
    uint32_t EnableTransferBits = 0;
    uint32_t Reserved0 = 0;
    uint16_t EnableScanModes = 0;
    uint32_t ClockMax = kDefaultClockHz;
    uint32_t ClockMin = kDefaultClockHz;
    uint32_t ClockDefault = kDefaultClockHz;
    uint32_t EnableClockModes = 0;
    uint16_t ShutterFlags = 0;
    uint16_t Reserved1 = 0;
    uint32_t Reserved2 = 0;
    uint32_t EnableTriggerVersion = 0;
    uint32_t Reserved3 = 130;
    uint32_t MaxWidth = 0;
    uint32_t MaxHeight = 0;
};

// Vendor id every camera of the family carries; an information record that
// does not start with it is of the old form.
inline constexpr uint16_t kKavixVendorId = 0x7B3D;

// Length of the information record on the wire.
inline constexpr size_t kCameraInfoRecordBytes = 64;

// Decodes a 64-byte information record of either form into `info`, leaving
// the fields the old form lacks as they were. Returns true for the new form.
bool decode_camera_info(const uint8_t (&record)[kCameraInfoRecordBytes], CameraInfo &info);

// Sixteen words of function flags: word w, bit b is function 16 w + b. Word 6
// is not flags but the I/O existence mask.
using FunctionBits = std::array<uint16_t, 16>;

// Function bits are read as status id 104 on models with an FPGA.
inline constexpr uint16_t kFunctionBitsStatusId = 104;

}  // namespace kavix
