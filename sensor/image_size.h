#pragma once
// The image size: the library asks for a scan mode and a window, the camera
// makes of it what it can, and the session takes the camera's answer.
#include <cstdint>

#include "session/session.h"

namespace kavix::sensor {

// Sends the scan-state record for `scan_mode` and the window, then refreshes
// the session. Outside the free region the sensor fixes width and X offset,
// and the camera is told the session's. Neither the mode nor the limits are
// checked: they are the camera's to judge. A failed send leaves
// KAVIX_E_TRANSFER_FAILED and the refresh still reads the state back; its
// result is the call's. `resize_preview` is false when settings are loaded
// without touching the preview window. The caller has made sure no capture
// thread exists.
bool set_image_size(Session &session, uint16_t scan_mode, uint32_t offset_x, uint32_t offset_y,
                    uint32_t width, uint32_t height, bool resize_preview);

}  // namespace kavix::sensor
