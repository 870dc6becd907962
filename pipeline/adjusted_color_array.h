#pragma once
#include <cstdint>

#include "session/session.h"

namespace kavix::pipeline {

// The colour array every stage gets. A camera that mirrors in its own
// hardware (high nibble of the mirror mode) shifts the Bayer phase of what it
// sends: 1 exchanges 2/3 and 4/5 (left-right), 2 exchanges 2/4 and 3/5
// (top-bottom), 3 exchanges 2/5 and 3/4 (both). Monochrome stays 1, and
// nothing changes when `map` is false.
constexpr uint16_t MirroredColorArray(uint16_t array, uint8_t mirror_mode, bool map) {
  if (!map || array == 1 || (mirror_mode & 0xF0) == 0) return array;
  const int pairs[3][4][2] = {{{2, 3}, {3, 2}, {4, 5}, {5, 4}},
                              {{2, 4}, {4, 2}, {3, 5}, {5, 3}},
                              {{2, 5}, {5, 2}, {3, 4}, {4, 3}}};
  const int nibble = mirror_mode >> 4;
  if (nibble < 1 || nibble > 3) return array;
  for (const auto &p : pairs[nibble - 1])
    if (p[0] == array) return static_cast<uint16_t>(p[1]);
  return array;
}

// The session's colour array, adjusted for mirroring in the camera: mapped
// when the model lacks function 71 or has no FPGA.
uint16_t AdjustedColorArray(const Session &session);

}  // namespace kavix::pipeline
