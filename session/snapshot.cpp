#include "session/snapshot.h"

#include <cstring>
#include <mutex>

#include "platform/wait.h"
#include "session/capture_loop.h"

namespace kavix {

SnapshotStep snapshot_take_frame(SnapshotRecord &record, const uint8_t *frame, uint32_t bytes,
                                 uint32_t frame_number) {
    // Most frames pass with no snapshot waiting: look before taking the lock.
    if (record.Active.load(std::memory_order_acquire) == 0) return SnapshotStep::not_active;
    std::lock_guard<std::mutex> lock(record.Mutex);
    if (record.Active.load(std::memory_order_relaxed) == 0) return SnapshotStep::not_active;
    if (record.FramesLeft == 0) return SnapshotStep::nothing_left;
    std::memcpy(record.Destination, frame, bytes);
    if (record.FrameNumbers != nullptr) *record.FrameNumbers++ = frame_number;
    record.Destination += bytes;
    record.BytesDone += bytes;
    if (--record.FramesLeft == 0) {
        record.Active.store(0, std::memory_order_release);
        record.DoneEvent.set();
    }
    return SnapshotStep::taken;
}

KAVIX_BOOL take_snapshot(Session &session, SnapshotRecord &record, uint32_t frame_bytes, uint8_t *buffer,
                         uint32_t size, uint32_t *bytes_taken, uint32_t *frame_numbers, uint32_t timeout_ms) {
    if (buffer == nullptr || bytes_taken == nullptr) return session.fail(KAVIX_ERROR_INVALID_PARAMETER);
    {
        std::lock_guard<std::mutex> lock(record.Mutex);
        record.DoneEvent.reset();
        record.Destination = buffer;
        record.FrameNumbers = frame_numbers;
        record.Status = 0;
        record.BytesDone = 0;
        record.BufferBytes = size;
        record.FramesLeft = frame_bytes == 0 ? 0 : size / frame_bytes;
        if (record.FramesLeft == 0) return session.fail(KAVIX_ERROR_INVALID_PARAMETER);
        record.Active.store(1, std::memory_order_release);
    }

    // A thread that exists, even one that has ended by itself, is the one to
    // wait for; only without any does the snapshot start its own.
    bool started = false;
    const std::shared_ptr<platform::Thread> thread = snapshot_capture_thread(session, started);
    if (!thread) {
        std::lock_guard<std::mutex> lock(record.Mutex);
        record.Active.store(0, std::memory_order_release);
        return 0;
    }

    platform::Waitable *objects[] = {&record.DoneEvent, thread.get()};
    const uint32_t woken = platform::wait_any(objects, timeout_ms == 0 ? platform::kInfinite : timeout_ms);

    KAVIX_BOOL result = 1;
    {
        std::lock_guard<std::mutex> lock(record.Mutex);
        if (woken != platform::kWaitObject0) {
            result = session.fail(KAVIX_ERROR_WAIT_TIMEOUT);
        } else if (record.Status != 0) {
            result = session.fail(record.Status);
        } else {
            *bytes_taken = record.BytesDone;
        }
        record.Active.store(0, std::memory_order_release);
    }
    if (started) stop_capture_thread_if(session, thread);
    return result;
}

}  // namespace kavix
