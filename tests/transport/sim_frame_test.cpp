// The frames a simulated camera renders: sizes and layouts of every transfer
// format, the header, the Bayer phase under the camera's mirror, window,
// skipping and binning, the physical response to exposure and gain, the
// moving square, seeded noise and frames supplied by a test. The decoders
// here are written from the wire layouts, apart from the renderer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>

#include "transport/sim/frame_source.h"

namespace kavix::sim {
namespace {

std::vector<uint8_t> whole_frame(const FrameJob &job, uint32_t header_bytes) {
  std::vector<uint8_t> out(frame_bytes(job, header_bytes));
  std::vector<uint8_t> scratch;
  render_frame_range(job, header_bytes, 0, out.data(), out.size(), scratch);
  return out;
}

uint32_t le32(const uint8_t *p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t{p[3]} << 24; }
uint32_t le16(const uint8_t *p) { return p[0] | p[1] << 8; }

SensorReadout readout(uint32_t w, uint32_t h, uint32_t bits, uint16_t color_array = 2) {
  SensorReadout r;
  r.sensor_width = w;
  r.sensor_height = h;
  r.width = w;
  r.height = h;
  r.transfer_bits = bits;
  r.color_array = color_array;
  return r;
}

SceneSetup flat(float r, float g, float b) {
  SceneSetup s;
  s.kind = SceneKind::kFlatField;
  s.level[0] = r;
  s.level[1] = g;
  s.level[2] = b;
  return s;
}

FrameJob job_of(const SensorReadout &r, const SceneSetup &s, const Response &resp = {}, uint32_t number = 0) {
  return FrameJob{number, 0, render_picture(r, s, resp)};
}

TEST(SimFrameFormat, BitsPerPixelAndSizesOfEveryFormat) {
  struct Row {
    uint32_t bits, wire;
  } const table[] = {{1, 8},     {2, 16},    {4, 16},    {8, 16},     {16, 16},   {32, 8},
                     {64, 16},   {128, 16},  {256, 16},  {512, 16},   {1024, 24}, {2048, 32},
                     {4096, 12}, {8192, 16}, {16384, 24}, {3, 0},     {0, 0},     {32768, 0}};
  for (const Row &row : table) {
    EXPECT_EQ(format_info(row.bits).bits_per_pixel, row.wire) << row.bits;
    EXPECT_EQ(pixel_bytes(row.bits, 640, 480), uint64_t{row.wire} * 640 * 480 / 8) << row.bits;
    EXPECT_EQ(row_bytes(row.bits, 640), row.wire * 640 / 8) << row.bits;
  }
}

TEST(SimFrameFormat, FrameIsHeaderThenPixelsOfTheFormatsSize) {
  for (uint32_t bits = 1; bits <= 16384; bits <<= 1) {
    for (uint32_t header : {0u, 10u, 64u}) {
      const FrameJob job = job_of(readout(64, 8, bits), SceneSetup{}, {}, 0x12345678);
      const std::vector<uint8_t> f = whole_frame(job, header);
      ASSERT_EQ(f.size(), header + uint64_t{format_info(bits).bits_per_pixel} * 64 * 8 / 8) << bits;
      if (header >= 16) {
        EXPECT_EQ(le32(f.data() + 12), 0x12345678u);
        EXPECT_EQ(le16(f.data() + 0), header);
        EXPECT_EQ(le32(f.data() + 4), f.size() - header);
        EXPECT_EQ(le32(f.data() + 8), bits);
      }
      if (header == 10) {  // a short header holds what fits
        EXPECT_EQ(le16(f.data()), 10u);
      }
    }
  }
}

// The flat grey of every format, decoded by the layout of the format.
TEST(SimFrameFormat, FlatGreyDecodesToTheSameLevelInEveryLayout) {
  const SceneSetup grey = flat(0.5f, 0.5f, 0.5f);
  for (uint32_t bits = 1; bits <= 16384; bits <<= 1) {
    const FormatInfo f = format_info(bits);
    const std::vector<uint8_t> px = whole_frame(job_of(readout(16, 4, bits), grey), 0);
    const uint32_t full = (1u << f.depth) - 1u;
    const uint32_t want = static_cast<uint32_t>(0.5 * full + 0.5);
    switch (f.layout) {
      case PixelLayout::kRaw8:
      case PixelLayout::kMono8:
        for (uint8_t v : px) ASSERT_EQ(v, want) << bits;
        break;
      case PixelLayout::kRaw16:
      case PixelLayout::kMono16:
        for (size_t i = 0; i < px.size(); i += 2) ASSERT_EQ(le16(&px[i]), want) << bits;
        break;
      case PixelLayout::kBGR24:
        for (uint8_t v : px) ASSERT_EQ(v, want);
        break;
      case PixelLayout::kBGR30:
        for (size_t i = 0; i < px.size(); i += 4) {
          const uint32_t v = le32(&px[i]);
          ASSERT_EQ(v & 1023u, want);
          ASSERT_EQ((v >> 10) & 1023u, want);
          ASSERT_EQ((v >> 20) & 1023u, want);
          ASSERT_EQ(v >> 30, 0u);
        }
        break;
      case PixelLayout::kYUV411:
        for (size_t i = 0; i < px.size(); i += 6) {  // U Y0 Y1 V Y2 Y3
          ASSERT_EQ(px[i], 128);
          ASSERT_EQ(px[i + 3], 128);
          for (size_t k : {1, 2, 4, 5}) ASSERT_EQ(px[i + k], want);
        }
        break;
      case PixelLayout::kYUV422:
        for (size_t i = 0; i < px.size(); i += 4) {  // U Y0 V Y1
          ASSERT_EQ(px[i], 128);
          ASSERT_EQ(px[i + 2], 128);
          ASSERT_EQ(px[i + 1], want);
          ASSERT_EQ(px[i + 3], want);
        }
        break;
      case PixelLayout::kYUV444:
        for (size_t i = 0; i < px.size(); i += 3) {
          ASSERT_EQ(px[i], 128);
          ASSERT_EQ(px[i + 1], want);
          ASSERT_EQ(px[i + 2], 128);
        }
        break;
      case PixelLayout::kNone: FAIL();
    }
  }
}

// Decoder of the library's colour-direct formats, one pixel to B, G, R.
struct Bgr {
  int b, g, r;
};

int clamp255(int v) { return std::clamp(v, 0, 255); }

Bgr yuv_to_bgr(int y, int u, int v) {
  const auto t = [](int c, double k) { return static_cast<int>(static_cast<int16_t>((c - 128.0) * k)); };
  return {clamp255(y + t(u, 1.7718)), clamp255(y + t(u, -0.3441) + t(v, -0.7139)), clamp255(y + t(v, 1.402))};
}

Bgr decode(const std::vector<uint8_t> &px, uint32_t bits, uint32_t width, uint32_t x, uint32_t y) {
  switch (bits) {
    case kTransferBGR24: {
      const uint8_t *p = &px[(size_t{y} * width + x) * 3];
      return {p[0], p[1], p[2]};
    }
    case kTransferBGR30: {
      const uint32_t v = le32(&px[(size_t{y} * width + x) * 4]);
      return {static_cast<int>((v >> 2) & 255), static_cast<int>((v >> 12) & 255), static_cast<int>((v >> 22) & 255)};
    }
    case kTransferYUV444: {
      const uint8_t *p = &px[(size_t{y} * width + x) * 3];
      return yuv_to_bgr(p[1], p[0], p[2]);
    }
    case kTransferYUV422: {
      const uint8_t *g = &px[size_t{y} * width * 2 + (x / 4) * 8];
      const uint32_t k = x % 4;
      const int yy = g[k * 2 + 1];
      const int u = g[(k / 2) * 4], v = g[(k / 2) * 4 + 2];
      return yuv_to_bgr(yy, u, v);
    }
    case kTransferYUV411: {
      const uint8_t *g = &px[size_t{y} * (width + width / 2) + (x / 4) * 6];
      const int ys[4] = {g[1], g[2], g[4], g[5]};
      return yuv_to_bgr(ys[x % 4], g[0], g[3]);
    }
  }
  ADD_FAILURE() << bits;
  return {};
}

// Colour bars through each colour-direct format come out in the order white,
// yellow, cyan, green, magenta, red, blue, black at 75 %; mirrored, reversed.
TEST(SimFrameFormat, ColourBarsThroughEveryColourDirectFormat) {
  const int on = 191;  // 0.75 of 255
  const Bgr bars[8] = {{on, on, on}, {0, on, on}, {on, on, 0}, {0, on, 0},
                       {on, 0, on},  {0, 0, on},  {on, 0, 0},  {0, 0, 0}};
  for (uint32_t bits : {kTransferBGR24, kTransferBGR30, kTransferYUV411, kTransferYUV422, kTransferYUV444}) {
    for (bool mirror : {false, true}) {
      SensorReadout r = readout(256, 4, bits);
      r.mirror_h = mirror;
      const std::vector<uint8_t> px = whole_frame(job_of(r, SceneSetup{}), 0);
      // YUV rounds twice; BGR30 keeps the top 8 of 10 bits.
      const int tol = bits == kTransferBGR24 ? 0 : 3;
      for (uint32_t bar = 0; bar < 8; ++bar) {
        const uint32_t x = bar * 32 + 16;
        const Bgr want = bars[mirror ? 7 - bar : bar];
        for (uint32_t y : {0u, 3u}) {
          const Bgr got = decode(px, bits, 256, x, y);
          EXPECT_NEAR(got.b, want.b, tol) << bits << " bar " << bar << " mirror " << mirror;
          EXPECT_NEAR(got.g, want.g, tol) << bits << " bar " << bar;
          EXPECT_NEAR(got.r, want.r, tol) << bits << " bar " << bar;
        }
      }
    }
  }
}

TEST(SimFrameFormat, MonoFormatsCarryLuminance) {
  // Pure red at full level: luminance 0.299.
  const SceneSetup red = flat(1.0f, 0.0f, 0.0f);
  const std::vector<uint8_t> m8 = whole_frame(job_of(readout(8, 2, kTransferMono8), red), 0);
  EXPECT_EQ(m8[0], 76);  // 0.299 x 255
  const std::vector<uint8_t> m12 = whole_frame(job_of(readout(8, 2, kTransferMono12), red), 0);
  EXPECT_EQ(le16(&m12[0]), 1224u);  // 0.299 x 4095
  // A monochrome sensor sends luminance on the raw path too.
  const std::vector<uint8_t> raw = whole_frame(job_of(readout(8, 2, kTransferRaw8, 1), red), 0);
  EXPECT_TRUE(std::all_of(raw.begin(), raw.end(), [](uint8_t v) { return v == 76; }));
}

// The colour of frame pixel (x, y) in array id `a`: 0 R, 1 G, 2 B.
int colour_at(uint16_t a, uint32_t x, uint32_t y) {
  static const int cells[4][4] = {{0, 1, 1, 2}, {1, 0, 2, 1}, {1, 2, 0, 1}, {2, 1, 1, 0}};
  return cells[a - 2][(y & 1) * 2 + (x & 1)];
}

// What the library makes of the array when the camera mirrors.
uint16_t adjusted(uint16_t a, int nibble) {
  static const uint16_t maps[4][4] = {{2, 3, 4, 5}, {3, 2, 5, 4}, {4, 5, 2, 3}, {5, 4, 3, 2}};
  return maps[nibble][a - 2];
}

TEST(SimFrameBayer, MirrorInTheCameraChangesThePhaseAsTheLibraryExpects) {
  const SceneSetup primaries[3] = {flat(1, 0, 0), flat(0, 1, 0), flat(0, 0, 1)};
  for (uint16_t a = 2; a <= 5; ++a) {
    for (int nibble = 0; nibble < 4; ++nibble) {
      SensorReadout r = readout(8, 6, kTransferRaw8, a);
      r.mirror_h = nibble & 1;
      r.mirror_v = nibble & 2;
      const uint16_t seen = adjusted(a, nibble);
      for (int c = 0; c < 3; ++c) {
        const std::vector<uint8_t> px = whole_frame(job_of(r, primaries[c]), 0);
        for (uint32_t y = 0; y < 6; ++y)
          for (uint32_t x = 0; x < 8; ++x)
            ASSERT_EQ(px[y * 8 + x], colour_at(seen, x, y) == c ? 255 : 0)
                << "array " << a << " mirror " << nibble << " colour " << c << " at " << x << "," << y;
      }
    }
  }
}

// A camera that shifts its mirrored readout keeps the phase of its array.
TEST(SimFrameBayer, MirrorThatKeepsThePhaseLeavesTheArrayAlone) {
  for (int nibble = 1; nibble < 4; ++nibble) {
    SensorReadout r = readout(8, 6, kTransferRaw8, 4);
    r.mirror_h = nibble & 1;
    r.mirror_v = nibble & 2;
    r.mirror_keeps_phase = true;
    const std::vector<uint8_t> px = whole_frame(job_of(r, flat(0, 0, 1)), 0);
    for (uint32_t y = 0; y < 6; ++y)
      for (uint32_t x = 0; x < 8; ++x) ASSERT_EQ(px[y * 8 + x], colour_at(4, x, y) == 2 ? 255 : 0);
  }
}

TEST(SimFrameBayer, DeepRawSamplesAreRightAligned) {
  for (uint32_t bits : {kTransferRaw10, kTransferRaw12, kTransferRaw14, kTransferRaw16}) {
    const std::vector<uint8_t> px = whole_frame(job_of(readout(4, 2, bits, 2), flat(1, 0, 0)), 0);
    const uint32_t full = (1u << format_info(bits).depth) - 1u;
    EXPECT_EQ(le16(&px[0]), full) << bits;  // R
    EXPECT_EQ(le16(&px[2]), 0u) << bits;    // Gr
  }
}

// The gradient's red rises by sensor column, so it shows where each output
// pixel was read: window offset, skipping (whole Bayer cells on the raw path).
TEST(SimFrameGeometry, WindowAndSkippingPickTheSensorColumns) {
  SceneSetup gradient;
  gradient.kind = SceneKind::kGradient;
  SensorReadout r = readout(0, 0, kTransferBGR24);
  r.sensor_width = 1000;
  r.sensor_height = 100;
  r.width = 100;
  r.height = 10;
  r.offset_x = 200;
  r.offset_y = 30;
  r.h_skip = 2;  // every third pixel
  r.v_skip = 1;
  const std::vector<uint8_t> px = whole_frame(job_of(r, gradient), 0);
  for (uint32_t x : {0u, 1u, 17u, 99u}) {
    const uint32_t sx = 200 + 3 * x;
    EXPECT_EQ(px[x * 3 + 2], static_cast<int>(sx / 1000.0f * 255 + 0.5f)) << x;
  }
  for (uint32_t y : {0u, 9u}) {
    const uint32_t sy = 30 + 2 * y;
    EXPECT_EQ(px[(y * 100) * 3 + 0], static_cast<int>(sy / 100.0f * 255 + 0.5f)) << y;
  }

  // Raw colour: cells of two, so pixel 2k and 2k+1 come from one skipped cell.
  r.transfer_bits = kTransferRaw8;
  r.color_array = 2;
  r.h_skip = 1;
  r.v_skip = 0;
  const std::vector<uint8_t> raw = whole_frame(job_of(r, gradient), 0);
  for (uint32_t cell : {0u, 5u, 30u}) {
    const uint32_t sx = 200 + cell * 4;  // pixel 2 cell (red) at sensor column sx
    EXPECT_EQ(raw[cell * 2], static_cast<int>(sx / 1000.0f * 255 + 0.5f)) << cell;
  }
}

TEST(SimFrameGeometry, BinningAveragesOrAdds) {
  SensorReadout r = readout(16, 8, kTransferRaw8, 2);
  r.h_bin = 1;
  r.v_bin = 1;
  const SceneSetup grey = flat(0.2f, 0.2f, 0.2f);
  const std::vector<uint8_t> avg = whole_frame(job_of(r, grey), 0);
  EXPECT_EQ(avg[0], 51);  // 0.2 x 255
  r.bin_sum = true;
  const std::vector<uint8_t> sum = whole_frame(job_of(r, grey), 0);
  EXPECT_EQ(sum[0], 204);  // four samples added
  r.h_bin = 3;
  const std::vector<uint8_t> sat = whole_frame(job_of(r, grey), 0);
  EXPECT_EQ(sat[5], 255);  // eight samples saturate
}

// Exposure doubles the mean of a mid-grey scene until the samples saturate.
TEST(SimFrameResponse, ExposureScalesLinearlyAndSaturates) {
  const SceneSetup grey = flat(0.5f, 0.5f, 0.5f);
  double last = 0;
  for (double scale : {0.0625, 0.125, 0.25, 0.5, 1.0, 2.0, 4.0}) {
    Response resp;
    resp.scale = scale;
    const std::vector<uint8_t> px = whole_frame(job_of(readout(32, 8, kTransferRaw8), grey, resp), 0);
    const double mean = std::accumulate(px.begin(), px.end(), 0.0) / px.size();
    if (scale <= 1.0) {
      EXPECT_NEAR(mean, 127.5 * scale, 0.6) << scale;
      if (last > 0) {
        EXPECT_NEAR(mean / last, 2.0, 0.05) << scale;
      }
    } else {
      EXPECT_EQ(mean, 255.0) << scale;
    }
    last = mean;
  }
}

TEST(SimFrameResponse, CameraWhiteBalanceScalesItsChannels) {
  Response resp;
  resp.wb[0] = 2.0;   // R
  resp.wb[3] = 0.5;   // B
  const std::vector<uint8_t> raw = whole_frame(job_of(readout(4, 2, kTransferRaw8, 2), flat(0.25f, 0.25f, 0.25f), resp), 0);
  EXPECT_EQ(raw[0], 128);  // R
  EXPECT_EQ(raw[1], 64);   // Gr
  EXPECT_EQ(raw[4], 64);   // Gb
  EXPECT_EQ(raw[5], 32);   // B
  const std::vector<uint8_t> bgr = whole_frame(job_of(readout(4, 2, kTransferBGR24), flat(0.25f, 0.25f, 0.25f), resp), 0);
  EXPECT_EQ(bgr[0], 32);
  EXPECT_EQ(bgr[1], 64);
  EXPECT_EQ(bgr[2], 128);
}

TEST(SimFrameMotion, TheSquareMovesFromFrameToFrame) {
  SceneSetup scene = flat(0.25f, 0.25f, 0.25f);
  scene.kind = SceneKind::kMovingTarget;
  scene.target_size = 16;
  scene.target_speed = 8;
  const auto pic = render_picture(readout(128, 64, kTransferMono8), scene, {});
  auto bright_box = [&](uint32_t number) {
    const std::vector<uint8_t> px = whole_frame(FrameJob{number, 0, pic}, 0);
    uint32_t x0 = 999, y0 = 999, x1 = 0, y1 = 0, count = 0;
    for (uint32_t y = 0; y < 64; ++y)
      for (uint32_t x = 0; x < 128; ++x)
        if (px[y * 128 + x] == 230) {  // 0.9 x 255
          x0 = std::min(x0, x), y0 = std::min(y0, y), x1 = std::max(x1, x), y1 = std::max(y1, y), ++count;
        } else {
          EXPECT_EQ(px[y * 128 + x], 64);
        }
    EXPECT_EQ(count, 256u) << number;
    EXPECT_EQ(x1 - x0, 15u);
    EXPECT_EQ(y1 - y0, 15u);
    return std::pair<uint32_t, uint32_t>{x0, y0};
  };
  const auto a = bright_box(0), b = bright_box(1), c = bright_box(2);
  EXPECT_EQ(a, (std::pair<uint32_t, uint32_t>{0, 0}));
  EXPECT_EQ(b.first, 8u);
  EXPECT_EQ(c.first, 16u);
  EXPECT_EQ(b.second, 4u);
  // It bounces off the right edge (range 112 = 14 steps).
  EXPECT_EQ(bright_box(14).first, 112u);
  EXPECT_EQ(bright_box(15).first, 104u);
}

TEST(SimFrameNoise, SeededNoiseVariesPerFrameButRepeatsPerSeed) {
  SceneSetup scene = flat(0.5f, 0.5f, 0.5f);
  scene.noise = 4.0f;
  scene.seed = 7;
  for (uint32_t bits : {kTransferRaw8, kTransferRaw12, kTransferBGR30, kTransferYUV422}) {
    const SensorReadout r = readout(64, 32, bits);
    const auto p1 = render_picture(r, scene, {});
    const auto p2 = render_picture(r, scene, {});
    const std::vector<uint8_t> a = whole_frame(FrameJob{5, 0, p1}, 0);
    EXPECT_EQ(a, whole_frame(FrameJob{5, 0, p2}, 0)) << "same seed, same frame";
    EXPECT_NE(a, whole_frame(FrameJob{6, 0, p1}, 0)) << "next frame";
    SceneSetup other = scene;
    other.seed = 8;
    EXPECT_NE(a, whole_frame(FrameJob{5, 0, render_picture(r, other, {})}, 0)) << "other seed";
  }
  // Around the clean level, with about the asked spread.
  const std::vector<uint8_t> px = whole_frame(FrameJob{3, 0, render_picture(readout(256, 256, kTransferRaw8), scene, {})}, 0);
  double sum = 0, sq = 0;
  for (uint8_t v : px) sum += v, sq += static_cast<double>(v) * v;
  const double mean = sum / px.size(), sd = std::sqrt(sq / px.size() - mean * mean);
  EXPECT_NEAR(mean, 128.0, 0.5);
  EXPECT_NEAR(sd, 4.0, 0.5);
}

// A frame cut into arbitrary pieces, as transfers cut it, is the same frame.
TEST(SimFrameRange, PiecesMakeTheWholeFrame) {
  SceneSetup scene = flat(0.3f, 0.4f, 0.5f);
  scene.kind = SceneKind::kMovingTarget;
  scene.noise = 3.0f;
  std::mt19937 rng(11);
  for (uint32_t bits : {kTransferRaw8, kTransferRaw12, kTransferYUV411, kTransferBGR30}) {
    for (uint32_t header : {0u, 7u, 32u}) {
      const FrameJob job{9, 1234, render_picture(readout(100, 40, bits), scene, {})};
      const std::vector<uint8_t> whole = whole_frame(job, header);
      std::vector<uint8_t> pieces(whole.size() + 5, 0);
      std::vector<uint8_t> scratch;
      size_t at = 0;
      while (at < pieces.size()) {
        const size_t n = std::min<size_t>(pieces.size() - at, 1 + rng() % 517);
        render_frame_range(job, header, at, pieces.data() + at, n, scratch);
        at += n;
      }
      ASSERT_TRUE(std::equal(whole.begin(), whole.end(), pieces.begin())) << bits << " header " << header;
      for (size_t i = whole.size(); i < pieces.size(); ++i) EXPECT_EQ(pieces[i], kExtraByte);
    }
  }
}

TEST(SimFrameSource, PictureIsRenderedAgainOnlyWhenSettingsChange) {
  FrameSource source;
  const SensorReadout r = readout(32, 8, kTransferRaw8);
  const SceneSetup grey = flat(0.5f, 0.5f, 0.5f);
  Response resp;
  const FrameJob a = source.expose(1, 0, r, grey, resp);
  const FrameJob b = source.expose(2, 10, r, grey, resp);
  EXPECT_EQ(a.picture.get(), b.picture.get());
  resp.scale = 0.5;
  const FrameJob c = source.expose(3, 20, r, grey, resp);
  EXPECT_NE(c.picture.get(), b.picture.get());
  // A frame taken before the change keeps its exposure.
  EXPECT_EQ(whole_frame(a, 0)[0], 128);
  EXPECT_EQ(whole_frame(c, 0)[0], 64);
}

TEST(SimFrameSource, SuppliedFramesAreSentUnchangedInTurn) {
  FrameSource source;
  const SensorReadout r = readout(4, 2, kTransferRaw8);
  source.supply(r, {{1, 2, 3, 4, 5, 6, 7, 8}, {9, 9, 9}});
  ASSERT_TRUE(source.supplied());
  const std::vector<uint8_t> f0 = whole_frame(source.expose(0, 0, r, {}, {}), 16);
  const std::vector<uint8_t> f1 = whole_frame(source.expose(1, 0, r, {}, {}), 16);
  const std::vector<uint8_t> f2 = whole_frame(source.expose(2, 0, r, {}, {}), 16);
  EXPECT_EQ(std::vector<uint8_t>(f0.begin() + 16, f0.end()), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(std::vector<uint8_t>(f1.begin() + 16, f1.end()), (std::vector<uint8_t>{9, 9, 9}));
  EXPECT_EQ(le32(&f2[12]), 2u);
  EXPECT_TRUE(std::equal(f2.begin() + 16, f2.end(), f0.begin() + 16));
  source.supply(r, {});
  EXPECT_FALSE(source.supplied());
  EXPECT_EQ(whole_frame(source.expose(3, 0, r, flat(0.5f, 0.5f, 0.5f), {}), 0)[0], 128);
}

}  // namespace
}  // namespace kavix::sim
