#include "tools/grab_stats.h"

#include <cstdio>

namespace kavix::tool {

void GrabStats::add(uint32_t frame_number, std::chrono::steady_clock::time_point arrived) {
    if (frames_ == 0)
        first_ = arrived;
    else if (frame_number > last_number_)
        lost_ += frame_number - last_number_ - 1;
    last_number_ = frame_number;
    last_ = arrived;
    ++frames_;
}

std::optional<double> GrabStats::rate() const {
    const double seconds = std::chrono::duration<double>(last_ - first_).count();
    if (frames_ < 2 || seconds <= 0) return std::nullopt;
    return (frames_ - 1) / seconds;
}

std::string GrabStats::rate_text() const {
    const std::optional<double> r = rate();
    if (!r) return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", *r);
    return text;
}

}  // namespace kavix::tool
