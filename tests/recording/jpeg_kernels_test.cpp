// The coding kernels beneath the encoder: every code path against a plain
// double-precision model of what the operation computes.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "recording/jpeg/annex_k_tables.h"
#include "recording/jpeg/color_convert.h"
#include "recording/jpeg/forward_dct.h"
#include "recording/jpeg/huffman_coder.h"
#include "tests/recording/jpeg_test_support.h"

namespace kavix::test {
namespace {

using jpeg::SimdLevel;

std::vector<SimdLevel> AvailableLevels() {
    std::vector<SimdLevel> levels = {SimdLevel::kScalar};
    if (jpeg::DetectedSimdLevel() >= SimdLevel::kAvx2) levels.push_back(SimdLevel::kAvx2);
    if (jpeg::DetectedSimdLevel() >= SimdLevel::kAvx512) levels.push_back(SimdLevel::kAvx512);
    return levels;
}

std::vector<uint8_t> RandomBytes(size_t count, uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_int_distribution<int> byte(0, 255);
    std::vector<uint8_t> out(count);
    for (auto& b : out) b = static_cast<uint8_t>(byte(generator));
    return out;
}

TEST(JpegKernels, ZigzagOrderIsTheStandardOne) {
    for (int k = 0; k < 64; ++k) EXPECT_EQ(jpeg::kZigzagToNatural[k], kZigzag[k]) << k;
}

TEST(JpegKernels, DctMatchesExactTransform) {
    // Blocks of noise, smooth ramps and hard edges; unit and standard tables.
    std::mt19937 generator(5);
    std::uniform_int_distribution<int> byte(0, 255);
    const std::vector<int> unit(64, 1);
    const std::vector<int> annex_k = LibjpegQuantTable(50, 0);
    for (const std::vector<int>* natural : {&unit, &annex_k}) {
        uint16_t zigzag[64];
        for (int k = 0; k < 64; ++k) zigzag[k] = static_cast<uint16_t>((*natural)[kZigzag[k]]);
        jpeg::ForwardQuantTable table;
        jpeg::BuildForwardQuantTable(zigzag, table);
        for (SimdLevel level : AvailableLevels()) {
            for (int trial = 0; trial < 600; ++trial) {
                uint8_t block[8 * 11];  // stride 11
                for (int y = 0; y < 8; ++y)
                    for (int x = 0; x < 11; ++x) {
                        int v = byte(generator);
                        if (trial % 3 == 1) v = 20 + 25 * x + 3 * y;
                        if (trial % 3 == 2) v = (x + y > 7) ? 255 : 0;
                        block[y * 11 + x] = static_cast<uint8_t>(std::min(v, 255));
                    }
                int16_t ours[64];
                double exact[64];
                jpeg::ForwardDctQuantize(block, 11, table, ours, level);
                ReferenceDct(block, 11, natural->data(), exact);
                for (int i = 0; i < 64; ++i)
                    ASSERT_TRUE(RoundsCorrectly(ours[i], exact[i])) << trial << " " << i << ": " << ours[i]
                                                                    << " for " << exact[i];
            }
        }
    }
}

TEST(JpegKernels, DctPathsAgreeToTheBit) {
    const auto samples = RandomBytes(8 * 8 * 500, 9);
    uint16_t zigzag[64];
    for (int k = 0; k < 64; ++k) zigzag[k] = static_cast<uint16_t>(1 + k % 7);
    jpeg::ForwardQuantTable table;
    jpeg::BuildForwardQuantTable(zigzag, table);
    for (size_t b = 0; b < 500; ++b) {
        int16_t scalar[64];
        jpeg::ForwardDctQuantize(samples.data() + b * 64, 8, table, scalar, SimdLevel::kScalar);
        for (SimdLevel level : AvailableLevels()) {
            int16_t vector[64];
            jpeg::ForwardDctQuantize(samples.data() + b * 64, 8, table, vector, level);
            for (int i = 0; i < 64; ++i) ASSERT_EQ(vector[i], scalar[i]) << b << " " << i;
        }
    }
}

TEST(JpegKernels, ScaleQuantTableRule) {
    const uint8_t table[64] = {16, 11, 255, 1, 99, 50, 200, 2};
    uint16_t scaled[64];
    // quality -> expected first eight entries
    const std::vector<std::pair<int, std::vector<int>>> cases = {
        {1, {255, 255, 255, 50, 255, 255, 255, 100}},    // s 5000
        {10, {80, 55, 255, 5, 255, 250, 255, 10}},       // s 500
        {49, {16, 11, 255, 1, 101, 51, 204, 2}},         // s 102
        {50, {16, 11, 255, 1, 99, 50, 200, 2}},          // s 100
        {75, {8, 6, 128, 1, 50, 25, 100, 1}},            // s 50
        {99, {1, 1, 5, 1, 2, 1, 4, 1}},                  // s 2
        {100, {1, 1, 1, 1, 1, 1, 1, 1}},                 // s 0
        {250, {1, 1, 1, 1, 1, 1, 1, 1}},                 // as 100
    };
    for (const auto& [quality, expected] : cases) {
        jpeg::ScaleQuantTable(table, quality, 255, scaled);
        for (int i = 0; i < 8; ++i) EXPECT_EQ(scaled[i], expected[i]) << quality << " " << i;
    }
    jpeg::ScaleQuantTable(table, 1, 65535, scaled);
    EXPECT_EQ(scaled[2], 12750);
}

TEST(JpegKernels, ColourConversionMatchesJfifFormula) {
    const auto pixels = RandomBytes(4 * 200, 3);
    const jpeg::PixelLayout layouts[] = {jpeg::kBgr24, jpeg::kBgr32, jpeg::kRgb24, jpeg::kRgb32};
    for (const auto& layout : layouts) {
        for (SimdLevel level : AvailableLevels()) {
            for (int width : {1, 15, 16, 18, 19, 35, 64, 199}) {
                std::vector<uint8_t> y(width), cb(width), cr(width), grey(width);
                jpeg::ConvertToYCbCr(pixels.data(), layout, width, y.data(), cb.data(), cr.data(), level);
                jpeg::ConvertToGrey(pixels.data(), layout, width, grey.data(), level);
                for (int x = 0; x < width; ++x) {
                    const uint8_t* p = pixels.data() + x * layout.step;
                    const double r = p[layout.red_offset], g = p[1], b = p[layout.blue_offset];
                    const double ey = 0.299 * r + 0.587 * g + 0.114 * b;
                    const double ecb = -0.16874 * r - 0.33126 * g + 0.5 * b + 128;
                    const double ecr = 0.5 * r - 0.41869 * g - 0.08131 * b + 128;
                    EXPECT_LE(std::abs(y[x] - std::lround(ey)), 1) << x;
                    EXPECT_LE(std::abs(cb[x] - std::min(255l, std::lround(ecb))), 1) << x;
                    EXPECT_LE(std::abs(cr[x] - std::min(255l, std::lround(ecr))), 1) << x;
                    EXPECT_EQ(grey[x], y[x]);
                }
            }
        }
    }
}

TEST(JpegKernels, ColourConversionExtremes) {
    // white, black, grey, pure blue, pure red (B, G, R)
    const uint8_t pixels[] = {255, 255, 255, 0, 0, 0, 77, 77, 77, 255, 0, 0, 0, 0, 255};
    const int expected[5][3] = {{255, 128, 128}, {0, 128, 128}, {77, 128, 128}, {29, 255, 107}, {76, 85, 255}};
    for (SimdLevel level : AvailableLevels()) {
        uint8_t y[5], cb[5], cr[5];
        jpeg::ConvertToYCbCr(pixels, jpeg::kBgr24, 5, y, cb, cr, level);
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(y[i], expected[i][0]) << i;
            EXPECT_EQ(cb[i], expected[i][1]) << i;
            EXPECT_EQ(cr[i], expected[i][2]) << i;
        }
    }
}

TEST(JpegKernels, ConversionPathsAgreeToTheBit) {
    const auto pixels = RandomBytes(4 * 1000, 11);
    for (const auto& layout : {jpeg::kBgr24, jpeg::kBgr32}) {
        std::vector<uint8_t> reference[3], out[3];
        for (auto& plane : reference) plane.resize(1000);
        for (auto& plane : out) plane.resize(1000);
        jpeg::ConvertToYCbCr(pixels.data(), layout, 1000, reference[0].data(), reference[1].data(),
                             reference[2].data(), SimdLevel::kScalar);
        for (SimdLevel level : AvailableLevels()) {
            jpeg::ConvertToYCbCr(pixels.data(), layout, 1000, out[0].data(), out[1].data(), out[2].data(), level);
            for (int c = 0; c < 3; ++c) EXPECT_EQ(out[c], reference[c]);
        }
    }
}

TEST(JpegKernels, BoxDownsampling) {
    const auto row0 = RandomBytes(260, 1), row1 = RandomBytes(260, 2);
    for (SimdLevel level : AvailableLevels()) {
        for (int width : {1, 4, 31, 32, 33, 64, 100, 130}) {
            std::vector<uint8_t> h2(width), h2v2(width);
            jpeg::DownsampleH2(row0.data(), width, h2.data(), level);
            jpeg::DownsampleH2V2(row0.data(), row1.data(), width, h2v2.data(), level);
            for (int i = 0; i < width; ++i) {
                EXPECT_EQ(h2[i], std::floor((row0[2 * i] + row0[2 * i + 1]) / 2.0 + 0.5)) << i;
                EXPECT_EQ(h2v2[i],
                          std::floor((row0[2 * i] + row0[2 * i + 1] + row1[2 * i] + row1[2 * i + 1]) / 4.0 + 0.5))
                    << i;
            }
        }
    }
}

TEST(JpegKernels, HuffmanTableSetUp) {
    jpeg::HuffmanCodeTable table;
    ASSERT_TRUE(jpeg::BuildHuffmanCodeTable(jpeg::kLuminanceDc.bits, jpeg::kLuminanceDc.values, table));
    // Codes of the standard's luminance DC table: 00, 010, 011, 100, 101, 110, 1110, ...
    const uint32_t codes[] = {0b00, 0b010, 0b011, 0b100, 0b101, 0b110, 0b1110, 0b11110, 0b111110};
    const int sizes[] = {2, 3, 3, 3, 3, 3, 4, 5, 6};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(table.code[i], codes[i]) << i;
        EXPECT_EQ(table.size[i], sizes[i]) << i;
    }
    EXPECT_EQ(table.size[12], 0);

    const uint8_t values[] = {1, 2, 3, 4, 5};
    const uint8_t three_of_one_bit[16] = {3};
    EXPECT_FALSE(jpeg::BuildHuffmanCodeTable(three_of_one_bit, values, table));
    // Two codes of one bit would give the all-ones code "1", which JPEG keeps free.
    const uint8_t two_of_one_bit[16] = {2};
    EXPECT_FALSE(jpeg::BuildHuffmanCodeTable(two_of_one_bit, values, table));
    const uint8_t one_and_one[16] = {1, 1};
    EXPECT_TRUE(jpeg::BuildHuffmanCodeTable(one_and_one, values, table));
    EXPECT_EQ(table.code[2], 0b10u);
    const uint8_t repeated_values[] = {1, 1};
    EXPECT_FALSE(jpeg::BuildHuffmanCodeTable(one_and_one, repeated_values, table));
}

TEST(JpegKernels, HuffmanRefusesWithoutRoom) {
    jpeg::HuffmanCodeTable dc, ac;
    ASSERT_TRUE(jpeg::BuildHuffmanCodeTable(jpeg::kLuminanceDc.bits, jpeg::kLuminanceDc.values, dc));
    ASSERT_TRUE(jpeg::BuildHuffmanCodeTable(jpeg::kLuminanceAc.bits, jpeg::kLuminanceAc.values, ac));
    std::vector<uint8_t> out(jpeg::kMaxHuffmanBlockBytes + 10);
    int16_t block[64] = {};
    int16_t last_dc = 0;
    jpeg::HuffmanCoderState state;
    int position = 11;
    EXPECT_FALSE(jpeg::EncodeHuffmanBlock(block, out.data(), static_cast<int>(out.size()), &position, &last_dc,
                                          dc, ac, state));
    EXPECT_EQ(position, 11);
    position = 10;
    EXPECT_TRUE(jpeg::EncodeHuffmanBlock(block, out.data(), static_cast<int>(out.size()), &position, &last_dc,
                                         dc, ac, state));
}

// The worst block for the coder: every coefficient at its largest magnitude
// and all its bytes 0xFF-prone; its output must stay within the bound.
TEST(JpegKernels, HuffmanWorstCaseFitsItsBound) {
    jpeg::HuffmanCodeTable dc, ac;
    ASSERT_TRUE(jpeg::BuildHuffmanCodeTable(jpeg::kLuminanceDc.bits, jpeg::kLuminanceDc.values, dc));
    ASSERT_TRUE(jpeg::BuildHuffmanCodeTable(jpeg::kLuminanceAc.bits, jpeg::kLuminanceAc.values, ac));
    for (SimdLevel level : AvailableLevels()) {
        int16_t block[64];
        for (int i = 0; i < 64; ++i) block[i] = static_cast<int16_t>(i % 2 ? 1023 : -1023);
        block[0] = 1024;
        int16_t last_dc = -1023;
        jpeg::HuffmanCoderState state;
        std::vector<uint8_t> out(jpeg::kMaxHuffmanBlockBytes);
        int position = 0;
        ASSERT_TRUE(jpeg::EncodeHuffmanBlock(block, out.data(), static_cast<int>(out.size()), &position,
                                             &last_dc, dc, ac, state, level));
        EXPECT_LE(position, jpeg::kMaxHuffmanBlockBytes);
        EXPECT_EQ(last_dc, 1024);
    }
}

}  // namespace
}  // namespace kavix::test
