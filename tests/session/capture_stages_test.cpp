// What the capture loop makes of a simulated colour-bar scene on each path:
// Bayer frames interpolated to BGR, mono frames kept mono, colour-direct
// frames converted, deep samples cut to 8 bits only after the raw consumers
// have seen them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "capture_fixture.h"

namespace kavix::test {
namespace {

constexpr uint32_t kWidth = 128;  // eight bars of 16 pixels
constexpr uint32_t kHeight = 48;
constexpr uint32_t kBarWidth = kWidth / 8;

// The scene's bars, left to right, as R, G, B on or off.
constexpr bool kBars[8][3] = {
    {1, 1, 1}, {1, 1, 0}, {0, 1, 1}, {0, 1, 0}, {1, 0, 1}, {1, 0, 0}, {0, 0, 1}, {0, 0, 0},
};

// A 75 % bar lands near 191 in 8 bits; what is off stays near 0. The margins
// leave room for YUV rounding and chroma spread; interpolation leaves bar
// interiors alone.
constexpr int kOnAtLeast = 150;
constexpr int kOffAtMost = 50;

class CaptureStages : public CaptureTest {
protected:
    // A kWidth x kHeight camera of the colour array and transfer format,
    // showing colour bars.
    void open_with_bars(uint8_t color_array, uint32_t transfer_bits) {
        CameraSetup setup;
        setup.width = kWidth;
        setup.height = kHeight;
        setup.color_array = color_array;
        setup.transfer_bits = transfer_bits;
        open(setup);
        if (HasFatalFailure()) return;
        KavixSimScene scene{};
        scene.kind = KAVIXSIM_SCENE_COLOR_BARS;
        ASSERT_EQ(KavixSim_SetScene(sim, &scene), 1);
    }

    std::vector<uint8_t> preview_snapshot() {
        std::vector<uint8_t> buffer(session().mode.PreviewSizeB);
        uint32_t taken = 0;
        uint32_t number = 0;
        EXPECT_EQ(Kavix_TakePreviewSnapShot(camera, buffer.data(), uint32_t(buffer.size()), &taken, &number, kBound),
                  1)
            << std::hex << Kavix_GetLastError(camera);
        EXPECT_EQ(taken, buffer.size());
        return buffer;
    }

    std::vector<uint8_t> raw_snapshot() {
        std::vector<uint8_t> buffer(raw_size());
        uint32_t taken = 0;
        EXPECT_EQ(Kavix_TakeRawSnapShot(camera, buffer.data(), uint32_t(buffer.size()), &taken, nullptr, kBound), 1)
            << std::hex << Kavix_GetLastError(camera);
        EXPECT_EQ(taken, buffer.size());
        return buffer;
    }
};

// Checks every bar's interior (a margin of four pixels to each side) in a
// packed top-down BGR image of `bytes_per_pixel` bytes a pixel.
void expect_bars(const std::vector<uint8_t> &image, uint32_t bytes_per_pixel, const std::string &what) {
    ASSERT_EQ(image.size(), size_t(kWidth) * kHeight * bytes_per_pixel) << what;
    int failures = 0;
    for (uint32_t y = 2; y + 2 < kHeight; ++y) {
        for (uint32_t bar = 0; bar < 8; ++bar) {
            for (uint32_t x = bar * kBarWidth + 4; x < (bar + 1) * kBarWidth - 4; ++x) {
                const uint8_t *p = &image[(size_t(y) * kWidth + x) * bytes_per_pixel];
                const int rgb[3] = {p[2], p[1], p[0]};
                for (int c = 0; c < 3; ++c) {
                    const bool ok = kBars[bar][c] ? rgb[c] >= kOnAtLeast : rgb[c] <= kOffAtMost;
                    if (!ok && ++failures <= 5) {
                        ADD_FAILURE() << what << ": bar " << bar << " at (" << x << ", " << y << ") channel "
                                      << "RGB"[c] << " is " << rgb[c];
                    }
                }
            }
        }
    }
    EXPECT_EQ(failures, 0) << what;
}

uint16_t sample16(const std::vector<uint8_t> &raw, size_t i) { return uint16_t(raw[2 * i] | raw[2 * i + 1] << 8); }

// ---- Bayer cameras: every colour array, 8 and 12 bits ------------------------

struct BayerCase {
    uint16_t color_array;
    uint32_t transfer_bits;
};

class BayerBars : public CaptureStages, public testing::WithParamInterface<BayerCase> {};

TEST_P(BayerBars, PreviewSnapshotDecodesToTheBarColours) {
    const BayerCase c = GetParam();
    open_with_bars(c.color_array, c.transfer_bits);
    ASSERT_FALSE(HasFatalFailure());
    uint32_t format = 0;
    ASSERT_EQ(Kavix_GetPreviewPixelFormat(camera, &format), 1);
    ASSERT_EQ(format, KAVIX_PREVIEW_BGR24);
    expect_bars(preview_snapshot(), 3, "BGR24 on array " + std::to_string(c.color_array));

    // The same frame spread to BGR32 keeps the colours, one pixel every four
    // bytes.
    ASSERT_EQ(Kavix_SetPreviewPixelFormat(camera, KAVIX_PREVIEW_BGR32), 1);
    expect_bars(preview_snapshot(), 4, "BGR32 on array " + std::to_string(c.color_array));
}

INSTANTIATE_TEST_SUITE_P(ColourArrays, BayerBars,
                         testing::Values(BayerCase{2, KAVIX_TRANSFER_RAW8}, BayerCase{3, KAVIX_TRANSFER_RAW8},
                                         BayerCase{4, KAVIX_TRANSFER_RAW8}, BayerCase{5, KAVIX_TRANSFER_RAW8},
                                         BayerCase{2, KAVIX_TRANSFER_RAW12}, BayerCase{3, KAVIX_TRANSFER_RAW12},
                                         BayerCase{4, KAVIX_TRANSFER_RAW12}, BayerCase{5, KAVIX_TRANSFER_RAW12}),
                         [](const testing::TestParamInfo<BayerCase> &info) {
                             return "Array" + std::to_string(info.param.color_array) + "_Bits" +
                                    (info.param.transfer_bits == KAVIX_TRANSFER_RAW8 ? "8" : "12");
                         });

// A camera mirroring in its own hardware sends the bars right to left and,
// left to right, shifts its Bayer phase; the adjusted colour array keeps the
// colours right on every array.
class MirroredBars : public CaptureStages, public testing::WithParamInterface<uint16_t> {};

TEST_P(MirroredBars, CameraMirrorKeepsTheColours) {
    open_with_bars(GetParam(), KAVIX_TRANSFER_RAW8);
    ASSERT_FALSE(HasFatalFailure());
    uint8_t mask = 0;
    ASSERT_EQ(Kavix_GetEnableMirrorMode(camera, &mask), 1);
    if ((mask & KAVIX_MIRROR_CAMERA_H) == 0) GTEST_SKIP() << "this camera can't mirror";
    ASSERT_EQ(Kavix_SetMirrorMode(camera, KAVIX_MIRROR_CAMERA_H), 1);
    std::vector<uint8_t> preview = preview_snapshot();
    // Turn the image back left to right, then the bars read as usual.
    for (uint32_t y = 0; y < kHeight; ++y) {
        for (uint32_t x = 0; x < kWidth / 2; ++x) {
            uint8_t *a = &preview[(size_t(y) * kWidth + x) * 3];
            uint8_t *b = &preview[(size_t(y) * kWidth + (kWidth - 1 - x)) * 3];
            std::swap_ranges(a, a + 3, b);
        }
    }
    expect_bars(preview, 3, "mirrored in the camera, array " + std::to_string(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(ColourArrays, MirroredBars, testing::Values(uint16_t{2}, uint16_t{3}, uint16_t{4}, uint16_t{5}),
                         [](const testing::TestParamInfo<uint16_t> &info) {
                             return "Array" + std::to_string(info.param);
                         });

// The method the application sets is the one the frame is interpolated
// with: methods 2 to 5 give the bars in their interiors, method 0 the frame's
// samples as grey, method 1 each sample in its own channel of array 3
// (Gr R / B Gb) with the two others 0.
TEST_F(CaptureStages, EachInterpolationMethodReachesThePreview) {
    open_with_bars(3, KAVIX_TRANSFER_RAW8);
    ASSERT_FALSE(HasFatalFailure());
    const std::vector<uint8_t> raw = raw_snapshot();
    for (uint8_t method = 0; method < 6; ++method) {
        ASSERT_EQ(Kavix_SetColorInterpolationMethod(camera, method), 1);
        const std::vector<uint8_t> preview = preview_snapshot();
        ASSERT_EQ(preview.size(), raw.size() * 3);
        if (method >= 2) {
            expect_bars(preview, 3, "method " + std::to_string(method));
            continue;
        }
        std::vector<uint8_t> expected(preview.size(), 0);
        for (uint32_t y = 0; y < kHeight; ++y) {
            for (uint32_t x = 0; x < kWidth; ++x) {
                const size_t i = size_t(y) * kWidth + x;
                if (method == 0) {
                    std::memset(&expected[3 * i], raw[i], 3);
                } else {
                    // B G R byte order: R at byte 2, G at 1, B at 0.
                    const int byte = (y % 2 == 0) ? (x % 2 == 0 ? 1 : 2) : (x % 2 == 0 ? 0 : 1);
                    expected[3 * i + byte] = raw[i];
                }
            }
        }
        EXPECT_TRUE(expected == preview) << "method " << int(method) << " isn't what the preview shows";
    }
}

// ---- Colour-direct cameras -----------------------------------------------------

class DirectBars : public CaptureStages, public testing::WithParamInterface<uint32_t> {};

TEST_P(DirectBars, PreviewSnapshotIsTheConvertedImage) {
    open_with_bars(2, GetParam());  // a colour camera; its direct formats carry no Bayer phase
    ASSERT_FALSE(HasFatalFailure());
    const std::vector<uint8_t> preview = preview_snapshot();
    expect_bars(preview, 3, "transfer " + std::to_string(GetParam()));
    if (GetParam() == KAVIX_TRANSFER_BGR24) {
        // BGR24 needs no conversion: the preview is the frame as sent.
        const std::vector<uint8_t> raw = raw_snapshot();
        EXPECT_TRUE(raw == preview) << "the BGR24 preview differs from the frame";
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, DirectBars,
                         testing::Values(KAVIX_TRANSFER_BGR24, KAVIX_TRANSFER_BGR30, KAVIX_TRANSFER_YUV411,
                                         KAVIX_TRANSFER_YUV422, KAVIX_TRANSFER_YUV444),
                         [](const testing::TestParamInfo<uint32_t> &info) {
                             switch (info.param) {
                             case KAVIX_TRANSFER_BGR24: return std::string("BGR24");
                             case KAVIX_TRANSFER_BGR30: return std::string("BGR30");
                             case KAVIX_TRANSFER_YUV411: return std::string("YUV411");
                             case KAVIX_TRANSFER_YUV422: return std::string("YUV422");
                             default: return std::string("YUV444");
                             }
                         });

// ---- Mono cameras --------------------------------------------------------------

struct MonoCase {
    const char *name;
    uint32_t transfer_bits;
};

class MonoBars : public CaptureStages, public testing::WithParamInterface<MonoCase> {};

// The preview of a mono camera is mono 8: the frame itself, or its deep
// samples cut to their top eight bits; in BGR24 every pixel is that grey.
TEST_P(MonoBars, PreviewIsMonoAndFollowsTheFrame) {
    const MonoCase c = GetParam();
    open_with_bars(1, c.transfer_bits);
    ASSERT_FALSE(HasFatalFailure());
    uint32_t format = 0;
    ASSERT_EQ(Kavix_GetPreviewPixelFormat(camera, &format), 1);
    ASSERT_EQ(format, KAVIX_PREVIEW_MONO8);

    const std::vector<uint8_t> raw = raw_snapshot();
    const std::vector<uint8_t> preview = preview_snapshot();
    ASSERT_EQ(preview.size(), size_t(kWidth) * kHeight);
    const bool deep = bits_per_pixel(c.transfer_bits) == 16;
    const uint32_t shift = c.transfer_bits == KAVIX_TRANSFER_MONO12 ? 4 : 0;
    std::vector<uint8_t> expected(preview.size());
    for (size_t i = 0; i < expected.size(); ++i) expected[i] = deep ? uint8_t(sample16(raw, i) >> shift) : raw[i];
    EXPECT_TRUE(expected == preview) << "the mono preview isn't the frame cut to 8 bits";
    // The bars are there: white bright, black dark.
    const size_t row = size_t(kHeight / 2) * kWidth;
    EXPECT_GE(preview[row + kBarWidth / 2], kOnAtLeast);
    EXPECT_LE(preview[row + 7 * kBarWidth + kBarWidth / 2], kOffAtMost);

    ASSERT_EQ(Kavix_SetPreviewPixelFormat(camera, KAVIX_PREVIEW_BGR24), 1);
    const std::vector<uint8_t> grey = preview_snapshot();
    ASSERT_EQ(grey.size(), preview.size() * 3);
    for (size_t i = 0; i < preview.size(); ++i) {
        if (grey[3 * i] != preview[i] || grey[3 * i + 1] != preview[i] || grey[3 * i + 2] != preview[i]) {
            ADD_FAILURE() << "pixel " << i << " isn't the mono value in all three bytes";
            break;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, MonoBars,
                         testing::Values(MonoCase{"Raw8", KAVIX_TRANSFER_RAW8}, MonoCase{"Mono8", KAVIX_TRANSFER_MONO8},
                                         MonoCase{"Mono12", KAVIX_TRANSFER_MONO12}),
                         [](const testing::TestParamInfo<MonoCase> &info) { return std::string(info.param.name); });

// ---- Deep samples reach the raw consumers whole ---------------------------------

// The largest sample and whether any exceeded 12 bits, as raw callbacks saw
// them, while a preview is being built from the same frames.
struct DeepSamples {
    std::mutex m;
    uint16_t largest = 0;
    bool above_12_bits = false;
    int frames = 0;

    static void raw(const uint8_t *pixels, uint32_t size, uint32_t, uint32_t, uint32_t, uint16_t, uint32_t,
                    void *context, void *) {
        auto *self = static_cast<DeepSamples *>(context);
        uint16_t largest = 0;
        for (uint32_t i = 0; i + 1 < size; i += 2) largest = std::max<uint16_t>(largest, uint16_t(pixels[i] | pixels[i + 1] << 8));
        std::lock_guard<std::mutex> lock(self->m);
        self->largest = std::max(self->largest, largest);
        self->above_12_bits = self->above_12_bits || largest > 4095;
        ++self->frames;
    }
};

void ignore_bitmap(uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, void *, void *) {}

TEST_F(CaptureStages, TwelveBitRawConsumersSeeTheSamplesBeforeTheCut) {
    open_with_bars(2, KAVIX_TRANSFER_RAW12);
    ASSERT_FALSE(HasFatalFailure());

    // A bitmap callback makes every frame go through the cut to 8 bits; the
    // raw snapshot is taken from the same frames.
    DeepSamples seen;
    uint32_t raw_id = 0;
    uint32_t bitmap_id = 0;
    ASSERT_EQ(Kavix_AddRawCallback(camera, DeepSamples::raw, &seen, &raw_id), 1);
    ASSERT_EQ(Kavix_AddPreviewBitmapCallback(camera, ignore_bitmap, nullptr, &bitmap_id), 1);
    const std::vector<uint8_t> raw = raw_snapshot();
    // The preview of the next frames still has its colours: the cut happened.
    expect_bars(preview_snapshot(), 3, "12-bit preview");

    // The snapshot holds 12-bit samples: the white bar's red near 3071, none
    // beyond 4095, and no byte pair of an 8-bit image read as a word.
    ASSERT_EQ(raw.size(), size_t(kWidth) * kHeight * 2);
    uint16_t largest = 0;
    for (size_t i = 0; i < raw.size() / 2; ++i) {
        ASSERT_LE(sample16(raw, i), 4095) << "sample " << i;
        largest = std::max(largest, sample16(raw, i));
    }
    EXPECT_GT(largest, 2400);
    // Array 2: row 0 is R G R G; the white bar's R samples are 75 % of 4095.
    const uint16_t white_red = sample16(raw, size_t(2) * kWidth + kBarWidth / 2);
    EXPECT_GT(white_red, 2400);
    EXPECT_LT(white_red, 3600);

    std::lock_guard<std::mutex> lock(seen.m);
    EXPECT_GE(seen.frames, 2);
    EXPECT_GT(seen.largest, 2400) << "the raw callbacks saw the samples after the cut";
    EXPECT_FALSE(seen.above_12_bits);
}

}  // namespace
}  // namespace kavix::test
