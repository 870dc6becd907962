// Exports of the camera's memory: user memory, ID writes, I2C and the gamma
// value the camera applies itself.
#include "KavixD.h"
#include "session/camera_memory.h"
#include "session/export_frame.h"
#include "sensor/status_io.h"

namespace kavix {

namespace {

// Function: the camera has a gamma value of its own.
constexpr uint32_t kFunctionCameraGamma = 57;
constexpr uint16_t kStatusCameraGamma = 77;

template <typename Operation>
KAVIX_BOOL user_memory(KAVIX_HANDLE camera, const void *buffer, uint16_t offset, uint16_t count,
                       Operation operation) {
    return session_export(camera, [&](Session &s) -> int32_t {
        const EepromRange range = user_memory_range(offset, count);
        if (!range.valid || buffer == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        uint32_t moved = 0;
        const int32_t result = operation(s.usb(), range.first, range.last, &moved);
        if (result == 0) return s.fail(KAVIX_E_TRANSFER_FAILED);
        return result;
    });
}

template <typename Operation>
KAVIX_BOOL i2c(KAVIX_HANDLE camera, uint8_t address, uint32_t count, const void *buffer,
               Operation operation) {
    return session_export(camera, [&](Session &s) -> int32_t {
        // The EEPROM with the ID blocks is out of reach; every other device
        // gets the request as it is, on any model.
        if (address == kEepromI2CAddress) return s.fail(KAVIX_E_I2C_RESERVED);
        if (buffer == nullptr && count != 0) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        uint32_t moved = 0;
        const int32_t result = operation(s.usb(), &moved);
        if (result == 0) return s.fail(KAVIX_E_TRANSFER_FAILED);
        return result;
    });
}

}  // namespace
}  // namespace kavix

using kavix::Session;

extern "C" KAVIX_API KAVIX_BOOL Kavix_ReadUserMemory(KAVIX_HANDLE camera, uint8_t *buffer,
                                                     uint16_t offset, uint16_t count) {
    return kavix::user_memory(camera, buffer, offset, count,
                              [&](KAVIXUSB_HANDLE usb, uint32_t first, uint32_t last, uint32_t *moved) {
                                  return KavixUSBD_ReadEeprom(usb, first, last, buffer, moved);
                              });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_WriteUserMemory(KAVIX_HANDLE camera, const uint8_t *buffer,
                                                      uint16_t offset, uint16_t count) {
    return kavix::user_memory(camera, buffer, offset, count,
                              [&](KAVIXUSB_HANDLE usb, uint32_t first, uint32_t last, uint32_t *moved) {
                                  return KavixUSBD_WriteEeprom(usb, first, last, buffer, moved);
                              });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_WriteCameraUserIDA(KAVIX_HANDLE camera, uint32_t id,
                                                         const char *text, uint32_t text_bytes) {
    return kavix::session_export(camera, [&](Session &s) {
        return kavix::write_camera_id(s, kavix::IdBlock::User, id, text, text_bytes, false);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_WriteCameraUserIDW(KAVIX_HANDLE camera, uint32_t id,
                                                         const KAVIX_WCHAR *text,
                                                         uint32_t text_bytes) {
    return kavix::session_export(camera, [&](Session &s) {
        return kavix::write_camera_id(s, kavix::IdBlock::User, id, text, text_bytes, true);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_WriteCameraSerialIDA(KAVIX_HANDLE camera, uint32_t id,
                                                           const char *text, uint32_t text_bytes) {
    return kavix::session_export(camera, [&](Session &s) {
        return kavix::write_camera_id(s, kavix::IdBlock::Serial, id, text, text_bytes, false);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_WriteCameraSerialIDW(KAVIX_HANDLE camera, uint32_t id,
                                                           const KAVIX_WCHAR *text,
                                                           uint32_t text_bytes) {
    return kavix::session_export(camera, [&](Session &s) {
        return kavix::write_camera_id(s, kavix::IdBlock::Serial, id, text, text_bytes, true);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_ReadI2CB(KAVIX_HANDLE camera, uint8_t bus, uint8_t address,
                                               uint8_t sub_address, uint8_t count,
                                               uint8_t *buffer) {
    return kavix::i2c(camera, address, count, buffer, [&](KAVIXUSB_HANDLE usb, uint32_t *moved) {
        return KavixUSBD_ReadI2CByte(usb, bus, address, sub_address, count, buffer, moved);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_WriteI2CB(KAVIX_HANDLE camera, uint8_t bus, uint8_t address,
                                                uint8_t sub_address, uint8_t count,
                                                const uint8_t *buffer) {
    return kavix::i2c(camera, address, count, buffer, [&](KAVIXUSB_HANDLE usb, uint32_t *moved) {
        return KavixUSBD_WriteI2CByte(usb, bus, address, sub_address, count, buffer, moved);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_ReadI2CW(KAVIX_HANDLE camera, uint8_t bus, uint8_t address,
                                               uint16_t sub_address, uint16_t count,
                                               uint8_t *buffer) {
    return kavix::i2c(camera, address, count, buffer, [&](KAVIXUSB_HANDLE usb, uint32_t *moved) {
        return KavixUSBD_ReadI2CWord(usb, bus, address, sub_address, count, buffer, moved);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_WriteI2CW(KAVIX_HANDLE camera, uint8_t bus, uint8_t address,
                                                uint16_t sub_address, uint16_t count,
                                                const uint8_t *buffer) {
    return kavix::i2c(camera, address, count, buffer, [&](KAVIXUSB_HANDLE usb, uint32_t *moved) {
        return KavixUSBD_WriteI2CWord(usb, bus, address, sub_address, count, buffer, moved);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetCameraGammaValue(KAVIX_HANDLE camera, uint16_t value) {
    return kavix::session_export(camera, [&](Session &s) -> uint32_t {
        if (!s.has_function(kavix::kFunctionCameraGamma)) {
            return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        return kavix::sensor::write_status_word(
            s, kavix::kStatusCameraGamma | kavix::sensor::kStatusWriteForm, value);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetCameraGammaValue(KAVIX_HANDLE camera, uint16_t *value) {
    return kavix::session_export(camera, [&](Session &s) -> uint32_t {
        if (value == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        // Without the function the camera has no value of its own: 0.
        if (!s.has_function(kavix::kFunctionCameraGamma)) {
            *value = 0;
            return 1;
        }
        return kavix::sensor::read_status_word(s, kavix::kStatusCameraGamma, *value);
    });
}
