// How a virtual camera's sensor turns shutter and gain settings into signal:
// exposure time from a shutter position, the linear factor of an analogue
// gain setting by the sensor's gain kind, and the way back for the camera's
// own automatic gain.
#pragma once

#include <cstdint>

namespace kavix::sim {

// Exposure of a shutter position in clocks. One line is `clocks_per_line`
// clocks; (0, 0) stands for the short limit (a whole frame); without fine
// shutter only whole lines count, and a position inside the first line
// counts as one line.
uint64_t exposure_clocks(uint32_t line, uint32_t clock, uint32_t clocks_per_line, uint32_t short_limit_line,
                         bool fine_shutter);

// Linear factor of analogue gain setting `s` for gain kind 0 to 3 (the same
// curves the library uses to express a setting in decibels).
double gain_linear(uint32_t kind, uint16_t s);

// The setting in [lowest, highest] whose factor comes closest to `linear`.
uint16_t gain_setting_for(uint32_t kind, double linear, uint16_t lowest, uint16_t highest);

}  // namespace kavix::sim
