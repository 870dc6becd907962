#pragma once
// The arithmetic of frame sizes: raw frames by transfer format, preview
// bitmaps by preview pixel format.
#include <cstdint>

#include "session/session.h"

namespace kavix {

// Bits per pixel a transfer format occupies in the stream; 0 for anything
// that isn't exactly one known flag.
uint32_t transfer_bits_per_pixel(uint32_t transfer_bits);

// Bytes per pixel of a preview format (1, 3 or 4); 0 for an invalid format.
uint16_t preview_bytes_per_pixel(uint32_t preview_format);

// Recomputes RawSize, TransferSize, PreviewSizeA and PreviewSizeB from the
// current mode, the transfer format and the preview bytes per pixel.
void compute_frame_sizes(Session &session);

}  // namespace kavix
