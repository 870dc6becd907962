// The pipeline exports on a session record of their own: argument checks,
// error numbers, and what they leave in the caller's buffers.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "KavixD.h"
#include "pipeline/adjusted_color_array.h"
#include "pipeline/color_interpolation.h"
#include "session/export_frame.h"

namespace kavix {
namespace {

struct PipelineExports : testing::Test {
  Session s;
  KAVIX_HANDLE camera = handle_of(&s);
  void SetUp() override {
    s.transport.TransportHandle = reinterpret_cast<KAVIXUSB_HANDLE>(uintptr_t{0x1000});
    s.info.ColorArray = KAVIX_COLOR_RG_GB;
    s.info.ProductId = 0x0305;  // a model without FPGA: camera mirroring maps the array
  }
};

TEST_F(PipelineExports, SetAcceptsOnlyTheSelectableMethods) {
  uint8_t method = 0xEE;
  ASSERT_EQ(Kavix_GetColorInterpolationMethod(camera, &method), 1);
  EXPECT_EQ(method, 3) << "the default";
  for (uint8_t m = 0; m < 6; ++m) {
    EXPECT_EQ(Kavix_SetColorInterpolationMethod(camera, m), 1);
    ASSERT_EQ(Kavix_GetColorInterpolationMethod(camera, &method), 1);
    EXPECT_EQ(method, m);
  }
  ASSERT_EQ(Kavix_SetColorInterpolationMethod(camera, 4), 1);
  for (uint8_t m : {6, 100, 252, 253, 254, 255}) {
    s.set_error(0);
    EXPECT_EQ(Kavix_SetColorInterpolationMethod(camera, m), 0) << int(m);
    EXPECT_EQ(s.last_error(), KAVIX_ERROR_INVALID_PARAMETER);
    ASSERT_EQ(Kavix_GetColorInterpolationMethod(camera, &method), 1);
    EXPECT_EQ(method, 4) << "a refused method leaves the old one";
  }
  EXPECT_EQ(s.processing.InterpolationMethod[1], 3) << "the reset value is untouched";
  EXPECT_EQ(Kavix_GetColorInterpolationMethod(camera, nullptr), 0);
  EXPECT_EQ(s.last_error(), KAVIX_ERROR_INVALID_PARAMETER);
}

TEST_F(PipelineExports, BadHandlesFailEverywhere) {
  uint8_t byte = 0;
  uint16_t word = 0;
  set_global_last_error(0);
  EXPECT_EQ(Kavix_SetColorInterpolationMethod(nullptr, 3), 0);
  EXPECT_EQ(Kavix_GetColorInterpolationMethod(nullptr, &byte), 0);
  EXPECT_EQ(Kavix_ConvertRawToBGR(nullptr, 1, 1, &byte, &byte, 0, 4), 0);
  EXPECT_EQ(Kavix_ConvTo8BitsImage(nullptr, 1, 1, 2, &word, &byte), 0);
  EXPECT_EQ(Kavix_ConvertBitmapBGR24ToRGB24(nullptr, 1, 1, &byte), 0);
  EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
  Session closed;  // no transport: a closed session
  EXPECT_EQ(Kavix_ConvertBitmapBGR24ToRGB24(handle_of(&closed), 1, 1, &byte), 0);
  EXPECT_EQ(closed.last_error(), KAVIX_E_BAD_HANDLE);
}

TEST_F(PipelineExports, ConvertRawToBGRFormats) {
  constexpr uint32_t w = 8, h = 6;
  std::vector<uint8_t> raw(w * h);
  for (uint32_t i = 0; i < w * h; ++i) raw[i] = static_cast<uint8_t>(i * 5);
  std::vector<uint8_t> expected(w * h * 3);
  uint32_t error = 0;
  ASSERT_EQ(pipeline::InterpolateBayer(error, w, h, raw.data(), expected.data(), 3, 2), 1u);

  // Pixel format 4: the BGR24 image.
  std::vector<uint8_t> bgr24(w * h * 3, 0x99);
  EXPECT_EQ(Kavix_ConvertRawToBGR(camera, w, h, raw.data(), bgr24.data(), 3, 4), 1);
  EXPECT_EQ(bgr24, expected);
  // Pixel format 8: spread to four bytes, the fourth 0.
  std::vector<uint8_t> bgr32(w * h * 4, 0x99);
  EXPECT_EQ(Kavix_ConvertRawToBGR(camera, w, h, raw.data(), bgr32.data(), 3, 8), 1);
  for (uint32_t i = 0; i < w * h; ++i) {
    for (int c = 0; c < 3; ++c) ASSERT_EQ(bgr32[4 * i + c], expected[3 * i + c]) << i;
    ASSERT_EQ(bgr32[4 * i + 3], 0) << i;
  }
  // Pixel format 1: the destination is written, then 87.
  std::vector<uint8_t> other(w * h * 3, 0x99);
  s.set_error(0);
  EXPECT_EQ(Kavix_ConvertRawToBGR(camera, w, h, raw.data(), other.data(), 3, 1), 0);
  EXPECT_EQ(s.last_error(), KAVIX_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(other, expected);
  // The session's method plays no part.
  ASSERT_EQ(Kavix_SetColorInterpolationMethod(camera, 0), 1);
  EXPECT_EQ(Kavix_ConvertRawToBGR(camera, w, h, raw.data(), bgr24.data(), 3, 4), 1);
  EXPECT_EQ(bgr24, expected);
}

TEST_F(PipelineExports, ConvertRawToBGRFailures) {
  constexpr uint32_t w = 8, h = 6;
  std::vector<uint8_t> raw(w * h * 2, 50), dst(w * h * 3, 0x77);
  struct Row { uint16_t array; uint8_t method; KAVIX_BOOL result; };
  const Row rows[] = {
      {1, 0, 1}, {1, 3, 0}, {1, 255, 1}, {6, 0, 0}, {6, 255, 1}, {2, 6, 0}, {2, 253, 1},
      {4, 253, 1}, {10, 3, 1}, {10, 0, 0}, {10, 200, 1},
  };
  for (const Row &r : rows) {
    s.info.ColorArray = r.array;
    s.set_error(0);
    EXPECT_EQ(Kavix_ConvertRawToBGR(camera, w, h, raw.data(), dst.data(), r.method, 4), r.result)
        << "array " << r.array << " method " << int(r.method);
    EXPECT_EQ(s.last_error(), r.result ? 0u : KAVIX_ERROR_INVALID_PARAMETER);
  }
  s.info.ColorArray = 2;
  EXPECT_EQ(Kavix_ConvertRawToBGR(camera, w, h, nullptr, dst.data(), 3, 4), 0);
  EXPECT_EQ(Kavix_ConvertRawToBGR(camera, w, h, raw.data(), nullptr, 3, 4), 0);
  EXPECT_EQ(s.last_error(), KAVIX_ERROR_INVALID_PARAMETER);
}

TEST_F(PipelineExports, ConvertRawToBGRUsesTheMirroredArray) {
  // A camera mirroring left-right in hardware sends array 3 where its sensor
  // reads array 2: method 1 must then place the samples by array 3.
  constexpr uint32_t w = 4, h = 2;
  const std::vector<uint8_t> raw = {10, 20, 30, 40, 50, 60, 70, 80};
  std::vector<uint8_t> dst(w * h * 3);
  s.processing.MirrorMode = 0x10;
  ASSERT_EQ(Kavix_ConvertRawToBGR(camera, w, h, raw.data(), dst.data(), 1, 4), 1);
  // Array 3: (0,0) green, (1,0) red, (0,1) blue.
  EXPECT_EQ(dst[1], 10);
  EXPECT_EQ(dst[3 + 2], 20);
  EXPECT_EQ(dst[w * 3 + 0], 50);
  EXPECT_EQ(pipeline::AdjustedColorArray(s), 3);
}

TEST(AdjustedColorArray, MirrorNibbleMapping) {
  struct Row { uint16_t array; uint8_t mirror; bool map; uint16_t expected; };
  const Row rows[] = {
      {2, 0x10, true, 3}, {3, 0x10, true, 2}, {4, 0x10, true, 5}, {5, 0x10, true, 4},
      {2, 0x20, true, 4}, {3, 0x20, true, 5}, {4, 0x20, true, 2}, {5, 0x20, true, 3},
      {2, 0x30, true, 5}, {3, 0x30, true, 4}, {4, 0x31, true, 3}, {5, 0x3F, true, 2},
      {2, 0x40, true, 2}, {2, 0x0F, true, 2}, {1, 0x30, true, 1}, {2, 0x30, false, 2},
  };
  for (const Row &r : rows)
    EXPECT_EQ(pipeline::MirroredColorArray(r.array, r.mirror, r.map), r.expected)
        << r.array << " mirror " << int(r.mirror) << " map " << r.map;
}

TEST_F(PipelineExports, ConvTo8BitsImage) {
  const std::vector<uint16_t> src = {0x03FF, 0x0200, 0x0001, 0xFFFF};
  std::vector<uint8_t> dst(4, 0x55);
  EXPECT_EQ(Kavix_ConvTo8BitsImage(camera, 2, 2, 64, src.data(), dst.data()), 1);
  EXPECT_EQ(dst, (std::vector<uint8_t>{0xFF, 0x80, 0x00, 0xFF}));
  EXPECT_EQ(Kavix_ConvTo8BitsImage(camera, 2, 2, 16, src.data(), dst.data()), 1);
  EXPECT_EQ(dst, (std::vector<uint8_t>{0x03, 0x02, 0x00, 0xFF}));
  std::vector<uint8_t> before = dst;
  for (uint32_t code : {0u, 1u, 32u, 1024u, 3u}) {
    s.set_error(0);
    EXPECT_EQ(Kavix_ConvTo8BitsImage(camera, 2, 2, code, src.data(), dst.data()), 0) << code;
    EXPECT_EQ(s.last_error(), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(dst, before);
  }
  EXPECT_EQ(Kavix_ConvTo8BitsImage(camera, 2, 2, 4, nullptr, dst.data()), 0);
  EXPECT_EQ(Kavix_ConvTo8BitsImage(camera, 0, 0, 4, nullptr, nullptr), 1) << "nothing to convert";
}

TEST_F(PipelineExports, ConvertBitmapBGR24ToRGB24SwapsInPlace) {
  std::vector<uint8_t> image = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
  EXPECT_EQ(Kavix_ConvertBitmapBGR24ToRGB24(camera, 2, 2, image.data()), 1);
  EXPECT_EQ(image, (std::vector<uint8_t>{3, 2, 1, 6, 5, 4, 9, 8, 7, 12, 11, 10, 13}));
  EXPECT_EQ(Kavix_ConvertBitmapBGR24ToRGB24(camera, 2, 2, nullptr), 0);
  EXPECT_EQ(s.last_error(), KAVIX_ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace kavix
