#include "sensor/trigger_io.h"

#include "KavixD.h"
#include "sensor/status_io.h"
#include "session/export_frame.h"
#include "session/scan_state.h"
#include "session/vendor_request.h"

namespace kavix::sensor {

namespace {

// Status ids; the write form has bit 15 set, but for the pulse word.
constexpr uint16_t kIoDirection = 0;
constexpr uint16_t kIoPolarity = 1;
constexpr uint16_t kIoStatus = 2;
constexpr uint16_t kIoPinModeFirst = 4;
constexpr uint32_t kIoPins = 4;
constexpr uint16_t kTriggerMode = 48;
constexpr uint16_t kTriggerTimingDefault = 50;
constexpr uint16_t kSwitchStatus = 102;

// Function 66: word 6 of the function bits is the pins' existence mask.
constexpr uint32_t kFunctionIoExistence = 66;
constexpr size_t kIoExistenceWord = 6;
constexpr uint32_t kAllIoPins = 0xF;
constexpr uint32_t kLedFunction = 5;
constexpr uint32_t kLedFunctionsMore[] = {76, 77, 78, 79};

// Reads of single words answer in the low half of a u32, 0 after a failure.
uint32_t read_word_into(Session &s, uint16_t id, uint32_t &value) {
    uint16_t word = 0;
    const uint32_t result = read_status_word(s, id, word);
    value = word;
    return result;
}

KAVIX_BOOL fpga_export(KAVIX_HANDLE camera, auto &&body) {
    return session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (!s.has_fpga()) return s.fail(KAVIX_E_NO_FPGA);
        return static_cast<KAVIX_BOOL>(body(s));
    });
}

KAVIX_BOOL set_word_export(KAVIX_HANDLE camera, uint16_t id, uint16_t value) {
    return fpga_export(camera, [&](Session &s) { return write_status_word(s, id | kStatusWriteForm, value); });
}

KAVIX_BOOL get_word_export(KAVIX_HANDLE camera, uint16_t id, uint32_t *value) {
    return session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (value == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *value = 0;
        if (!s.has_fpga()) return s.fail(KAVIX_E_NO_FPGA);
        return static_cast<KAVIX_BOOL>(read_word_into(s, id, *value));
    });
}

KAVIX_BOOL pulse_export(KAVIX_HANDLE camera, uint16_t bits) {
    return fpga_export(camera, [&](Session &s) { return write_status_word(s, kStatusPulse, bits); });
}

// A pin of 4 or more is refused before the handle is looked at.
bool pin_valid(KAVIX_HANDLE camera, uint32_t pin) {
    if (pin < kIoPins) return true;
    if (camera == nullptr)
        set_global_last_error(KAVIX_ERROR_INVALID_PARAMETER);
    else
        session_of(camera)->set_error(KAVIX_ERROR_INVALID_PARAMETER);
    return false;
}

}  // namespace

uint16_t trigger_timing_status_id(uint32_t type) {
    if (type >= 1 && type <= 5) return static_cast<uint16_t>(kTriggerTimingDefault + 2 * type);
    return kTriggerTimingDefault;
}

uint32_t led_existence(uint32_t mask) {
    if (mask == 1) return 3;
    if (mask == 2) return 1;
    return 0;
}

}  // namespace kavix::sensor

using kavix::Session;
namespace sensor = kavix::sensor;

// ---- Trigger ----------------------------------------------------------------

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetTriggerMode(KAVIX_HANDLE camera, uint32_t flags) {
    return sensor::fpga_export(camera, [&](Session &s) -> uint32_t {
        if (sensor::write_status_pair(s, sensor::kTriggerMode | sensor::kStatusWriteForm, flags) == 0) return 0;
        // The frame timing changes with the mode.
        return kavix::read_scan_state(s) ? 1 : 0;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetTriggerMode(KAVIX_HANDLE camera, uint32_t *flags) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (flags == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *flags = 0;
        if (!s.has_fpga()) return s.fail(KAVIX_E_NO_FPGA);
        return static_cast<KAVIX_BOOL>(sensor::read_status_pair(s, sensor::kTriggerMode, *flags));
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetTriggerTiming(KAVIX_HANDLE camera, uint32_t type,
                                                       uint32_t value) {
    return sensor::fpga_export(camera, [&](Session &s) {
        return sensor::write_status_pair(s, sensor::trigger_timing_status_id(type) | sensor::kStatusWriteForm,
                                 value);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetTriggerTiming(KAVIX_HANDLE camera, uint32_t type,
                                                       uint32_t *value) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (value == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *value = 0;
        if (!s.has_fpga()) return s.fail(KAVIX_E_NO_FPGA);
        return static_cast<KAVIX_BOOL>(
            sensor::read_status_pair(s, sensor::trigger_timing_status_id(type), *value));
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetEnableTriggerVersion(KAVIX_HANDLE camera,
                                                              uint32_t *version) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (version == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *version = s.info.EnableTriggerVersion;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SoftTrigger(KAVIX_HANDLE camera) {
    return sensor::fpga_export(camera, [&](Session &s) -> uint32_t {
        return kavix::camera_transfer(s, kavix::Direction::Out, kavix::kRequestSoftTrigger, 0, 0,
                                      nullptr, 0) != 0
                   ? 1
                   : 0;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SoftSubTrigger(KAVIX_HANDLE camera) {
    return sensor::pulse_export(camera, sensor::kPulseSubTrigger);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_TriggerReadOut(KAVIX_HANDLE camera) {
    return sensor::pulse_export(camera, sensor::kPulseTriggerReadOut);
}

// ---- I/O pins and switches ------------------------------------------------------

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetIOPinDirection(KAVIX_HANDLE camera, uint16_t bits) {
    return sensor::set_word_export(camera, sensor::kIoDirection, bits);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetIOPinDirection(KAVIX_HANDLE camera, uint32_t *bits) {
    return sensor::get_word_export(camera, sensor::kIoDirection, bits);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetIOPinPolarity(KAVIX_HANDLE camera, uint16_t bits) {
    return sensor::set_word_export(camera, sensor::kIoPolarity, bits);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetIOPinPolarity(KAVIX_HANDLE camera, uint32_t *bits) {
    return sensor::get_word_export(camera, sensor::kIoPolarity, bits);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetIOPinStatus(KAVIX_HANDLE camera, uint16_t bits) {
    return sensor::set_word_export(camera, sensor::kIoStatus, bits);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetIOPinStatus(KAVIX_HANDLE camera, uint32_t *bits) {
    return sensor::get_word_export(camera, sensor::kIoStatus, bits);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetIOPinMode(KAVIX_HANDLE camera, uint32_t pin,
                                                   uint16_t mode) {
    if (!sensor::pin_valid(camera, pin)) return 0;
    return sensor::set_word_export(camera, static_cast<uint16_t>(sensor::kIoPinModeFirst + pin),
                                   mode);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetIOPinMode(KAVIX_HANDLE camera, uint32_t pin,
                                                   uint32_t *mode) {
    if (!sensor::pin_valid(camera, pin)) return 0;
    return sensor::get_word_export(camera, static_cast<uint16_t>(sensor::kIoPinModeFirst + pin),
                                   mode);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetSwStatus(KAVIX_HANDLE camera, uint32_t *status) {
    return sensor::get_word_export(camera, sensor::kSwitchStatus, status);
}

// ---- What the camera has ----------------------------------------------------------

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetIOExistence(KAVIX_HANDLE camera, uint32_t *pins) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (pins == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        if (!s.has_fpga())
            *pins = 0;
        else if (s.has_function(sensor::kFunctionIoExistence))
            *pins = s.functions[sensor::kIoExistenceWord];
        else
            *pins = sensor::kAllIoPins;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetLEDExistence(KAVIX_HANDLE camera, uint32_t *leds) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (leds == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        uint32_t mask = 0;
        if (s.has_fpga()) {
            if (s.has_function(sensor::kLedFunction)) mask |= 1;
            for (uint32_t i = 0; i < 4; ++i) {
                if (s.has_function(sensor::kLedFunctionsMore[i])) mask |= 2u << i;
            }
        }
        *leds = sensor::led_existence(mask);
        return 1;
    });
}
