#pragma once
// The preview window's size as the session's geometry changes: the window
// keeps its place on the screen and takes the image's size.
#include <cstdint>

#include "session/session.h"

namespace kavix::display {

// Reads the window's place and sets its size to (width, height) there. With
// no preview window it fails with KAVIX_E_NO_WINDOW, which callers that
// resize after a change of size clear again.
bool set_preview_window_size(Session &session, uint32_t width, uint32_t height);

}  // namespace kavix::display
