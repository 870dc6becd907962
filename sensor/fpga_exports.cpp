// Exports of the FPGA's data space and the small camera commands built on
// status words: counters, buffer clearing, digital clamp.
#include "KavixD.h"
#include "sensor/status_io.h"
#include "session/export_frame.h"
#include "session/fpga_data.h"
#include "session/vendor_request.h"

namespace kavix {

namespace {

constexpr uint32_t kFunctionDataSpace = 64;
constexpr uint32_t kFunctionDigitalClamp = 55;
constexpr uint16_t kStatusDigitalClamp = 21;
constexpr uint16_t kPulseResetCounters = 0x0002;

KAVIX_BOOL data_space_export(KAVIX_HANDLE camera, Direction direction, uint8_t selector,
                             uint32_t address, void *data, uint16_t bytes) {
    return session_export(camera, [&](Session &s) -> uint32_t {
        // The capability and length checks come first, in this order; only
        // then does a missing buffer count.
        if (!s.has_fpga() || !s.has_function(kFunctionDataSpace)) return s.fail(KAVIX_E_NO_FPGA);
        if ((bytes & 3u) != 0) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        if (data == nullptr && bytes != 0) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        return transfer_data_space(s, direction, selector, address, data, bytes);
    });
}

}  // namespace
}  // namespace kavix

using kavix::Session;

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetFPGAData2(KAVIX_HANDLE camera, uint8_t selector,
                                                   uint32_t address, void *data, uint16_t bytes) {
    return kavix::data_space_export(camera, kavix::Direction::Out, selector, address, data, bytes);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetFPGAData2(KAVIX_HANDLE camera, uint8_t selector,
                                                   uint32_t address, void *data, uint16_t bytes) {
    return kavix::data_space_export(camera, kavix::Direction::In, selector, address, data, bytes);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_ResetCounter(KAVIX_HANDLE camera) {
    return kavix::session_export(camera, [&](Session &s) {
        return kavix::sensor::write_status_word(s, kavix::sensor::kStatusPulse,
                                                kavix::kPulseResetCounters);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_ClearBuffer(KAVIX_HANDLE camera) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        // The camera's answer isn't the caller's concern; a failed transfer
        // is still noted in the last error.
        kavix::camera_transfer(s, kavix::Direction::Out, kavix::kRequestClearBuffer, 0, 0, nullptr,
                               0);
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetDigitalClamp(KAVIX_HANDLE camera, uint16_t clamp) {
    return kavix::session_export(camera, [&](Session &s) -> uint32_t {
        if (!s.has_function(kavix::kFunctionDigitalClamp)) {
            return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        return kavix::sensor::write_status_word(
            s, kavix::kStatusDigitalClamp | kavix::sensor::kStatusWriteForm, clamp);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetDigitalClamp(KAVIX_HANDLE camera, uint16_t *clamp) {
    return kavix::session_export(camera, [&](Session &s) -> uint32_t {
        if (clamp == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        if (!s.has_function(kavix::kFunctionDigitalClamp)) {
            *clamp = 0;
            return 1;
        }
        return kavix::sensor::read_status_word(s, kavix::kStatusDigitalClamp, *clamp);
    });
}
