#pragma once
// The capture thread of a session: it takes blocks from its stream reader,
// turns them into frames and runs every consumer in a frame's order.
#include <cstdint>
#include <memory>

#include "session/session.h"
#include "session/stream_reader.h"

namespace kavix {

// Starts a capture thread; a thread that exists (running or ended by itself)
// is stopped first. `transfer_started` is 1 for Kavix_StartTransfer, 0 for a
// snapshot. False with the session's LastError set when no thread could be
// made. Called on an application thread.
bool start_capture_thread(Session &session, uint32_t transfer_started);

// For a snapshot: the thread to wait for, the one that is set (even one that
// has ended by itself) or, when none is, a new one with TransferStarted 0;
// `started` tells whether this call made it. Null with LastError set when it
// couldn't.
std::shared_ptr<platform::Thread> snapshot_capture_thread(Session &session, bool &started);

// The thread that is set now, or null.
std::shared_ptr<platform::Thread> current_capture_thread(Session &session);

// Sets the stop event, waits without limit for the thread and clears it.
// Called from the capture thread itself (a callback), it only asks the thread
// to end; the thread then stays set until somebody stops it from outside.
void stop_capture_thread(Session &session);
// The same, but only while `thread` is still the one that is set.
void stop_capture_thread_if(Session &session, const std::shared_ptr<platform::Thread> &thread);

// Whether a capture thread is set: running, or ended by itself and not yet
// stopped. Size and format calls refuse to run while this holds.
inline bool capture_thread_exists(const Session &session) {
    return session.thread.CaptureThreadSet.load(std::memory_order_acquire);
}

// The frame buffer pairs for the current size and preview format (open and
// after a change of either), and their release (close, and before the
// change). Creation sets BuffersReady; a failure leaves LastError 8.
bool create_frame_buffers(Session &session);
void release_frame_buffers(Session &session);

// MaxRead of the stream reader: TransferSize raised to the next multiple of
// 512 (of 1024 at SuperSpeed), raised by a whole step when it already is one,
// and at most 0x80000.
uint32_t stream_max_read(uint32_t transfer_size, uint8_t usb_speed);

// The paint throttle: counts the full blocks of the ring and says whether
// the preview window may be repainted now. Painting gives way while the ring
// backs up, a paint more each time it stays backed up.
bool throttle_allows_paint(StreamRing &ring);

// The colour array the stages get: the camera's, with the Bayer phase moved
// as the camera's own mirroring moves it.
uint16_t adjusted_color_array(const Session &session);

}  // namespace kavix
