#include "transport/sim/transfer_format.h"

namespace kavix::sim {

FormatInfo format_info(uint32_t transfer_bits) {
  switch (transfer_bits) {
    case kTransferRaw8: return {PixelLayout::kRaw8, 8, 8};
    case kTransferRaw10: return {PixelLayout::kRaw16, 16, 10};
    case kTransferRaw12: return {PixelLayout::kRaw16, 16, 12};
    case kTransferRaw14: return {PixelLayout::kRaw16, 16, 14};
    case kTransferRaw16: return {PixelLayout::kRaw16, 16, 16};
    case kTransferMono8: return {PixelLayout::kMono8, 8, 8};
    case kTransferMono10: return {PixelLayout::kMono16, 16, 10};
    case kTransferMono12: return {PixelLayout::kMono16, 16, 12};
    case kTransferMono14: return {PixelLayout::kMono16, 16, 14};
    case kTransferMono16: return {PixelLayout::kMono16, 16, 16};
    case kTransferBGR24: return {PixelLayout::kBGR24, 24, 8};
    case kTransferBGR30: return {PixelLayout::kBGR30, 32, 10};
    case kTransferYUV411: return {PixelLayout::kYUV411, 12, 8};
    case kTransferYUV422: return {PixelLayout::kYUV422, 16, 8};
    case kTransferYUV444: return {PixelLayout::kYUV444, 24, 8};
    default: return {};
  }
}

uint32_t row_bytes(uint32_t transfer_bits, uint32_t width) {
  return static_cast<uint32_t>(uint64_t{format_info(transfer_bits).bits_per_pixel} * width / 8);
}

uint64_t pixel_bytes(uint32_t transfer_bits, uint32_t width, uint32_t height) {
  return uint64_t{format_info(transfer_bits).bits_per_pixel} * width * height / 8;
}

bool has_byte_samples(PixelLayout layout) {
  switch (layout) {
    case PixelLayout::kRaw8:
    case PixelLayout::kMono8:
    case PixelLayout::kBGR24:
    case PixelLayout::kYUV411:
    case PixelLayout::kYUV422:
    case PixelLayout::kYUV444: return true;
    default: return false;
  }
}

}  // namespace kavix::sim
