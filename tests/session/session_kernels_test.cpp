// Pure parts of the session: scan-state limit words, frame size arithmetic and
// the USB speed walk, against records and descriptors laid out by hand.
#include <gtest/gtest.h>

#include <vector>

#include "session/frame_sizes.h"
#include "session/scan_state.h"
#include "session/usb_speed.h"

namespace kavix {
namespace {

void put16(uint8_t *p, uint16_t v) {
    p[0] = v & 0xFF;
    p[1] = v >> 8;
}
void put32(uint8_t *p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = (v >> (8 * i)) & 0xFF;
}

struct ScanRecord {
    uint8_t bytes[64] = {64, 18};
    ScanRecord(uint16_t scan_mode, uint16_t lines, uint16_t clocks) {
        put32(bytes + 6, 800);
        put32(bytes + 10, 600);
        put32(bytes + 14, 16);
        put32(bytes + 18, 8);
        put16(bytes + 22, scan_mode);
        put16(bytes + 26, lines);
        put16(bytes + 28, clocks);
        put16(bytes + 30, 1023);
        put16(bytes + 32, 64);
        put16(bytes + 34, 32);
        for (int i = 0; i < 5; ++i) put32(bytes + 36 + 4 * i, 1000 + i);
    }
};

TEST(ScanState, LimitWordsFromTheRecordWithFunction48) {
    Session s;
    s.info.ProductId = 0x0210;
    s.functions[3] = 1;  // function 48
    apply_scan_state(s, ScanRecord(0, 625, 1100).bytes);
    EXPECT_EQ(s.mode.Width, 800u);
    EXPECT_EQ(s.mode.Height, 600u);
    EXPECT_EQ(s.mode.OffsetX, 16u);
    EXPECT_EQ(s.mode.OffsetY, 8u);
    EXPECT_EQ(s.mode.LinesPerFrame, 625);
    EXPECT_EQ(s.mode.ClocksPerLine, 1100);
    EXPECT_EQ(s.defaults.MaxGain, 1023);
    EXPECT_EQ(s.defaults.DefaultGain, 64);
    EXPECT_EQ(s.defaults.DefaultDigitalGain, 32);
    EXPECT_EQ(s.mode.ShutterMaxClock, 1000u);
    EXPECT_EQ(s.mode.ShortLimitClock, 1001u);
    EXPECT_EQ(s.mode.ShortLimitLine, 1002u);
    EXPECT_EQ(s.mode.LongLimitClock, 1003u);
    EXPECT_EQ(s.mode.LongLimitLine, 1004u);
}

TEST(ScanState, LimitWordsFollowTheTimingOtherwise) {
    struct Case {
        uint16_t pid;
        uint16_t function_word3;
        uint16_t scan_mode;
        uint32_t long_line;
    };
    // Without function 48, and without FPGA whatever the bits say.
    for (const Case c : {Case{0x0210, 0, 0, 625}, Case{0x0210, 0, 4, 4090},
                         Case{0x0210, 0, 32, 4090}, Case{0x0210, 0, 8, 625},
                         Case{0x0305, 1, 0, 625}, Case{0x0305, 1, 32, 4090}}) {
        Session s;
        s.info.ProductId = c.pid;
        s.functions[3] = c.function_word3;
        apply_scan_state(s, ScanRecord(c.scan_mode, 625, 1100).bytes);
        EXPECT_EQ(s.mode.ScanMode, c.scan_mode);
        EXPECT_EQ(s.mode.ShutterMaxClock, 1099u);
        EXPECT_EQ(s.mode.ShortLimitClock, 0u);
        EXPECT_EQ(s.mode.ShortLimitLine, 625u);
        EXPECT_EQ(s.mode.LongLimitClock, 0u);
        EXPECT_EQ(s.mode.LongLimitLine, c.long_line) << c.pid << " mode " << c.scan_mode;
    }
}

TEST(FrameSizes, BitsPerPixelOfEachFormat) {
    const std::pair<uint32_t, uint32_t> table[] = {
        {1, 8},     {2, 16},    {4, 16},     {8, 16},    {16, 16},  {32, 8},
        {64, 16},   {128, 16},  {256, 16},   {512, 16},  {1024, 24}, {2048, 32},
        {4096, 12}, {8192, 16}, {16384, 24}, {0, 0},     {3, 0},    {32768, 0}};
    for (auto [format, bits] : table) EXPECT_EQ(transfer_bits_per_pixel(format), bits) << format;
    EXPECT_EQ(preview_bytes_per_pixel(1), 1);
    EXPECT_EQ(preview_bytes_per_pixel(4), 3);
    EXPECT_EQ(preview_bytes_per_pixel(8), 4);
    for (uint32_t bad : {0u, 2u, 3u, 12u, 16u}) EXPECT_EQ(preview_bytes_per_pixel(bad), 0) << bad;
}

TEST(FrameSizes, Arithmetic) {
    Session s;
    s.info.HeaderBytes = 512;
    s.mode.Width = 1001;
    s.mode.Height = 3;
    s.mode.TransferBits = KAVIX_TRANSFER_YUV411;  // 12 bits: 1001 * 3 * 12 / 8 = 4504.5
    s.mode.PreviewBytesPerPixel = 3;
    compute_frame_sizes(s);
    EXPECT_EQ(s.mode.RawSize, 4504u);
    EXPECT_EQ(s.mode.TransferSize, 5016u);
    EXPECT_EQ(s.mode.PreviewSizeA, 9009u);
    EXPECT_EQ(s.mode.PreviewSizeB, 9009u);
    s.mode.Width = 4092;
    s.mode.Height = 4092;
    s.mode.TransferBits = KAVIX_TRANSFER_BGR30;
    s.mode.PreviewBytesPerPixel = 4;
    compute_frame_sizes(s);
    EXPECT_EQ(s.mode.RawSize, 66977856u);
    EXPECT_EQ(s.mode.PreviewSizeA, 66977856u);
}

// Descriptor bytes: configuration (9), interface (9), endpoints (7).
std::vector<uint8_t> configuration(std::initializer_list<std::vector<uint8_t>> endpoints) {
    std::vector<uint8_t> d = {9, 2, 0, 0, 1, 1, 0, 0x80, 50, 9, 4, 0, 0, 2, 0xFF, 0, 0, 0};
    for (const auto &e : endpoints) d.insert(d.end(), e.begin(), e.end());
    return d;
}
std::vector<uint8_t> endpoint(uint8_t address, uint8_t attributes, uint16_t packet) {
    return {7, 5, address, attributes, static_cast<uint8_t>(packet), static_cast<uint8_t>(packet >> 8), 0};
}

TEST(UsbSpeedWalk, FirstBulkInDecides) {
    struct Case {
        std::vector<uint8_t> d;
        uint8_t speed;
    };
    const Case cases[] = {
        {configuration({endpoint(0x82, 2, 64)}), 0},
        {configuration({endpoint(0x82, 2, 65)}), 1},
        {configuration({endpoint(0x82, 2, 512)}), 1},
        {configuration({endpoint(0x82, 2, 513)}), 2},
        {configuration({endpoint(0x82, 2, 1024)}), 2},
        // An interrupt IN and a bulk OUT ahead of the bulk IN don't count.
        {configuration({endpoint(0x81, 3, 1024), endpoint(0x02, 2, 1024), endpoint(0x86, 2, 512)}), 1},
        {configuration({endpoint(0x81, 3, 64), endpoint(0x86, 2, 1024)}), 2},
        // Only the low two attribute bits tell the type.
        {configuration({endpoint(0x82, 0x3E, 512)}), 1},
        // No bulk IN at all.
        {configuration({endpoint(0x81, 3, 1024), endpoint(0x02, 2, 512)}), 0},
        // Shorter than 10 bytes: high speed.
        {{9, 2, 0, 0, 1, 1, 0, 0x80, 50}, 1},
        // A zero-length descriptor that isn't the endpoint ends the walk
        // instead of being read again and again.
        {[] {
             auto d = configuration({});
             d.insert(d.end(), {0, 0x24, 0, 0, 0, 0, 0});
             const auto e = endpoint(0x82, 2, 512);
             d.insert(d.end(), e.begin(), e.end());
             return d;
         }(),
         0},
        // A zero-length endpoint descriptor is still looked at.
        {[] {
             auto d = configuration({});
             d.insert(d.end(), {0, 5, 0x82, 2, 0, 4, 0});
             return d;
         }(),
         2},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const Case &c = cases[i];
        EXPECT_EQ(usb_speed_from_configuration(c.d.data(), static_cast<uint32_t>(c.d.size())), c.speed)
            << "case " << i;
    }
}

}  // namespace
}  // namespace kavix
