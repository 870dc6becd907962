// Method 253: every missing colour is a robust mean of four neighbours that
// leaves out the one deviating most. The method assumes the phase of colour
// array 2 whatever array it is given, and writes only the inner rows and
// columns: the border keeps what the destination held, and the second pass
// reads it as it stands.
#include "pipeline/interpolation_kernels.h"
#include "pipeline/interpolation_rules.h"
#include "pipeline/robust_mean.h"

namespace kavix::pipeline {

namespace {

constexpr int kOutlierThreshold = 15;

inline uint8_t Axial(const Frame &f, uint32_t x, uint32_t y) {
  return RobustMean(f.P(x, y - 1), f.P(x - 1, y), f.P(x + 1, y), f.P(x, y + 1), kOutlierThreshold);
}

inline uint8_t Diagonal(const Frame &f, uint32_t x, uint32_t y) {
  return RobustMean(f.P(x - 1, y - 1), f.P(x + 1, y - 1), f.P(x - 1, y + 1), f.P(x + 1, y + 1),
                    kOutlierThreshold);
}

// Pass 2 at a green site: red or blue from the four axial bytes of that
// channel as the destination holds them.
inline uint8_t FromOutput(const Frame &f, uint32_t x, uint32_t y, unsigned c) {
  return RobustMean(f.Out(x, y - 1, c), f.Out(x - 1, y, c), f.Out(x + 1, y, c), f.Out(x, y + 1, c),
                    kOutlierThreshold);
}

}  // namespace

bool OutlierBody(const uint8_t *src, uint8_t *dst, uint32_t w, uint32_t h, uint16_t) {
  if (w < 2 || h < 2) return true;  // no inner pixel: nothing is written
  const Frame f{src, dst, w, h};
  const uint32_t pairs = (h - 2) >> 1, steps = (w - 2) >> 1;
  // Pass 1: the samples themselves, and both missing colours at red and blue
  // sites.
  for (uint32_t i = 0; i < pairs; ++i) {
    const uint32_t y = 1 + 2 * i;
    for (uint32_t j = 0; j < steps; ++j) {
      const uint32_t x = 1 + 2 * j;
      f.Out(x, y, kBlue) = static_cast<uint8_t>(f.P(x, y));
      f.Out(x, y, kGreen) = Axial(f, x, y);
      f.Out(x, y, kRed) = Diagonal(f, x, y);
      f.Out(x + 1, y, kGreen) = static_cast<uint8_t>(f.P(x + 1, y));
    }
    for (uint32_t j = 0; j < steps; ++j) {
      const uint32_t x = 1 + 2 * j;
      f.Out(x, y + 1, kGreen) = static_cast<uint8_t>(f.P(x, y + 1));
      f.Out(x + 1, y + 1, kBlue) = Diagonal(f, x + 1, y + 1);
      f.Out(x + 1, y + 1, kGreen) = Axial(f, x + 1, y + 1);
      f.Out(x + 1, y + 1, kRed) = static_cast<uint8_t>(f.P(x + 1, y + 1));
    }
  }
  // Pass 2: red and blue at the green sites, from what pass 1 and the border
  // left in the destination.
  for (uint32_t i = 0; i < pairs; ++i) {
    const uint32_t y = 1 + 2 * i;
    for (uint32_t j = 0; j < steps; ++j) {
      const uint32_t x = 2 + 2 * j;
      f.Out(x, y, kBlue) = FromOutput(f, x, y, kBlue);
      f.Out(x, y, kRed) = FromOutput(f, x, y, kRed);
    }
    for (uint32_t j = 0; j < steps; ++j) {
      const uint32_t x = 1 + 2 * j;
      f.Out(x, y + 1, kBlue) = FromOutput(f, x, y + 1, kBlue);
      f.Out(x, y + 1, kRed) = FromOutput(f, x, y + 1, kRed);
    }
  }
  return true;
}

}  // namespace kavix::pipeline
