// The frame stages the capture loop runs on a simulated colour-bar scene:
// mosaicked on every colour array, sent in each transfer format, the target
// must show the right bar colours in the preview format.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "pipeline/frame_stages.h"
#include "pipeline/pixel_formats.h"

namespace kavix::pipeline {
namespace {

constexpr uint32_t kBarWidth = 16, kW = 8 * kBarWidth, kH = 12;
using Bgr = std::array<uint8_t, 3>;
// White, yellow, cyan, green, magenta, red, blue, black (B, G, R).
constexpr Bgr kBars[8] = {{{200, 200, 200}}, {{0, 200, 200}}, {{200, 200, 0}}, {{0, 200, 0}},
                          {{200, 0, 200}},   {{0, 0, 200}},   {{200, 0, 0}},   {{0, 0, 0}}};

Bgr BarAt(uint32_t x) { return kBars[x / kBarWidth]; }

// What a sensor with this colour array sees of the scene.
std::vector<uint8_t> Mosaic(uint16_t array) {
  const uint32_t red_x = (array == 3 || array == 5), red_y = (array == 4 || array == 5);
  std::vector<uint8_t> raw(kW * kH);
  for (uint32_t y = 0; y < kH; ++y)
    for (uint32_t x = 0; x < kW; ++x) {
      const Bgr c = BarAt(x);
      const bool red = (x & 1) == red_x && (y & 1) == red_y;
      const bool blue = (x & 1) != red_x && (y & 1) != red_y;
      raw[y * kW + x] = red ? c[2] : blue ? c[0] : c[1];
    }
  return raw;
}

void ExpectBars(const std::vector<uint8_t> &target, uint32_t step, const std::string &what) {
  for (uint32_t bar = 0; bar < 8; ++bar)
    for (uint32_t y = 2; y < kH - 2; ++y) {
      const uint32_t x = bar * kBarWidth + kBarWidth / 2;
      const uint8_t *p = &target[(y * kW + x) * step];
      EXPECT_EQ((Bgr{p[0], p[1], p[2]}), kBars[bar]) << what << " bar " << bar << " row " << y;
    }
}

TEST(FrameStages, BayerColourBarsDecodeOnEveryArray) {
  for (uint16_t array = 2; array <= 5; ++array)
    for (uint8_t method : {2, 3, 4, 5, 254})
      for (uint32_t preview : {PreviewBGR24, PreviewBGR32}) {
        const std::string what = "array " + std::to_string(array) + " method " + std::to_string(method) +
                                 " preview " + std::to_string(preview);
        const std::vector<uint8_t> raw = Mosaic(array);
        std::vector<uint8_t> target(kW * kH * 4, 0x66);
        uint32_t error = 0;
        ASSERT_TRUE(FillTarget(error, kW, kH, TransferRaw8, array, method, raw.data(), target.data())) << what;
        ASSERT_TRUE(ConvertToPreviewFormat(error, kW, kH, false, preview, target.data())) << what;
        ExpectBars(target, PreviewBytesPerPixel(preview), what);
      }
}

TEST(FrameStages, DeepBayerFramesAreCutInPlaceFirst) {
  const std::vector<uint8_t> raw8 = Mosaic(4);
  std::vector<uint16_t> words(kW * kH);
  for (size_t i = 0; i < words.size(); ++i) words[i] = static_cast<uint16_t>(raw8[i] << 4 | 0xF);
  std::vector<uint8_t> frame(words.size() * 2);
  std::memcpy(frame.data(), words.data(), frame.size());
  ReduceFrameInPlace(frame.data(), kW, kH, TransferRaw12);
  EXPECT_EQ(0, std::memcmp(frame.data(), raw8.data(), raw8.size()));
  std::vector<uint8_t> target(kW * kH * 3);
  uint32_t error = 0;
  ASSERT_TRUE(FillTarget(error, kW, kH, TransferRaw12, 4, 3, frame.data(), target.data()));
  ExpectBars(target, 3, "raw 12");
}

TEST(FrameStages, MonoCamerasGiveMonoTargets) {
  std::vector<uint8_t> frame(kW * kH);
  for (uint32_t i = 0; i < kW * kH; ++i) frame[i] = static_cast<uint8_t>(i % kW);
  for (uint32_t transfer : {TransferRaw8, TransferMono8}) {
    const FrameKind kind = ClassifyFrame(transfer, 1);
    EXPECT_TRUE(kind.mono);
    std::vector<uint8_t> target(kW * kH * 4, 0x66);
    uint32_t error = 0;
    ASSERT_TRUE(FillTarget(error, kW, kH, transfer, 1, 3, frame.data(), target.data()));
    EXPECT_EQ(0, std::memcmp(target.data(), frame.data(), frame.size()));
    ASSERT_TRUE(ConvertToPreviewFormat(error, kW, kH, true, PreviewBGR24, target.data()));
    for (uint32_t i = 0; i < kW * kH; ++i)
      ASSERT_EQ((Bgr{target[3 * i], target[3 * i + 1], target[3 * i + 2]}), (Bgr{frame[i], frame[i], frame[i]}));
  }
  EXPECT_EQ(ClassifyFrame(TransferMono12, 2).path, FramePath::MonoDirect);
  EXPECT_TRUE(ClassifyFrame(TransferMono12, 2).deep);
  EXPECT_FALSE(ClassifyFrame(TransferRaw8, 2).mono);
  EXPECT_EQ(ClassifyFrame(3, 2).path, FramePath::Raw) << "an unknown format takes the raw path";
}

TEST(FrameStages, ColourDirectCamerasGiveTheirConvertedImages) {
  // The bars as the camera sends them in BGR24 and in 4:4:4 YUV of grey
  // levels (no chroma), which must come out unchanged.
  std::vector<uint8_t> bgr(kW * kH * 3), yuv(kW * kH * 3);
  for (uint32_t y = 0; y < kH; ++y)
    for (uint32_t x = 0; x < kW; ++x) {
      const Bgr c = BarAt(x);
      std::memcpy(&bgr[(y * kW + x) * 3], c.data(), 3);
      const uint8_t level = static_cast<uint8_t>(x);
      yuv[(y * kW + x) * 3] = 128, yuv[(y * kW + x) * 3 + 1] = level, yuv[(y * kW + x) * 3 + 2] = 128;
    }
  std::vector<uint8_t> target(kW * kH * 4, 0x66);
  uint32_t error = 0;
  ASSERT_TRUE(FillTarget(error, kW, kH, TransferBGR24, 2, 3, bgr.data(), target.data()));
  ASSERT_TRUE(ConvertToPreviewFormat(error, kW, kH, false, PreviewBGR32, target.data()));
  ExpectBars(target, 4, "BGR24 camera");
  ASSERT_TRUE(FillTarget(error, kW, kH, TransferYUV444, 2, 3, yuv.data(), target.data()));
  for (uint32_t x = 0; x < kW; ++x) ASSERT_EQ((Bgr{target[3 * x], target[3 * x + 1], target[3 * x + 2]}),
                                              (Bgr{uint8_t(x), uint8_t(x), uint8_t(x)}));
  EXPECT_FALSE(ConvertToPreviewFormat(error, kW, kH, false, PreviewMono8, target.data()));
  EXPECT_EQ(error, 87u);
}

}  // namespace
}  // namespace kavix::pipeline
