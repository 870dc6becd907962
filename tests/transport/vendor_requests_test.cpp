// The camera's vendor requests, record by record and byte by byte.
#include <gtest/gtest.h>

#include <cstring>

#include "transport/sim_fixture.h"

namespace kavix::test {
namespace {

using VendorRequests = SimBusTest;

// A camera whose every record field has a distinct value.
KavixSimCameraConfig distinct_config() {
    KavixSimCameraConfig c;
    KavixSim_InitConfig(&c, 0x0810, 0);
    c.fpga_version = 0x0123;
    c.firmware_version = 0x0104;
    c.color_array = 3;
    c.header_bytes = 96;
    c.enable_image_size_flags = 0x11223344;
    c.enable_transfer_bits = 0x0405;
    c.transfer_bits = 0x0004;
    c.enable_scan_modes = 0x8015;
    c.clock_max = 50000001;
    c.clock_min = 5000002;
    c.clock_default = 25000003;
    c.enable_clock_modes = 0x00000106;
    c.shutter_flags = 0x0201;
    c.enable_trigger_version = 0x0A0B0C0D;
    c.sensor_width = 1360;
    c.sensor_height = 1040;
    return c;
}

TEST_F(VendorRequests, InformationRecordNewFormByteByByte) {
    plug(distinct_config());
    Reply r = vendor_in(open(0), 17, 64);
    ASSERT_EQ(r.ok, 1);
    ASSERT_EQ(r.transferred, 64u);
    const auto &d = r.data;
    EXPECT_EQ(d[0], 64);
    EXPECT_EQ(d[1], 17);
    EXPECT_EQ(u16(d, 2), 0x7B3D);
    EXPECT_EQ(u16(d, 4), 0x0810);
    EXPECT_EQ(u16(d, 6), 0x0123);
    EXPECT_EQ(u16(d, 8), 0x0104);
    EXPECT_EQ(u16(d, 10), 3);
    EXPECT_EQ(u16(d, 12), 96);
    EXPECT_EQ(u32(d, 14), 0x11223344u);
    EXPECT_EQ(u32(d, 18), 0x0405u);
    EXPECT_EQ(u32(d, 22), 0u);
    EXPECT_EQ(u16(d, 26), 0x8015);
    EXPECT_EQ(u32(d, 28), 50000001u);
    EXPECT_EQ(u32(d, 32), 5000002u);
    EXPECT_EQ(u32(d, 36), 25000003u);
    EXPECT_EQ(u32(d, 40), 0x106u);
    EXPECT_EQ(u16(d, 44), 0x0201);
    EXPECT_EQ(u16(d, 46), 0);
    EXPECT_EQ(u32(d, 48), 0u);
    EXPECT_EQ(u32(d, 52), 0x0A0B0C0Du);
    EXPECT_EQ(u32(d, 56), 1360u);
    EXPECT_EQ(u32(d, 60), 1040u);
}

TEST_F(VendorRequests, InformationRecordOldFormEndsAfterScanModes) {
    KavixSimCameraConfig c = distinct_config();
    c.info_form = KAVIXSIM_INFO_OLD;
    plug(c);
    Reply r = vendor_in(open(0), 17, 64);
    ASSERT_EQ(r.ok, 1);
    ASSERT_EQ(r.transferred, 64u);
    const auto &d = r.data;
    EXPECT_EQ(u16(d, 2), 0x0810);
    EXPECT_EQ(u16(d, 4), 0x0123);
    EXPECT_EQ(u16(d, 6), 0x0104);
    EXPECT_EQ(u16(d, 8), 3);
    EXPECT_EQ(u16(d, 10), 96);
    EXPECT_EQ(u32(d, 12), 0x11223344u);
    EXPECT_EQ(u32(d, 16), 0x0405u);
    EXPECT_EQ(u32(d, 20), 0u);
    EXPECT_EQ(u16(d, 24), 0x8015);
    for (size_t i = 26; i < 64; ++i) EXPECT_EQ(d[i], 0) << "byte " << i;
}

TEST_F(VendorRequests, InformationRecordWithoutSizeLeavesItZero) {
    plug(0x0810, [](auto &c) { c.info_reports_max_size = 0; });
    Reply r = vendor_in(open(0), 17, 64);
    EXPECT_EQ(u32(r.data, 56), 0u);
    EXPECT_EQ(u32(r.data, 60), 0u);
}

TEST_F(VendorRequests, ReadsAnswerNoMoreThanAsked) {
    plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    Reply r = vendor_in(h, 17, 10);
    ASSERT_EQ(r.ok, 1);
    EXPECT_EQ(r.transferred, 10u);
    EXPECT_EQ(u16(r.data, 4), 0x0810);
    r = vendor_in(h, 18, 128);
    EXPECT_EQ(r.transferred, 64u);
    EXPECT_EQ(r.data[64], 0xEE);  // untouched beyond the record
}

TEST_F(VendorRequests, ScanStateReportsTheSensorAtPowerOn) {
    plug(0x0810);
    Reply r = vendor_in(open(0), 18, 64);
    ASSERT_EQ(r.ok, 1);
    ASSERT_EQ(r.transferred, 64u);
    const auto &d = r.data;
    EXPECT_EQ(d[0], 64);
    EXPECT_EQ(d[1], 18);
    EXPECT_EQ(u32(d, 6), 1360u);
    EXPECT_EQ(u32(d, 10), 1040u);
    EXPECT_EQ(u32(d, 14), 0u);
    EXPECT_EQ(u32(d, 18), 0u);
    EXPECT_EQ(u16(d, 22), 0x8000);
    EXPECT_EQ(u16(d, 26), 1040 + 20);  // lines: height and V blank
    EXPECT_EQ(u16(d, 28), 1360 + 160);  // clocks: width and H blank
    EXPECT_EQ(u16(d, 30), 255);
    EXPECT_EQ(u16(d, 32), 16);
    EXPECT_EQ(u16(d, 34), 64);
    // Function 48 is set by default: the five limit words follow.
    EXPECT_EQ(u32(d, 36), 1360u + 160 - 1);
    EXPECT_EQ(u32(d, 40), 0u);
    EXPECT_EQ(u32(d, 44), 1060u);
    EXPECT_EQ(u32(d, 48), 0u);
    EXPECT_EQ(u32(d, 52), 1060u);
}

std::vector<uint8_t> scan_record(uint16_t mode, uint32_t x, uint32_t y, uint32_t w, uint32_t h) {
    std::vector<uint8_t> d(64, 0);
    d[0] = 64;
    d[1] = 18;
    put32(d, 6, w);
    put32(d, 10, h);
    put32(d, 14, x);
    put32(d, 18, y);
    put16(d, 22, mode);
    return d;
}

TEST_F(VendorRequests, CameraDecidesTheWindowItCanDo) {
    struct Case {
        const char *what;
        uint16_t mode;
        uint32_t x, y, w, h;
        uint16_t want_mode;
        uint32_t want_x, want_y, want_w, want_h;
    };
    // Sensor 1360 x 1040, width step 8, height step 2, offset step 2,
    // minimum 64 x 16; modes 0x8000, 1, 4, 16 offered.
    const Case cases[] = {
        {"exact region", 0x8000, 100, 50, 640, 480, 0x8000, 100, 50, 640, 480},
        {"width to its step", 0x8000, 0, 0, 643, 481, 0x8000, 0, 0, 640, 480},
        {"odd offsets", 0x8000, 101, 51, 640, 480, 0x8000, 100, 50, 640, 480},
        {"too large", 0x8000, 0, 0, 5000, 5000, 0x8000, 0, 0, 1360, 1040},
        {"pushed back onto the sensor", 0x8000, 1000, 900, 640, 480, 0x8000, 720, 560, 640, 480},
        {"below the minimum", 0x8000, 0, 0, 8, 2, 0x8000, 0, 0, 64, 16},
        {"fixed width mode", 1, 300, 100, 200, 400, 1, 0, 100, 1360, 400},
        {"binning mode", 16, 300, 100, 200, 400, 16, 0, 100, 680, 400},
        {"binning mode height cut", 16, 0, 0, 0, 2000, 16, 0, 0, 680, 520},
        {"mode not offered keeps the last", 2, 0, 0, 320, 240, 0x8000, 0, 0, 320, 240},
    };
    for (const Case &k : cases) {
        plug(0x0810);
        KAVIXUSB_HANDLE h = open(0);
        Reply w = vendor_out(h, 18, scan_record(k.mode, k.x, k.y, k.w, k.h));
        ASSERT_EQ(w.ok, 1) << k.what;
        EXPECT_EQ(w.transferred, 64u);
        Reply r = vendor_in(h, 18, 64);
        EXPECT_EQ(u16(r.data, 22), k.want_mode) << k.what;
        EXPECT_EQ(u32(r.data, 14), k.want_x) << k.what;
        EXPECT_EQ(u32(r.data, 18), k.want_y) << k.what;
        EXPECT_EQ(u32(r.data, 6), k.want_w) << k.what;
        EXPECT_EQ(u32(r.data, 10), k.want_h) << k.what;
        EXPECT_EQ(u16(r.data, 28), k.want_w + 160) << k.what;
        EXPECT_EQ(u16(r.data, 26), k.want_h + 20) << k.what;
        KavixSim_UnplugAll();
        TearDown();
    }
}

TEST_F(VendorRequests, LongExposureModesRaiseTheLongLimit) {
    plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    ASSERT_EQ(vendor_out(h, 18, scan_record(4, 0, 0, 0, 480)).ok, 1);
    Reply r = vendor_in(h, 18, 64);
    EXPECT_EQ(u32(r.data, 44), 500u);   // short limit: the frame
    EXPECT_EQ(u32(r.data, 52), 4090u);  // long limit beyond it
}

TEST_F(VendorRequests, LimitWordsOnlyWithFunction48) {
    plug(0x0810, [](auto &c) { c.function_bits[3] = 0; });
    Reply r = vendor_in(open(0), 18, 64);
    for (size_t i = 36; i < 56; ++i) EXPECT_EQ(r.data[i], 0) << "byte " << i;
}

TEST_F(VendorRequests, TransferFormatRecord) {
    plug(distinct_config());
    KAVIXUSB_HANDLE h = open(0);
    Reply r = vendor_in(h, 19, 6);
    ASSERT_EQ(r.transferred, 6u);
    EXPECT_EQ(r.data[0], 6);
    EXPECT_EQ(r.data[1], 19);
    EXPECT_EQ(u32(r.data, 2), 0x0004u);

    EXPECT_EQ(vendor_out(h, 19, {6, 19, 0x00, 0x04, 0, 0}).ok, 1);  // 0x400 is offered
    EXPECT_EQ(u32(vendor_in(h, 19, 6).data, 2), 0x0400u);
    Reply bad = vendor_out(h, 19, {6, 19, 0x02, 0, 0, 0});           // 2 is not
    EXPECT_EQ(bad.ok, 0);
    EXPECT_EQ(bad.error, 31u);
    EXPECT_EQ(vendor_out(h, 19, {6, 19, 0x05, 0, 0, 0}).ok, 0);      // two formats
    EXPECT_EQ(u32(vendor_in(h, 19, 6).data, 2), 0x0400u);
}

TEST_F(VendorRequests, StatusWordsStoreWriteIdsWithBit15) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    // Trigger mode, two words, written at 0x8030 and read at 48.
    ASSERT_EQ(vendor_out(h, 128, {0x03, 0x10, 0x00, 0x30}, 0x8030).ok, 1);
    Reply r = vendor_in(h, 128, 4, 48);
    ASSERT_EQ(r.ok, 1);
    EXPECT_EQ(r.transferred, 4u);
    EXPECT_EQ(u32(r.data, 0), 0x30001003u);
    KavixSimCameraState s;
    ASSERT_EQ(KavixSim_GetState(cam, &s), 1);
    EXPECT_EQ(s.trigger_mode, 0x30001003u);

    // The write form without bit 15 of the camera's asymmetric ids lands too.
    ASSERT_EQ(vendor_out(h, 128, {0x34, 0x12, 0, 0}, 69).ok, 1);
    EXPECT_EQ(u32(vendor_in(h, 128, 4, 69).data, 0), 0x1234u);
}

TEST_F(VendorRequests, FunctionBitsAndFrameClockAreReadOnly) {
    KavixSimCameraConfig c = distinct_config();
    for (int i = 0; i < 16; ++i) c.function_bits[i] = static_cast<uint16_t>(0x1000 + i);
    plug(c);
    KAVIXUSB_HANDLE h = open(0);
    Reply r = vendor_in(h, 128, 32, 104);
    ASSERT_EQ(r.transferred, 32u);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(u16(r.data, 2 * i), 0x1000 + i);
    Reply w = vendor_out(h, 128, {1, 0}, 0x8000 | 104);
    EXPECT_EQ(w.ok, 0);
    EXPECT_EQ(w.error, 31u);

    r = vendor_in(h, 128, 4, 86);
    EXPECT_EQ(u32(r.data, 0), 25000003u);  // the sensor clock at power-on
}

TEST_F(VendorRequests, StatusWordsNeedAnFpga) {
    plug(0x0305);
    Reply r = vendor_in(open(0), 128, 2, 63);
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.error, 31u);
}

TEST_F(VendorRequests, UnknownRequestStalls) {
    plug(0x0810);
    Reply r = vendor_in(open(0), 0x55, 8);
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.error, 31u);
    EXPECT_EQ(r.transferred, 0u);
}

}  // namespace
}  // namespace kavix::test
