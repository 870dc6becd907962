#include "pipeline/frame_stages.h"

#include <cstddef>
#include <cstring>

#include "pipeline/color_direct.h"
#include "pipeline/color_interpolation.h"
#include "pipeline/pixel_formats.h"
#include "pipeline/preview_format.h"
#include "pipeline/reduce_to_8bits.h"

namespace kavix::pipeline {

void ReduceFrameInPlace(uint8_t *pixels, uint32_t width, uint32_t height, uint32_t transfer_bits) {
  if (!ClassifyFrame(transfer_bits, 0).deep) return;
  // The words are read through memcpy inside the kernel, so the byte buffer
  // may be handed over as words.
  ReduceTo8Bits(width, height, reinterpret_cast<const uint16_t *>(pixels), pixels, transfer_bits);
}

bool FillTarget(uint32_t &error, uint32_t width, uint32_t height, uint32_t transfer_bits,
                uint16_t adjusted_array, uint8_t method, const uint8_t *pixels, uint8_t *target) {
  const FrameKind kind = ClassifyFrame(transfer_bits, adjusted_array);
  if (kind.path == FramePath::ColourDirect) {
    ConvertColorDirect(width, height, transfer_bits, pixels, PreviewBGR24, target);
    return true;
  }
  if (kind.mono) {
    std::memcpy(target, pixels, size_t{width} * height);
    return true;
  }
  return InterpolateBayer(error, width, height, pixels, target, method, adjusted_array) != 0;
}

bool ConvertToPreviewFormat(uint32_t &error, uint32_t width, uint32_t height, bool mono,
                            uint32_t preview_format, uint8_t *target) {
  return ExpandToPreviewFormat(error, width, height, target, preview_format, mono);
}

}  // namespace kavix::pipeline
