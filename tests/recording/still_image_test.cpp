// Still image files through the exports of a simulated camera's session,
// checked byte by byte where the layout is ours and by the real readers
// (libtiff, libpng, TurboJPEG).
#include <gtest/gtest.h>
#include <png.h>
#include <cstdarg>
#include <tiffio.h>
#include <turbojpeg.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "KavixD.h"
#include "recording/still_image.h"
#include "session/export_frame.h"
#include "tests/recording/jpeg_test_support.h"
#include "tests/recording/test_image.h"
#include "tests/session/sim_bus.h"

namespace kavix::test {
namespace {

namespace fs = std::filesystem;
using stills::ImageFileType;

std::vector<uint8_t> ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

uint32_t U32(const std::vector<uint8_t>& b, size_t at) {
    return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
}
uint16_t U16(const std::vector<uint8_t>& b, size_t at) { return static_cast<uint16_t>(b[at] | b[at + 1] << 8); }

std::vector<uint8_t> Words(const std::vector<uint16_t>& values) {
    std::vector<uint8_t> bytes;
    for (uint16_t v : values) {
        bytes.push_back(static_cast<uint8_t>(v));
        bytes.push_back(static_cast<uint8_t>(v >> 8));
    }
    return bytes;
}

// A simulated camera's session and a scratch directory.
class StillImageTest : public SimBus {
protected:
    void SetUp() override {
        SimBus::SetUp();
        plug_camera(7);
        camera_ = Kavix_Open(7);
        ASSERT_NE(camera_, nullptr) << std::hex << Kavix_GetLastError(nullptr);
        std::string pattern = (fs::temp_directory_path() / "kavix_stills_XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        dir_ = pattern;
    }
    void TearDown() override {
        if (camera_ != nullptr) Kavix_Close(camera_);
        if (!dir_.empty()) fs::remove_all(dir_);
        SimBus::TearDown();
    }

    KAVIX_HANDLE handle() { return camera_; }
    uint32_t last_error() { return Kavix_GetLastError(camera_); }
    void clear_error() { session_of(camera_)->set_error(0); }
    fs::path Path(const std::string& name) const { return dir_ / name; }

    KAVIX_BOOL Save(const std::string& name, uint32_t width, uint32_t height, uint32_t format,
                    const void* pixels, uint32_t quality = 0) {
        return Kavix_SaveImageA(handle(), width, height, format, pixels, Path(name).c_str(), quality);
    }

    KAVIX_HANDLE camera_ = nullptr;
    fs::path dir_;
};

TEST(StillImageType, ExtensionSelectsType) {
    struct Case {
        const char* name;
        int type;  // 0: none
    };
    const Case cases[] = {
        {"shot.tif", 3},   {"shot.TIF", 3},     {"shot.TIFF", 3},   {"shot.t", 3},     {"shot.Ti", 3},
        {"shot.raw", 1},   {"shot.", 1},        {"shot.R", 1},      {"shot.bmp", 2},   {"shot.b", 2},
        {"shot.jpg", 4},   {"shot.JPEG", 4},    {"shot.j", 4},      {"shot.jpe", 4},   {"shot.png", 5},
        {"shot.P", 5},     {"a.b.png", 5},      {"shot.bmpx", 0},   {"shot.tifx", 0},  {"shot.tiffx", 0},
        {"shot.jpgg", 0},  {"shot.rawr", 0},    {"shot.gif", 0},    {"shot", 0},       {"dir.d/shot", 0},
        {"/tmp/a.png/shot", 0}, {"shot.png ", 0}, {"", 0},
    };
    for (const Case& c : cases) {
        const auto narrow = stills::ImageFileTypeOf(std::string_view(c.name));
        EXPECT_EQ(narrow ? static_cast<int>(*narrow) : 0, c.type) << c.name;
        const std::u16string wide(c.name, c.name + std::char_traits<char>::length(c.name));
        const auto w = stills::ImageFileTypeOf(std::u16string_view(wide));
        EXPECT_EQ(w ? static_cast<int>(*w) : 0, c.type) << c.name << " (wide)";
    }
}

TEST_F(StillImageTest, TiffByEveryNameForm) {
    const std::vector<uint8_t> grey(6, 9);
    for (const char* name : {"shot.tif", "shot.TIF", "shot.TIFF", "shot.t"}) {
        ASSERT_EQ(Save(name, 3, 2, 1, grey.data()), 1) << name;
        const auto bytes = ReadFile(Path(name));
        ASSERT_EQ(bytes.size(), 162u + 6u) << name;
        EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 8),
                  (std::vector<uint8_t>{'I', 'I', 42, 0, 8, 0, 0, 0}))
            << name;
    }
}

TEST_F(StillImageTest, UnknownExtensionsFailWithoutAFile) {
    const std::vector<uint8_t> grey(4, 1);
    fs::create_directory(Path("dir.d"));
    for (const char* name : {"shot.bmpx", "dir.d/shot", "shot"}) {
        clear_error();
        EXPECT_EQ(Save(name, 2, 2, 1, grey.data()), 0) << name;
        EXPECT_EQ(last_error(), KAVIX_E_BAD_EXTENSION) << name;
        EXPECT_FALSE(fs::exists(Path(name))) << name;
    }
    const std::u16string wide = Path("shot.bmpx").u16string();
    clear_error();
    EXPECT_EQ(Kavix_SaveImageW(handle(), 2, 2, 1, grey.data(), wide.c_str(), 0), 0);
    EXPECT_EQ(last_error(), KAVIX_E_BAD_EXTENSION);
    EXPECT_FALSE(fs::exists(Path("shot.bmpx")));
}

TEST_F(StillImageTest, BadArguments) {
    const std::vector<uint8_t> grey(4, 1);
    EXPECT_EQ(Kavix_SaveImageA(nullptr, 2, 2, 1, grey.data(), Path("a.bmp").c_str(), 0), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
    EXPECT_EQ(Kavix_SaveImageA(handle(), 2, 2, 1, grey.data(), nullptr, 0), 0);
    EXPECT_EQ(last_error(), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Kavix_SaveImageW(handle(), 2, 2, 1, grey.data(), nullptr, 0), 0);
    EXPECT_EQ(last_error(), KAVIX_ERROR_INVALID_PARAMETER);
    // An image that cannot be read leaves an existing file alone.
    std::ofstream(Path("keep.bmp")) << "old";
    for (auto [width, height, pixels] : {std::tuple{2u, 2u, static_cast<const void*>(nullptr)},
                                         std::tuple{0u, 2u, static_cast<const void*>(grey.data())},
                                         std::tuple{2u, 0u, static_cast<const void*>(grey.data())}}) {
        clear_error();
        EXPECT_EQ(Save("keep.bmp", width, height, 1, pixels), 0);
        EXPECT_EQ(last_error(), KAVIX_ERROR_INVALID_PARAMETER);
        EXPECT_EQ(ReadFile(Path("keep.bmp")).size(), 3u);
    }
    EXPECT_EQ(Save("missing/shot.png", 2, 2, 1, grey.data()), 0);
    EXPECT_EQ(last_error(), KAVIX_E_IMAGE_FILE_OPEN);
}

// Each type refuses the formats it does not take after opening the file,
// which is then empty; an old file of the name is lost.
TEST_F(StillImageTest, RefusedFormatsLeaveAnEmptyFile) {
    const std::vector<uint8_t> pixels(4 * 4 * 8, 0x55);
    struct Case {
        const char* name;
        uint32_t format;
    };
    const Case cases[] = {{"a.bmp", 2},  {"a.bmp", 16}, {"a.bmp", 64}, {"a.raw", 4},   {"a.raw", 8},
                          {"a.tif", 3},  {"a.tif", 256}, {"a.jpg", 2}, {"a.jpg", 16},  {"a.png", 2},
                          {"a.png", 32}, {"a.png", 0}};
    for (const Case& c : cases) {
        std::ofstream(Path(c.name)) << "old content";
        clear_error();
        EXPECT_EQ(Save(c.name, 4, 4, c.format, pixels.data()), 0) << c.name << " " << c.format;
        EXPECT_EQ(last_error(), KAVIX_ERROR_INVALID_PARAMETER) << c.name << " " << c.format;
        EXPECT_TRUE(fs::exists(Path(c.name)));
        EXPECT_EQ(fs::file_size(Path(c.name)), 0u) << c.name << " " << c.format;
    }
}

TEST_F(StillImageTest, RawHoldsThePlainBuffer) {
    const std::vector<uint8_t> mono8 = MakeTestImage(5, 3, 1);
    ASSERT_EQ(Save("a.raw", 5, 3, 1, mono8.data()), 1);
    EXPECT_EQ(ReadFile(Path("a.raw")), mono8);
    const std::vector<uint8_t> ten_bit = Words({0, 1, 512, 1023, 77, 1000});
    for (uint32_t format : {2u, 16u, 32u, 64u}) {
        ASSERT_EQ(Save("b.raw", 3, 2, format, ten_bit.data()), 1);
        EXPECT_EQ(ReadFile(Path("b.raw")), ten_bit) << format;
    }
}

TEST_F(StillImageTest, RawShortWriteIsReported) {
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    fs::create_symlink("/dev/full", Path("full.raw"));
    const std::vector<uint8_t> big(256 * 1024, 3);
    EXPECT_EQ(Save("full.raw", 512, 512, 1, big.data()), 0);
    EXPECT_EQ(last_error(), KAVIX_E_RAW_SHORT_WRITE);
    // The hand-made headers' writes are not checked.
    fs::create_symlink("/dev/full", Path("full.bmp"));
    EXPECT_EQ(Save("full.bmp", 512, 512, 1, big.data()), 1);
}

TEST_F(StillImageTest, Bmp24HasUnpaddedRowsBottomUp) {
    // 3 x 2 pixels: 9-byte rows.
    const std::vector<uint8_t> bgr = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18};
    ASSERT_EQ(Save("a.bmp", 3, 2, 4, bgr.data()), 1);
    const auto bytes = ReadFile(Path("a.bmp"));
    ASSERT_EQ(bytes.size(), 54u + 18u);
    EXPECT_EQ(U16(bytes, 0), 19778);
    EXPECT_EQ(U32(bytes, 2), 72u);
    EXPECT_EQ(U32(bytes, 6), 0u);
    EXPECT_EQ(U32(bytes, 10), 54u);
    EXPECT_EQ(U32(bytes, 14), 40u);
    EXPECT_EQ(U32(bytes, 18), 3u);
    EXPECT_EQ(U32(bytes, 22), 2u);
    EXPECT_EQ(U16(bytes, 26), 1);
    EXPECT_EQ(U16(bytes, 28), 24);
    EXPECT_EQ(U32(bytes, 30), 0u);
    EXPECT_EQ(U32(bytes, 34), 18u);
    for (size_t at : {38u, 42u, 46u, 50u}) EXPECT_EQ(U32(bytes, at), 0u) << at;
    // Bottom row first, channels as given.
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 54, bytes.end()),
              (std::vector<uint8_t>{10, 11, 12, 13, 14, 15, 16, 17, 18, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(StillImageTest, Bmp8HasAGreyPalette) {
    const std::vector<uint8_t> grey = {0, 50, 100, 150, 200, 250};
    ASSERT_EQ(Save("a.bmp", 2, 3, 1, grey.data()), 1);
    const auto bytes = ReadFile(Path("a.bmp"));
    ASSERT_EQ(bytes.size(), 1078u + 6u);
    EXPECT_EQ(U32(bytes, 2), 1084u);
    EXPECT_EQ(U32(bytes, 10), 1078u);
    EXPECT_EQ(U16(bytes, 28), 8);
    EXPECT_EQ(U32(bytes, 34), 6u);
    EXPECT_EQ(U32(bytes, 46), 256u);
    EXPECT_EQ(U32(bytes, 50), 256u);
    for (uint32_t i = 0; i < 256; ++i) EXPECT_EQ(U32(bytes, 54 + 4 * i), i * 0x010101u) << i;
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 1078, bytes.end()),
              (std::vector<uint8_t>{200, 250, 100, 150, 0, 50}));
}

TEST_F(StillImageTest, Bmp32KeepsFourBytes) {
    const std::vector<uint8_t> bgrx = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_EQ(Save("a.bmp", 1, 2, 8, bgrx.data()), 1);
    const auto bytes = ReadFile(Path("a.bmp"));
    ASSERT_EQ(bytes.size(), 62u);
    EXPECT_EQ(U16(bytes, 28), 32);
    EXPECT_EQ(U32(bytes, 34), 8u);
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 54, bytes.end()), (std::vector<uint8_t>{5, 6, 7, 8, 1, 2, 3, 4}));
}

struct TiffEntry {
    uint16_t tag, type;
    uint32_t count, value;
};

std::vector<TiffEntry> TiffDirectory(const std::vector<uint8_t>& bytes) {
    std::vector<TiffEntry> entries;
    const uint16_t count = U16(bytes, 8);
    for (uint16_t i = 0; i < count; ++i) {
        const size_t at = 10 + 12u * i;
        TiffEntry e{U16(bytes, at), U16(bytes, at + 2), U32(bytes, at + 4), U32(bytes, at + 8)};
        entries.push_back(e);
    }
    return entries;
}

void ExpectDirectory(const std::vector<uint8_t>& bytes, const std::vector<TiffEntry>& expected) {
    const auto entries = TiffDirectory(bytes);
    ASSERT_EQ(entries.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(entries[i].tag, expected[i].tag) << i;
        EXPECT_EQ(entries[i].type, expected[i].type) << i;
        EXPECT_EQ(entries[i].count, expected[i].count) << i;
        EXPECT_EQ(entries[i].value, expected[i].value) << i;
    }
}

void ExpectRational72(const std::vector<uint8_t>& bytes, size_t at) {
    EXPECT_EQ(U32(bytes, at), 720000u);
    EXPECT_EQ(U32(bytes, at + 4), 10000u);
}

TEST_F(StillImageTest, TiffGreyDirectoryAndShifts) {
    const std::vector<uint16_t> values = {0, 1, 512, 1023, 77, 1000};
    const std::vector<uint8_t> ten_bit = Words(values);
    const std::vector<uint8_t> untouched = ten_bit;
    ASSERT_EQ(Save("a.tif", 3, 2, 16, ten_bit.data()), 1);
    EXPECT_EQ(ten_bit, untouched);
    const auto bytes = ReadFile(Path("a.tif"));
    ASSERT_EQ(bytes.size(), 162u + 12u);
    ExpectDirectory(bytes, {{256, 3, 1, 3}, {257, 3, 1, 2}, {258, 3, 1, 16}, {259, 3, 1, 1}, {262, 3, 1, 1},
                            {273, 4, 1, 162}, {278, 3, 1, 2}, {279, 4, 1, 12}, {282, 5, 1, 146},
                            {283, 5, 1, 154}, {296, 3, 1, 2}});
    EXPECT_EQ(U32(bytes, 142), 0u);
    ExpectRational72(bytes, 146);
    ExpectRational72(bytes, 154);
    for (size_t i = 0; i < values.size(); ++i) EXPECT_EQ(U16(bytes, 162 + 2 * i), values[i] * 64) << i;

    // The other depths: shift so that the top significant bit lands on bit 15.
    const std::vector<std::pair<uint32_t, int>> shifts = {{2, 0}, {32, 4}, {64, 2}};
    for (auto [format, shift] : shifts) {
        ASSERT_EQ(Save("b.tif", 3, 2, format, ten_bit.data()), 1);
        const auto b = ReadFile(Path("b.tif"));
        for (size_t i = 0; i < values.size(); ++i)
            EXPECT_EQ(U16(b, 162 + 2 * i), static_cast<uint16_t>(values[i] << shift)) << format;
    }
    const std::vector<uint8_t> mono8 = {1, 2, 3, 4, 5, 6};
    ASSERT_EQ(Save("c.tif", 2, 3, 1, mono8.data()), 1);
    const auto c = ReadFile(Path("c.tif"));
    ASSERT_EQ(c.size(), 168u);
    EXPECT_EQ(TiffDirectory(c)[2].value, 8u);
    EXPECT_EQ(TiffDirectory(c)[7].value, 6u);
}

TEST_F(StillImageTest, TiffColourDirectories) {
    const std::vector<uint8_t> bgr = {10, 20, 30, 40, 50, 60};
    ASSERT_EQ(Save("a.tif", 2, 1, 4, bgr.data()), 1);
    const auto three = ReadFile(Path("a.tif"));
    ASSERT_EQ(three.size(), 186u);
    ExpectDirectory(three, {{256, 3, 1, 2}, {257, 3, 1, 1}, {258, 3, 3, 174}, {259, 3, 1, 1}, {262, 3, 1, 2},
                            {273, 4, 1, 180}, {277, 3, 1, 3}, {278, 3, 1, 1}, {279, 4, 1, 6}, {282, 5, 1, 158},
                            {283, 5, 1, 166}, {296, 3, 1, 2}});
    EXPECT_EQ(U32(three, 154), 0u);
    ExpectRational72(three, 158);
    ExpectRational72(three, 166);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(U16(three, 174 + 2 * i), 8);
    EXPECT_EQ(std::vector<uint8_t>(three.begin() + 180, three.end()), (std::vector<uint8_t>{30, 20, 10, 60, 50, 40}));

    const std::vector<uint8_t> bgrx = {10, 20, 30, 0xAB, 40, 50, 60, 0xFF};
    ASSERT_EQ(Save("b.tif", 2, 1, 8, bgrx.data()), 1);
    const auto four = ReadFile(Path("b.tif"));
    ASSERT_EQ(four.size(), 202u);
    ExpectDirectory(four, {{256, 3, 1, 2}, {257, 3, 1, 1}, {258, 3, 4, 186}, {259, 3, 1, 1}, {262, 3, 1, 2},
                           {273, 4, 1, 194}, {277, 3, 1, 4}, {278, 3, 1, 1}, {279, 4, 1, 8},
                           {282, 5, 1, 170}, {283, 5, 1, 178}, {296, 3, 1, 2}, {338, 3, 1, 0}});
    EXPECT_EQ(U32(four, 166), 0u);
    ExpectRational72(four, 170);
    ExpectRational72(four, 178);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(U16(four, 186 + 2 * i), 8);
    // Red first and a zero fourth byte, whatever the source held there.
    EXPECT_EQ(std::vector<uint8_t>(four.begin() + 194, four.end()),
              (std::vector<uint8_t>{30, 20, 10, 0, 60, 50, 40, 0}));
    EXPECT_EQ(bgrx[3], 0xAB);
}

TEST_F(StillImageTest, TiffRefusesSizesItsFieldsCannotHold) {
    const std::vector<uint8_t> row(70000, 1);
    EXPECT_EQ(Save("wide.tif", 70000, 1, 1, row.data()), 0);
    EXPECT_EQ(last_error(), KAVIX_ERROR_INVALID_PARAMETER);
}

// libtiff reads back every TIFF we write, sample for sample.
TEST_F(StillImageTest, LibtiffReadsEveryFormat) {
    // A warning means a stricter reader may refuse the file: count them.
    static int warnings;
    warnings = 0;
    TIFFSetWarningHandler([](const char*, const char*, va_list) { ++warnings; });
    const int width = 37, height = 11;
    for (uint32_t format : {1u, 2u, 16u, 32u, 64u, 4u, 8u}) {
        const uint32_t bpp = stills::BytesPerPixel(format);
        std::vector<uint8_t> image = MakeTestImage(width, height, static_cast<int>(bpp), format);
        const std::string name = "f" + std::to_string(format) + ".tif";
        ASSERT_EQ(Save(name, width, height, format, image.data()), 1);
        TIFF* tiff = TIFFOpen(Path(name).c_str(), "r");
        ASSERT_NE(tiff, nullptr) << format;
        uint32_t w = 0, h = 0;
        uint16_t bits = 0, samples = 0;
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &w);
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &h);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
        EXPECT_EQ(w, static_cast<uint32_t>(width));
        EXPECT_EQ(h, static_cast<uint32_t>(height));
        const int shift = format == 16 ? 6 : format == 32 ? 4 : format == 64 ? 2 : 0;
        std::vector<uint8_t> line(static_cast<size_t>(TIFFScanlineSize(tiff)));
        for (int y = 0; y < height; ++y) {
            ASSERT_EQ(TIFFReadScanline(tiff, line.data(), static_cast<uint32_t>(y), 0), 1) << format;
            for (int x = 0; x < width; ++x) {
                const uint8_t* p = image.data() + (static_cast<size_t>(y) * width + x) * bpp;
                if (format == 1) {
                    ASSERT_EQ(line[x], p[0]);
                } else if (bpp == 2) {
                    uint16_t got;
                    std::memcpy(&got, line.data() + 2 * x, 2);
                    ASSERT_EQ(got, static_cast<uint16_t>((p[0] | p[1] << 8) << shift)) << format;
                } else {
                    const uint8_t* q = line.data() + static_cast<size_t>(x) * samples;
                    ASSERT_EQ(q[0], p[2]);
                    ASSERT_EQ(q[1], p[1]);
                    ASSERT_EQ(q[2], p[0]);
                    if (samples == 4) {
                        ASSERT_EQ(q[3], 0);
                    }
                }
            }
        }
        EXPECT_EQ(bits, format == 1 || bpp > 2 ? 8 : 16);
        EXPECT_EQ(samples, bpp > 2 ? bpp : 1);
        TIFFClose(tiff);
        EXPECT_EQ(warnings, 0) << "libtiff warned about format " << format;
        warnings = 0;
    }
}

// Reads a PNG with libpng's simplified interface into grey or RGB.
bool ReadPng(const fs::path& path, bool grey, std::vector<uint8_t>& pixels, uint32_t& width, uint32_t& height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
    image.format = grey ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
    pixels.resize(PNG_IMAGE_SIZE(image));
    width = image.width;
    height = image.height;
    const bool ok = png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) != 0;
    png_image_free(&image);
    return ok;
}

TEST_F(StillImageTest, PngInterlaceFollowsQualitysLowestBit) {
    const int width = 29, height = 13;
    for (uint32_t format : {1u, 4u, 8u}) {
        const uint32_t bpp = stills::BytesPerPixel(format);
        const std::vector<uint8_t> image = MakeTestImage(width, height, static_cast<int>(bpp), 40 + format);
        for (uint32_t quality : {0u, 1u, 2u, 99u, 100u}) {
            const std::string name = "p" + std::to_string(format) + "_" + std::to_string(quality) + ".png";
            ASSERT_EQ(Save(name, width, height, format, image.data(), quality), 1) << name;
            const auto bytes = ReadFile(Path(name));
            ASSERT_GT(bytes.size(), 33u);
            // IHDR: width, height, depth 8, colour type, compression, filter, interlace.
            EXPECT_EQ(std::string(bytes.begin() + 12, bytes.begin() + 16), "IHDR");
            EXPECT_EQ(bytes[24], 8);
            EXPECT_EQ(bytes[25], format == 1 ? 0 : 2) << name;
            EXPECT_EQ(bytes[28], quality % 2 == 0 ? 1 : 0) << name;

            std::vector<uint8_t> decoded;
            uint32_t w = 0, h = 0;
            ASSERT_TRUE(ReadPng(Path(name), format == 1, decoded, w, h)) << name;
            ASSERT_EQ(w, static_cast<uint32_t>(width));
            ASSERT_EQ(h, static_cast<uint32_t>(height));
            const int out_channels = format == 1 ? 1 : 3;
            for (int i = 0; i < width * height; ++i)
                for (int c = 0; c < out_channels; ++c) {
                    const uint8_t expected = format == 1 ? image[i] : image[static_cast<size_t>(i) * bpp + 2 - c];
                    ASSERT_EQ(decoded[static_cast<size_t>(i) * out_channels + c], expected) << name << " " << i;
                }
        }
    }
}

TEST_F(StillImageTest, JpegQualityIsComplemented) {
    const int width = 96, height = 64;
    const std::vector<uint8_t> image = MakeTestImage(width, height, 3);
    auto size_at = [&](uint32_t quality) {
        const std::string name = "q" + std::to_string(quality) + ".jpg";
        EXPECT_EQ(Save(name, width, height, 4, image.data(), quality), 1);
        return ReadFile(Path(name));
    };
    const auto q0 = size_at(0), q50 = size_at(50), q99 = size_at(99), q100 = size_at(100), q101 = size_at(101),
               q1000 = size_at(1000);
    EXPECT_GT(q0.size(), q50.size());
    EXPECT_LT(q99.size(), q50.size());
    EXPECT_EQ(q101, q100);
    EXPECT_EQ(q1000, q100);
    // 100 reaches the encoder as 0, which keeps the standard's tables as 50 does.
    EXPECT_EQ(q100, q50);
    for (const auto* bytes : {&q0, &q50, &q99}) {
        const Decoded decoded = DecodeTurbo(*bytes, 3);
        ASSERT_TRUE(decoded.ok) << decoded.error;
        EXPECT_EQ(decoded.subsampling, TJSAMP_422);
    }
}

TEST_F(StillImageTest, JpegOfEveryFormatDecodes) {
    const int width = 45, height = 23;
    const std::vector<uint8_t> grey = MakeTestImage(width, height, 1);
    const std::vector<uint8_t> bgr = MakeTestImage(width, height, 3);
    std::vector<uint8_t> bgrx(static_cast<size_t>(width) * height * 4);
    for (int i = 0; i < width * height; ++i) {
        std::copy_n(&bgr[static_cast<size_t>(i) * 3], 3, &bgrx[static_cast<size_t>(i) * 4]);
        bgrx[static_cast<size_t>(i) * 4 + 3] = static_cast<uint8_t>(i);
    }
    const std::vector<uint8_t> bgrx_before = bgrx;
    ASSERT_EQ(Save("g.jpg", width, height, 1, grey.data(), 25), 1);
    ASSERT_EQ(Save("c.jpeg", width, height, 4, bgr.data(), 25), 1);
    ASSERT_EQ(Save("x.J", width, height, 8, bgrx.data(), 25), 1);
    EXPECT_EQ(bgrx, bgrx_before);
    EXPECT_EQ(ReadFile(Path("x.J")), ReadFile(Path("c.jpeg")));

    const Decoded g = DecodeTurbo(ReadFile(Path("g.jpg")), 1);
    ASSERT_TRUE(g.ok) << g.error;
    const double grey_psnr = Psnr(g.pixels.data(), grey.data(), grey.size());
    const Decoded c = DecodeTurbo(ReadFile(Path("c.jpeg")), 3);
    ASSERT_TRUE(c.ok) << c.error;
    const double colour_psnr = Psnr(c.pixels.data(), bgr.data(), bgr.size());
    // Still quality 25 is encoder quality 75.
    const Decoded g_turbo = DecodeTurbo(CompressTurbo(grey.data(), width, height, 1, TJSAMP_GRAY, 75), 1);
    const Decoded c_turbo = DecodeTurbo(CompressTurbo(bgr.data(), width, height, 3, TJSAMP_422, 75), 3);
    std::printf("still quality 25: PSNR grey %.2f dB (libjpeg-turbo %.2f), colour %.2f dB (libjpeg-turbo %.2f)\n",
                grey_psnr, Psnr(g_turbo.pixels.data(), grey.data(), grey.size()), colour_psnr,
                Psnr(c_turbo.pixels.data(), bgr.data(), bgr.size()));
    EXPECT_GT(grey_psnr, Psnr(g_turbo.pixels.data(), grey.data(), grey.size()) - 0.3);
    EXPECT_GT(colour_psnr, Psnr(c_turbo.pixels.data(), bgr.data(), bgr.size()) - 0.3);
}

TEST_F(StillImageTest, JpegRefusesSizesBeyondItsHeader) {
    const std::vector<uint8_t> row(70000, 1);
    EXPECT_EQ(Save("wide.jpg", 70000, 1, 1, row.data()), 0);
    EXPECT_EQ(last_error(), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(fs::file_size(Path("wide.jpg")), 0u);
}

TEST_F(StillImageTest, WideNamesReachTheFileSystemAsUtf8) {
    const std::vector<uint8_t> grey(4, 200);
    const std::u16string wide = dir_.u16string() + u"/Bild \u00e4\u4e2d.PNG";
    ASSERT_EQ(Kavix_SaveImageW(handle(), 2, 2, 1, grey.data(), wide.c_str(), 1), 1);
    EXPECT_TRUE(fs::exists(Path("Bild \xc3\xa4\xe4\xb8\xad.PNG")));
    std::vector<uint8_t> decoded;
    uint32_t w = 0, h = 0;
    ASSERT_TRUE(ReadPng(Path("Bild \xc3\xa4\xe4\xb8\xad.PNG"), true, decoded, w, h));
    EXPECT_EQ(decoded, grey);
}

}  // namespace
}  // namespace kavix::test
