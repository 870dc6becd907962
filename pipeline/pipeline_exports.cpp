// Exports of the pixel pipeline that work on caller memory or on the stored
// interpolation method: no transfer needed, no stage lock taken.
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "KavixD.h"
#include "pipeline/adjusted_color_array.h"
#include "pipeline/color_interpolation.h"
#include "pipeline/pixel_formats.h"
#include "pipeline/preview_format.h"
#include "pipeline/reduce_to_8bits.h"
#include "session/export_frame.h"

using kavix::Session;
using kavix::session_export;
namespace pl = kavix::pipeline;

namespace {

// The method byte is written by applications and read once per frame by the
// capture thread, both without a lock.
std::atomic_ref<uint8_t> CurrentMethod(Session &s) {
  return std::atomic_ref<uint8_t>(s.processing.InterpolationMethod[0]);
}

// A buffer of `count` units must exist unless there is nothing to touch.
bool Missing(const void *p, uint32_t width, uint32_t height) {
  return p == nullptr && width != 0 && height != 0;
}

}  // namespace

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetColorInterpolationMethod(KAVIX_HANDLE camera, uint8_t method) {
  return session_export(camera, [&](Session &s) -> KAVIX_BOOL {
    if (!pl::IsSelectableMethod(method)) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
    CurrentMethod(s).store(method, std::memory_order_relaxed);
    return 1;
  });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetColorInterpolationMethod(KAVIX_HANDLE camera, uint8_t *method) {
  return session_export(camera, [&](Session &s) -> KAVIX_BOOL {
    if (method == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
    *method = CurrentMethod(s).load(std::memory_order_relaxed);
    return 1;
  });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_ConvertRawToBGR(KAVIX_HANDLE camera, uint32_t width, uint32_t height,
                                                      const uint8_t *raw, uint8_t *destination,
                                                      uint8_t method, uint32_t pixel_format) {
  return session_export(camera, [&](Session &s) -> KAVIX_BOOL {
    if (Missing(raw, width, height) || Missing(destination, width, height))
      return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
    uint32_t error = 0;
    if (!pl::InterpolateBayer(error, width, height, raw, destination, method, pl::AdjustedColorArray(s)))
      return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
    if (pixel_format == pl::PreviewBGR24) return 1;
    if (pixel_format == pl::PreviewBGR32) {
      pl::ExpandToPreviewFormat(error, width, height, destination, pl::PreviewBGR32, false);
      return 1;
    }
    // Any other format: the BGR24 image has been written all the same.
    return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
  });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_ConvTo8BitsImage(KAVIX_HANDLE camera, uint32_t width, uint32_t height,
                                                       uint32_t bit_code, const uint16_t *source,
                                                       uint8_t *destination) {
  return session_export(camera, [&](Session &s) -> KAVIX_BOOL {
    if (pl::ReduceShift(bit_code) == 0 || Missing(source, width, height) || Missing(destination, width, height))
      return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
    return static_cast<KAVIX_BOOL>(pl::ReduceTo8Bits(width, height, source, destination, bit_code));
  });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_ConvertBitmapBGR24ToRGB24(KAVIX_HANDLE camera, uint32_t width,
                                                                uint32_t height, uint8_t *image) {
  return session_export(camera, [&](Session &s) -> KAVIX_BOOL {
    if (Missing(image, width, height)) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
    const size_t count = size_t{width} * height;
    for (size_t i = 0; i < count; ++i, image += 3) {
      const uint8_t b = image[0];
      image[0] = image[2];
      image[2] = b;
    }
    return 1;
  });
}
