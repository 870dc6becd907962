#pragma once
#include <cstdint>

// The bodies of the demosaicing methods. Each takes the 8-bit Bayer frame
// (width x height, row stride width) and writes BGR24 (row stride 3 x width)
// into a destination that does not overlap it. A body gives false, writing
// nothing, for a colour array it does not take or a size it does not support;
// the dispatcher turns that into error 87.
namespace kavix::pipeline {

using InterpolationBody = bool (*)(const uint8_t *source, uint8_t *destination, uint32_t width,
                                   uint32_t height, uint16_t color_array);

struct InterpolationKernels {
  const char *name;
  InterpolationBody grey;         // 0: each sample to B, G and R
  InterpolationBody none;         // 1: each sample to its own channel
  InterpolationBody nearest;      // 2: two by two replication
  InterpolationBody bilinear;     // 3: two-tap horizontal, then vertical
  InterpolationBody cubic;        // 4: four-tap horizontal, then vertical
  InterpolationBody half_pixel;   // 5: centre of each two by two block
  InterpolationBody outlier;      // 253: robust four-neighbour estimate
  InterpolationBody bilinear_g4;  // 254: as 3 with green from four neighbours
  InterpolationBody quadrants;    // 255: the four Bayer planes as grey
};

// Straight scalar loops that follow the rules pixel by pixel. They are the
// reference the fast bodies are tested against, and the fallback on CPUs
// without the vector extensions.
const InterpolationKernels &PlainInterpolationKernels();

// AVX2 bodies (methods 0 to 5 and 254), or null when the CPU lacks AVX2.
const InterpolationKernels *Avx2InterpolationKernels();

// The fastest set this CPU runs, chosen once at first use.
const InterpolationKernels &FastInterpolationKernels();

// Method 253 has one scalar body for every set.
bool OutlierBody(const uint8_t *source, uint8_t *destination, uint32_t width, uint32_t height,
                 uint16_t color_array);

// Smallest sizes each method supports. Below them a body refuses the frame.
inline constexpr uint32_t kBilinearMinSize = 2;  // methods 3 and 254, both axes
inline constexpr uint32_t kCubicMinSize = 6;     // method 4, both axes
inline constexpr uint32_t kHalfPixelMinSize = 6; // method 5, both axes, even sizes only

}  // namespace kavix::pipeline
