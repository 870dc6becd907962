// Skipping and binning by the FPGA's status word (33), committed like every
// timing change, and the binning sum mode (46).
#include "KavixD.h"
#include "sensor/scan_modes.h"
#include "sensor/session_refresh.h"
#include "session/export_frame.h"
#include "sensor/status_io.h"

namespace kavix::sensor {

namespace {

constexpr uint16_t kStatusSkipBinning = 33;
constexpr uint16_t kStatusBinningSumMode = 46;
// Either function announces the binning sum mode.
constexpr uint32_t kFunctionBinningSum = 61;
constexpr uint32_t kFunctionBinningSumLater = 131;

bool has_skip_binning_word(const Session &s) {
    return (s.info.EnableScanModes & kScanModeFreeRegion) != 0;
}

bool has_binning_sum_mode(const Session &s) {
    return s.has_function(kFunctionBinningSum) || s.has_function(kFunctionBinningSumLater);
}

}  // namespace

}  // namespace kavix::sensor

using kavix::Session;
namespace sensor = kavix::sensor;

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetSkippingAndBinning(KAVIX_HANDLE camera, uint8_t v_skip,
                                                            uint8_t v_bin, uint8_t h_skip,
                                                            uint8_t h_bin) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (sensor::capture_thread_exists(s)) return s.fail(KAVIX_E_CAPTURE_RUNNING);
        if (!sensor::has_skip_binning_word(s)) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        const uint16_t word = sensor::pack_skip_binning({v_skip, v_bin, h_skip, h_bin});
        if (sensor::write_status_word(s, sensor::kStatusSkipBinning, word) == 0) return 0;
        if (sensor::commit_timing(s) == 0) return 0;
        return sensor::refresh_session(s, true);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetSkippingAndBinning(KAVIX_HANDLE camera, uint8_t *v_skip,
                                                            uint8_t *v_bin, uint8_t *h_skip,
                                                            uint8_t *h_bin) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        sensor::SkipBinning values;
        KAVIX_BOOL result = 1;
        if (sensor::has_skip_binning_word(s)) {
            // A failed read still answers, with a zero word.
            uint16_t word = 0;
            result = static_cast<KAVIX_BOOL>(sensor::read_status_word(s, sensor::kStatusSkipBinning, word));
            values = sensor::unpack_skip_binning(word);
        } else if (sensor::scan_mode_bins(s.mode.ScanMode)) {
            values.VBin = 1;
            values.HBin = 1;
        }
        if (v_skip != nullptr) *v_skip = values.VSkip;
        if (v_bin != nullptr) *v_bin = values.VBin;
        if (h_skip != nullptr) *h_skip = values.HSkip;
        if (h_bin != nullptr) *h_bin = values.HBin;
        return result;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetBinningSumMode(KAVIX_HANDLE camera, uint16_t mode) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (!sensor::has_binning_sum_mode(s)) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        return static_cast<KAVIX_BOOL>(sensor::write_status_word(
            s, sensor::kStatusBinningSumMode | sensor::kStatusWriteForm, mode));
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetBinningSumMode(KAVIX_HANDLE camera, uint16_t *mode) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (mode == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        if (!sensor::has_binning_sum_mode(s)) {
            *mode = 0;
            return 1;
        }
        return static_cast<KAVIX_BOOL>(sensor::read_status_word(s, sensor::kStatusBinningSumMode, *mode));
    });
}
