// Reference bodies of the demosaicing methods: each rule written out as it
// reads, one output byte at a time. Speed comes from the vector bodies; these
// define the result.
#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "pipeline/bayer_phase.h"
#include "pipeline/interpolation_kernels.h"
#include "pipeline/interpolation_tables.h"
#include "pipeline/interpolation_rules.h"

namespace kavix::pipeline {

namespace {

// ---- Methods 0, 1, 2, 255 ----------------------------------------------------

bool Grey(const uint8_t *src, uint8_t *dst, uint32_t w, uint32_t h, uint16_t) {
  const size_t n = size_t{w} * h;
  for (size_t i = 0; i < n; ++i) dst[3 * i] = dst[3 * i + 1] = dst[3 * i + 2] = src[i];
  return true;
}

bool None(const uint8_t *src, uint8_t *dst, uint32_t w, uint32_t h, uint16_t array) {
  const Frame f{src, dst, w, h};
  return WithBayerPhase(array, [&]<uint16_t A>() {
    using Ph = BayerPhase<A>;
    for (uint32_t y = 0; y < h; ++y)
      for (uint32_t x = 0; x < w; ++x)
        for (unsigned c = 0; c < 3; ++c)
          f.Out(x, y, c) = c == Ph::ChannelAt(x, y) ? static_cast<uint8_t>(f.P(x, y)) : 0;
  });
}

bool Nearest(const uint8_t *src, uint8_t *dst, uint32_t w, uint32_t h, uint16_t array) {
  const Frame f{src, dst, w, h};
  return WithBayerPhase(array, [&]<uint16_t A>() {
    using Ph = BayerPhase<A>;
    for (uint32_t y0 = 0; y0 + 1 < h; y0 += 2) {
      for (uint32_t x0 = 0; x0 + 1 < w; x0 += 2) {
        const int r = f.P(x0 + Ph::kRedX, y0 + Ph::kRedY);
        const int b = f.P(x0 + 1 - Ph::kRedX, y0 + 1 - Ph::kRedY);
        for (uint32_t dy = 0; dy < 2; ++dy) {
          const int g = f.P(x0 + (Ph::IsGreen(0, dy) ? 0 : 1), y0 + dy);
          for (uint32_t dx = 0; dx < 2; ++dx) {
            f.Out(x0 + dx, y0 + dy, kBlue) = static_cast<uint8_t>(b);
            f.Out(x0 + dx, y0 + dy, kGreen) = static_cast<uint8_t>(g);
            f.Out(x0 + dx, y0 + dy, kRed) = static_cast<uint8_t>(r);
          }
        }
      }
    }
  });
}

bool Quadrants(const uint8_t *src, uint8_t *dst, uint32_t w, uint32_t h, uint16_t) {
  const Frame f{src, dst, w, h};
  for (uint32_t y = 0; y < h; ++y) {
    const uint32_t ty = y / 2 + ((y & 1) ? h / 2 : 0);
    for (uint32_t x = 0; x < w; ++x) {
      const uint32_t tx = x / 2 + ((x & 1) ? w / 2 : 0);
      const auto v = static_cast<uint8_t>(f.P(x, y));
      f.Out(tx, ty, kBlue) = f.Out(tx, ty, kGreen) = f.Out(tx, ty, kRed) = v;
    }
  }
  return true;
}

// ---- Methods 3, 254, 4: horizontal step, then vertical step ------------------

// Horizontal step: at a green site G takes P and the row colour the
// interpolated value; elsewhere the row colour takes P and G the value.
template <uint16_t A, class HValue>
void HorizontalStep(const Frame &f, HValue hvalue) {
  using Ph = BayerPhase<A>;
  for (uint32_t y = 0; y < f.h; ++y) {
    const unsigned c = Ph::RowColour(y);
    for (uint32_t x = 0; x < f.w; ++x) {
      const auto p = static_cast<uint8_t>(f.P(x, y));
      const uint8_t hv = hvalue(x, y);
      if (Ph::IsGreen(x, y)) {
        f.Out(x, y, kGreen) = p;
        f.Out(x, y, c) = hv;
      } else {
        f.Out(x, y, c) = p;
        f.Out(x, y, kGreen) = hv;
      }
    }
  }
}

// Vertical step: the other colour D(y) from the values of that colour that
// the horizontal step left in the rows above and below.
template <uint16_t A, class VValue>
void VerticalStep(const Frame &f, VValue vvalue) {
  using Ph = BayerPhase<A>;
  for (uint32_t y = 0; y < f.h; ++y) {
    const unsigned d = Ph::OtherColour(y);
    for (uint32_t x = 0; x < f.w; ++x) {
      auto v = [&](uint32_t yy) -> int { return f.Out(x, yy, d); };
      f.Out(x, y, d) = vvalue(x, y, v);
    }
  }
}

template <bool EdgeColumnsFromBelow, uint16_t A>
void BilinearBody(const Frame &f) {
  HorizontalStep<A>(f, [&](uint32_t x, uint32_t y) { return TwoTapH(f, x, y); });
  VerticalStep<A>(f, [&](uint32_t x, uint32_t y, auto v) -> uint8_t {
    if (y == 0) return static_cast<uint8_t>(v(1));
    if (y == f.h - 1) return static_cast<uint8_t>(v(f.h - 2));
    // Colour array 3 copies the row below in its first and last column.
    if (EdgeColumnsFromBelow && (x == 0 || x == f.w - 1)) return static_cast<uint8_t>(v(y + 1));
    return static_cast<uint8_t>((v(y - 1) + v(y + 1)) >> 1);
  });
}

bool Bilinear(const uint8_t *src, uint8_t *dst, uint32_t w, uint32_t h, uint16_t array) {
  if (w < kBilinearMinSize || h < kBilinearMinSize) return false;
  const Frame f{src, dst, w, h};
  return WithBayerPhase(array, [&]<uint16_t A>() { BilinearBody<A == 3, A>(f); });
}

bool BilinearG4(const uint8_t *src, uint8_t *dst, uint32_t w, uint32_t h, uint16_t array) {
  if (w < kBilinearMinSize || h < kBilinearMinSize) return false;
  const Frame f{src, dst, w, h};
  return WithBayerPhase(array, [&]<uint16_t A>() {
    BilinearBody<false, A>(f);
    // Non-green sites with all four neighbours: the mean of the vertical and
    // the horizontal mean, each shifted on its own.
    for (uint32_t y = 1; y + 1 < h; ++y)
      for (uint32_t x = 1; x + 1 < w; ++x)
        if (!BayerPhase<A>::IsGreen(x, y)) {
          const int vert = (f.P(x, y - 1) + f.P(x, y + 1)) >> 1;
          const int horz = (f.P(x - 1, y) + f.P(x + 1, y)) >> 1;
          f.Out(x, y, kGreen) = static_cast<uint8_t>((vert + horz) >> 1);
        }
  });
}

bool Cubic(const uint8_t *src, uint8_t *dst, uint32_t w, uint32_t h, uint16_t array) {
  if (w < kCubicMinSize || h < kCubicMinSize) return false;
  const Frame f{src, dst, w, h};
  return WithBayerPhase(array, [&]<uint16_t A>() {
    HorizontalStep<A>(f, [&](uint32_t x, uint32_t y) -> uint8_t {
      if (x == 0 || x == w - 1 || x == 1 || x == 2 || x == w - 3 || x == w - 2) return TwoTapH(f, x, y);
      return Clamp(CubicInner[f.P(x - 1, y) + f.P(x + 1, y)] + CubicOuter[f.P(x - 3, y) + f.P(x + 3, y)]);
    });
    VerticalStep<A>(f, [&](uint32_t, uint32_t y, auto v) -> uint8_t {
      if (y == 0) return static_cast<uint8_t>(v(1));
      if (y == h - 1) return static_cast<uint8_t>(v(h - 2));
      if (y == 1 || y == 2 || y == h - 3 || y == h - 2) return static_cast<uint8_t>((v(y - 1) + v(y + 1)) >> 1);
      return Clamp(CubicInner[v(y - 1) + v(y + 1)] + CubicOuter[v(y - 3) + v(y + 3)]);
    });
  });
}

// ---- Method 5 ----------------------------------------------------------------

bool HalfPixel(const uint8_t *src, uint8_t *dst, uint32_t w, uint32_t h, uint16_t array) {
  if (w < kHalfPixelMinSize || h < kHalfPixelMinSize || (w & 1) || (h & 1)) return false;
  const Frame f{src, dst, w, h};
  return WithBayerPhase(array, [&]<uint16_t A>() {
    // Arrays 4 and 5 are arrays 3 and 2 with red and blue exchanged.
    constexpr uint16_t body = (A == 2 || A == 5) ? 2 : 3;
    constexpr bool swap = A == 4 || A == 5;
    for (uint32_t y = 0; y < h; ++y)
      for (uint32_t x = 0; x < w; ++x) {
        const Rgb c = HalfPixelAt<body>(f, x, y);
        f.Out(x, y, swap ? kBlue : kRed) = static_cast<uint8_t>(c.r);
        f.Out(x, y, kGreen) = static_cast<uint8_t>(c.g);
        f.Out(x, y, swap ? kRed : kBlue) = static_cast<uint8_t>(c.b);
      }
  });
}

}  // namespace

const InterpolationKernels &PlainInterpolationKernels() {
  static const InterpolationKernels kernels{"plain",     Grey,          None,       Nearest,
                                            Bilinear,    Cubic,         HalfPixel,  OutlierBody,
                                            BilinearG4,  Quadrants};
  return kernels;
}

}  // namespace kavix::pipeline
