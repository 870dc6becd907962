#pragma once
#include <cstdint>

#include "session/session.h"

namespace kavix {

// Makes `format` the preview pixel format: refused with
// KAVIX_ERROR_INVALID_PARAMETER unless it is 1, 4 or 8 and allowed by
// EnablePreviewFormats. Frame buffers are rebuilt for the new sizes. The
// caller makes sure no capture thread runs.
bool apply_preview_pixel_format(Session &session, uint32_t format);

}  // namespace kavix
