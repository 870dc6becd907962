#pragma once
// Opening and closing a session: the record's whole life.
#include <cstdint>

#include "session/session.h"

namespace kavix {

// Finds the camera with `user_id` (or, failing that, a camera as the open
// rules allow), reads what it is and sets the session up. Null on failure,
// with the reason in the global last error; nothing stays open then.
Session *open_session(uint32_t user_id);

// Stops everything the session runs, tells the camera it is released, closes
// the device and frees the record.
void close_session(Session *session);

}  // namespace kavix
