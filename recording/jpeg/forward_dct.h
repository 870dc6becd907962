#pragma once
#include <cstdint>

#include "recording/jpeg/cpu_dispatch.h"

// Quantisation tables and the forward DCT with quantisation of one 8 x 8
// block, the middle stage of the JPEG encoder.
namespace kavix::jpeg {

// Scales a 64-entry table by a quality from 1 upwards: s = 5000 / q below 50,
// else 200 - 2 min(q, 100); each entry becomes (t s + 50) / 100, truncated and
// held between 1 and `max_value`. Entry order is kept.
void ScaleQuantTable(const uint8_t* table, int quality, int max_value, uint16_t* scaled);

// What the quantiser needs: one multiplier per coefficient in natural order,
// the reciprocal of the table entry together with the scale that the fast
// DCT leaves on that coefficient.
struct ForwardQuantTable {
    alignas(64) float multiplier[64];
};

// Builds the quantiser's table from a table in zig-zag order.
void BuildForwardQuantTable(const uint16_t* zigzag_table, ForwardQuantTable& table);

// From the 8 x 8 samples at `source` with the given row stride: subtracts
// 128, runs the forward DCT, divides by the table and rounds to the nearest
// integer. Writes 64 coefficients in natural order.
void ForwardDctQuantize(const uint8_t* source, int stride, const ForwardQuantTable& table,
                        int16_t* coefficients, SimdLevel level = DetectedSimdLevel());

}  // namespace kavix::jpeg
