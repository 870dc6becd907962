#pragma once
#include <cstdint>

namespace kavix::transport {

// Vendor requests of the camera's USB controller itself, below the camera
// commands. The controller's RAM request is answered by the controller's
// hardware, so it works with any firmware or none; the EEPROM and I2C
// requests are served by the camera's firmware (boot-level firmware too).
namespace controller {

// Controller RAM and registers: value = address, index = 0.
inline constexpr uint8_t kRequestRam = 0xA0;
// EEPROM behind the controller: value = first address, index = 0.
inline constexpr uint8_t kRequestEeprom = 0xA2;
// I2C with a one-byte sub-address: value = sub-address,
// index = bus << 8 | device address.
inline constexpr uint8_t kRequestI2CByte = 0xA3;
// I2C with a two-byte sub-address: value = sub-address,
// index = bus << 8 | device address.
inline constexpr uint8_t kRequestI2CWord = 0xA4;

// Largest data stage the firmware accepts for EEPROM and I2C requests, and
// the chunk size of RAM writes: one 64-byte endpoint-0 buffer.
inline constexpr uint16_t kChunk = 64;

// The CPU control register: writing 1 holds the 8051 in reset, 0 lets it run.
inline constexpr uint16_t kCpuControl = 0xE600;

// Program memory of the controller: the firmware image's address range.
inline constexpr uint32_t kProgramMemory = 0x4000;

// Controller register space reachable through kRequestRam.
inline constexpr uint32_t kRegisterFirst = 0xE000;
inline constexpr uint32_t kRegisterLast = 0xFFFF;

}  // namespace controller

// Vendor requests of the camera, by number.
namespace request {
inline constexpr uint8_t kCameraInfo = 17;
inline constexpr uint8_t kScanState = 18;
inline constexpr uint8_t kTransferFormat = 19;
inline constexpr uint8_t kClearBuffer = 32;
inline constexpr uint8_t kShutterGain = 33;
inline constexpr uint8_t kClock = 34;
inline constexpr uint8_t kWhiteBalanceDefaults = 35;
inline constexpr uint8_t kSoftTrigger = 48;
inline constexpr uint8_t kStatusWords = 128;
inline constexpr uint8_t kSettingSpace = 129;
inline constexpr uint8_t kDataSpace = 130;
}  // namespace request

inline constexpr uint16_t kVendorId = 0x7B3D;

}  // namespace kavix::transport
