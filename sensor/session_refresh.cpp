#include "sensor/session_refresh.h"

#include <utility>

#include "display/preview_window_size.h"
#include "session/frame_sizes.h"
#include "session/lifecycle_steps.h"
#include "session/scan_state.h"

namespace kavix::sensor {

bool capture_thread_exists(const Session &session) {
    return session.thread.CaptureThreadSet.load(std::memory_order_acquire);
}

namespace {

// New frame sizes, and new buffers if there were any: nothing may hold the
// old ones, since the capture thread is refused beside a size change.
bool rebuild_frame_buffers(Session &session) {
    const bool had_buffers = session.thread.BuffersReady != 0;
    if (had_buffers) release_frame_buffers(session);
    compute_frame_sizes(session);
    return !had_buffers || create_frame_buffers(session);
}

}  // namespace

bool resize_preview_geometry(Session &session, uint32_t noted_error) {
    uint32_t width = session.mode.Width;
    uint32_t height = session.mode.Height;
    if (session.processing.RotationMode != 0) std::swap(width, height);
    session.preview.MaskRect = Rectangle{0, 0, width, height};
    session.preview.DestRect = Rectangle{0, 0, width, height};
    const bool resized = display::set_preview_window_size(session, width, height);
    if (session.last_error() == KAVIX_E_NO_WINDOW) {
        session.set_error(noted_error);
        return true;
    }
    return resized;
}

bool refresh_session(Session &session, bool resize_preview, uint32_t noted_error) {
    bool ok = read_scan_state(session);
    if (ok) ok = rebuild_frame_buffers(session);
    if (!ok) noted_error = session.last_error();
    if (resize_preview) resize_preview_geometry(session, noted_error);
    resize_draw_object(session);
    if (!ok) return false;
    return synchronise_luminance_control(session);
}

}  // namespace kavix::sensor
