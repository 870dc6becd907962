#include "recording/jpeg/huffman_coder.h"

#include <immintrin.h>

#include <cstring>

#include "recording/jpeg/annex_k_tables.h"

namespace kavix::jpeg {
namespace {

// Writes the bits into out with byte stuffing. Bits gather in a 64-bit
// accumulator and leave it 32 at a time; a group of four bytes with no 0xFF
// among them is stored at once.
class BitWriter {
public:
    BitWriter(uint8_t* out, HuffmanCoderState& state)
        : out_(out), accumulator_(state.accumulator), bit_count_(state.bit_count) {}

    // Adds the low `size` bits of `bits`, at most 32 - 5 at a time.
    inline void Put(uint32_t bits, int size) {
        accumulator_ = (accumulator_ << size) | bits;
        bit_count_ += size;
        if (bit_count_ >= 32) {
            bit_count_ -= 32;
            Emit32(static_cast<uint32_t>(accumulator_ >> bit_count_));
        }
    }

    // Pads to a whole byte with 1 bits and writes out every whole byte.
    void PadAndDrain() {
        const int pad = (8 - bit_count_ % 8) % 8;
        Put((1u << pad) - 1, pad);
        while (bit_count_ >= 8) {
            bit_count_ -= 8;
            EmitByte(static_cast<uint8_t>(accumulator_ >> bit_count_));
        }
    }

    uint8_t* End(HuffmanCoderState& state) const {
        state.accumulator = accumulator_;
        state.bit_count = bit_count_;
        return out_;
    }

private:
    inline void EmitByte(uint8_t byte) {
        *out_++ = byte;
        if (byte == 0xFF) *out_++ = 0;
    }

    inline void Emit32(uint32_t word) {
        // A byte of 0xFF is a zero byte of the complement.
        const uint32_t inverted = ~word;
        if (((inverted - 0x01010101u) & ~inverted & 0x80808080u) == 0) {
            const uint32_t big_endian = __builtin_bswap32(word);
            std::memcpy(out_, &big_endian, 4);
            out_ += 4;
        } else {
            EmitByte(static_cast<uint8_t>(word >> 24));
            EmitByte(static_cast<uint8_t>(word >> 16));
            EmitByte(static_cast<uint8_t>(word >> 8));
            EmitByte(static_cast<uint8_t>(word));
        }
    }

    uint8_t* out_;
    uint64_t accumulator_;
    int bit_count_;
};

// Bit length of a magnitude below 2^15.
inline int Category(int magnitude) { return magnitude ? 32 - __builtin_clz(magnitude) : 0; }

// The low `category` bits that follow a code: the value itself when
// positive, its ones' complement when negative.
inline uint32_t ValueBits(int value, int category) {
    return static_cast<uint32_t>(value + (value >> 31)) & ((1u << category) - 1);
}

// Codes a block from the mask of its non-zero AC coefficients (bit k for
// zig-zag position k). The block is in zig-zag order, or in natural order
// when `natural` is set and positions go through the scan table.
template <bool natural>
inline void CodeBlock(const int16_t* block, uint64_t nonzero, BitWriter& writer, int16_t* last_dc,
                      const HuffmanCodeTable& dc, const HuffmanCodeTable& ac) {
    const int diff = block[0] - *last_dc;
    *last_dc = block[0];
    const int dc_category = Category(diff < 0 ? -diff : diff);
    writer.Put((dc.code[dc_category] << dc_category) | ValueBits(diff, dc_category),
               dc.size[dc_category] + dc_category);

    int last = 0;
    while (nonzero) {
        const int k = __builtin_ctzll(nonzero);
        nonzero &= nonzero - 1;
        int run = k - last - 1;
        last = k;
        while (run >= 16) {
            writer.Put(ac.code[0xF0], ac.size[0xF0]);
            run -= 16;
        }
        const int value = block[natural ? kZigzagToNatural[k] : k];
        const int category = Category(value < 0 ? -value : value);
        const int symbol = (run << 4) | category;
        writer.Put((ac.code[symbol] << category) | ValueBits(value, category),
                   ac.size[symbol] + category);
    }
    if (last != 63) writer.Put(ac.code[0x00], ac.size[0x00]);
}

void EncodeScalar(const int16_t* block, BitWriter& writer, int16_t* last_dc,
                  const HuffmanCodeTable& dc, const HuffmanCodeTable& ac) {
    int16_t zigzag[64];
    uint64_t nonzero = 0;
    zigzag[0] = block[0];
    for (int k = 1; k < 64; ++k) {
        const int16_t value = block[kZigzagToNatural[k]];
        zigzag[k] = value;
        nonzero |= static_cast<uint64_t>(value != 0) << k;
    }
    CodeBlock<false>(zigzag, nonzero, writer, last_dc, dc, ac);
}

// Without a wide permute the block stays in natural order: SSE2 compares give
// the mask of non-zero coefficients by natural position, one row per byte,
// and a table per row moves each byte's bits to their zig-zag positions.
struct ZigzagMaskTable {
    uint64_t bits[8][256];
};

const ZigzagMaskTable& MaskTable() {
    static const ZigzagMaskTable table = [] {
        ZigzagMaskTable t{};
        int position_of[64];
        for (int k = 0; k < 64; ++k) position_of[kZigzagToNatural[k]] = k;
        for (int row = 0; row < 8; ++row)
            for (int byte = 0; byte < 256; ++byte)
                for (int column = 0; column < 8; ++column)
                    if (byte >> column & 1) t.bits[row][byte] |= uint64_t{1} << position_of[row * 8 + column];
        return t;
    }();
    return table;
}

void EncodeWithMaskTable(const int16_t* block, BitWriter& writer, int16_t* last_dc, const HuffmanCodeTable& dc,
                         const HuffmanCodeTable& ac) {
    const ZigzagMaskTable& table = MaskTable();
    const __m128i zero = _mm_setzero_si128();
    uint64_t natural = 0;
    for (int pair = 0; pair < 4; ++pair) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block + 16 * pair));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block + 16 * pair + 8));
        // Saturating packs keep zero and non-zero apart.
        const __m128i is_zero = _mm_cmpeq_epi8(_mm_packs_epi16(a, b), zero);
        natural |= static_cast<uint64_t>(~_mm_movemask_epi8(is_zero) & 0xFFFF) << (16 * pair);
    }
    uint64_t nonzero = 0;
    for (int row = 0; row < 8; ++row) nonzero |= table.bits[row][(natural >> (8 * row)) & 0xFF];
    CodeBlock<true>(block, nonzero & ~uint64_t{1}, writer, last_dc, dc, ac);
}

// With AVX-512 the zig-zag reordering is two permutes over the 64 words and
// the mask two tests.
__attribute__((target("avx512f,avx512bw"))) void EncodeAvx512(const int16_t* block,
                                                              BitWriter& writer, int16_t* last_dc,
                                                              const HuffmanCodeTable& dc,
                                                              const HuffmanCodeTable& ac) {
    static const auto indexes = [] {
        struct {
            alignas(64) uint16_t low[32];
            alignas(64) uint16_t high[32];
        } table{};
        for (int k = 0; k < 32; ++k) {
            table.low[k] = kZigzagToNatural[k];
            table.high[k] = kZigzagToNatural[k + 32];
        }
        return table;
    }();
    const __m512i first = _mm512_loadu_si512(block);
    const __m512i second = _mm512_loadu_si512(block + 32);
    const __m512i low = _mm512_permutex2var_epi16(first, _mm512_load_si512(indexes.low), second);
    const __m512i high = _mm512_permutex2var_epi16(first, _mm512_load_si512(indexes.high), second);
    alignas(64) int16_t zigzag[64];
    _mm512_store_si512(zigzag, low);
    _mm512_store_si512(zigzag + 32, high);
    const uint64_t nonzero = (static_cast<uint64_t>(_mm512_test_epi16_mask(high, high)) << 32 |
                              _mm512_test_epi16_mask(low, low)) & ~uint64_t{1};
    CodeBlock<false>(zigzag, nonzero, writer, last_dc, dc, ac);
}

}  // namespace

bool BuildHuffmanCodeTable(const uint8_t* bits, const uint8_t* values, HuffmanCodeTable& table) {
    std::memset(&table, 0, sizeof table);
    uint32_t code = 0;
    int symbol_index = 0;
    for (int length = 1; length <= 16; ++length) {
        for (int i = 0; i < bits[length - 1]; ++i) {
            if (symbol_index >= 256) return false;
            const uint8_t symbol = values[symbol_index++];
            if (table.size[symbol] != 0) return false;
            table.code[symbol] = code++;
            table.size[symbol] = static_cast<uint8_t>(length);
        }
        // Codes of one length must fit, and the all-ones code stays free.
        if (code > (1u << length) - (length == 16 ? 1u : 0u)) return false;
        code <<= 1;
    }
    return true;
}

bool EncodeHuffmanBlock(const int16_t* coefficients, uint8_t* out, int out_size, int* position,
                        int16_t* last_dc, const HuffmanCodeTable& dc, const HuffmanCodeTable& ac,
                        HuffmanCoderState& state, SimdLevel level) {
    if (out_size - *position < kMaxHuffmanBlockBytes) return false;
    BitWriter writer(out + *position, state);
    if (level == SimdLevel::kAvx512)
        EncodeAvx512(coefficients, writer, last_dc, dc, ac);
    else if (level == SimdLevel::kAvx2)
        EncodeWithMaskTable(coefficients, writer, last_dc, dc, ac);
    else
        EncodeScalar(coefficients, writer, last_dc, dc, ac);
    *position = static_cast<int>(writer.End(state) - out);
    return true;
}

bool FlushHuffman(uint8_t* out, int out_size, int* position, HuffmanCoderState& state) {
    if (out_size - *position < 8) return false;
    BitWriter writer(out + *position, state);
    writer.PadAndDrain();
    *position = static_cast<int>(writer.End(state) - out);
    ResetHuffmanState(state);
    return true;
}

}  // namespace kavix::jpeg
