#pragma once
// What a grab reports: frames, frames lost by the camera's frame numbers,
// and the rate at which the frames came.
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace kavix::tool {

class GrabStats {
public:
    void add(uint32_t frame_number, std::chrono::steady_clock::time_point arrived);

    uint32_t frames() const { return frames_; }
    // Numbers skipped between consecutive frames; a counter running backwards
    // (a restart) counts nothing.
    uint32_t lost() const { return lost_; }
    // Frames per second from the first to the last arrival; none below two frames.
    std::optional<double> rate() const;
    std::string rate_text() const;  // "14.9", or "-" without a rate

private:
    uint32_t frames_ = 0;
    uint32_t lost_ = 0;
    uint32_t last_number_ = 0;
    std::chrono::steady_clock::time_point first_, last_;
};

}  // namespace kavix::tool
