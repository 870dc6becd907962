#include "pipeline/color_direct.h"

#include <cstddef>
#include <cstring>

#include "pipeline/pixel_formats.h"

namespace kavix::pipeline {

namespace {

ChromaTables BuildChroma() {
  ChromaTables t{};
  for (int v = 0; v < 256; ++v) {
    const double d = v - 128;
    t.ub[v] = static_cast<int16_t>(d * 1.7718);
    t.ug[v] = static_cast<int16_t>(d * -0.3441);
    t.vg[v] = static_cast<int16_t>(d * -0.7139);
    t.vr[v] = static_cast<int16_t>(d * 1.402);
  }
  return t;
}

inline uint8_t Clamp(int v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

// One YUV pixel into a target pixel of Step bytes (1: luma only).
template <unsigned Step>
inline void PutYuv(const ChromaTables &t, uint8_t *out, int y, int u, int v) {
  if constexpr (Step == 1) {
    out[0] = static_cast<uint8_t>(y);
  } else {
    out[0] = Clamp(y + t.ub[u]);
    out[1] = Clamp(y + t.ug[u] + t.vg[v]);
    out[2] = Clamp(y + t.vr[v]);
  }
}

template <unsigned Step>
void CopyBGR24(size_t count, const uint8_t *in, uint8_t *out) {
  if constexpr (Step == 3) {
    std::memcpy(out, in, count * 3);
  } else {
    for (size_t i = 0; i < count; ++i, in += 3, out += Step) {
      if constexpr (Step == 1) {
        out[0] = in[1];
      } else {
        out[0] = in[0];
        out[1] = in[1];
        out[2] = in[2];
      }
    }
  }
}

template <unsigned Step>
void CopyBGR30(size_t count, const uint8_t *in, uint8_t *out) {
  for (size_t i = 0; i < count; ++i, in += 4, out += Step) {
    uint32_t v;
    std::memcpy(&v, in, 4);  // little-endian on every target we build for
    if constexpr (Step == 1) {
      out[0] = static_cast<uint8_t>(v >> 12);
    } else {
      out[0] = static_cast<uint8_t>(v >> 2);
      out[1] = static_cast<uint8_t>(v >> 12);
      out[2] = static_cast<uint8_t>(v >> 22);
    }
  }
}

// Four pixels per group; the groups' layouts on the wire:
//   4:1:1  U Y0 Y1 V Y2 Y3          (six bytes, one chroma pair)
//   4:2:2  U Y0 V Y1 U Y2 V Y3      (eight bytes, two chroma pairs)
//   4:4:4  U Y V, four times        (twelve bytes)
template <uint32_t Format, unsigned Step>
void ConvertYuv(uint32_t width, uint32_t height, const uint8_t *source, uint8_t *target) {
  const ChromaTables &t = Chroma();
  const size_t stride = Format == TransferYUV411   ? width + width / 2
                        : Format == TransferYUV422 ? size_t{2} * width
                                                   : size_t{3} * width;
  const uint32_t groups = width / 4;
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t *in = source + y * stride;
    uint8_t *out = target + size_t{y} * width * Step;
    for (uint32_t g = 0; g < groups; ++g, out += 4 * Step) {
      if constexpr (Format == TransferYUV411) {
        const uint8_t *p = in + 6 * g;
        PutYuv<Step>(t, out, p[1], p[0], p[3]);
        PutYuv<Step>(t, out + Step, p[2], p[0], p[3]);
        PutYuv<Step>(t, out + 2 * Step, p[4], p[0], p[3]);
        PutYuv<Step>(t, out + 3 * Step, p[5], p[0], p[3]);
      } else if constexpr (Format == TransferYUV422) {
        const uint8_t *p = in + 8 * g;
        PutYuv<Step>(t, out, p[1], p[0], p[2]);
        PutYuv<Step>(t, out + Step, p[3], p[0], p[2]);
        PutYuv<Step>(t, out + 2 * Step, p[5], p[4], p[6]);
        PutYuv<Step>(t, out + 3 * Step, p[7], p[4], p[6]);
      } else {
        const uint8_t *p = in + 12 * g;
        for (int k = 0; k < 4; ++k) PutYuv<Step>(t, out + k * Step, p[3 * k + 1], p[3 * k], p[3 * k + 2]);
      }
    }
  }
}

template <unsigned Step>
bool ConvertTo(uint32_t width, uint32_t height, uint32_t format, const uint8_t *source,
               uint8_t *target) {
  const size_t count = size_t{width} * height;
  switch (format) {
    case TransferBGR24: CopyBGR24<Step>(count, source, target); return true;
    case TransferBGR30: CopyBGR30<Step>(count, source, target); return true;
    case TransferYUV411: ConvertYuv<TransferYUV411, Step>(width, height, source, target); return true;
    case TransferYUV422: ConvertYuv<TransferYUV422, Step>(width, height, source, target); return true;
    case TransferYUV444: ConvertYuv<TransferYUV444, Step>(width, height, source, target); return true;
    default: return false;
  }
}

}  // namespace

const ChromaTables &Chroma() {
  static const ChromaTables tables = BuildChroma();
  return tables;
}

bool ConvertColorDirect(uint32_t width, uint32_t height, uint32_t transfer_format,
                        const uint8_t *source, uint32_t target_format, uint8_t *target) {
  switch (PreviewBytesPerPixel(target_format)) {
    case 1: return ConvertTo<1>(width, height, transfer_format, source, target);
    case 3: return ConvertTo<3>(width, height, transfer_format, source, target);
    default: return ConvertTo<4>(width, height, transfer_format, source, target);
  }
}

void ConvertYUY2ToBGR(uint32_t width, uint32_t height, const uint8_t *source,
                      uint8_t *destination) {
  const ChromaTables &t = Chroma();
  const size_t steps = size_t{width} * height / 2;
  for (size_t i = 0; i < steps; ++i, source += 4, destination += 6) {
    PutYuv<3>(t, destination, source[0], source[1], source[3]);
    PutYuv<3>(t, destination + 3, source[2], source[1], source[3]);
  }
}

}  // namespace kavix::pipeline
