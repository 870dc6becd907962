// The sensor clock (request 34): a default, one of the camera's clock modes,
// or an arbitrary frequency within the camera's limits. The session keeps
// what the camera reads back, not what was asked for.
#include "KavixD.h"
#include "session/camera_reads.h"
#include "session/export_frame.h"
#include "session/vendor_request.h"
#include "session/wire.h"

namespace kavix::sensor {

namespace {

constexpr uint32_t kClockModeDefault = 0;
constexpr uint32_t kClockModeArbitrary = 0x80000000u;
// Firmware from this version on takes the clock mode with the frequency.
constexpr uint16_t kLongClockFirmware = 3;
constexpr uint8_t kLongClockRecordBytes = 10;
constexpr uint8_t kShortClockRecordBytes = 6;

bool clock_arguments_valid(const Session &s, uint32_t mode, uint32_t hz) {
    if (mode != kClockModeDefault && (mode & s.info.EnableClockModes) == 0) return false;
    if (mode == kClockModeArbitrary && (hz < s.info.ClockMin || hz > s.info.ClockMax)) return false;
    return true;
}

// Old firmware has no room for the mode: its record carries the frequency alone.
bool write_clock(Session &s, uint32_t mode, uint32_t hz) {
    uint8_t record[kLongClockRecordBytes] = {};
    uint8_t length = kShortClockRecordBytes;
    if (s.info.FirmwareVersion >= kLongClockFirmware) {
        length = kLongClockRecordBytes;
        wire::put_u32(record + 2, mode);
        wire::put_u32(record + 6, hz);
    } else {
        wire::put_u32(record + 2, hz);
    }
    record[0] = length;
    record[1] = kRequestClock;
    uint32_t moved = 0;
    if (camera_transfer(s, Direction::Out, kRequestClock, 0, 0, record, length, &moved) == 0) {
        return false;
    }
    if (moved != length) {
        s.set_error(KAVIX_E_TRANSFER_FAILED);
        return false;
    }
    s.mode.ClockHz = hz;
    s.mode.ClockMode = mode;
    return true;
}

}  // namespace
}  // namespace kavix::sensor

using kavix::Session;

// Allowed beside a capture thread: the frame size stays as it is.
extern "C" KAVIX_API KAVIX_BOOL Kavix_SetClock(KAVIX_HANDLE camera, uint32_t mode, uint32_t hz) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (!kavix::sensor::clock_arguments_valid(s, mode, hz)) {
            return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        if (!kavix::sensor::write_clock(s, mode, hz)) return 0;
        return kavix::read_clock(s) ? 1 : 0;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetClock(KAVIX_HANDLE camera, uint32_t *mode, uint32_t *hz) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (mode == nullptr || hz == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *mode = s.mode.ClockMode;
        *hz = s.mode.ClockHz;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetEnableClock(KAVIX_HANDLE camera, uint32_t *modes,
                                                     uint32_t *default_hz, uint32_t *minimum_hz,
                                                     uint32_t *maximum_hz) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (modes == nullptr || default_hz == nullptr || minimum_hz == nullptr ||
            maximum_hz == nullptr) {
            return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        *modes = s.info.EnableClockModes;
        *default_hz = s.info.ClockDefault;
        *minimum_hz = s.info.ClockMin;
        *maximum_hz = s.info.ClockMax;
        return 1;
    });
}

// The frame's totals as the last scan state gave them.
extern "C" KAVIX_API KAVIX_BOOL Kavix_GetFrameClock(KAVIX_HANDLE camera, uint16_t *lines,
                                                    uint16_t *clocks) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (lines == nullptr || clocks == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *lines = s.mode.LinesPerFrame;
        *clocks = s.mode.ClocksPerLine;
        return 1;
    });
}
