#include "session/frame_buffer_pair.h"

#include <gtest/gtest.h>

#include <cstring>

namespace kavix {
namespace {

uint32_t u32_at(const uint8_t *p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }
uint16_t u16_at(const uint8_t *p) { return uint16_t(p[0] | p[1] << 8); }

struct HeaderCase {
    uint32_t format;
    uint32_t width, height;
    uint32_t offset, bits, file_bytes;
};

class FrameBufferPairHeader : public testing::TestWithParam<HeaderCase> {};

// The header block is a BMP file head a standard reader accepts: the numbers
// are computed here from the BMP layout, not taken from the code.
TEST_P(FrameBufferPairHeader, BlockIsABmpFileHead) {
    const HeaderCase c = GetParam();
    FrameBufferPair pair;
    ASSERT_TRUE(pair.create(c.width, c.height, c.format));
    const uint8_t *b = pair.header_block();
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b[0], 'B');
    EXPECT_EQ(b[1], 'M');
    EXPECT_EQ(u32_at(b + 2), c.file_bytes);
    EXPECT_EQ(pair.header_block_size(), c.file_bytes);
    EXPECT_EQ(u32_at(b + 6), 0u);
    EXPECT_EQ(u32_at(b + 10), c.offset);
    EXPECT_EQ(pair.pixel_offset(), c.offset);
    const uint8_t *info = b + 14;
    EXPECT_EQ(pair.info_header(), info);
    EXPECT_EQ(u32_at(info), 40u);
    EXPECT_EQ(int32_t(u32_at(info + 4)), int32_t(c.width));
    EXPECT_EQ(int32_t(u32_at(info + 8)), -int32_t(c.height));
    EXPECT_EQ(u16_at(info + 12), 1u);
    EXPECT_EQ(u16_at(info + 14), c.bits);
    EXPECT_EQ(u32_at(info + 16), 0u);  // no compression
    EXPECT_EQ(u32_at(info + 20), c.bits / 8 * c.width * c.height);
    EXPECT_EQ(pair.info_width(), int32_t(c.width));
    EXPECT_EQ(pair.info_height(), -int32_t(c.height));
    EXPECT_EQ(pair.info_bit_count(), c.bits);
    if (c.bits == 8) {
        EXPECT_EQ(u32_at(info + 32), 256u);
        EXPECT_EQ(u32_at(info + 36), 256u);
        for (uint32_t i = 0; i < 256; ++i) {
            const uint8_t *q = info + 40 + 4 * i;
            ASSERT_EQ(q[0], i);
            ASSERT_EQ(q[1], i);
            ASSERT_EQ(q[2], i);
            ASSERT_EQ(q[3], 0);
        }
    } else {
        EXPECT_EQ(u32_at(info + 32), 0u);
    }
    // Both bitmaps exist, differ and start cleared.
    ASSERT_NE(pair.bits(0), nullptr);
    ASSERT_NE(pair.bits(1), nullptr);
    EXPECT_NE(pair.bits(0), pair.bits(1));
    EXPECT_EQ(pair.bitmap_bytes(), size_t(c.bits / 8) * c.width * c.height);
    for (size_t i = 0; i < pair.bitmap_bytes(); ++i) {
        ASSERT_EQ(pair.bits(0)[i], 0);
        ASSERT_EQ(pair.bits(1)[i], 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, FrameBufferPairHeader,
                         testing::Values(HeaderCase{1, 7, 5, 1078, 8, 7 * 5 + 1078},
                                         HeaderCase{4, 7, 5, 54, 24, 7 * 5 * 3 + 54},
                                         HeaderCase{8, 7, 5, 54, 32, 7 * 5 * 4 + 54},
                                         HeaderCase{2, 5, 7, 54, 32, 5 * 7 * 4 + 54},  // unknown: 32 bits
                                         HeaderCase{4, 640, 480, 54, 24, 640 * 480 * 3 + 54}));

TEST(FrameBufferPair, SwapExchangesTheIndexes) {
    FrameBufferPair pair;
    ASSERT_TRUE(pair.create(4, 4, 4));
    EXPECT_EQ(pair.read_index, 1u);
    EXPECT_EQ(pair.write_index, 0u);
    pair.swap();
    EXPECT_EQ(pair.read_index, 0u);
    EXPECT_EQ(pair.write_index, 1u);
    pair.swap();
    EXPECT_EQ(pair.read_index, 1u);
    EXPECT_EQ(pair.write_index, 0u);
}

TEST(FrameBufferPair, RebuildClearsAndResets) {
    FrameBufferPair pair;
    ASSERT_TRUE(pair.create(4, 2, 1));
    std::memset(pair.bits(0), 0xAB, pair.bitmap_bytes());
    pair.swap();
    ASSERT_TRUE(pair.create(2, 4, 8));
    EXPECT_EQ(pair.read_index, 1u);
    EXPECT_EQ(pair.bitmap_bytes(), 32u);
    EXPECT_EQ(pair.bits(0)[0], 0);
    pair.release();
    EXPECT_FALSE(pair.created());
    EXPECT_EQ(pair.header_block(), nullptr);
    EXPECT_EQ(pair.info_bit_count(), 0u);
}

TEST(FrameBufferPair, ImpossibleSizeFailsAndHoldsNothing) {
    FrameBufferPair pair;
    EXPECT_FALSE(pair.create(0x10000, 0x10000, 8));
    EXPECT_FALSE(pair.created());
}

}  // namespace
}  // namespace kavix
