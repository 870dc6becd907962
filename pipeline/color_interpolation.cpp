#include "pipeline/color_interpolation.h"

#include "pipeline/color_direct.h"
#include "pipeline/pixel_formats.h"

namespace kavix::pipeline {

namespace {
constexpr uint32_t kBadArgument = 87;
}

const InterpolationKernels &FastInterpolationKernels() {
  static const InterpolationKernels &chosen = [] () -> const InterpolationKernels & {
    if (const InterpolationKernels *avx2 = Avx2InterpolationKernels()) return *avx2;
    return PlainInterpolationKernels();
  }();
  return chosen;
}

uint32_t InterpolateBayerWith(const InterpolationKernels &k, uint32_t &error, uint32_t width,
                              uint32_t height, const uint8_t *source, uint8_t *destination,
                              uint8_t method, uint16_t color_array) {
  if (method == MethodGrey) {
    if (color_array == 0 || color_array > 5) {
      error = kBadArgument;
      return 0;
    }
    k.grey(source, destination, width, height, color_array);
    return 1;
  }
  if (method >= MethodQuadrants) {
    k.quadrants(source, destination, width, height, color_array);
    return 1;
  }
  if (color_array == ColorArrayYUY2) {
    ConvertYUY2ToBGR(width, height, source, destination);
    return 1;
  }
  InterpolationBody body = nullptr;
  switch (method) {
    case MethodNone: body = k.none; break;
    case MethodNearest: body = k.nearest; break;
    case MethodBilinear: body = k.bilinear; break;
    case MethodCubic: body = k.cubic; break;
    case MethodHalfPixel: body = k.half_pixel; break;
    case MethodOutlier: body = k.outlier; break;
    case MethodBilinearG4: body = k.bilinear_g4; break;
    default: break;
  }
  if (body == nullptr || !body(source, destination, width, height, color_array)) {
    error = kBadArgument;
    return 0;
  }
  return 1;
}

uint32_t InterpolateBayer(uint32_t &error, uint32_t width, uint32_t height, const uint8_t *source,
                          uint8_t *destination, uint8_t method, uint16_t color_array) {
  return InterpolateBayerWith(FastInterpolationKernels(), error, width, height, source, destination,
                              method, color_array);
}

}  // namespace kavix::pipeline
