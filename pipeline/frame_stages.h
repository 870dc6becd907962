#pragma once
#include <cstdint>

// The pixel stages of one captured frame that belong to no setting: sorting
// by transfer format, cutting deep samples to 8 bits, filling the target
// bitmap and spreading it to the preview format. The capture loop calls these
// in its order; each is a pure function of its buffers.
namespace kavix::pipeline {

enum class FramePath : uint8_t {
  Raw,          // Bayer or mono samples, 8 bits after reduction
  MonoDirect,   // a mono camera's own format
  ColourDirect, // BGR24, BGR30 or YUV from the camera
};

struct FrameKind {
  FramePath path;
  bool mono;        // the target is mono 8 (and the mono conversions apply)
  bool deep;        // 16-bit samples to cut to 8 bits in place
};

// How a frame of this transfer format and adjusted colour array is treated.
constexpr FrameKind ClassifyFrame(uint32_t transfer_bits, uint16_t adjusted_array) {
  const bool mono_array = adjusted_array == 1;
  switch (transfer_bits) {
    case 1: return {FramePath::Raw, mono_array, false};
    case 2: case 4: case 8: case 16: return {FramePath::Raw, mono_array, true};
    case 32: return {FramePath::MonoDirect, true, false};
    case 64: case 128: case 256: case 512: return {FramePath::MonoDirect, true, true};
    case 1024: case 2048: case 4096: case 8192: case 16384: return {FramePath::ColourDirect, false, false};
    default: return {FramePath::Raw, mono_array, false};
  }
}

// Cuts a deep frame to one byte per sample in place (the first width x height
// bytes of the buffer then hold it). Does nothing for other formats.
void ReduceFrameInPlace(uint8_t *pixels, uint32_t width, uint32_t height, uint32_t transfer_bits);

// Fills the target from the frame: a mono frame is copied, a colour-direct
// one converted into BGR24, a Bayer frame interpolated with the method and the
// adjusted colour array. Gives false with error 87 when interpolation refuses.
bool FillTarget(uint32_t &error, uint32_t width, uint32_t height, uint32_t transfer_bits,
                uint16_t adjusted_array, uint8_t method, const uint8_t *pixels, uint8_t *target);

// Spreads the filled target to the preview format when that differs from
// what FillTarget wrote (mono 8 or BGR24). False with error 87 for a format
// the case has no conversion to.
bool ConvertToPreviewFormat(uint32_t &error, uint32_t width, uint32_t height, bool mono,
                            uint32_t preview_format, uint8_t *target);

}  // namespace kavix::pipeline
