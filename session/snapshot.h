#pragma once
// Snapshots: an application thread asks for as many whole frames as fit in
// its buffer and waits; the capture thread copies them in as they pass, raw
// ones before any processing, preview ones once the preview image is made.
#include <cstdint>

#include "KavixD.h"
#include "session/session.h"

namespace kavix {

enum class SnapshotStep {
    not_active,    // nobody waits for a snapshot of this kind
    taken,         // the frame was copied
    nothing_left,  // active, but no frame was left to take (abnormal)
};

// The capture thread's step: under the record's mutex, copies `bytes` bytes of
// the frame and its number, and completes the snapshot after its last frame.
SnapshotStep snapshot_take_frame(SnapshotRecord &record, const uint8_t *frame, uint32_t bytes,
                                 uint32_t frame_number);

// The body of Kavix_TakeRawSnapShot and Kavix_TakePreviewSnapShot, after the
// handle check: takes size / frame_bytes frames into buffer, starting a
// capture thread of its own when none is set, and waits up to timeout_ms (0
// for no limit).
KAVIX_BOOL take_snapshot(Session &session, SnapshotRecord &record, uint32_t frame_bytes, uint8_t *buffer,
                         uint32_t size, uint32_t *bytes_taken, uint32_t *frame_numbers, uint32_t timeout_ms);

}  // namespace kavix
