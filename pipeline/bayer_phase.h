#pragma once
#include <cstdint>

// Compile-time description of a Bayer colour array (2 to 5), so that each
// array gets a kernel body of its own and no phase test runs per pixel.
namespace kavix::pipeline {

// Channel indexes of a BGR pixel.
inline constexpr unsigned kBlue = 0;
inline constexpr unsigned kGreen = 1;
inline constexpr unsigned kRed = 2;

template <uint16_t Array>
struct BayerPhase {
  static_assert(Array >= 2 && Array <= 5, "Bayer colour arrays are 2 to 5");
  // Parities of the red site; blue sits at the opposite parities.
  static constexpr uint32_t kRedX = (Array == 3 || Array == 5) ? 1 : 0;
  static constexpr uint32_t kRedY = (Array == 4 || Array == 5) ? 1 : 0;

  static constexpr bool IsGreen(uint32_t x, uint32_t y) { return ((x ^ y ^ kRedX ^ kRedY) & 1) != 0; }
  static constexpr bool RedRow(uint32_t y) { return (y & 1) == kRedY; }
  // Channel of the row colour C(y), the non-green colour of row y, and of the
  // other colour D(y).
  static constexpr unsigned RowColour(uint32_t y) { return RedRow(y) ? kRed : kBlue; }
  static constexpr unsigned OtherColour(uint32_t y) { return RedRow(y) ? kBlue : kRed; }
  // Parity of x of the non-green sites of row y.
  static constexpr uint32_t ColourParity(uint32_t y) { return RedRow(y) ? kRedX : 1 - kRedX; }
  // Channel of the site (x, y).
  static constexpr unsigned ChannelAt(uint32_t x, uint32_t y) {
    return IsGreen(x, y) ? kGreen : RowColour(y);
  }
};

// Calls f.template operator()<Array>() for a runtime colour array 2..5;
// gives false for any other value.
template <class F>
bool WithBayerPhase(uint16_t array, F &&f) {
  switch (array) {
    case 2: f.template operator()<2>(); return true;
    case 3: f.template operator()<3>(); return true;
    case 4: f.template operator()<4>(); return true;
    case 5: f.template operator()<5>(); return true;
    default: return false;
  }
}

}  // namespace kavix::pipeline
