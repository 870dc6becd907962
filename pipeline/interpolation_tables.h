#pragma once
#include <array>
#include <cstdint>

// Constant tables of the demosaicing methods. They are read-only data of the
// library, so every process that loads it shares the same pages.
namespace kavix::pipeline {

// CubicInner[s]: the sum s of the two inner neighbours weighted 5/8, rounded.
inline constexpr std::array<int16_t, 512> CubicInner = [] {
  std::array<int16_t, 512> t{};
  for (int s = 0; s < 512; ++s) t[s] = static_cast<int16_t>((5 * s + 4) >> 3);
  return t;
}();

// CubicOuter[s]: the sum s of the two outer neighbours weighted -1/8, rounded.
inline constexpr std::array<int16_t, 512> CubicOuter = [] {
  std::array<int16_t, 512> t{};
  for (int s = 0; s < 512; ++s) t[s] = static_cast<int16_t>(-((s + 4) >> 3));
  return t;
}();

// Products by 3 and 9 for the half-pixel method.
inline constexpr std::array<uint16_t, 256> Times3 = [] {
  std::array<uint16_t, 256> t{};
  for (int v = 0; v < 256; ++v) t[v] = static_cast<uint16_t>(3 * v);
  return t;
}();

inline constexpr std::array<uint16_t, 256> Times9 = [] {
  std::array<uint16_t, 256> t{};
  for (int v = 0; v < 256; ++v) t[v] = static_cast<uint16_t>(9 * v);
  return t;
}();

static_assert(CubicInner[510] == 319 && CubicOuter[510] == -64);

}  // namespace kavix::pipeline
