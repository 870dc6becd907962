#pragma once
#include <cstdint>

// The pixel vocabulary shared by every stage: what a camera sends
// (transfer formats), how its Bayer mosaic is laid out (colour arrays) and
// what the preview bitmap holds (preview formats).
namespace kavix::pipeline {

// Transfer formats: exactly one flag of a camera's TransferBits.
enum TransferFormat : uint32_t {
  TransferRaw8 = 1,
  TransferRaw10 = 2,
  TransferRaw12 = 4,
  TransferRaw14 = 8,
  TransferRaw16 = 16,
  TransferMono8 = 32,
  TransferMono10 = 64,
  TransferMono12 = 128,
  TransferMono14 = 256,
  TransferMono16 = 512,
  TransferBGR24 = 1024,
  TransferBGR30 = 2048,
  TransferYUV411 = 4096,
  TransferYUV422 = 8192,
  TransferYUV444 = 16384,
};

// Colour arrays: the colours of the 2x2 cell at the top left of a frame.
enum ColorArray : uint16_t {
  ColorArrayMono = 1,
  ColorArrayRGGB = 2,  // R Gr / Gb B
  ColorArrayGRBG = 3,  // Gr R / B Gb
  ColorArrayGBRG = 4,  // Gb B / R Gr
  ColorArrayBGGR = 5,  // B Gb / Gr R
  ColorArrayYUY2 = 10, // Y0 U Y1 V frames, never from a camera
};

// Preview pixel formats; rows packed, top down.
enum PreviewFormat : uint32_t {
  PreviewMono8 = 1,
  PreviewBGR24 = 4,
  PreviewBGR32 = 8,
};

// Bytes per pixel of a target bitmap in the given preview format: 1, 3 or 4
// (anything that is not mono or BGR24 is laid out as BGR32).
constexpr uint32_t PreviewBytesPerPixel(uint32_t format) {
  return format == PreviewMono8 ? 1 : format == PreviewBGR24 ? 3 : 4;
}

}  // namespace kavix::pipeline
