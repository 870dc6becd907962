#include "pipeline/reduce_to_8bits.h"

#include <cstring>

#include "pipeline/pixel_formats.h"

namespace kavix::pipeline {

uint32_t ReduceShift(uint32_t transfer_flag) {
  switch (transfer_flag) {
    case TransferRaw10: case TransferMono10: return 2;
    case TransferRaw12: case TransferMono12: return 4;
    case TransferRaw14: case TransferMono14: return 6;
    case TransferRaw16: case TransferMono16: return 8;
    default: return 0;
  }
}

namespace {

// Reads through memcpy so that the same buffer may be seen as words and as
// bytes without breaking aliasing rules; a fixed shift lets the compiler
// vectorise the loop. In place, the block of 16 words is read into registers
// before its 16 bytes are written, and those bytes lie below the words.
template <unsigned Shift>
void Reduce(size_t count, const uint16_t *source, uint8_t *destination) {
  const auto *in = reinterpret_cast<const uint8_t *>(source);
  size_t i = 0;
  for (; i + 16 <= count; i += 16) {
    uint16_t words[16];
    std::memcpy(words, in + 2 * i, sizeof words);
    uint8_t bytes[16];
    for (int k = 0; k < 16; ++k) bytes[k] = static_cast<uint8_t>(words[k] >> Shift);
    std::memcpy(destination + i, bytes, sizeof bytes);
  }
  for (; i < count; ++i) {
    uint16_t word;
    std::memcpy(&word, in + 2 * i, sizeof word);
    destination[i] = static_cast<uint8_t>(word >> Shift);
  }
}

}  // namespace

uint32_t ReduceTo8Bits(uint32_t width, uint32_t height, const uint16_t *source,
                       uint8_t *destination, uint32_t transfer_flag) {
  const size_t count = size_t{width} * height;
  switch (ReduceShift(transfer_flag)) {
    case 2: Reduce<2>(count, source, destination); return 1;
    case 4: Reduce<4>(count, source, destination); return 1;
    case 6: Reduce<6>(count, source, destination); return 1;
    case 8: Reduce<8>(count, source, destination); return 1;
    default: return 0;
  }
}

}  // namespace kavix::pipeline
