#pragma once
#include <cstdint>

#include "pipeline/interpolation_kernels.h"

// Turns one 8-bit Bayer frame into one BGR24 image by the method asked for.
namespace kavix::pipeline {

enum InterpolationMethod : uint8_t {
  MethodGrey = 0,
  MethodNone = 1,
  MethodNearest = 2,
  MethodBilinear = 3,
  MethodCubic = 4,
  MethodHalfPixel = 5,
  MethodOutlier = 253,
  MethodBilinearG4 = 254,
  MethodQuadrants = 255,
};

// The methods an application may select for the live pipeline.
constexpr bool IsSelectableMethod(uint32_t method) { return method < 6; }

// The dispatcher. Gives 1 on success. On failure gives 0 and sets error to 87:
// method 0 with colour array 0 or above 5, a method that does not exist, a
// colour array or size the method does not take. Method 255 ignores the
// colour array; colour array 10 (a YUY2 frame, width x height x 2 bytes) is
// converted whatever the method, unless the method is 0 or 255.
uint32_t InterpolateBayer(uint32_t &error, uint32_t width, uint32_t height, const uint8_t *source,
                          uint8_t *destination, uint8_t method, uint16_t color_array);

// The same with a given kernel set (tests compare the sets).
uint32_t InterpolateBayerWith(const InterpolationKernels &kernels, uint32_t &error, uint32_t width,
                              uint32_t height, const uint8_t *source, uint8_t *destination,
                              uint8_t method, uint16_t color_array);

}  // namespace kavix::pipeline
