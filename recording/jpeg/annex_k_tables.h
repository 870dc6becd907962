#pragma once
#include <array>
#include <cstdint>

// The example tables of the JPEG standard (its Annex K) that every baseline
// file of this library carries, and the zig-zag scan order.
namespace kavix::jpeg {

// Position in natural (row-major) order of the k-th coefficient of the
// zig-zag scan, built by walking the anti-diagonals.
constexpr std::array<uint8_t, 64> MakeZigzagToNatural() {
    std::array<uint8_t, 64> order{};
    int k = 0;
    for (int diagonal = 0; diagonal < 15; ++diagonal) {
        // Even diagonals run from bottom-left to top-right, odd ones back.
        const int first = diagonal < 8 ? 0 : diagonal - 7;
        const int last = diagonal < 8 ? diagonal : 7;
        for (int i = first; i <= last; ++i) {
            const int row = (diagonal % 2 == 0) ? diagonal - i : i;
            const int column = diagonal - row;
            order[k++] = static_cast<uint8_t>(row * 8 + column);
        }
    }
    return order;
}

inline constexpr std::array<uint8_t, 64> kZigzagToNatural = MakeZigzagToNatural();

// Quantisation tables K.1 (luminance) and K.2 (chrominance), natural order.
extern const uint8_t kLuminanceQuantNatural[64];
extern const uint8_t kChrominanceQuantNatural[64];

// A Huffman table as a DHT segment carries it: code counts per length 1..16
// and the symbols in code order.
struct HuffmanTableDef {
    uint8_t bits[16];
    uint8_t values[256];
    int count;  // number of symbols, the sum of bits
};

extern const HuffmanTableDef kLuminanceDc;    // K.3
extern const HuffmanTableDef kChrominanceDc;  // K.4
extern const HuffmanTableDef kLuminanceAc;    // K.5
extern const HuffmanTableDef kChrominanceAc;  // K.6

}  // namespace kavix::jpeg
