#pragma once
#include <cstddef>
#include <cstdint>

namespace kavix::pipeline {

// The right shift that brings samples of a deep transfer format to 8 bits:
// 2, 4, 6 or 8 for the raw and mono formats of 10 to 16 bits, 0 for any
// other flag (which has nothing to reduce).
uint32_t ReduceShift(uint32_t transfer_flag);

// destination[i] = low byte of (source[i] >> shift) for width x height
// samples. Source and destination may be the same buffer: each byte is
// written after the word it comes from has been read, and never ahead of the
// words still to be read. Gives 1, or 0 for a flag that is not deep.
uint32_t ReduceTo8Bits(uint32_t width, uint32_t height, const uint16_t *source,
                       uint8_t *destination, uint32_t transfer_flag);

}  // namespace kavix::pipeline
