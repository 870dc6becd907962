// Image size, skipping and binning against a virtual camera: the camera's
// answer is the session's truth, and the session refresh follows it.
#include <gtest/gtest.h>

#include "sensor/scan_modes.h"
#include "sensor/sensor_fixture.h"
#include "session/session.h"

namespace kavix::test {
namespace {

constexpr uint16_t kColourModel = 0x0810;  // 1360 x 1040, FPGA, free region offered
constexpr uint16_t kFreeRegion = KAVIX_SCAN_MODE_FREE_REGION;

class ImageSize : public SensorCameraTest {
protected:
    void SetUp() override {
        SensorCameraTest::SetUp();
        open_model(kColourModel);
    }
};

TEST_F(ImageSize, TheCameraIsToldTheRegionAndTheSessionTakesItsAnswer) {
    clear_wire();
    ASSERT_NE(Kavix_SetImageSize(handle, 0, kFreeRegion, 16, 8, 640, 480), 0);
    const auto writes = transfers(kRequestScanState, kRequestOut);
    ASSERT_EQ(writes.size(), 1u);
    const uint8_t *r = writes[0].data;
    EXPECT_EQ(writes[0].length, 64);
    EXPECT_EQ(r[0], 64);
    EXPECT_EQ(r[1], 18);
    EXPECT_EQ(le32(r + 6), 640u);
    EXPECT_EQ(le32(r + 10), 480u);
    EXPECT_EQ(le32(r + 14), 16u);
    EXPECT_EQ(le32(r + 18), 8u);
    EXPECT_EQ(le16(r + 22), kFreeRegion);
    // Read back after the write.
    EXPECT_EQ(transfers(kRequestScanState, kRequestIn).size(), 1u);
    EXPECT_EQ(session_size(), (Size{kFreeRegion, 16, 8, 640, 480}));
}

TEST_F(ImageSize, ANonRegionModeKeepsTheSessionsWidthAndXOffset) {
    ASSERT_NE(Kavix_SetImageSize(handle, 0, kFreeRegion, 16, 8, 640, 480), 0);
    clear_wire();
    ASSERT_NE(Kavix_SetImageSize(handle, 0, 1, 100, 10, 320, 240), 0);
    const auto writes = transfers(kRequestScanState, kRequestOut);
    ASSERT_EQ(writes.size(), 1u);
    const uint8_t *r = writes[0].data;
    EXPECT_EQ(le32(r + 6), 640u) << "width: the session's, not the argument";
    EXPECT_EQ(le32(r + 14), 16u) << "X offset: the session's";
    EXPECT_EQ(le32(r + 10), 240u);
    EXPECT_EQ(le32(r + 18), 10u);
    EXPECT_EQ(le16(r + 22), 1);
    // The sensor fixes the width in this mode; the session has the camera's answer.
    EXPECT_EQ(session_size(), camera_size());
    EXPECT_EQ(session_size().width, 1360u);
}

TEST_F(ImageSize, ARegionTheCameraCannotDoYieldsWhatTheCameraReports) {
    struct Ask {
        uint32_t x, y, width, height;
    };
    const Ask asks[] = {
        {3, 5, 641, 481},      // off the camera's steps
        {0, 0, 5000, 4000},    // larger than the sensor
        {1300, 1000, 64, 16},  // offsets pushed back onto the sensor
        {0, 0, 1, 1},          // below the minimum
    };
    for (const Ask &a : asks) {
        ASSERT_NE(Kavix_SetImageSize(handle, 0, kFreeRegion, a.x, a.y, a.width, a.height), 0)
            << a.width << "x" << a.height;
        const Size camera = camera_size();
        EXPECT_EQ(session_size(), camera);
        EXPECT_FALSE(camera.width == a.width && camera.height == a.height && camera.x == a.x &&
                     camera.y == a.y)
            << "the camera was expected to change the request";
    }
}

TEST_F(ImageSize, TheRefreshFollowsTheNewSize) {
    ASSERT_NE(Kavix_SetImageSize(handle, 0, kFreeRegion, 0, 0, 320, 200), 0);
    const CurrentMode &m = session().mode;
    EXPECT_EQ(m.RawSize, 320u * 200u);  // 8-bit raw
    EXPECT_EQ(m.TransferSize, session().info.HeaderBytes + 320u * 200u);
    EXPECT_EQ(m.PreviewSizeA, 320u * 200u * 3u);
    EXPECT_EQ(m.PreviewSizeB, m.PreviewSizeA);
    const Rectangle expected{0, 0, 320, 200};
    EXPECT_EQ(session().preview.MaskRect.width, expected.width);
    EXPECT_EQ(session().preview.MaskRect.height, expected.height);
    EXPECT_EQ(session().preview.DestRect.width, expected.width);
    EXPECT_EQ(session().preview.DestRect.height, expected.height);
    // New frame buffers, straight and exchanged.
    EXPECT_EQ(session().thread.BuffersReady, 1u);
    EXPECT_EQ(session().preview.StraightPair.info_width(), 320);
    EXPECT_EQ(session().preview.StraightPair.info_height(), -200);
    EXPECT_EQ(session().preview.RotatedPair.info_width(), 200);
    EXPECT_EQ(session().preview.RotatedPair.info_height(), -320);
    EXPECT_EQ(session().preview.StraightPair.bitmap_bytes(), 320u * 200u * 3u);
    // Timing follows the camera as well.
    uint16_t lines = 0, clocks = 0;
    ASSERT_NE(Kavix_GetFrameClock(handle, &lines, &clocks), 0);
    EXPECT_EQ(lines, state().lines_per_frame);
    EXPECT_EQ(clocks, state().clocks_per_line);
}

TEST_F(ImageSize, ARotatedImageExchangesThePreviewGeometry) {
    session().processing.RotationMode = 1;
    ASSERT_NE(Kavix_SetImageSize(handle, 0, kFreeRegion, 0, 0, 320, 200), 0);
    EXPECT_EQ(session().preview.MaskRect.width, 200u);
    EXPECT_EQ(session().preview.MaskRect.height, 320u);
    EXPECT_EQ(session().preview.DestRect.width, 200u);
    EXPECT_EQ(session().preview.DestRect.height, 320u);
}

TEST_F(ImageSize, WithoutAPreviewWindowTheLastErrorIsZero) {
    // Leave an unrelated failure behind first: the resize of a window that
    // doesn't exist clears the last error.
    EXPECT_EQ(Kavix_GetImageSize(handle, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(last_error(), 87u);
    ASSERT_NE(Kavix_SetImageSize(handle, 0, kFreeRegion, 0, 0, 640, 480), 0);
    EXPECT_EQ(last_error(), 0u);
}

TEST_F(ImageSize, AFailedSizeWriteIsNotedAndTheSessionStaysWithTheCamera) {
    const Size before = session_size();
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestScanState, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    // The refresh reads the unchanged state back and succeeds.
    EXPECT_NE(Kavix_SetImageSize(handle, 0, kFreeRegion, 0, 0, 320, 200), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(session_size(), before);
    EXPECT_EQ(camera_size(), before);
}

TEST_F(ImageSize, AShortSizeWriteCountsAsFailed) {
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestScanState, KAVIXSIM_FAULT_SHORT, 32, 1), 0);
    EXPECT_NE(Kavix_SetImageSize(handle, 0, kFreeRegion, 0, 0, 320, 200), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
}

TEST_F(ImageSize, AFailedReadBackFailsTheCall) {
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestScanState, KAVIXSIM_FAULT_FAIL, 0, 2), 0);
    EXPECT_EQ(Kavix_SetImageSize(handle, 0, kFreeRegion, 0, 0, 320, 200), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
}

TEST_F(ImageSize, SizeCallsAreRefusedWhileACaptureThreadExists) {
    // A thread that ended by itself still counts until the transfer is stopped.
    session().thread.CaptureThreadSet = true;
    clear_wire();
    const Size before = session_size();
    EXPECT_EQ(Kavix_SetImageSize(handle, 0, kFreeRegion, 0, 0, 320, 200), 0);
    EXPECT_EQ(last_error(), KAVIX_E_CAPTURE_RUNNING);
    EXPECT_EQ(Kavix_SetSkippingAndBinning(handle, 0, 1, 0, 1), 0);
    EXPECT_EQ(last_error(), KAVIX_E_CAPTURE_RUNNING);
    EXPECT_TRUE(wire().empty()) << "nothing may reach the camera";
    EXPECT_EQ(session_size(), before);
    session().thread.CaptureThreadSet = false;
}

TEST_F(ImageSize, EnableAndMaximumSizes) {
    uint32_t flags = 0;
    uint16_t modes = 0;
    ASSERT_NE(Kavix_GetEnableImageSize(handle, &flags, &modes), 0);
    EXPECT_EQ(flags, session().info.EnableImageSizeFlags);
    EXPECT_EQ(modes, session().info.EnableScanModes);
    ASSERT_NE(Kavix_GetEnableImageSize(handle, nullptr, &modes), 0);
    EXPECT_EQ(Kavix_GetEnableImageSize(handle, &flags, nullptr), 0);
    EXPECT_EQ(last_error(), 87u);
    uint32_t w = 0, h = 0;
    ASSERT_NE(Kavix_GetMaximumImageSize(handle, &w, &h), 0);
    EXPECT_EQ(w, 1360u);
    EXPECT_EQ(h, 1040u);
}

TEST(ImageSizeHandles, BadHandlesAreRefused) {
    KavixSim_UnplugAll();
    EXPECT_EQ(Kavix_SetImageSize(nullptr, 0, KAVIX_SCAN_MODE_FREE_REGION, 0, 0, 64, 64), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
    uint16_t mode;
    uint32_t v;
    EXPECT_EQ(Kavix_GetImageSize(nullptr, nullptr, &mode, &v, &v, &v, &v), 0);
    EXPECT_EQ(Kavix_SetSkippingAndBinning(nullptr, 0, 0, 0, 0), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
}

// ---- Skipping and binning ------------------------------------------------------

class SkippingAndBinning : public ImageSize {};

TEST_F(SkippingAndBinning, ValuesArePackedCutToFourBitsAndCommitted) {
    struct Case {
        uint8_t v_skip, v_bin, h_skip, h_bin;
        uint16_t word;
    };
    const Case cases[] = {
        {1, 2, 3, 4, 0x1324},
        {0x11, 0x12, 0x13, 0x14, 0x1324},  // each cut to 4 bits
        {15, 15, 15, 15, 0xFFFF},
        {0, 1, 0, 1, 0x0011},
        {0, 0, 0, 0, 0x0000},
    };
    for (const Case &c : cases) {
        clear_wire();
        const uint32_t commits = state().commits;
        ASSERT_NE(Kavix_SetSkippingAndBinning(handle, c.v_skip, c.v_bin, c.h_skip, c.h_bin), 0);
        const auto writes = transfers(kRequestStatus, kRequestOut);
        ASSERT_EQ(writes.size(), 2u);
        EXPECT_EQ(writes[0].value, 33);
        EXPECT_EQ(writes[0].index, 0);
        EXPECT_EQ(writes[0].length, 2);
        EXPECT_EQ(le16(writes[0].data), c.word) << std::hex << c.word;
        EXPECT_EQ(writes[1].value, 80);
        EXPECT_EQ(le16(writes[1].data), 1);
        EXPECT_EQ(state().commits, commits + 1);
        EXPECT_EQ(status_word(33), c.word);
        // The new frame size is the session's.
        EXPECT_EQ(session_size(), camera_size());
    }
}

TEST_F(SkippingAndBinning, BinningShrinksTheFrameTheSessionReports) {
    ASSERT_NE(Kavix_SetImageSize(handle, 0, kFreeRegion, 0, 0, 640, 480), 0);
    ASSERT_NE(Kavix_SetSkippingAndBinning(handle, 0, 1, 0, 1), 0);
    const Size s = session_size();
    EXPECT_EQ(s, camera_size());
    EXPECT_LT(s.width, 640u);
    EXPECT_EQ(session().mode.RawSize, s.width * s.height);
}

TEST_F(SkippingAndBinning, TheWordIsReadAndUnpacked) {
    const uint16_t word = 0xABCD;
    ASSERT_NE(KavixSim_SetStatusWords(camera, 0, 33, 1, &word), 0);
    uint8_t v_skip = 0, v_bin = 0, h_skip = 0, h_bin = 0;
    ASSERT_NE(Kavix_GetSkippingAndBinning(handle, &v_skip, &v_bin, &h_skip, &h_bin), 0);
    EXPECT_EQ(v_skip, 0xA);
    EXPECT_EQ(h_skip, 0xB);
    EXPECT_EQ(v_bin, 0xC);
    EXPECT_EQ(h_bin, 0xD);
}

TEST_F(SkippingAndBinning, AllPointersNullStillReadsTheWord) {
    clear_wire();
    EXPECT_NE(Kavix_GetSkippingAndBinning(handle, nullptr, nullptr, nullptr, nullptr), 0);
    const auto reads = transfers(kRequestStatus, kRequestIn);
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_EQ(reads[0].value, 33);
    // Some pointers only.
    uint8_t v_bin = 9;
    const uint16_t word = 0x0020;
    ASSERT_NE(KavixSim_SetStatusWords(camera, 0, 33, 1, &word), 0);
    EXPECT_NE(Kavix_GetSkippingAndBinning(handle, nullptr, &v_bin, nullptr, nullptr), 0);
    EXPECT_EQ(v_bin, 2);
}

TEST_F(SkippingAndBinning, AFailedReadAnswersWithAZeroWord) {
    const uint16_t word = 0x1111;
    ASSERT_NE(KavixSim_SetStatusWords(camera, 0, 33, 1, &word), 0);
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestStatus, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    uint8_t v[4] = {7, 7, 7, 7};
    EXPECT_EQ(Kavix_GetSkippingAndBinning(handle, &v[0], &v[1], &v[2], &v[3]), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
    for (uint8_t x : v) EXPECT_EQ(x, 0);
}

TEST_F(SkippingAndBinning, AFailedWriteEndsTheCall) {
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestStatus, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    clear_wire();
    EXPECT_EQ(Kavix_SetSkippingAndBinning(handle, 0, 1, 0, 1), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(wire().size(), 1u) << "no commit, no refresh";
}

class SkippingAndBinningByMode : public SensorCameraTest {
protected:
    void SetUp() override {
        SensorCameraTest::SetUp();
        // A camera without the free region: binning comes with the scan mode only.
        open_model(kColourModel, [](KavixSimCameraConfig &c) { c.enable_scan_modes = 0x0001 | 0x0010; });
    }
};

TEST_F(SkippingAndBinningByMode, TheScanModeTellsTheBinning) {
    EXPECT_EQ(Kavix_SetSkippingAndBinning(handle, 0, 1, 0, 1), 0);
    EXPECT_EQ(last_error(), 87u);

    struct Case {
        uint16_t mode;
        uint8_t bin;
    };
    for (const Case c : {Case{16, 1}, Case{1, 0}}) {
        ASSERT_NE(Kavix_SetImageSize(handle, 0, c.mode, 0, 0, 0, 2000), 0);
        ASSERT_EQ(session_size().mode, c.mode);
        clear_wire();
        uint8_t v[4] = {9, 9, 9, 9};
        ASSERT_NE(Kavix_GetSkippingAndBinning(handle, &v[0], &v[1], &v[2], &v[3]), 0);
        EXPECT_EQ(v[0], 0);
        EXPECT_EQ(v[1], c.bin);
        EXPECT_EQ(v[2], 0);
        EXPECT_EQ(v[3], c.bin);
        EXPECT_TRUE(wire().empty()) << "no camera access";
    }
}

TEST(ScanModes, BinningAndLongExposureModes) {
    for (uint16_t mode = 0; mode < 1024; ++mode) {
        const bool bins = mode == 16 || mode == 32 || mode == 64 || mode == 128 || mode == 256;
        EXPECT_EQ(sensor::scan_mode_bins(mode), bins) << mode;
        EXPECT_EQ(sensor::scan_mode_allows_long_exposure(mode), mode == 4 || mode == 32) << mode;
    }
    EXPECT_FALSE(sensor::scan_mode_bins(0x8000));
}

// ---- Binning sum mode -------------------------------------------------------------

TEST_F(ImageSize, BinningSumModeTravelsAsStatus46) {
    clear_wire();
    ASSERT_NE(Kavix_SetBinningSumMode(handle, 0x0102), 0);
    auto writes = transfers(kRequestStatus, kRequestOut);
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].value, 0x802E);
    EXPECT_EQ(le16(writes[0].data), 0x0102);
    uint16_t mode = 0;
    ASSERT_NE(Kavix_GetBinningSumMode(handle, &mode), 0);
    EXPECT_EQ(mode, 0x0102);
    EXPECT_EQ(transfers(kRequestStatus, kRequestIn).back().value, 46);
}

TEST_F(SensorCameraTest, BinningSumModeNeedsItsFunction) {
    open_model(kColourModel, [](KavixSimCameraConfig &c) { with_function(c, 61, false); });
    EXPECT_EQ(Kavix_SetBinningSumMode(handle, 1), 0);
    EXPECT_EQ(last_error(), 87u);
    uint16_t mode = 5;
    EXPECT_NE(Kavix_GetBinningSumMode(handle, &mode), 0);
    EXPECT_EQ(mode, 0);
    // Function 131 announces it as well.
    open_model(kColourModel, [](KavixSimCameraConfig &c) {
        with_function(c, 61, false);
        with_function(c, 131, true);
    });
    EXPECT_NE(Kavix_SetBinningSumMode(handle, 1), 0);
}

}  // namespace
}  // namespace kavix::test
