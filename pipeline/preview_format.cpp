#include "pipeline/preview_format.h"

#include <cstddef>

#include "pipeline/pixel_formats.h"

namespace kavix::pipeline {

namespace {

constexpr uint32_t kBadArgument = 87;

void MonoToBGR24(size_t count, uint8_t *p) {
  for (size_t i = count; i-- > 0;) {
    const uint8_t v = p[i];
    p[3 * i] = v;
    p[3 * i + 1] = v;
    p[3 * i + 2] = v;
  }
}

void MonoToBGR32(size_t count, uint8_t *p) {
  for (size_t i = count; i-- > 0;) {
    const uint8_t v = p[i];
    p[4 * i] = v;
    p[4 * i + 1] = v;
    p[4 * i + 2] = v;
  }
}

void BGR24ToBGR32(size_t count, uint8_t *p) {
  for (size_t i = count; i-- > 0;) {
    const uint8_t b = p[3 * i], g = p[3 * i + 1], r = p[3 * i + 2];
    p[4 * i] = b;
    p[4 * i + 1] = g;
    p[4 * i + 2] = r;
    p[4 * i + 3] = 0;
  }
}

}  // namespace

bool ExpandToPreviewFormat(uint32_t &error, uint32_t width, uint32_t height, uint8_t *bitmap,
                           uint32_t preview_format, bool mono) {
  const size_t count = size_t{width} * height;
  if (mono) {
    switch (preview_format) {
      case PreviewMono8: return true;
      case PreviewBGR24: MonoToBGR24(count, bitmap); return true;
      case PreviewBGR32: MonoToBGR32(count, bitmap); return true;
      default: break;
    }
  } else {
    switch (preview_format) {
      case PreviewBGR24: return true;
      case PreviewBGR32: BGR24ToBGR32(count, bitmap); return true;
      default: break;
    }
  }
  error = kBadArgument;
  return false;
}

}  // namespace kavix::pipeline
