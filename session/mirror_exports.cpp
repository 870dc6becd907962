// Exports of the mirror mode: the low nibble mirrors in software, the high
// nibble asks the camera to mirror (functions 22 and 23).
#include "KavixD.h"
#include "sensor/status_io.h"
#include "session/export_frame.h"
#include "session/fpga_status.h"

namespace kavix {

namespace {

constexpr uint32_t kFunctionCameraMirrorH = 22;
constexpr uint32_t kFunctionCameraMirrorV = 23;

constexpr uint8_t kSoftwareMirror = 0x03;
constexpr uint8_t kCameraMirrorH = 0x10;
constexpr uint8_t kCameraMirrorV = 0x20;

uint8_t enabled_mirror_modes(const Session &s) {
    uint8_t mask = kSoftwareMirror;
    if (s.has_function(kFunctionCameraMirrorH)) mask |= kCameraMirrorH;
    if (s.has_function(kFunctionCameraMirrorV)) mask |= kCameraMirrorV;
    return mask;
}

}  // namespace
}  // namespace kavix

using kavix::Session;

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetEnableMirrorMode(KAVIX_HANDLE camera, uint8_t *mask) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (mask == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *mask = kavix::enabled_mirror_modes(s);
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetMirrorMode(KAVIX_HANDLE camera, uint8_t mode) {
    return kavix::session_export(camera, [&](Session &s) -> uint32_t {
        const uint8_t mask = kavix::enabled_mirror_modes(s);
        if ((mode & ~mask) != 0) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        s.processing.MirrorMode = mode;
        // A camera that can mirror is told its part, even when that is none.
        if ((mask & (kavix::kCameraMirrorH | kavix::kCameraMirrorV)) == 0) return 1;
        return kavix::sensor::write_status_word(
            s, kavix::kStatusCameraMirror | kavix::sensor::kStatusWriteForm,
            static_cast<uint16_t>(mode >> 4));
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetMirrorMode(KAVIX_HANDLE camera, uint8_t *mode) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (mode == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *mode = s.processing.MirrorMode;
        return 1;
    });
}
