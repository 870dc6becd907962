#pragma once
// The reads that teach a session what stands at the other end: at open, and
// again whenever the camera announces a change of state.
#include "session/session.h"

namespace kavix {

// First read at open: the information record, the function bits, the preview
// formats a camera of its colour allows, the white-balance defaults and the
// scan state. False ends the open; the session's error says why.
bool read_camera_information(Session &session);

// Second read: scan state, transfer format, clock, the luminance control's
// view of the camera, the mirror the camera applies, the register table.
bool read_camera_state(Session &session);

// The transfer format in use: without a request when the camera allows one
// format only. False with KAVIX_E_TRANSFER_FAILED on a failed or short read.
bool read_transfer_format(Session &session);

// The sensor clock and clock mode, from the short (6-byte) or long (10-byte)
// clock record.
bool read_clock(Session &session);

}  // namespace kavix
