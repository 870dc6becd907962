#pragma once
// After a change of size or timing the session takes the camera's answer as
// its own: the scan state, the frame sizes and buffers that follow from it,
// the preview geometry and the luminance control's view of the camera.
#include "session/session.h"

namespace kavix::sensor {

// The whole refresh. `resize_preview` also sets the mask and dest rectangles
// and the preview window to the new image size. The result is the luminance
// control's synchronisation, or false when an earlier step failed; the
// session's error tells why. `noted_error` is a failure the caller met on
// its way here (a size record the camera didn't take), kept as the last
// error when the preview geometry would otherwise clear it.
bool refresh_session(Session &session, bool resize_preview, uint32_t noted_error = 0);

// The preview geometry alone: mask and dest rectangles and the window's size,
// all (Width, Height), exchanged when the image is rotated. A missing preview
// window is no failure here: its KAVIX_E_NO_WINDOW is cleared, to 0 or to
// `noted_error`. False when the window can't take the size.
bool resize_preview_geometry(Session &session, uint32_t noted_error = 0);

// True while a capture thread exists, even one that has ended by itself and
// not yet been collected: size calls refuse to run beside it.
bool capture_thread_exists(const Session &session);

}  // namespace kavix::sensor
