#pragma once
// Per-pixel rules shared by the plain bodies and by the edges of the vector
// bodies: sample access, the two-tap horizontal value and the half-pixel
// colour of one block.
#include <cstddef>
#include <cstdint>

#include "pipeline/bayer_phase.h"

namespace kavix::pipeline {

inline uint8_t Clamp(int v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

// Sample and output accessors over a frame of fixed width.
struct Frame {
  const uint8_t *src;
  uint8_t *dst;
  uint32_t w, h;
  int P(uint32_t x, uint32_t y) const { return src[size_t{y} * w + x]; }
  uint8_t &Out(uint32_t x, uint32_t y, unsigned channel) const {
    return dst[(size_t{y} * w + x) * 3 + channel];
  }
};

// Two-tap horizontal value of methods 3 and 254 (and of method 4 near the
// edges): the floor mean of the left and right neighbours, a copy of the one
// neighbour in the first and last column.
inline uint8_t TwoTapH(const Frame &f, uint32_t x, uint32_t y) {
  if (x == 0) return static_cast<uint8_t>(f.P(1, y));
  if (x == f.w - 1) return static_cast<uint8_t>(f.P(f.w - 2, y));
  return static_cast<uint8_t>((f.P(x - 1, y) + f.P(x + 1, y)) >> 1);
}

struct Rgb {
  int r, g, b;
};

// The colour of the centre of the block whose top left is (x, y), for the
// body of colour array 2 (Body 2) or 3 (Body 3), with the channels named as
// that body names them. The irregular points of each body come last.
template <uint16_t Body>
Rgb HalfPixelAt(const Frame &f, uint32_t x, uint32_t y) {
  using Ph = BayerPhase<Body>;
  const int w = static_cast<int>(f.w), h = static_cast<int>(f.h);
  const int X = static_cast<int>(x), Y = static_cast<int>(y);
  auto P = [&](int px, int py) { return f.P(static_cast<uint32_t>(px), static_cast<uint32_t>(py)); };

  // Red (site parities sx, sy) or blue (the opposite parities).
  auto colour = [&](int sx, int sy) {
    int xc = (X & 1) == sx ? X : X + 1;
    int yc = (Y & 1) == sy ? Y : Y + 1;
    const int xo = xc == X ? xc + 2 : xc - 2;
    const int yo = yc == Y ? yc + 2 : yc - 2;
    bool single_x = false, single_y = false;
    if (xc >= w) xc = xo, single_x = true;
    if (yc >= h) yc = yo, single_y = true;
    if (xo < 0 || xo >= w) single_x = true;
    if (yo < 0 || yo >= h) single_y = true;
    if (!single_x && !single_y) return (9 * P(xc, yc) + 3 * P(xo, yc) + 3 * P(xc, yo) + P(xo, yo)) >> 4;
    if (!single_x) return (3 * P(xc, yc) + P(xo, yc)) >> 2;
    if (!single_y) return (3 * P(xc, yc) + P(xc, yo)) >> 2;
    return P(xc, yc);
  };
  auto green = [&] {
    if (X == w - 1) return Ph::IsGreen(x, y) ? P(X, Y) : P(X - 1, Y);
    if (Y == h - 1) return Ph::IsGreen(x, y) ? P(X, Y) : P(X + 1, Y);
    // The block's two greens lie on one diagonal.
    if (Ph::IsGreen(x, y)) return (P(X, Y) + P(X + 1, Y + 1)) >> 1;
    return (P(X + 1, Y) + P(X, Y + 1)) >> 1;
  };

  Rgb out{colour(Ph::kRedX, Ph::kRedY), green(), colour(1 - Ph::kRedX, 1 - Ph::kRedY)};
  if constexpr (Body == 2) {
    if (X == w - 2 && Y == 0) {
      out.g = (P(w - 3, 1) + P(w - 1, 0)) >> 1;
      out.r = (3 * P(w - 2, 0) + P(w - 2, 1)) >> 2;
    }
  } else {
    const bool even_x = (X & 1) == 0, even_y = (Y & 1) == 0;
    if (X == 0 && Y == 0) out.b = P(0, 1);
    if (X == w - 1 && Y == 0) out.g = P(w - 1, 1);
    if (Y == 0 && even_x && X >= 2 && X <= w - 4)
      out.r = (3 * P(X - 1, 0) + 3 * P(X - 1, 2) + 9 * P(X + 1, 0) + P(X + 1, 2)) >> 4;
    if (X == 0 && even_y && Y >= 2) {
      out.b = (P(0, Y - 1) + 3 * P(0, Y + 1)) >> 2;
      out.r = (3 * P(1, Y) + P(1, Y + 1)) >> 2;
    }
    if (even_y && Y >= 2 && Y <= h - 4) {
      if (!even_x && X <= w - 5) out.r = (9 * P(X, Y) + 6 * P(X, Y + 2) + P(X + 2, Y + 2)) >> 4;
      if (even_x && X >= 2 && X <= w - 4)
        out.r = (12 * P(X - 1, Y) + P(X - 1, Y + 2) + 3 * P(X + 1, Y + 2)) >> 4;
    }
  }
  return out;
}

}  // namespace kavix::pipeline
