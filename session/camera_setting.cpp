// Kavix_CameraSetting: a word for the camera's own use. The library knows of
// it only that bits 15 and 12 announce a change of the camera's state, after
// which the session reads the camera anew.
#include "KavixD.h"
#include "sensor/session_refresh.h"
#include "session/camera_reads.h"
#include "session/export_frame.h"
#include "session/setting_space.h"
#include "session/wire.h"

namespace kavix {
namespace {
constexpr uint16_t kStateChangeBits = 0x8000 | 0x1000;
}  // namespace
}  // namespace kavix

extern "C" KAVIX_API KAVIX_BOOL Kavix_CameraSetting(KAVIX_HANDLE camera, uint16_t word) {
    return kavix::session_export(camera, [&](kavix::Session &s) -> KAVIX_BOOL {
        uint8_t bytes[2];
        kavix::wire::put_u16(bytes, word);
        if (!kavix::write_setting_space(s, kavix::kSettingWordAddress, bytes, sizeof bytes)) return 0;
        if ((word & kavix::kStateChangeBits) == 0) return 1;
        // The camera has changed its timing or window: take its state as it
        // is now, with new sizes, buffers and preview geometry.
        if (!kavix::read_camera_state(s)) return 0;
        return kavix::sensor::refresh_session(s, true) ? 1 : 0;
    });
}
