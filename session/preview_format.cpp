#include "session/preview_format.h"

#include "session/frame_sizes.h"
#include "session/lifecycle_steps.h"

namespace kavix {

bool apply_preview_pixel_format(Session &session, uint32_t format) {
    const uint16_t bytes = preview_bytes_per_pixel(format);
    if (bytes == 0 || (format & session.mode.EnablePreviewFormats) == 0) {
        session.set_error(KAVIX_ERROR_INVALID_PARAMETER);
        return false;
    }
    if (session.thread.BuffersReady != 0) release_frame_buffers(session);
    session.mode.PreviewPixelFormat = format;
    session.mode.PreviewBytesPerPixel = bytes;
    compute_frame_sizes(session);
    if (!create_frame_buffers(session)) return false;
    resize_draw_object(session);
    return true;
}

}  // namespace kavix
