#include "transport/sim/sensor_response.h"

#include <algorithm>
#include <cmath>

namespace kavix::sim {

uint64_t exposure_clocks(uint32_t line, uint32_t clock, uint32_t clocks_per_line, uint32_t short_limit_line,
                         bool fine_shutter) {
  const uint64_t l = std::max<uint32_t>(clocks_per_line, 1);
  if (line == 0 && clock == 0) return l * short_limit_line;
  if (fine_shutter) return l * line + clock;
  return l * std::max<uint32_t>(line, 1);
}

double gain_linear(uint32_t kind, uint16_t s) {
  switch (kind) {
    case 0: return std::pow(10.0, (0.132 * s - 2.36) / 20.0);
    case 1: return std::pow(10.0, (0.07038 * (s + 128.0) + 2.0) / 20.0);
    case 2: return s < 21 ? 8.0 * (s + 8) / 64.0 : 28.0 * (s - 12) / 64.0;
    default: {
      const uint32_t e = (s >> 6) & 3u, m = s & 63u;
      return std::ldexp(1.0 + m * 0.015625, static_cast<int>(e));
    }
  }
}

uint16_t gain_setting_for(uint32_t kind, double linear, uint16_t lowest, uint16_t highest) {
  if (highest < lowest) std::swap(lowest, highest);
  // Every curve rises with the setting (kind 3 within its eight bits), so a
  // bisection finds the first setting at or above the wanted factor.
  uint32_t lo = lowest, hi = highest;
  if (kind == 3) hi = std::min<uint32_t>(hi, 255);
  hi = std::max(hi, lo);
  while (lo < hi) {
    const uint32_t mid = (lo + hi) / 2;
    if (gain_linear(kind, static_cast<uint16_t>(mid)) < linear) lo = mid + 1;
    else hi = mid;
  }
  if (lo > lowest &&
      std::abs(gain_linear(kind, static_cast<uint16_t>(lo - 1)) - linear) < std::abs(gain_linear(kind, static_cast<uint16_t>(lo)) - linear))
    --lo;
  return static_cast<uint16_t>(lo);
}

}  // namespace kavix::sim
