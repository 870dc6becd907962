#pragma once
// The scan-state record (request 18): the camera's current window, scan mode,
// timing totals, gain limits and exposure limit words.
#include <cstdint>

#include "session/session.h"

namespace kavix {

inline constexpr uint16_t kScanStateBytes = 64;

// Takes a record's values into the session. The five limit words come from
// the record only on cameras with function 48; otherwise they follow from
// the timing totals and the scan mode.
void apply_scan_state(Session &session, const uint8_t (&record)[kScanStateBytes]);

// Reads the record from the camera and applies it. A failed or short read
// gives false with KAVIX_E_TRANSFER_FAILED and changes nothing.
bool read_scan_state(Session &session);

}  // namespace kavix
