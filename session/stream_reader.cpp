#include "session/stream_reader.h"

#include <pthread.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/last_error.h"
#include "platform/page_memory.h"

namespace kavix {

namespace {

constexpr uint32_t kErrorAccessDenied = 5;
constexpr uint32_t kErrorGenFailure = 31;
constexpr uint32_t kErrorDeviceNotConnected = 1167;

bool device_gone(uint32_t error) {
    return error == kErrorAccessDenied || error == kErrorDeviceNotConnected;
}

}  // namespace

StreamReader::StreamReader(KAVIXUSB_HANDLE handle, uint32_t max_read, uint32_t header_bytes,
                           uint32_t payload_bytes)
    : handle_(handle),
      header_bytes_(header_bytes),
      payload_bytes_(payload_bytes),
      max_read_(max_read),
      // Room for the frame and the short packet that ends it: the sum is raised
      // by 512 before the cut, so a multiple of 512 still grows by 512.
      frame_bytes_(static_cast<uint32_t>((uint64_t(header_bytes) + payload_bytes + 512) & ~uint64_t(511))),
      read_bytes_(std::min(frame_bytes_, max_read)) {
    allocated_ = read_bytes_ > 0;
    for (uint32_t i = 0; i < StreamRing::kCount; ++i) {
        StreamBlock &block = blocks_[i];
        block.Capacity = frame_bytes_;
        block.PayloadBytes = payload_bytes_;
        block.HeaderBytes = header_bytes_;
        block.StopEvent = &stop_;
        block.Buffer = static_cast<uint8_t *>(platform::allocate_pages(frame_bytes_));
        allocated_ = allocated_ && block.Buffer != nullptr;
        ring_.Blocks[i] = &block;
    }
    ring_.StopEvent = &stop_;
    for (Slot &slot : slots_) {
        slot.Owner = this;
        slot.Buffer = static_cast<uint8_t *>(platform::allocate_pages(read_bytes_));
        allocated_ = allocated_ && slot.Buffer != nullptr;
    }
}

StreamReader::~StreamReader() {
    stop();
    // A buffer may have changed places between a slot and a block, but every
    // one of them has the same size when the two sizes are equal, and never
    // moves when they differ.
    for (StreamBlock &block : blocks_) platform::free_pages(block.Buffer, frame_bytes_);
    for (Slot &slot : slots_) platform::free_pages(slot.Buffer, read_bytes_);
}

bool StreamReader::start() {
    stop_.reset();
    ring_.WriteIndex = 0;
    ring_.ReadIndex = 0;
    for (StreamBlock &block : blocks_) {
        block.Filled = 0;
        block.FullEvent.reset();
        block.FreeEvent.set();
    }
    final_status_ = 0;
    running_.reset();
    if (thread_.start([this] { run(); }, platform::Thread::Priority::time_critical) != 0) return false;
    // Back only once the pipe has been started and the first reads are
    // queued (or the thread has already ended): whoever is told that the
    // transfer started may then trigger the camera at once.
    platform::Waitable *objects[] = {&running_, &thread_};
    platform::wait_any(objects, platform::kInfinite);
    return true;
}

void StreamReader::stop() {
    stop_.set();
    if (thread_.joinable()) thread_.join();
}

void StreamReader::release_block() {
    StreamBlock &block = current_block();
    block.Filled = 0;
    block.FullEvent.reset();
    block.FreeEvent.set();
    ring_.ReadIndex = (ring_.ReadIndex + 1) % ring_.Count;
}

void StreamReader::read_done(void *context, uint32_t slot) {
    static_cast<StreamReader *>(context)->slots_[slot].Done.set();
}

int StreamReader::post_read(uint32_t index) {
    Slot &slot = slots_[index];
    slot.Done.reset();
    for (;;) {
        if (KavixUSBD_PostStreamRead(handle_, index, slot.Buffer, read_bytes_, &StreamReader::read_done,
                                     this) != 0) {
            slot.Posted = true;
            return 1;
        }
        const uint32_t error = platform::last_error();
        if (device_gone(error)) {
            slot.Done.set();
            return 0;
        }
        // Any other refusal is tried again at once; a stop must still get
        // through, or the capture thread would wait for us for ever.
        if (stop_.is_signalled()) {
            slot.Done.set();
            return -1;
        }
    }
}

void StreamReader::run() {
    pthread_setname_np(pthread_self(), "kavix-reader");
    const bool can_restart = KavixUSBD_QueryStreamRestart(handle_) != 0;
    for (;;) {
        // Start of a run. A pipe that reports 31 isn't ready yet: keep asking
        // until it is or we are stopped. Other failures show up in the reads.
        while (KavixUSBD_StartStream(handle_) == 0 && platform::last_error() == kErrorGenFailure) {
            running_.set();  // nobody waits for a pipe that won't start
            if (stop_.is_signalled()) return;
        }

        uint32_t next_post = 0;
        for (; next_post < kPendingDepth; ++next_post) {
            const int posted = post_read(next_post);
            if (posted == 0) return end_gone();
            if (posted < 0) {
                KavixUSBD_StopStream(handle_);
                return drain();
            }
        }
        running_.set();
        uint32_t collect = 0;

        bool restart = false;
        while (!restart) {
            platform::Waitable *objects[] = {&stop_, &slots_[collect].Done};
            if (platform::wait_any(objects, platform::kInfinite) != platform::kWaitObject0 + 1) {
                final_status_ = 0;
                KavixUSBD_StopStream(handle_);
                return drain();
            }

            const int posted = post_read(next_post);
            if (posted == 0) return end_gone();
            if (posted < 0) {
                KavixUSBD_StopStream(handle_);
                return drain();
            }
            next_post = (next_post + 1) % kSlotCount;

            uint32_t bytes = 0;
            uint32_t error = 0;
            if (KavixUSBD_GetStreamResult(handle_, collect, 1, &bytes) == 0) error = platform::last_error();
            slots_[collect].Posted = false;
            if (error == kErrorGenFailure && can_restart) {
                // The pipe stalled: restart it in place. What this read brought
                // counts as a normal completion; the capture thread sees at
                // most a torn frame.
                KavixUSBD_StopStream(handle_);
                restart = true;
            } else if (error != 0) {
                const uint32_t status = error == kErrorDeviceNotConnected ? kErrorAccessDenied : error;
                deliver_status(status);
                if (status == kErrorAccessDenied) {
                    final_status_ = kErrorAccessDenied;
                    KavixUSBD_StopStream(handle_);
                    return drain();
                }
            }
            hand_over(collect, bytes, restart);
            collect = (collect + 1) % kSlotCount;
        }
        // The reads that StopStream aborted must be collected before their
        // slots are posted anew.
        drain();
    }
}

void StreamReader::end_gone() {
    deliver_status(kErrorAccessDenied);
    final_status_ = kErrorAccessDenied;
    KavixUSBD_StopStream(handle_);
    drain();
}

void StreamReader::drain() {
    // Reads complete in order, and a stopped stream completes them all; the
    // completion function must have run before the slot may be reused or freed.
    for (uint32_t i = 0; i < kSlotCount; ++i) {
        Slot &slot = slots_[i];
        if (!slot.Posted) continue;
        slot.Done.wait();
        uint32_t bytes = 0;
        KavixUSBD_GetStreamResult(handle_, i, 1, &bytes);
        slot.Posted = false;
    }
}

bool StreamReader::wait_for_block() {
    StreamBlock &block = *ring_.Blocks[ring_.WriteIndex];
    platform::Waitable *objects[] = {&block.FreeEvent, &stop_};
    return platform::wait_any(objects, platform::kInfinite) == platform::kWaitObject0;
}

void StreamReader::deliver() {
    StreamBlock &block = *ring_.Blocks[ring_.WriteIndex];
    block.Status = 0;
    block.FreeEvent.reset();
    block.FullEvent.set();
    ring_.WriteIndex = (ring_.WriteIndex + 1) % ring_.Count;
}

void StreamReader::deliver_status(uint32_t status) {
    if (!wait_for_block()) return;
    StreamBlock &block = *ring_.Blocks[ring_.WriteIndex];
    block.Filled = 0;
    block.Status = status;
    block.FreeEvent.reset();
    block.FullEvent.set();
    ring_.WriteIndex = (ring_.WriteIndex + 1) % ring_.Count;
}

void StreamReader::hand_over(uint32_t slot, uint32_t bytes, bool restart_marked) {
    if (!wait_for_block()) return;  // stopped meanwhile: the data is lost
    bytes = std::min(bytes, read_bytes_);
    if (read_bytes_ == frame_bytes_) {
        hand_over_whole(slot, bytes);
    } else {
        hand_over_part(slot, bytes, restart_marked);
    }
}

// A whole frame fits in one read: the block takes the read's buffer and the
// slot the block's, so no byte is copied. Whatever arrived is delivered,
// complete or not; the capture thread judges the length.
void StreamReader::hand_over_whole(uint32_t slot, uint32_t bytes) {
    StreamBlock &block = *ring_.Blocks[ring_.WriteIndex];
    std::swap(block.Buffer, slots_[slot].Buffer);
    block.Filled = bytes;
    deliver();
}

// A frame takes several reads, each of ReadBytes but the short last one. The
// block collects them; a length that doesn't add up to a whole frame drops
// what was collected, and a short read of just the header's length starts the
// next frame.
void StreamReader::hand_over_part(uint32_t slot, uint32_t bytes, bool restart_marked) {
    StreamBlock &block = *ring_.Blocks[ring_.WriteIndex];
    const uint8_t *data = slots_[slot].Buffer;
    const uint32_t total = payload_bytes_ + header_bytes_;
    const bool short_read = bytes < read_bytes_ && !restart_marked;
    if (short_read) {
        if (block.Filled + bytes == total) {
            std::memcpy(block.Buffer + block.Filled, data, bytes);
            block.Filled = total;
            deliver();
            return;
        }
        block.Filled = 0;
        if (bytes == header_bytes_) {
            std::memcpy(block.Buffer, data, bytes);
            block.Filled = header_bytes_;
        }
        return;
    }
    if (uint64_t(block.Filled) + bytes <= total) {
        std::memcpy(block.Buffer + block.Filled, data, bytes);
        block.Filled += bytes;
    } else {
        block.Filled = 0;
    }
    if (block.Filled == total) deliver();
}

}  // namespace kavix
