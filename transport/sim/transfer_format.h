// The camera's wire formats (TransferBits flags) as the frame renderer needs
// them: bits per pixel on the wire, how a sample is stored, and its depth.
#pragma once

#include <cstdint>

namespace kavix::sim {

enum TransferBits : uint32_t {
  kTransferRaw8 = 1,
  kTransferRaw10 = 2,
  kTransferRaw12 = 4,
  kTransferRaw14 = 8,
  kTransferRaw16 = 16,
  kTransferMono8 = 32,
  kTransferMono10 = 64,
  kTransferMono12 = 128,
  kTransferMono14 = 256,
  kTransferMono16 = 512,
  kTransferBGR24 = 1024,
  kTransferBGR30 = 2048,
  kTransferYUV411 = 4096,
  kTransferYUV422 = 8192,
  kTransferYUV444 = 16384,
};

// How the pixels of a format are laid out in the stream.
enum class PixelLayout {
  kNone,     // not a format: nothing is sent
  kRaw8,     // one byte per pixel, Bayer or mono
  kRaw16,    // little-endian u16 per pixel, value right-aligned
  kMono8,    // one byte per pixel, luminance
  kMono16,   // little-endian u16 per pixel, luminance right-aligned
  kBGR24,    // B, G, R bytes
  kBGR30,    // little-endian u32: B bits 0-9, G 10-19, R 20-29
  kYUV411,   // U, Y0, Y1, V, Y2, Y3 per four pixels
  kYUV422,   // U, Y0, V, Y1, U, Y2, V, Y3 per four pixels
  kYUV444,   // U, Y, V per pixel
};

struct FormatInfo {
  PixelLayout layout = PixelLayout::kNone;
  uint32_t bits_per_pixel = 0;  // on the wire
  uint32_t depth = 0;           // significant bits of one sample
};

FormatInfo format_info(uint32_t transfer_bits);

// Bytes of one row and of a whole frame's pixels on the wire. The frame size
// is bits x width x height / 8, as the library computes it; a row is the
// same for one line.
uint32_t row_bytes(uint32_t transfer_bits, uint32_t width);
uint64_t pixel_bytes(uint32_t transfer_bits, uint32_t width, uint32_t height);

// True for formats whose samples are single bytes (raw 8, mono 8, BGR24, YUV).
bool has_byte_samples(PixelLayout layout);

}  // namespace kavix::sim
