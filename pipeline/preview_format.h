#pragma once
#include <cstdint>

namespace kavix::pipeline {

// Spreads a filled target out to the preview format, in place, from the last
// pixel to the first so that nothing is overwritten before it is read.
//   mono:  format 1 nothing; 4 each byte to three equal bytes; 8 each byte to
//          bytes 0..2 of a four-byte pixel, the fourth byte kept as it was.
//   BGR24: format 4 nothing; 8 each pixel to four bytes, the fourth byte 0.
// Any other format gives false with error 87 and leaves the bitmap as it was.
bool ExpandToPreviewFormat(uint32_t &error, uint32_t width, uint32_t height, uint8_t *bitmap,
                           uint32_t preview_format, bool mono);

}  // namespace kavix::pipeline
