#include "sensor/frame_rate.h"

#include <algorithm>

#include "KavixD.h"
#include "sensor/register_table.h"
#include "sensor/scan_modes.h"
#include "sensor/status_io.h"
#include "session/export_frame.h"
#include "session/fpga_status.h"
#include "session/scan_state.h"
#include "session/vendor_request.h"
#include "session/wire.h"

namespace kavix::sensor {

namespace {

// Frame timing lives in the FPGA (register block 21, status 86).
constexpr uint32_t kFunctionFpgaFrameTiming = 20;
// V-blank for frame rate (status 23), and its maximum in block 21.
constexpr uint32_t kFunctionVBlank = 21;
constexpr uint32_t kFunctionMaxVBlankRegister = 133;
constexpr uint16_t kStatusVBlank = 23;
constexpr uint16_t kStatusFrameClock = 86;
constexpr uint32_t kClocksPerFrameWithoutTable = 0x10000;
constexpr uint32_t kMaxVBlankWithoutRegister = 2035;

// Shutter and gain record (request 33): the exposure line, low word at
// byte 2 and high word at byte 10.
constexpr uint16_t kExposureRecordBytes = 64;

uint32_t timing_register(Session &s, uint32_t offset, uint32_t &value) {
    return s.defaults.RegisterTable->read(RegisterTable::kTimingBlock, offset, value);
}

// The exposure the camera runs with, in lines; 0 when it can't be read, so
// that the frame's own length counts.
uint32_t exposure_line(Session &s) {
    uint8_t record[kExposureRecordBytes] = {};
    if (!read_camera_record(s, kRequestShutterGain, record, sizeof record)) return 0;
    return wire::u16(record + 2) | (uint32_t{wire::u16(record + 10)} << 16);
}

}  // namespace

uint32_t ClocksPerFrame(Session &s) {
    if (s.has_function(kFunctionFpgaFrameTiming)) {
        if (s.defaults.RegisterTable == nullptr) return kClocksPerFrameWithoutTable;
        uint32_t clocks = 0;
        if (timing_register(s, RegisterTable::kTimingClocksPerFrame, clocks) != 0) return 0;
        return clocks;
    }
    uint32_t lines = s.mode.LinesPerFrame;
    if (scan_mode_allows_long_exposure(s.mode.ScanMode)) lines = std::max(lines, exposure_line(s));
    return uint32_t{s.mode.ClocksPerLine} * lines;
}

uint32_t FrameClockHz(Session &s) {
    if (!s.has_function(kFunctionFpgaFrameTiming)) return s.mode.ClockHz;
    uint32_t hz = 0;
    if (s.defaults.RegisterTable != nullptr) {
        return timing_register(s, RegisterTable::kTimingFrameClock, hz) == 0 ? hz : 0;
    }
    uint8_t words[4] = {};
    if (transfer_status_words(s, Direction::In, 0, kStatusFrameClock, 2, words) == 0) return 0;
    return wire::u32(words);  // low word first
}

float output_frames_per_second(Session &s) {
    const uint32_t hz = FrameClockHz(s);
    if (hz == 0) return 0.0f;
    const uint32_t clocks = ClocksPerFrame(s);
    if (clocks == 0) return 0.0f;
    return static_cast<float>(hz) / static_cast<float>(clocks);
}

}  // namespace kavix::sensor

using kavix::Session;
namespace sensor = kavix::sensor;

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetOutputFPS(KAVIX_HANDLE camera, float *fps) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (fps == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *fps = sensor::output_frames_per_second(s);
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetVBlankForFPS(KAVIX_HANDLE camera, uint32_t vblank) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (!s.has_function(sensor::kFunctionVBlank)) {
            return vblank == 0 ? 1 : s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        if (sensor::write_status_word(s, sensor::kStatusVBlank, static_cast<uint16_t>(vblank)) == 0) {
            return 0;
        }
        if (sensor::commit_timing(s) == 0) return 0;
        return kavix::read_scan_state(s) ? 1 : 0;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetVBlankForFPS(KAVIX_HANDLE camera, uint32_t *vblank) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (vblank == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        if (!s.has_function(sensor::kFunctionVBlank)) {
            *vblank = 0;
            return 1;
        }
        uint16_t word = 0;
        const uint32_t result = sensor::read_status_word(s, sensor::kStatusVBlank, word);
        *vblank = word;
        return static_cast<KAVIX_BOOL>(result);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetMaxVBlankForFPS(KAVIX_HANDLE camera, uint32_t *vblank) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (vblank == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *vblank = 0;
        if (!s.has_function(sensor::kFunctionVBlank)) return 1;
        if (!s.has_function(sensor::kFunctionMaxVBlankRegister)) {
            *vblank = sensor::kMaxVBlankWithoutRegister;
            return 1;
        }
        // The camera keeps its maximum in the register table; without one
        // (the data space couldn't be read at open) there is no answer.
        if (s.defaults.RegisterTable == nullptr) return s.fail(KAVIX_E_TRANSFER_FAILED);
        uint32_t value = 0;
        if (const uint32_t error =
                sensor::timing_register(s, sensor::RegisterTable::kTimingMaxVBlank, value);
            error != 0) {
            return s.fail(error);
        }
        *vblank = value;
        return 1;
    });
}
