// V-blank and the frame rate against virtual cameras: the rate follows from
// the camera's timing, as the camera reports it.
#include <gtest/gtest.h>

#include "sensor/frame_rate.h"
#include "sensor/sensor_fixture.h"
#include "session/session.h"

namespace kavix::test {
namespace {

constexpr uint16_t kColourModel = 0x0810;    // FPGA, functions 20, 21, 133, register table
constexpr uint16_t kModelWithoutFpga = 0x0305;

// ---- Frame rate -----------------------------------------------------------------------

float output_fps(KAVIX_HANDLE handle) {
    float fps = -1.0f;
    EXPECT_NE(Kavix_GetOutputFPS(handle, &fps), 0);
    return fps;
}

TEST_F(SensorCameraTest, WithTheRegisterTableTheRateIsFrameClockOverClocksPerFrame) {
    open_model(kColourModel);
    ASSERT_NE(session().defaults.RegisterTable, nullptr);
    const KavixSimCameraState st = state();
    const uint32_t clocks = uint32_t{st.clocks_per_line} * st.lines_per_frame;
    EXPECT_EQ(sensor::ClocksPerFrame(session()), clocks);
    EXPECT_EQ(sensor::FrameClockHz(session()), st.clock_hz);
    EXPECT_FLOAT_EQ(output_fps(handle), static_cast<float>(st.clock_hz) / static_cast<float>(clocks));
}

TEST_F(SensorCameraTest, WithFunction20AndNoRegisterTableTheRateIsClockOver65536) {
    open_model(kColourModel, [](KavixSimCameraConfig &c) {
        c.has_register_table = 0;
        with_function(c, 64, false);
    });
    ASSERT_EQ(session().defaults.RegisterTable, nullptr);
    clear_wire();
    EXPECT_EQ(sensor::ClocksPerFrame(session()), 0x10000u);
    EXPECT_EQ(sensor::FrameClockHz(session()), 24545455u);
    // The frame clock comes from status 86, two words, low first.
    const auto reads = transfers(kRequestStatus, kRequestIn);
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_EQ(reads[0].value, 86);
    EXPECT_EQ(reads[0].length, 4);
    EXPECT_FLOAT_EQ(output_fps(handle), 24545455.0f / 65536.0f);
    // A failed read of the frame clock gives no rate, not a failure.
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestStatus, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    EXPECT_EQ(output_fps(handle), 0.0f);
}

TEST_F(SensorCameraTest, WithoutFunction20TheRateIsTheSensorClockOverTheFrame) {
    open_model(kColourModel, [](KavixSimCameraConfig &c) { with_function(c, 20, false); });
    ASSERT_NE(Kavix_SetImageSize(handle, 0, KAVIX_SCAN_MODE_FREE_REGION, 0, 0, 640, 480), 0);
    clear_wire();
    const KavixSimCameraState st = state();
    const uint32_t clocks = uint32_t{st.clocks_per_line} * st.lines_per_frame;
    EXPECT_EQ(sensor::ClocksPerFrame(session()), clocks);
    EXPECT_EQ(sensor::FrameClockHz(session()), st.clock_hz);
    EXPECT_FLOAT_EQ(output_fps(handle), static_cast<float>(st.clock_hz) / static_cast<float>(clocks));
    EXPECT_TRUE(wire().empty()) << "the session's values suffice";
}

TEST_F(SensorCameraTest, ALongExposureStretchesTheFrameInScanModes4And32) {
    open_model(kColourModel, [](KavixSimCameraConfig &c) {
        with_function(c, 20, false);
        c.enable_scan_modes = static_cast<uint16_t>(c.enable_scan_modes | 0x0004 | 0x0020);
    });
    for (const uint16_t mode : {uint16_t{4}, uint16_t{32}, uint16_t{1}}) {
        ASSERT_NE(Kavix_SetImageSize(handle, 0, mode, 0, 0, 0, 400), 0);
        ASSERT_EQ(session().mode.ScanMode, mode);
        const uint32_t lines = session().mode.LinesPerFrame;
        const uint32_t line_clocks = session().mode.ClocksPerLine;
        // An exposure of 1000 lines more than the frame, written as the shutter record.
        uint8_t record[64] = {0x40, 0x21};
        const uint32_t exposure = lines + 1000;
        record[2] = static_cast<uint8_t>(exposure);
        record[3] = static_cast<uint8_t>(exposure >> 8);
        uint32_t moved = 0;
        ASSERT_NE(KavixUSBD_ControlTransfer(session().usb(), KAVIXUSBD_REQUEST_OUT, kRequestShutterGain,
                                            0, 0, 64, record, &moved),
                  0);
        const uint32_t expected =
            mode == 1 ? line_clocks * lines : line_clocks * state().shutter_line;
        if (mode != 1) {
            ASSERT_GT(state().shutter_line, lines);
        }
        EXPECT_EQ(sensor::ClocksPerFrame(session()), expected) << "mode " << mode;
        EXPECT_FLOAT_EQ(output_fps(handle), static_cast<float>(state().clock_hz) / static_cast<float>(expected));
    }
}

TEST_F(SensorCameraTest, AClockOfZeroGivesNoRate) {
    open_model(kModelWithoutFpga);
    EXPECT_GT(output_fps(handle), 0.0f);
    // As if the camera had reported a clock of 0 Hz (the simulator won't).
    session().mode.ClockHz = 0;
    EXPECT_EQ(sensor::FrameClockHz(session()), 0u);
    EXPECT_EQ(output_fps(handle), 0.0f);
    EXPECT_EQ(Kavix_GetOutputFPS(handle, nullptr), 0);
    EXPECT_EQ(last_error(), 87u);
}

// ---- V-blank for frame rate ---------------------------------------------------------------

TEST_F(SensorCameraTest, VBlankIsWrittenCommittedAndReadBack) {
    open_model(kColourModel);
    const uint16_t lines = session().mode.LinesPerFrame;
    const float fps = output_fps(handle);
    clear_wire();
    ASSERT_NE(Kavix_SetVBlankForFPS(handle, 0x10000 + 100), 0);  // the low 16 bits count
    const auto writes = transfers(kRequestStatus, kRequestOut);
    ASSERT_EQ(writes.size(), 2u);
    EXPECT_EQ(writes[0].value, 23);
    EXPECT_EQ(le16(writes[0].data), 100);
    EXPECT_EQ(writes[1].value, 80);
    EXPECT_EQ(le16(writes[1].data), 1);
    EXPECT_EQ(transfers(kRequestScanState, kRequestIn).size(), 1u);
    EXPECT_EQ(session().mode.LinesPerFrame, lines + 100);
    EXPECT_LT(output_fps(handle), fps);
    uint32_t vblank = 0;
    ASSERT_NE(Kavix_GetVBlankForFPS(handle, &vblank), 0);
    EXPECT_EQ(vblank, 100u);
    uint32_t max = 0;
    ASSERT_NE(Kavix_GetMaxVBlankForFPS(handle, &max), 0);
    EXPECT_EQ(max, 4000u) << "register block 21, offset 88";
}

TEST_F(SensorCameraTest, VBlankFailuresEndTheCall) {
    open_model(kColourModel);
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestStatus, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    clear_wire();
    EXPECT_EQ(Kavix_SetVBlankForFPS(handle, 10), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(wire().size(), 1u);
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestStatus, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    uint32_t vblank = 5;
    EXPECT_EQ(Kavix_GetVBlankForFPS(handle, &vblank), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
}

TEST_F(SensorCameraTest, MaximumVBlankWithoutTheRegisterFunctionIsAConstant) {
    open_model(kColourModel, [](KavixSimCameraConfig &c) { with_function(c, 133, false); });
    uint32_t max = 0;
    ASSERT_NE(Kavix_GetMaxVBlankForFPS(handle, &max), 0);
    EXPECT_EQ(max, 2035u);
}

TEST_F(SensorCameraTest, MaximumVBlankWithTheRegisterFunctionButNoTableFails) {
    open_model(kColourModel, [](KavixSimCameraConfig &c) {
        c.has_register_table = 0;
        with_function(c, 64, false);
    });
    uint32_t max = 9;
    EXPECT_EQ(Kavix_GetMaxVBlankForFPS(handle, &max), 0);
    EXPECT_EQ(max, 0u);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
}

TEST_F(SensorCameraTest, WithoutVBlankOnlyZeroIsAccepted) {
    open_model(kColourModel, [](KavixSimCameraConfig &c) { with_function(c, 21, false); });
    clear_wire();
    EXPECT_NE(Kavix_SetVBlankForFPS(handle, 0), 0);
    EXPECT_EQ(Kavix_SetVBlankForFPS(handle, 1), 0);
    EXPECT_EQ(last_error(), 87u);
    uint32_t v = 9;
    EXPECT_NE(Kavix_GetVBlankForFPS(handle, &v), 0);
    EXPECT_EQ(v, 0u);
    v = 9;
    EXPECT_NE(Kavix_GetMaxVBlankForFPS(handle, &v), 0);
    EXPECT_EQ(v, 0u);
    EXPECT_TRUE(wire().empty());
}

}  // namespace
}  // namespace kavix::test
