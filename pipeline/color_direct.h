#pragma once
#include <cstdint>

// Colour-direct transfers: cameras that send BGR or YUV pixels instead of a
// Bayer mosaic. These fill the target bitmap straight from the frame.
namespace kavix::pipeline {

// Converts a colour-direct frame (TransferBGR24, TransferBGR30, TransferYUV411,
// TransferYUV422 or TransferYUV444) into a target of the given preview format:
// PreviewMono8 receives luma (the green byte for BGR), PreviewBGR24 and
// PreviewBGR32 receive B, G, R at a step of 3 or 4 bytes, the fourth byte of a
// BGR32 pixel left as it was. YUV rows are converted four pixels at a time;
// the remainder of a width that is not a multiple of four stays unwritten.
// Gives false, with the target untouched, for any other transfer format.
bool ConvertColorDirect(uint32_t width, uint32_t height, uint32_t transfer_format,
                        const uint8_t *source, uint32_t target_format, uint8_t *target);

// A 4:2:2 frame of colour array 10: every four bytes Y0, U, Y1, V make two
// BGR24 pixels; width x height / 2 such steps over the packed frame.
void ConvertYUY2ToBGR(uint32_t width, uint32_t height, const uint8_t *source,
                      uint8_t *destination);

// The chroma products, d x factor truncated toward zero with d = U - 128 or
// V - 128, built once from double arithmetic.
struct ChromaTables {
  int16_t ub[256];  // U x 1.7718, to blue
  int16_t ug[256];  // U x -0.3441, to green
  int16_t vg[256];  // V x -0.7139, to green
  int16_t vr[256];  // V x 1.402, to red
};
const ChromaTables &Chroma();

}  // namespace kavix::pipeline
