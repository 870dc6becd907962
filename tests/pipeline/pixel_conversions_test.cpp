// The conversions around interpolation: colour-direct transfers, expansion to
// the preview format and reduction to 8 bits, for the cases the reference
// vectors do not single out.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "pipeline/color_direct.h"
#include "pipeline/pixel_formats.h"
#include "pipeline/preview_format.h"
#include "pipeline/reduce_to_8bits.h"

namespace kavix::pipeline {
namespace {

TEST(ColourDirect, YuvLeavesTheRemainderOfEachRowUnwritten) {
  struct Format { uint32_t flag; uint32_t row_bytes; };
  constexpr uint32_t w = 7, h = 3;
  for (Format f : {Format{TransferYUV411, w + w / 2}, Format{TransferYUV422, 2 * w},
                   Format{TransferYUV444, 3 * w}})
    for (uint32_t target : {PreviewMono8, PreviewBGR24, PreviewBGR32}) {
      SCOPED_TRACE(std::to_string(f.flag) + " to " + std::to_string(target));
      const uint32_t step = PreviewBytesPerPixel(target);
      std::vector<uint8_t> src(f.row_bytes * h, 128);  // grey: Y 128, no chroma
      std::vector<uint8_t> dst(w * h * step, 0xEE);
      ASSERT_TRUE(ConvertColorDirect(w, h, f.flag, src.data(), target, dst.data()));
      for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x)
          for (uint32_t c = 0; c < step; ++c) {
            const uint8_t v = dst[(y * w + x) * step + c];
            const bool written = x < 4 && c < 3;
            EXPECT_EQ(v, written ? 128 : 0xEE) << x << "," << y << " byte " << c;
          }
    }
}

TEST(ColourDirect, ChromaTablesTruncateTowardZero) {
  const ChromaTables &t = Chroma();
  // 127 x 1.7718 = 225.0186; -128 x 1.7718 = -226.79 -> -226 (not -227).
  EXPECT_EQ(t.ub[255], 225);
  EXPECT_EQ(t.ub[0], -226);
  EXPECT_EQ(t.ug[0], 44);   // -128 x -0.3441 = 44.04
  EXPECT_EQ(t.vg[255], -90);  // 127 x -0.7139 = -90.67
  EXPECT_EQ(t.vr[0], -179);   // -128 x 1.402 = -179.46
  EXPECT_EQ(t.vr[128], 0);
}

TEST(ColourDirect, Bgr24AndBgr30Layouts) {
  // One BGR30 pixel: B 0x3FF, G 0x155, R 0x0AA (top eight bits FF, 55, 2A).
  const uint32_t v = 0x3FFu | (0x155u << 10) | (0x0AAu << 20);
  uint8_t src[4];
  std::memcpy(src, &v, 4);
  uint8_t bgr32[4] = {0, 0, 0, 0x77}, bgr24[3] = {}, mono = 0;
  ASSERT_TRUE(ConvertColorDirect(1, 1, TransferBGR30, src, PreviewBGR32, bgr32));
  ASSERT_TRUE(ConvertColorDirect(1, 1, TransferBGR30, src, PreviewBGR24, bgr24));
  ASSERT_TRUE(ConvertColorDirect(1, 1, TransferBGR30, src, PreviewMono8, &mono));
  EXPECT_EQ(bgr32[0], 0xFF);
  EXPECT_EQ(bgr32[1], 0x55);
  EXPECT_EQ(bgr32[2], 0x2A);
  EXPECT_EQ(bgr32[3], 0x77) << "the fourth byte stays";
  EXPECT_EQ(std::memcmp(bgr24, bgr32, 3), 0);
  EXPECT_EQ(mono, 0x55);

  const uint8_t pixel[3] = {1, 2, 3};
  uint8_t out32[4] = {9, 9, 9, 9};
  ASSERT_TRUE(ConvertColorDirect(1, 1, TransferBGR24, pixel, PreviewBGR32, out32));
  EXPECT_EQ(out32[3], 9);
  ASSERT_TRUE(ConvertColorDirect(1, 1, TransferBGR24, pixel, PreviewMono8, &mono));
  EXPECT_EQ(mono, 2) << "mono takes the middle byte";
}

TEST(ColourDirect, OtherTransfersLeaveTheTargetAlone) {
  uint8_t src[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}, dst[12];
  std::memset(dst, 0xCD, sizeof dst);
  for (uint32_t flag : {0u, 1u, 2u, 32u, 512u, 3u, 32768u})
    EXPECT_FALSE(ConvertColorDirect(2, 2, flag, src, PreviewBGR24, dst)) << flag;
  for (uint8_t b : dst) EXPECT_EQ(b, 0xCD);
}

TEST(ColourDirect, Yuy2FramesStopAtTheLastWholePair) {
  // 3 x 1 pixels: one step of four bytes makes two pixels, the third stays.
  const uint8_t src[6] = {50, 128, 60, 128, 70, 128};
  uint8_t dst[9];
  std::memset(dst, 0xAB, sizeof dst);
  ConvertYUY2ToBGR(3, 1, src, dst);
  const uint8_t expected[9] = {50, 50, 50, 60, 60, 60, 0xAB, 0xAB, 0xAB};
  EXPECT_EQ(std::memcmp(dst, expected, 9), 0);
  std::memset(dst, 0xAB, sizeof dst);
  ConvertYUY2ToBGR(1, 1, src, dst);  // a product below 2 writes nothing
  for (uint8_t b : dst) EXPECT_EQ(b, 0xAB);
}

TEST(PreviewFormat, Bgr32FromMonoKeepsTheFourthByte) {
  constexpr uint32_t w = 5, h = 3;
  std::vector<uint8_t> bitmap(w * h * 4);
  for (size_t i = 0; i < bitmap.size(); ++i) bitmap[i] = static_cast<uint8_t>(200 + i % 7);
  std::vector<uint8_t> old = bitmap;
  for (uint32_t i = 0; i < w * h; ++i) bitmap[i] = static_cast<uint8_t>(i * 3);
  std::vector<uint8_t> mono(bitmap.begin(), bitmap.begin() + w * h);
  uint32_t error = 0;
  ASSERT_TRUE(ExpandToPreviewFormat(error, w, h, bitmap.data(), PreviewBGR32, true));
  for (uint32_t i = 0; i < w * h; ++i) {
    EXPECT_EQ(bitmap[4 * i], mono[i]);
    EXPECT_EQ(bitmap[4 * i + 1], mono[i]);
    EXPECT_EQ(bitmap[4 * i + 2], mono[i]);
    // The fourth byte is what the bitmap held before the frame was copied in
    // (the mono bytes only ever covered the first quarter).
    const uint8_t before = 4 * i + 3 < w * h ? mono[4 * i + 3] : old[4 * i + 3];
    EXPECT_EQ(bitmap[4 * i + 3], before) << i;
  }
}

TEST(PreviewFormat, Bgr32FromBgr24ClearsTheFourthByte) {
  std::vector<uint8_t> bitmap(3 * 4, 0xFF);
  const uint8_t pixels[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  std::memcpy(bitmap.data(), pixels, 9);
  uint32_t error = 0;
  ASSERT_TRUE(ExpandToPreviewFormat(error, 3, 1, bitmap.data(), PreviewBGR32, false));
  const uint8_t expected[12] = {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0};
  EXPECT_EQ(std::memcmp(bitmap.data(), expected, 12), 0);
}

TEST(PreviewFormat, UnknownFormatsFailWith87) {
  struct Row { uint32_t format; bool mono; bool ok; };
  for (Row r : {Row{1, true, true}, Row{4, true, true}, Row{8, true, true}, Row{2, true, false},
                Row{0, true, false}, Row{4, false, true}, Row{8, false, true}, Row{1, false, false},
                Row{16, false, false}}) {
    std::vector<uint8_t> bitmap(16, 0x42);
    uint32_t error = 0;
    EXPECT_EQ(ExpandToPreviewFormat(error, 2, 2, bitmap.data(), r.format, r.mono), r.ok)
        << r.format << " mono " << r.mono;
    EXPECT_EQ(error, r.ok ? 0u : 87u);
    if (!r.ok) {
      EXPECT_EQ(bitmap, std::vector<uint8_t>(16, 0x42));
    }
  }
}

TEST(Reduce, DeepSamplesInPlaceFillTheFirstHalf) {
  // Raw 12 bits: 0x0ABC >> 4 = 0xAB. In place, as after the raw callbacks.
  std::vector<uint16_t> frame(64);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint16_t>(0x0ABC + 16 * i);
  auto *bytes = reinterpret_cast<uint8_t *>(frame.data());
  ASSERT_EQ(ReduceTo8Bits(8, 8, frame.data(), bytes, TransferRaw12), 1u);
  for (size_t i = 0; i < 64; ++i) EXPECT_EQ(bytes[i], static_cast<uint8_t>((0x0ABC + 16 * i) >> 4)) << i;
}

TEST(Reduce, ShiftsByFlag) {
  struct Row { uint32_t flag; uint32_t shift; };
  for (Row r : {Row{2, 2}, Row{64, 2}, Row{4, 4}, Row{128, 4}, Row{8, 6}, Row{256, 6}, Row{16, 8},
                Row{512, 8}, Row{1, 0}, Row{32, 0}, Row{1024, 0}, Row{0, 0}, Row{6, 0}}) {
    EXPECT_EQ(ReduceShift(r.flag), r.shift) << r.flag;
    const uint16_t word = 0xFFFF;
    uint8_t out = 0x11;
    EXPECT_EQ(ReduceTo8Bits(1, 1, &word, &out, r.flag), r.shift ? 1u : 0u);
    // The low byte of the shifted value: 0xFFFF >> 2 is 0x3FFF, low byte 0xFF.
    EXPECT_EQ(out, r.shift ? 0xFF : 0x11);
  }
}

}  // namespace
}  // namespace kavix::pipeline
