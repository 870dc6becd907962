// The JPEG encoder against the system's libjpeg-turbo: header bytes built from
// libjpeg's own copies of the standard tables, files decoded by TurboJPEG,
// coefficients read back by libjpeg and compared with an exact DCT.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>

#include "recording/jpeg/jpeg_encoder.h"
#include "tests/recording/jpeg_test_support.h"
#include "tests/recording/test_image.h"
#include <turbojpeg.h>

namespace kavix::test {
namespace {

void Append16(std::vector<uint8_t>& out, int value) {
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

std::vector<uint8_t> DqtSegment(int id, const std::vector<int>& natural) {
    std::vector<uint8_t> out = {0xFF, 0xDB, 0x00, 67, static_cast<uint8_t>(id)};
    for (int k = 0; k < 64; ++k) out.push_back(static_cast<uint8_t>(natural[kZigzag[k]]));
    return out;
}

std::vector<uint8_t> DhtSegment(int table_class, int id, const HuffmanTableBytes& table) {
    std::vector<uint8_t> out = {0xFF, 0xC4};
    Append16(out, static_cast<int>(table.values.size()) + 19);
    out.push_back(static_cast<uint8_t>(table_class << 4 | id));
    out.insert(out.end(), table.bits.begin(), table.bits.end());
    out.insert(out.end(), table.values.begin(), table.values.end());
    return out;
}

// Everything a baseline file of ours holds before its entropy-coded data.
std::vector<uint8_t> ExpectedHeader(int width, int height, bool colour, int h, int v) {
    std::vector<uint8_t> out = {0xFF, 0xD8,                                // SOI
                                0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0x00,  // APP0
                                0x01, 0x02, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00, 0x00};
    const auto dqt0 = DqtSegment(0, LibjpegQuantTable(50, 0));
    out.insert(out.end(), dqt0.begin(), dqt0.end());
    if (colour) {
        const auto dqt1 = DqtSegment(1, LibjpegQuantTable(50, 1));
        out.insert(out.end(), dqt1.begin(), dqt1.end());
    }
    const int components = colour ? 3 : 1;
    out.insert(out.end(), {0xFF, 0xC0});
    Append16(out, components * 3 + 8);
    out.push_back(8);
    Append16(out, height);
    Append16(out, width);
    out.push_back(static_cast<uint8_t>(components));
    out.insert(out.end(), {0x00, static_cast<uint8_t>(h << 4 | v), 0x00});
    if (colour) out.insert(out.end(), {0x01, 0x11, 0x01, 0x02, 0x11, 0x01});
    for (int id = 0; id < (colour ? 2 : 1); ++id) {
        const auto dc = DhtSegment(0, id, LibjpegHuffmanTable(false, id));
        const auto ac = DhtSegment(1, id, LibjpegHuffmanTable(true, id));
        out.insert(out.end(), dc.begin(), dc.end());
        out.insert(out.end(), ac.begin(), ac.end());
    }
    out.insert(out.end(), {0xFF, 0xDA});
    Append16(out, components * 2 + 6);
    out.push_back(static_cast<uint8_t>(components));
    out.insert(out.end(), {0x00, 0x00});
    if (colour) out.insert(out.end(), {0x01, 0x11, 0x02, 0x11});
    out.insert(out.end(), {0x00, 0x3F, 0x00});
    return out;
}

std::vector<int> DqtEntriesNatural(const std::vector<uint8_t>& jpeg, int id) {
    for (const Segment& s : ParseJpeg(jpeg).segments)
        if (s.marker == 0xDB && s.payload.size() == 65 && s.payload[0] == id) {
            std::vector<int> natural(64);
            for (int k = 0; k < 64; ++k) natural[kZigzag[k]] = s.payload[1 + k];
            return natural;
        }
    return {};
}

EncodeRequest GreyRequest(const std::vector<uint8_t>& pixels, int width, int height) {
    EncodeRequest r;
    r.pixels = pixels.data();
    r.width = width;
    r.height = height;
    r.channels = 1;
    r.source_color = kJpegGrey;
    r.color = kJpegGrey;
    r.sampling = kJpegSampling422;
    return r;
}

EncodeRequest ColourRequest(const std::vector<uint8_t>& pixels, int width, int height) {
    EncodeRequest r = GreyRequest(pixels, width, height);
    r.channels = 3;
    r.source_color = kJpegBgr;
    r.color = kJpegYCbCr;
    return r;
}

void ExpectWellFormed(const EncodeResult& result) {
    EXPECT_EQ(result.set_params, 0);
    EXPECT_EQ(result.header, 0);
    EXPECT_EQ(result.data, 0);
    const JpegLayout layout = ParseJpeg(result.bytes);
    EXPECT_TRUE(layout.ok);
    EXPECT_TRUE(layout.ends_with_eoi);
}

TEST(JpegEncoderHeader, GreyStillHeaderIsByteExact) {
    const auto image = MakeTestImage(40, 24, 1);
    const EncodeResult result = Encode(GreyRequest(image, 40, 24));
    ExpectWellFormed(result);
    const auto expected = ExpectedHeader(40, 24, false, 2, 1);
    ASSERT_GE(result.bytes.size(), expected.size());
    EXPECT_EQ(std::vector<uint8_t>(result.bytes.begin(), result.bytes.begin() + static_cast<long>(expected.size())),
              expected);
}

TEST(JpegEncoderHeader, ColourStillHeaderIsByteExact) {
    const auto image = MakeTestImage(48, 16, 3);
    const EncodeResult result = Encode(ColourRequest(image, 48, 16));
    ExpectWellFormed(result);
    const auto expected = ExpectedHeader(48, 16, true, 2, 1);
    ASSERT_GE(result.bytes.size(), expected.size());
    EXPECT_EQ(std::vector<uint8_t>(result.bytes.begin(), result.bytes.begin() + static_cast<long>(expected.size())),
              expected);
}

TEST(JpegEncoderHeader, SamplingCodesSetFactorsAndMcuSize) {
    const auto image = MakeTestImage(33, 17, 3);
    // sampling code -> luminance H, V
    const std::map<int, std::pair<int, int>> cases = {{0, {1, 1}}, {1, {2, 1}}, {3, {2, 2}}};
    for (const auto& [sampling, factors] : cases) {
        EncodeRequest request = ColourRequest(image, 33, 17);
        request.sampling = sampling;
        const EncodeResult result = Encode(request);
        ExpectWellFormed(result);
        for (const Segment& s : ParseJpeg(result.bytes).segments)
            if (s.marker == 0xC0) {
                ASSERT_EQ(s.payload.size(), 15u);
                EXPECT_EQ(s.payload[7], factors.first << 4 | factors.second) << sampling;
                EXPECT_EQ(s.payload[10], 0x11);
                EXPECT_EQ(s.payload[13], 0x11);
            }
        const Decoded decoded = DecodeTurbo(result.bytes, 3);
        ASSERT_TRUE(decoded.ok) << decoded.error;
        EXPECT_GT(Psnr(decoded.pixels.data(), image.data(), image.size()), 25.0) << sampling;
    }
}

TEST(JpegEncoderTables, QualityZeroWritesAnnexKAndHundredWritesOnes) {
    const auto image = MakeTestImage(16, 8, 3);
    EncodeRequest request = ColourRequest(image, 16, 8);
    request.quality = 0;
    const auto annex_k = Encode(request).bytes;
    EXPECT_EQ(DqtEntriesNatural(annex_k, 0), LibjpegQuantTable(50, 0));
    EXPECT_EQ(DqtEntriesNatural(annex_k, 1), LibjpegQuantTable(50, 1));
    for (int quality : {100, 101, 1000}) {
        request.quality = quality;
        const auto bytes = Encode(request).bytes;
        EXPECT_EQ(DqtEntriesNatural(bytes, 0), std::vector<int>(64, 1)) << quality;
        EXPECT_EQ(DqtEntriesNatural(bytes, 1), std::vector<int>(64, 1)) << quality;
    }
}

TEST(JpegEncoderTables, ScalingMatchesLibjpegAtEveryQuality) {
    const auto image = MakeTestImage(16, 8, 3);
    EncodeRequest request = ColourRequest(image, 16, 8);
    for (int quality = 1; quality <= 100; ++quality) {
        request.quality = quality;
        const auto bytes = Encode(request).bytes;
        EXPECT_EQ(DqtEntriesNatural(bytes, 0), LibjpegQuantTable(quality, 0)) << quality;
        EXPECT_EQ(DqtEntriesNatural(bytes, 1), LibjpegQuantTable(quality, 1)) << quality;
    }
}

TEST(JpegEncoderTables, FinerQualityGivesLargerFiles) {
    const auto image = MakeTestImage(160, 120, 3);
    EncodeRequest request = ColourRequest(image, 160, 120);
    size_t previous = 0;
    for (int quality : {10, 50, 75, 90, 100}) {
        request.quality = quality;
        const size_t size = Encode(request).bytes.size();
        EXPECT_GT(size, previous) << quality;
        previous = size;
    }
}

// The 17 x 9 grey image has one component of 2 x 1 sampling: 3 blocks across
// and 2 down as a decoder counts them, although the MCUs cover 32 x 16.
TEST(JpegEncoderBlocks, Grey17x9CoefficientsMatchExactDct) {
    const auto image = MakeTestImage(17, 9, 1, 7);
    const EncodeResult result = Encode(GreyRequest(image, 17, 9));
    ExpectWellFormed(result);
    const ComponentCoefficients coefficients = ReadCoefficients(result.bytes, 0);
    ASSERT_TRUE(coefficients.ok);
    EXPECT_EQ(coefficients.component_id, 0);
    EXPECT_EQ(coefficients.h_samp, 2);
    EXPECT_EQ(coefficients.v_samp, 1);
    ASSERT_EQ(coefficients.width_in_blocks, 3);
    ASSERT_EQ(coefficients.height_in_blocks, 2);

    // The padded image repeats the last column and row.
    std::vector<uint8_t> padded(32 * 16);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 32; ++x) padded[y * 32 + x] = image[std::min(y, 8) * 17 + std::min(x, 16)];
    for (int by = 0; by < 2; ++by)
        for (int bx = 0; bx < 3; ++bx) {
            double exact[64];
            ReferenceDct(padded.data() + by * 8 * 32 + bx * 8, 32, coefficients.quant_natural.data(), exact);
            for (int i = 0; i < 64; ++i)
                EXPECT_TRUE(RoundsCorrectly(coefficients.blocks[by][bx][i], exact[i])) << by << "," << bx << "," << i;
        }

    const Decoded decoded = DecodeTurbo(result.bytes, 1);
    ASSERT_TRUE(decoded.ok) << decoded.error;
    EXPECT_EQ(decoded.width, 17);
    EXPECT_EQ(decoded.height, 9);
}

// Widths on either side of the block and MCU edges, grey and colour.
TEST(JpegEncoderBlocks, EveryWidthDecodes) {
    for (int channels : {1, 3}) {
        for (int width : {1, 2, 7, 8, 9, 15, 16, 17, 23, 24, 25, 31, 32, 33, 47}) {
            for (int height : {1, 8, 9}) {
                const auto image = MakeTestImage(width, height, channels, static_cast<uint32_t>(width));
                const EncodeRequest request =
                    channels == 1 ? GreyRequest(image, width, height) : ColourRequest(image, width, height);
                const EncodeResult result = Encode(request);
                ExpectWellFormed(result);
                const Decoded decoded = DecodeTurbo(result.bytes, channels);
                ASSERT_TRUE(decoded.ok) << width << "x" << height << ": " << decoded.error;
                EXPECT_EQ(decoded.width, width);
                EXPECT_EQ(decoded.height, height);
                const Decoded theirs = DecodeTurbo(
                    CompressTurbo(image.data(), width, height, channels, channels == 1 ? TJSAMP_GRAY : TJSAMP_422, 50),
                    channels);
                ASSERT_TRUE(theirs.ok);
                // A handful of pixels gives a noisy PSNR; any 40 dB is good enough.
                const double ours_psnr = Psnr(decoded.pixels.data(), image.data(), image.size());
                const double theirs_psnr = Psnr(theirs.pixels.data(), image.data(), image.size());
                EXPECT_GT(ours_psnr, std::min(theirs_psnr - 1.0, 40.0)) << channels << " " << width << "x" << height;
            }
        }
    }
}

TEST(JpegEncoderBlocks, WidthOneCarriesTrueSizeInFrameHeader) {
    const auto image = MakeTestImage(1, 20, 3);
    const EncodeResult result = Encode(ColourRequest(image, 1, 20));
    ExpectWellFormed(result);
    for (const Segment& s : ParseJpeg(result.bytes).segments)
        if (s.marker == 0xC0) {
            EXPECT_EQ(s.payload[1] << 8 | s.payload[2], 20);  // height
            EXPECT_EQ(s.payload[3] << 8 | s.payload[4], 1);   // width
        }
    const Decoded decoded = DecodeTurbo(result.bytes, 3);
    ASSERT_TRUE(decoded.ok) << decoded.error;
    EXPECT_EQ(decoded.width, 1);
    EXPECT_EQ(decoded.height, 20);
}

TEST(JpegEncoderRestart, IntervalTwoPutsRestartsInTurn) {
    // 5 x 3 MCUs of 16 x 8: 15 MCUs, a restart before MCUs 3, 5, ... 15.
    const auto image = MakeTestImage(80, 24, 3);
    EncodeRequest request = ColourRequest(image, 80, 24);
    request.restart_interval = 2;
    const EncodeResult result = Encode(request);
    ExpectWellFormed(result);
    const JpegLayout layout = ParseJpeg(result.bytes);
    bool has_dri = false;
    for (const Segment& s : layout.segments)
        if (s.marker == 0xDD) {
            has_dri = true;
            EXPECT_EQ(s.payload, (std::vector<uint8_t>{0x00, 0x02}));
        }
    EXPECT_TRUE(has_dri);
    EXPECT_EQ(layout.restarts, (std::vector<uint8_t>{0, 1, 2, 3, 4, 5, 6}));
    const Decoded decoded = DecodeTurbo(result.bytes, 3);
    ASSERT_TRUE(decoded.ok) << decoded.error;
    EXPECT_GT(Psnr(decoded.pixels.data(), image.data(), image.size()), 30.0);
}

TEST(JpegEncoderRestart, NumbersWrapAfterSeven) {
    const auto image = MakeTestImage(160, 8, 3);
    EncodeRequest request = ColourRequest(image, 160, 8);
    request.restart_interval = 1;
    const EncodeResult result = Encode(request);
    const JpegLayout layout = ParseJpeg(result.bytes);
    EXPECT_EQ(layout.restarts, (std::vector<uint8_t>{0, 1, 2, 3, 4, 5, 6, 7, 0}));
    ASSERT_TRUE(DecodeTurbo(result.bytes, 3).ok);
}

// A one-component scan counts its restart interval in blocks.
TEST(JpegEncoderRestart, GreyScanRestartsCountBlocks) {
    for (int width : {24, 40, 41}) {
        const auto image = MakeTestImage(width, 16, 1);
        EncodeRequest request = GreyRequest(image, width, 16);
        request.restart_interval = 2;
        const EncodeResult result = Encode(request);
        const int blocks = (width + 7) / 8 * 2;
        const JpegLayout layout = ParseJpeg(result.bytes);
        EXPECT_EQ(static_cast<int>(layout.restarts.size()), (blocks - 1) / 2) << width;
        const ComponentCoefficients coefficients = ReadCoefficients(result.bytes, 0);
        EXPECT_TRUE(coefficients.ok) << width;
        const Decoded decoded = DecodeTurbo(result.bytes, 1);
        ASSERT_TRUE(decoded.ok) << width << ": " << decoded.error;
        EXPECT_GT(Psnr(decoded.pixels.data(), image.data(), image.size()), 30.0);
    }
}

// Our files against libjpeg-turbo's at the same tables and sampling: the
// error must be that of a baseline JPEG at that quality.
TEST(JpegEncoderQuality, PsnrMatchesLibjpegTurboAtSameQuality) {
    const int width = 320, height = 240;
    for (int channels : {1, 3}) {
        const auto image = MakeTestImage(width, height, channels);
        for (int quality : {0, 10, 25, 50, 75, 90, 100}) {
            EncodeRequest request = channels == 1 ? GreyRequest(image, width, height) : ColourRequest(image, width, height);
            request.quality = quality;
            const EncodeResult ours = Encode(request);
            const Decoded ours_decoded = DecodeTurbo(ours.bytes, channels);
            ASSERT_TRUE(ours_decoded.ok) << ours_decoded.error;
            const int libjpeg_quality = quality == 0 ? 50 : quality;
            const auto theirs =
                CompressTurbo(image.data(), width, height, channels, channels == 1 ? TJSAMP_GRAY : TJSAMP_422,
                              libjpeg_quality);
            const Decoded theirs_decoded = DecodeTurbo(theirs, channels);
            ASSERT_TRUE(theirs_decoded.ok);
            const double ours_psnr = Psnr(ours_decoded.pixels.data(), image.data(), image.size());
            const double theirs_psnr = Psnr(theirs_decoded.pixels.data(), image.data(), image.size());
            std::printf("channels %d quality %3d: PSNR ours %.2f dB, libjpeg-turbo %.2f dB; "
                        "size ours %zu, libjpeg-turbo %zu\n",
                        channels, quality, ours_psnr, theirs_psnr, ours.bytes.size(), theirs.size());
            EXPECT_GT(ours_psnr, theirs_psnr - 0.3) << channels << " " << quality;
            EXPECT_LT(static_cast<double>(ours.bytes.size()), theirs.size() * 1.05) << channels << " " << quality;
        }
    }
}

TEST(JpegEncoderPaths, EveryCodePathWritesTheSameFile) {
    const auto image = MakeTestImage(203, 61, 3, 3);
    const auto grey = MakeTestImage(203, 61, 1, 3);
    std::vector<std::vector<uint8_t>> outputs;
    for (jpeg::SimdLevel level : {jpeg::SimdLevel::kScalar, jpeg::SimdLevel::kAvx2, jpeg::SimdLevel::kAvx512}) {
        if (level > jpeg::DetectedSimdLevel()) continue;
        CJPEGEncoder encoder;
        encoder.SetSimdLevel(level);
        const auto colour = Encode(ColourRequest(image, 203, 61), &encoder).bytes;
        const auto mono = Encode(GreyRequest(grey, 203, 61), &encoder).bytes;
        std::vector<uint8_t> both = colour;
        both.insert(both.end(), mono.begin(), mono.end());
        outputs.push_back(both);
    }
    for (size_t i = 1; i < outputs.size(); ++i) EXPECT_EQ(outputs[i], outputs[0]) << i;
}

TEST(JpegEncoderSources, SourceLayouts) {
    const int width = 37, height = 21;
    const auto bgr = MakeTestImage(width, height, 3);
    std::vector<uint8_t> bgrx(static_cast<size_t>(width) * height * 4), rgb(bgr.size());
    std::vector<uint8_t> padded_stride(static_cast<size_t>(width * 3 + 5) * height, 0xEE);
    for (int i = 0; i < width * height; ++i) {
        for (int c = 0; c < 3; ++c) {
            bgrx[i * 4 + c] = bgr[i * 3 + c];
            rgb[i * 3 + c] = bgr[i * 3 + 2 - c];
        }
        bgrx[i * 4 + 3] = static_cast<uint8_t>(i * 13);
        const int y = i / width, x = i % width;
        std::copy_n(&bgr[i * 3], 3, &padded_stride[static_cast<size_t>(y) * (width * 3 + 5) + x * 3]);
    }
    const auto reference = Encode(ColourRequest(bgr, width, height)).bytes;
    EncodeRequest request = ColourRequest(bgrx, width, height);
    request.channels = 4;
    EXPECT_EQ(Encode(request).bytes, reference);
    request = ColourRequest(rgb, width, height);
    request.source_color = kJpegRgb;
    EXPECT_EQ(Encode(request).bytes, reference);
    request = ColourRequest(padded_stride, width, height);
    request.stride = width * 3 + 5;
    EXPECT_EQ(Encode(request).bytes, reference);
}

// A grey frame of a movie goes into a three-component file with flat chroma.
TEST(JpegEncoderSources, GreySourceToYCbCrHasFlatChroma) {
    const auto grey = MakeTestImage(64, 32, 1);
    EncodeRequest request = GreyRequest(grey, 64, 32);
    request.color = kJpegYCbCr;
    const EncodeResult result = Encode(request);
    ExpectWellFormed(result);
    const Decoded decoded = DecodeTurbo(result.bytes, 3);
    ASSERT_TRUE(decoded.ok) << decoded.error;
    EXPECT_EQ(decoded.subsampling, TJSAMP_422);
    for (int c : {1, 2}) {
        const ComponentCoefficients chroma = ReadCoefficients(result.bytes, c);
        ASSERT_TRUE(chroma.ok);
        for (const auto& row : chroma.blocks)
            for (const auto& block : row)
                for (int coefficient : block) EXPECT_EQ(coefficient, 0);
    }
    const Decoded as_grey = DecodeTurbo(result.bytes, 1);
    ASSERT_TRUE(as_grey.ok);
    EXPECT_GT(Psnr(as_grey.pixels.data(), grey.data(), grey.size()), 35.0);
}

TEST(JpegEncoderSources, BgrToGreyFile) {
    const auto bgr = MakeTestImage(40, 16, 3);
    EncodeRequest request = ColourRequest(bgr, 40, 16);
    request.color = kJpegGrey;
    const EncodeResult result = Encode(request);
    ExpectWellFormed(result);
    const Decoded decoded = DecodeTurbo(result.bytes, 1);
    ASSERT_TRUE(decoded.ok) << decoded.error;
    std::vector<uint8_t> luma(40 * 16);
    for (size_t i = 0; i < luma.size(); ++i)
        luma[i] = static_cast<uint8_t>(std::lround(0.114 * bgr[i * 3] + 0.587 * bgr[i * 3 + 1] + 0.299 * bgr[i * 3 + 2]));
    EXPECT_GT(Psnr(decoded.pixels.data(), luma.data(), luma.size()), 35.0);
}

// One encoder for a run of frames of changing size, as a movie writer uses it.
TEST(JpegEncoderSources, EncoderIsReusedAcrossFrames) {
    CJPEGEncoder encoder;
    for (auto [width, height] : {std::pair{64, 48}, std::pair{17, 9}, std::pair{130, 70}, std::pair{64, 48}}) {
        const auto image = MakeTestImage(width, height, 3, static_cast<uint32_t>(width));
        const EncodeResult result = Encode(ColourRequest(image, width, height), &encoder);
        ExpectWellFormed(result);
        EXPECT_EQ(result.bytes, Encode(ColourRequest(image, width, height)).bytes);
    }
}

TEST(JpegEncoderErrors, BadParametersAreRefused) {
    const auto image = MakeTestImage(16, 16, 3);
    struct Case {
        const char* what;
        EncodeRequest request;
        int mode;
        int optimal;
        int expected;
    };
    EncodeRequest base = ColourRequest(image, 16, 16);
    auto with = [&](auto change) {
        EncodeRequest r = base;
        change(r);
        return r;
    };
    const Case cases[] = {
        {"progressive", base, 3, 0, kJpegNotImplemented},
        {"extended", base, 2, 0, kJpegNotImplemented},
        {"lossless", base, 4, 0, kJpegNotImplemented},
        {"mode 0", base, 0, 0, kJpegBadParameters},
        {"optimal tables", base, 1, 1, kJpegNotImplemented},
        {"CMYK file", with([](EncodeRequest& r) { r.color = kJpegCmyk; }), 1, 0, kJpegNotImplemented},
        {"colour 7", with([](EncodeRequest& r) { r.color = 7; }), 1, 0, kJpegBadParameters},
        {"sampling 2", with([](EncodeRequest& r) { r.sampling = 2; }), 1, 0, kJpegBadParameters},
        {"width 0", with([](EncodeRequest& r) { r.width = 0; }), 1, 0, kJpegBadParameters},
        {"height 65536", with([](EncodeRequest& r) { r.height = 65536; }), 1, 0, kJpegBadParameters},
        {"quality -1", with([](EncodeRequest& r) { r.quality = -1; }), 1, 0, kJpegBadParameters},
        {"restart 65536", with([](EncodeRequest& r) { r.restart_interval = 65536; }), 1, 0, kJpegBadParameters},
        {"short stride", with([](EncodeRequest& r) { r.stride = 47; }), 1, 0, kJpegBadParameters},
        {"grey with 3 channels", with([](EncodeRequest& r) { r.source_color = kJpegGrey; }), 1, 0, kJpegBadParameters},
        {"BGR with 1 channel", with([](EncodeRequest& r) { r.channels = 1; }), 1, 0, kJpegBadParameters},
    };
    for (const Case& c : cases) {
        CJPEGEncoder encoder;
        const EncodeRequest& r = c.request;
        encoder.SetSource(r.pixels, r.stride ? r.stride : r.width * r.channels, JpegSize{r.width, r.height},
                          r.channels, r.source_color, 0, 8);
        EXPECT_EQ(encoder.SetParams(c.mode, r.color, r.sampling, r.restart_interval, c.optimal, r.quality),
                  c.expected)
            << c.what;
        EXPECT_EQ(encoder.WriteHeader(), kJpegBadParameters) << c.what;
    }
    CJPEGEncoder encoder;
    EXPECT_EQ(encoder.SetSource(nullptr, 48, JpegSize{16, 16}, 3, kJpegBgr, 0, 8), kJpegBadParameters);
    EXPECT_EQ(encoder.AttachStream(nullptr), kJpegBadParameters);
    EXPECT_EQ(encoder.WriteData(), kJpegBadParameters);
}

// A stream that takes only so many bytes.
class ShortStream : public CBaseStreamOutput {
public:
    explicit ShortStream(uint32_t capacity) : capacity_(capacity) {}
    int Open() override { return 0; }
    int Close() override { return 0; }
    int Write(const void*, uint32_t size, uint32_t* written) override {
        *written = std::min(size, capacity_ - taken_);
        taken_ += *written;
        return *written == size ? 0 : kJpegIoError;
    }

private:
    uint32_t capacity_;
    uint32_t taken_ = 0;
};

TEST(JpegEncoderErrors, ShortStreamWritesSurface) {
    const auto image = MakeTestImage(256, 256, 3);
    for (uint32_t capacity : {10u, 700u, 5000u}) {
        ShortStream stream(capacity);
        CJPEGEncoder encoder;
        encoder.AttachStream(&stream);
        encoder.SetSource(image.data(), 256 * 3, JpegSize{256, 256}, 3, kJpegBgr, 0, 8);
        ASSERT_EQ(encoder.SetParams(1, kJpegYCbCr, 1, 0, 0, 100), 0);
        const int header = encoder.WriteHeader();
        const int data = header == 0 ? encoder.WriteData() : header;
        EXPECT_EQ(data, kJpegIoError) << capacity;
    }
}

TEST(JpegEncoderErrors, StatusTexts) {
    EXPECT_STREQ(JpegStatusText(0), "no error");
    EXPECT_STREQ(JpegStatusText(-1), "requested feature is not implemented");
    EXPECT_STREQ(JpegStatusText(-2), "internal error");
    EXPECT_STREQ(JpegStatusText(-3), "wrong parameters");
    EXPECT_STREQ(JpegStatusText(-4), "buffer too small");
    EXPECT_STREQ(JpegStatusText(-5), "file io operation failed");
    EXPECT_STREQ(JpegStatusText(-6), "memory allocation failed");
    EXPECT_STREQ(JpegStatusText(-7), "bad segment data");
    EXPECT_STREQ(JpegStatusText(-8), "bad huffman table segment");
    EXPECT_STREQ(JpegStatusText(-9), "bad quant table segment");
    EXPECT_STREQ(JpegStatusText(-10), "bad scan segment");
    EXPECT_STREQ(JpegStatusText(-11), "bad frame segment");
    EXPECT_STREQ(JpegStatusText(-12), "wrong restart marker");
    EXPECT_STREQ(JpegStatusText(-13), "unknown code");
    EXPECT_STREQ(JpegStatusText(1), "unknown code");
}

}  // namespace
}  // namespace kavix::test
