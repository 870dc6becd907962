#pragma once
// Hands frames from the library's capture thread to the thread that saves
// them. The capture thread copies a frame into a free buffer and goes on; when
// every buffer waits to be saved it waits for one, which holds the stream back
// instead of skipping frames in silence (the camera's frame numbers then show
// what was lost). Once the wanted number of frames is in, further frames are
// ignored.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace kavix::tool {

struct Frame {
    std::vector<uint8_t> pixels;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t number = 0;  // the camera's frame counter
    uint32_t format = 0;  // pixel format code of the still image writer
    std::chrono::steady_clock::time_point arrived;
};

class FrameQueue {
public:
    FrameQueue(uint32_t wanted, size_t buffers);

    // Capture thread: keeps a copy of the frame if more are wanted.
    void offer(const uint8_t *pixels, size_t bytes, uint32_t width, uint32_t height,
               uint32_t number, uint32_t format);
    // The oldest frame not yet taken, waiting at most `timeout`; none on time-out.
    std::optional<Frame> take(std::chrono::milliseconds timeout);
    // Gives a taken frame's buffer back for the next one.
    void give_back(Frame &&frame);
    // No more waiting in offer (the saver has given up).
    void close();

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Frame> filled_;
    std::vector<Frame> free_;
    uint32_t wanted_;
    uint32_t accepted_ = 0;
    bool closed_ = false;
};

}  // namespace kavix::tool
