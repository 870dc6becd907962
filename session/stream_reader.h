#pragma once
#include <cstdint>

#include "KavixUSBD.h"
#include "platform/event.h"
#include "platform/thread.h"

namespace kavix {

// One entry of the ring between the stream reader and the capture thread. The
// reader owns it while FreeEvent is set, the capture thread while FullEvent is.
struct StreamBlock {
    uint32_t Status = 0;  // 0 for data, otherwise a Windows error number
    uint8_t *Buffer = nullptr;  // Capacity bytes
    platform::Event FreeEvent{platform::Event::Reset::manual, true};
    platform::Event FullEvent{platform::Event::Reset::manual, false};
    uint32_t Filled = 0;
    uint32_t Capacity = 0;  // FrameBytes
    uint32_t PayloadBytes = 0;
    uint32_t HeaderBytes = 0;
    platform::Event *StopEvent = nullptr;  // the reader's, shared
};

// Four blocks handed round between the two threads. WriteIndex is the reader's
// alone, ReadIndex the capture thread's; the events order everything else.
struct StreamRing {
    static constexpr uint32_t kCount = 4;
    StreamBlock *Blocks[kCount] = {};
    uint32_t WriteIndex = 0;
    uint32_t ReadIndex = 0;
    uint32_t Count = kCount;
    platform::Event *StopEvent = nullptr;
    // The paint throttle's state (capture thread only).
    uint32_t SkippedPaints = 0;
    uint32_t MostFull = 0;
};

// The second thread of a capture: it keeps four bulk reads in flight so that
// the pipe never idles, and turns what they bring into whole frames in the
// ring. It never looks into a frame: frames are told apart by their lengths
// alone, each ending in a short read. Built for one frame size.
class StreamReader {
public:
    static constexpr uint32_t kPendingDepth = 4;  // reads in flight
    static constexpr uint32_t kSlotCount = 7;     // read slots
    static constexpr uint32_t kReadAhead = 1;

    // Allocates the ring and the read buffers; see allocated().
    StreamReader(KAVIXUSB_HANDLE handle, uint32_t max_read, uint32_t header_bytes,
                 uint32_t payload_bytes);
    // Stops the thread and frees everything.
    ~StreamReader();
    StreamReader(const StreamReader &) = delete;
    StreamReader &operator=(const StreamReader &) = delete;

    // False if any buffer could not be had.
    bool allocated() const { return allocated_; }

    // Resets the ring and starts the reader thread at time-critical priority;
    // returns once the pipe has been started and the first reads are queued.
    // False if the thread could not be created.
    bool start();
    // Sets the stop event and waits without limit for the thread. Nothing
    // else: start may follow.
    void stop();

    // The capture thread's side of the ring.
    StreamBlock &current_block() { return *ring_.Blocks[ring_.ReadIndex]; }
    void release_block();
    StreamRing &ring() { return ring_; }

    // Signalled once the reader thread has ended (or before it started).
    platform::Waitable &thread() { return thread_; }
    // 0, or 5 when the reader ended because the device went away. Read it
    // after the thread has ended.
    uint32_t final_status() const { return final_status_; }

    uint32_t frame_bytes() const { return frame_bytes_; }
    uint32_t read_bytes() const { return read_bytes_; }
    uint32_t header_bytes() const { return header_bytes_; }
    uint32_t payload_bytes() const { return payload_bytes_; }

private:
    struct Slot {
        platform::Event Done{platform::Event::Reset::manual, true};
        uint8_t *Buffer = nullptr;  // ReadBytes
        bool Posted = false;        // queued and not yet collected
        StreamReader *Owner = nullptr;
    };

    static void read_done(void *context, uint32_t slot);

    void run();
    // 1 posted, 0 the device is gone, -1 stopped while the post kept failing.
    int post_read(uint32_t slot);
    // Waits for the current block to be free; false if the reader was stopped.
    bool wait_for_block();
    void deliver();
    void deliver_status(uint32_t status);
    void hand_over(uint32_t slot, uint32_t bytes, bool restart_marked);
    void hand_over_whole(uint32_t slot, uint32_t bytes);
    void hand_over_part(uint32_t slot, uint32_t bytes, bool restart_marked);
    // Collects every read still queued, so that no slot outlives its run.
    void drain();
    void end_gone();

    KAVIXUSB_HANDLE handle_;
    uint32_t header_bytes_;
    uint32_t payload_bytes_;
    uint32_t max_read_;
    uint32_t frame_bytes_;
    uint32_t read_bytes_;
    bool allocated_ = false;

    platform::Event stop_{platform::Event::Reset::manual, false};
    platform::Event running_{platform::Event::Reset::manual, false};  // the first reads are queued
    StreamBlock blocks_[StreamRing::kCount];
    StreamRing ring_;
    Slot slots_[kSlotCount];
    uint32_t final_status_ = 0;
    platform::Thread thread_;
};

}  // namespace kavix
