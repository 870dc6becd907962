#pragma once
#include <cstdint>

#include "recording/jpeg/cpu_dispatch.h"

// Baseline Huffman coding of quantised 8 x 8 blocks, the last stage of the
// JPEG encoder: DC differences and AC run-lengths in zig-zag order, written
// most significant bit first with a zero byte stuffed after every 0xFF.
namespace kavix::jpeg {

// The code of every symbol of one table, as derived from a DHT segment.
struct HuffmanCodeTable {
    uint32_t code[256];
    uint8_t size[256];  // 0 for a symbol the table does not hold
};

// Builds the codes from BITS (codes per length 1..16) and the symbols in code
// order. Fails (returns false) for counts that no prefix code can have, more
// than 256 symbols, or a repeated symbol.
bool BuildHuffmanCodeTable(const uint8_t* bits, const uint8_t* values, HuffmanCodeTable& table);

// Bits produced but not yet written out, carried from block to block.
struct HuffmanCoderState {
    uint64_t accumulator = 0;
    int bit_count = 0;  // valid bits at the low end of the accumulator, below 32
};

inline void ResetHuffmanState(HuffmanCoderState& state) { state = HuffmanCoderState{}; }

// The most bytes that one block can add to the output: 64 codes of at most
// 16 + 11 bits and the 31 bits held over, every byte possibly stuffed.
inline constexpr int kMaxHuffmanBlockBytes = 2 * ((64 * 27 + 31 + 7) / 8);

// Codes one block (natural order): the DC difference against *last_dc, which
// is then updated, and the AC coefficients. Appends to out[*position...] and
// advances *position. Returns false, writing nothing, when fewer than
// kMaxHuffmanBlockBytes remain before out_size.
bool EncodeHuffmanBlock(const int16_t* coefficients, uint8_t* out, int out_size, int* position,
                        int16_t* last_dc, const HuffmanCodeTable& dc, const HuffmanCodeTable& ac,
                        HuffmanCoderState& state, SimdLevel level = DetectedSimdLevel());

// Pads the last byte with 1 bits and writes out all that the state holds.
// Returns false, writing nothing, when fewer than 8 bytes remain.
bool FlushHuffman(uint8_t* out, int out_size, int* position, HuffmanCoderState& state);

}  // namespace kavix::jpeg
