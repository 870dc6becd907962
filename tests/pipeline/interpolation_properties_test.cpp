// Properties of the demosaicing methods that hold whatever the input, and the
// dispatcher's error cases. The byte-exact comparison with the model is in
// reference_vectors_test.cpp.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "pipeline/color_interpolation.h"
#include "pipeline/interpolation_tables.h"
#include "pipeline/robust_mean.h"

namespace kavix::pipeline {
namespace {

constexpr uint32_t kBadArgument = 87;

std::vector<const InterpolationKernels *> KernelSets() {
  return {&PlainInterpolationKernels(), &FastInterpolationKernels()};
}

std::vector<uint8_t> RandomBytes(size_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<uint8_t> v(n);
  for (auto &b : v) b = static_cast<uint8_t>(rng());
  return v;
}

// ---- Flat fields -----------------------------------------------------------------

TEST(Interpolation, FlatFieldsStayFlat) {
  struct Size { uint32_t w, h; };
  for (const InterpolationKernels *k : KernelSets())
    for (uint8_t method : {2, 3, 4, 5, 254})
      for (uint16_t array = 2; array <= 5; ++array)
        for (Size size : {Size{6, 6}, Size{40, 30}, Size{134, 10}})
          for (int level : {0, 1, 77, 128, 254, 255}) {
            SCOPED_TRACE(std::string(k->name) + " method " + std::to_string(method) + " array " +
                         std::to_string(array) + " " + std::to_string(size.w) + "x" +
                         std::to_string(size.h) + " level " + std::to_string(level));
            const std::vector<uint8_t> src(size_t{size.w} * size.h, static_cast<uint8_t>(level));
            std::vector<uint8_t> dst(src.size() * 3, 0xA5);
            uint32_t error = 0;
            ASSERT_EQ(InterpolateBayerWith(*k, error, size.w, size.h, src.data(), dst.data(), method, array), 1u);
            size_t off = 0;
            for (; off < dst.size() && dst[off] == level; ++off) {}
            ASSERT_EQ(off, dst.size()) << "byte " << off << " is " << int(dst[off]);
          }
}

TEST(Interpolation, CubicTablesKeepFlatLevels) {
  for (int v = 0; v < 256; ++v) {
    const int sum = CubicInner[2 * v] + CubicOuter[2 * v];
    EXPECT_EQ(sum, v) << v;
  }
  EXPECT_EQ(CubicInner[510], 319);
  EXPECT_EQ(CubicOuter[510], -64);
  EXPECT_EQ(Times3[255], 765);
  EXPECT_EQ(Times9[255], 2295);
}

// ---- Method 4: one bright pixel ------------------------------------------------------

TEST(Interpolation, CubicClipsTheNegativeTapsOfABrightPixel) {
  constexpr uint32_t w = 16, h = 16;
  for (const InterpolationKernels *k : KernelSets()) {
    SCOPED_TRACE(k->name);
    std::vector<uint8_t> src(w * h, 0);
    src[8 * w + 8] = 255;  // a red site of colour array 2
    std::vector<uint8_t> dst(w * h * 3, 0xA5);
    uint32_t error = 0;
    ASSERT_EQ(InterpolateBayerWith(*k, error, w, h, src.data(), dst.data(), MethodCubic, 2), 1u);
    auto red = [&](uint32_t x, uint32_t y) { return int(dst[(y * w + x) * 3 + 2]); };
    // Inner taps: 5/8 of 255, rounded.
    EXPECT_EQ(red(7, 8), 159);
    EXPECT_EQ(red(9, 8), 159);
    EXPECT_EQ(red(8, 7), 159);
    EXPECT_EQ(red(8, 9), 159);
    // Outer taps: -1/8 of 255 is -32, which clips to 0 and does not wrap.
    EXPECT_EQ(red(5, 8), 0);
    EXPECT_EQ(red(11, 8), 0);
    EXPECT_EQ(red(8, 5), 0);
    EXPECT_EQ(red(8, 11), 0);
    EXPECT_EQ(red(8, 8), 255);
    // Green and blue never see the red sample.
    for (uint32_t i = 0; i < w * h; ++i) {
      ASSERT_EQ(dst[3 * i], 0) << i;
      ASSERT_EQ(dst[3 * i + 1], 0) << i;
    }
  }
}

// ---- Method 253 ---------------------------------------------------------------------

TEST(RobustMean, Cases) {
  struct Row { int a, b, c, d, expected; const char *why; };
  const Row rows[] = {
      {90, 90, 90, 90, 90, "four equal neighbours are returned"},
      {100, 100, 100, 200, 100, "three equal, one far above: the three's mean"},
      {200, 40, 40, 40, 40, "three equal, one far above, first position"},
      {10, 10, 180, 10, 10, "three equal, one far above, third position"},
      {100, 110, 105, 95, 102, "all within the threshold: the plain mean"},
      {100, 100, 100, 115, 103, "a deviation of exactly 15 is within the threshold"},
      {0, 0, 255, 255, 0, "a pair against a pair: the mean of the first pair"},
      {30, 60, 90, 120, 90, "a ramp: three estimates tie at 60, the first (leaving out a) wins"},
  };
  for (const Row &r : rows) EXPECT_EQ(RobustMean(r.a, r.b, r.c, r.d, 15), r.expected) << r.why;
  // The threshold decides between the plain mean and the estimate.
  EXPECT_EQ(RobustMean(100, 100, 100, 140, 100), 110);
  EXPECT_EQ(RobustMean(100, 100, 100, 140, 15), 100);
}

TEST(Interpolation, OutlierIgnoresTheColourArrayAndKeepsTheBorder) {
  constexpr uint32_t w = 12, h = 9;
  const std::vector<uint8_t> src = RandomBytes(w * h, 7);
  for (const InterpolationKernels *k : KernelSets()) {
    std::vector<uint8_t> reference;
    for (uint16_t array : {2, 3, 4, 5, 0, 1, 6}) {
      SCOPED_TRACE(std::string(k->name) + " array " + std::to_string(array));
      std::vector<uint8_t> dst(w * h * 3, 0x5C);
      uint32_t error = 0;
      EXPECT_EQ(InterpolateBayerWith(*k, error, w, h, src.data(), dst.data(), MethodOutlier, array), 1u);
      EXPECT_EQ(error, 0u);
      if (reference.empty()) reference = dst;
      EXPECT_EQ(dst, reference) << "the colour array changed the output";
      // First and last row and column untouched; with an odd height the
      // second last row as well (row pairs from y = 1 cover rows 1..6).
      for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
          const bool border = x == 0 || x == w - 1 || y == 0 || y >= 7;
          if (!border) continue;
          for (int c = 0; c < 3; ++c) ASSERT_EQ(dst[(y * w + x) * 3 + c], 0x5C) << x << "," << y;
        }
    }
  }
}

TEST(Interpolation, OutlierDependsOnTheOldBorder) {
  constexpr uint32_t w = 10, h = 10;
  const std::vector<uint8_t> src = RandomBytes(w * h, 11);
  std::vector<uint8_t> a(w * h * 3, 0), b(w * h * 3, 255);
  uint32_t error = 0;
  ASSERT_EQ(InterpolateBayer(error, w, h, src.data(), a.data(), MethodOutlier, 2), 1u);
  ASSERT_EQ(InterpolateBayer(error, w, h, src.data(), b.data(), MethodOutlier, 2), 1u);
  // Pass 2 reads the unwritten border next to it: some inner byte differs.
  bool inner_differs = false;
  for (uint32_t y = 1; y + 1 < h; ++y)
    for (uint32_t x = 1; x + 1 < w; ++x)
      for (int c = 0; c < 3; ++c) inner_differs |= a[(y * w + x) * 3 + c] != b[(y * w + x) * 3 + c];
  EXPECT_TRUE(inner_differs);
}

// ---- Dispatcher ----------------------------------------------------------------------

TEST(Interpolation, DispatcherResults) {
  struct Row { uint32_t method; uint16_t array; uint32_t w, h; uint32_t result; };
  const Row rows[] = {
      {MethodNone, 1, 8, 6, 0},       {MethodNearest, 1, 8, 6, 0},   {MethodBilinear, 1, 8, 6, 0},
      {MethodCubic, 1, 8, 6, 0},      {MethodHalfPixel, 1, 8, 6, 0}, {MethodBilinearG4, 1, 8, 6, 0},
      {MethodGrey, 1, 8, 6, 1},       {MethodGrey, 0, 8, 6, 0},      {MethodGrey, 6, 8, 6, 0},
      {MethodGrey, 10, 8, 6, 0},      {MethodQuadrants, 6, 8, 6, 1}, {MethodQuadrants, 0, 8, 6, 1},
      {MethodOutlier, 4, 8, 6, 1},    {MethodOutlier, 0, 8, 6, 1},   {6, 2, 8, 6, 0},
      {100, 3, 8, 6, 0},              {252, 2, 8, 6, 0},             {6, 10, 8, 6, 1},
      {MethodBilinear, 10, 8, 6, 1},  {MethodBilinear, 6, 8, 6, 0},  {MethodNone, 0, 8, 6, 0},
      // Sizes below what a method supports.
      {MethodBilinear, 2, 1, 6, 0},   {MethodBilinear, 2, 6, 1, 0},  {MethodBilinear, 2, 2, 2, 1},
      {MethodBilinearG4, 3, 1, 1, 0}, {MethodCubic, 4, 5, 6, 0},     {MethodCubic, 4, 6, 5, 0},
      {MethodCubic, 4, 7, 7, 1},      {MethodHalfPixel, 5, 7, 6, 0}, {MethodHalfPixel, 5, 6, 7, 0},
      {MethodHalfPixel, 5, 4, 4, 0},  {MethodHalfPixel, 5, 6, 6, 1}, {MethodNearest, 2, 1, 1, 1},
  };
  for (const InterpolationKernels *k : KernelSets())
    for (const Row &r : rows) {
      SCOPED_TRACE(std::string(k->name) + " method " + std::to_string(r.method) + " array " +
                   std::to_string(r.array) + " " + std::to_string(r.w) + "x" + std::to_string(r.h));
      const std::vector<uint8_t> src = RandomBytes(size_t{r.w} * r.h * 2, r.method + r.array);
      std::vector<uint8_t> dst(size_t{r.w} * r.h * 3, 0x3C);
      uint32_t error = 12345;
      EXPECT_EQ(InterpolateBayerWith(*k, error, r.w, r.h, src.data(), dst.data(),
                                     static_cast<uint8_t>(r.method), r.array), r.result);
      EXPECT_EQ(error, r.result ? 12345u : kBadArgument) << "error is set on failure only";
      if (!r.result) {
        EXPECT_EQ(dst, std::vector<uint8_t>(dst.size(), 0x3C)) << "a refusal writes nothing";
      }
    }
}

// ---- Method 3's first and last column on colour array 3 -------------------------------

TEST(Interpolation, BilinearArray3CopiesTheRowBelowInItsEdgeColumns) {
  constexpr uint32_t w = 8, h = 8;
  const std::vector<uint8_t> src = RandomBytes(w * h, 3);
  auto P = [&](uint32_t x, uint32_t y) { return int(src[y * w + x]); };
  for (const InterpolationKernels *k : KernelSets()) {
    SCOPED_TRACE(k->name);
    std::vector<uint8_t> a3(w * h * 3), a2(w * h * 3);
    uint32_t error = 0;
    ASSERT_EQ(InterpolateBayerWith(*k, error, w, h, src.data(), a3.data(), MethodBilinear, 3), 1u);
    ASSERT_EQ(InterpolateBayerWith(*k, error, w, h, src.data(), a2.data(), MethodBilinear, 2), 1u);
    auto at = [&](const std::vector<uint8_t> &d, uint32_t x, uint32_t y, int c) { return int(d[(y * w + x) * 3 + c]); };
    for (uint32_t y = 1; y + 1 < h; ++y) {
      // Array 3 (Gr R / B Gb): column 0 holds G/B samples. In even rows B is
      // the vertical colour and comes from the B sample below alone; in odd
      // rows R is, taken from the row below's horizontal value (P(1, y + 1)).
      if (y % 2 == 0) {
        EXPECT_EQ(at(a3, 0, y, 0), P(0, y + 1)) << "B at (0," << y << ")";
      } else {
        EXPECT_EQ(at(a3, 0, y, 2), P(1, y + 1)) << "R at (0," << y << ")";
      }
      // Last column (x = 7, R/G sites): odd rows take R from the R sample
      // below, even rows B from the row below's edge value P(6, y + 1).
      if (y % 2 == 1) {
        EXPECT_EQ(at(a3, w - 1, y, 2), P(w - 1, y + 1)) << "R at (7," << y << ")";
      } else {
        EXPECT_EQ(at(a3, w - 1, y, 0), P(w - 2, y + 1)) << "B at (7," << y << ")";
      }
      // Array 2 (R Gr / Gb B) averages in column 0: odd rows take R from the
      // R samples above and below.
      if (y % 2 == 1) {
        EXPECT_EQ(at(a2, 0, y, 2), (P(0, y - 1) + P(0, y + 1)) >> 1) << y;
      }
    }
    // The last row keeps the copy of the row above, the first the row below.
    EXPECT_EQ(at(a3, 0, h - 1, 2), P(1, h - 2));
    EXPECT_EQ(at(a3, 0, 0, 0), P(0, 1));
  }
}

TEST(Interpolation, BilinearG4AveragesTheTwoMeans) {
  constexpr uint32_t w = 6, h = 6;
  std::vector<uint8_t> src(w * h, 0);
  // A red site of array 2 at (2, 2) with 1 and 2 above and below, 5 and 8
  // left and right.
  src[1 * w + 2] = 1, src[3 * w + 2] = 2, src[2 * w + 1] = 5, src[2 * w + 3] = 8;
  for (const InterpolationKernels *k : KernelSets()) {
    std::vector<uint8_t> dst(w * h * 3);
    uint32_t error = 0;
    ASSERT_EQ(InterpolateBayerWith(*k, error, w, h, src.data(), dst.data(), MethodBilinearG4, 2), 1u);
    // ((1 + 2) >> 1) + ((5 + 8) >> 1) = 1 + 6, >> 1 = 3; the sum of four >> 2 would be 4.
    EXPECT_EQ(dst[(2 * w + 2) * 3 + 1], 3) << k->name;
    // Method 3 takes green from left and right only.
    ASSERT_EQ(InterpolateBayerWith(*k, error, w, h, src.data(), dst.data(), MethodBilinear, 2), 1u);
    EXPECT_EQ(dst[(2 * w + 2) * 3 + 1], 6) << k->name;
  }
}

// ---- Fast bodies against the plain ones on large frames ------------------------------

TEST(Interpolation, FastBodiesMatchPlainOnLargeFrames) {
  struct Size { uint32_t w, h; };
  const InterpolationKernels &plain = PlainInterpolationKernels();
  const InterpolationKernels &fast = FastInterpolationKernels();
  for (Size size : {Size{517, 63}, Size{640, 48}, Size{1030, 22}})
    for (uint8_t method : {0, 1, 2, 3, 4, 5, 253, 254, 255})
      for (uint16_t array = 2; array <= 5; ++array) {
        if (method == MethodHalfPixel && (size.w % 2 || size.h % 2)) continue;
        SCOPED_TRACE("method " + std::to_string(method) + " array " + std::to_string(array) + " " +
                     std::to_string(size.w) + "x" + std::to_string(size.h));
        const std::vector<uint8_t> src = RandomBytes(size_t{size.w} * size.h, method * 7 + array);
        std::vector<uint8_t> a(src.size() * 3, 0x11), b(src.size() * 3, 0x11);
        uint32_t ea = 0, eb = 0;
        ASSERT_EQ(InterpolateBayerWith(plain, ea, size.w, size.h, src.data(), a.data(), method, array), 1u);
        ASSERT_EQ(InterpolateBayerWith(fast, eb, size.w, size.h, src.data(), b.data(), method, array), 1u);
        ASSERT_TRUE(a == b);
      }
}

}  // namespace
}  // namespace kavix::pipeline
