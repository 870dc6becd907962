#include "session/frame_sizes.h"

namespace kavix {

uint32_t transfer_bits_per_pixel(uint32_t transfer_bits) {
    switch (transfer_bits) {
        case KAVIX_TRANSFER_RAW8:
        case KAVIX_TRANSFER_MONO8:
            return 8;
        case KAVIX_TRANSFER_YUV411:
            return 12;
        case KAVIX_TRANSFER_RAW10:
        case KAVIX_TRANSFER_RAW12:
        case KAVIX_TRANSFER_RAW14:
        case KAVIX_TRANSFER_RAW16:
        case KAVIX_TRANSFER_MONO10:
        case KAVIX_TRANSFER_MONO12:
        case KAVIX_TRANSFER_MONO14:
        case KAVIX_TRANSFER_MONO16:
        case KAVIX_TRANSFER_YUV422:
            return 16;
        case KAVIX_TRANSFER_BGR24:
        case KAVIX_TRANSFER_YUV444:
            return 24;
        case KAVIX_TRANSFER_BGR30:
            return 32;
        default:
            return 0;
    }
}

uint16_t preview_bytes_per_pixel(uint32_t preview_format) {
    switch (preview_format) {
        case KAVIX_PREVIEW_MONO8:
            return 1;
        case KAVIX_PREVIEW_BGR24:
            return 3;
        case KAVIX_PREVIEW_BGR32:
            return 4;
        default:
            return 0;
    }
}

void compute_frame_sizes(Session &session) {
    CurrentMode &m = session.mode;
    const uint64_t pixels = uint64_t{m.Width} * m.Height;
    m.PreviewSizeA = static_cast<uint32_t>(pixels * m.PreviewBytesPerPixel);
    m.PreviewSizeB = m.PreviewSizeA;
    m.RawSize = static_cast<uint32_t>((pixels * transfer_bits_per_pixel(m.TransferBits)) >> 3);
    m.TransferSize = session.info.HeaderBytes + m.RawSize;
}

}  // namespace kavix
