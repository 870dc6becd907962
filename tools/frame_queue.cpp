#include "tools/frame_queue.h"

#include <cstring>

namespace kavix::tool {

FrameQueue::FrameQueue(uint32_t wanted, size_t buffers) : free_(buffers), wanted_(wanted) {}

void FrameQueue::offer(const uint8_t *pixels, size_t bytes, uint32_t width, uint32_t height,
                       uint32_t number, uint32_t format) {
    std::unique_lock lock(mutex_);
    if (closed_ || accepted_ == wanted_) return;
    changed_.wait(lock, [&] { return closed_ || !free_.empty(); });
    if (closed_) return;
    Frame frame = std::move(free_.back());
    free_.pop_back();
    ++accepted_;
    lock.unlock();

    // The copy runs outside the lock; the buffer keeps its capacity from the
    // frames before, so it grows only with the first frames.
    frame.pixels.resize(bytes);
    std::memcpy(frame.pixels.data(), pixels, bytes);
    frame.width = width;
    frame.height = height;
    frame.number = number;
    frame.format = format;
    frame.arrived = std::chrono::steady_clock::now();

    lock.lock();
    filled_.push_back(std::move(frame));
    changed_.notify_all();
}

std::optional<Frame> FrameQueue::take(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, timeout, [&] { return !filled_.empty(); })) return std::nullopt;
    Frame frame = std::move(filled_.front());
    filled_.pop_front();
    return frame;
}

void FrameQueue::give_back(Frame &&frame) {
    std::lock_guard lock(mutex_);
    free_.push_back(std::move(frame));
    changed_.notify_all();
}

void FrameQueue::close() {
    std::lock_guard lock(mutex_);
    closed_ = true;
    changed_.notify_all();
}

}  // namespace kavix::tool
