// What an open leaves in the session record, camera by camera.
#include <gtest/gtest.h>

#include "session/export_frame.h"
#include "session/session_open.h"
#include "sim_bus.h"

namespace kavix::test {
namespace {

class OpenedRecord : public SimBus {
protected:
    Session &open(const KavixSimCameraConfig &config) {
        camera_ = plug(config);
        session_ = open_session(config.user_id);
        if (session_ == nullptr) {
            ADD_FAILURE() << "open failed: " << std::hex << global_last_error();
            static Session empty;
            return empty;
        }
        return *session_;
    }
    void TearDown() override {
        if (session_ != nullptr) close_session(session_);
        SimBus::TearDown();
    }
    KAVIXSIM_CAMERA camera_ = 0;
    Session *session_ = nullptr;
};

TEST_F(OpenedRecord, NewFormInformation) {
    KavixSimCameraConfig config = camera_config(0x0810, 1);
    config.fpga_version = 21;
    config.firmware_version = 5;
    config.header_bytes = 64;
    config.clock_max = 48000000;
    config.clock_min = 6000000;
    config.clock_default = 24000000;
    config.enable_trigger_version = 3;
    config.info_reports_max_size = 1;
    config.white_balance_defaults[0] = 180;
    config.white_balance_defaults[3] = 200;
    config.function_bits[2] = 0x00C0;  // functions 38, 39
    Session &s = open(config);
    EXPECT_EQ(s.info.VendorId, 0x7B3D);
    EXPECT_EQ(s.info.ProductId, 0x0810);
    EXPECT_EQ(s.info.FpgaVersion, 21);
    EXPECT_EQ(s.info.FirmwareVersion, 5);
    EXPECT_EQ(s.info.HeaderBytes, 64);
    EXPECT_EQ(s.info.ClockMax, 48000000u);
    EXPECT_EQ(s.info.ClockMin, 6000000u);
    EXPECT_EQ(s.info.ClockDefault, 24000000u);
    EXPECT_EQ(s.info.EnableTriggerVersion, 3u);
    EXPECT_EQ(s.info.MaxWidth, config.sensor_width);
    EXPECT_EQ(s.info.MaxHeight, config.sensor_height);
    EXPECT_EQ(s.functions[2], 0x00C0);
    EXPECT_EQ(s.defaults.WhiteBalanceGains[0], 180);
    EXPECT_EQ(s.defaults.WhiteBalanceGains[3], 200);
    EXPECT_EQ(s.thread.RequestedUserId, 1u);
}

TEST_F(OpenedRecord, OldFormTakesDefaultsAndTheModelSize) {
    KavixSimCameraConfig config = camera_config(0x0110, 1);
    config.info_form = KAVIXSIM_INFO_OLD;
    config.clock_default = 30000000;
    Session &s = open(config);
    EXPECT_EQ(s.info.VendorId, 0x7B3D);
    EXPECT_EQ(s.info.ProductId, 0x0110);
    EXPECT_EQ(s.info.ClockMax, 24545455u);
    EXPECT_EQ(s.info.ClockMin, 24545455u);
    EXPECT_EQ(s.info.ClockDefault, 24545455u);
    EXPECT_EQ(s.info.MaxWidth, 640u);
    EXPECT_EQ(s.info.MaxHeight, 492u);
}

TEST_F(OpenedRecord, SizeMissingOnAModelOutsideTheTable) {
    KavixSimCameraConfig config = camera_config(0x0111, 1);  // always reports its size
    config.info_reports_max_size = 0;
    Session &s = open(config);
    EXPECT_EQ(s.info.MaxWidth, 4092u);
    EXPECT_EQ(s.info.MaxHeight, 4092u);
}

TEST_F(OpenedRecord, MonoAndColourPreview) {
    struct Case {
        uint16_t pid;
        uint32_t enable, format;
        uint16_t bytes;
        uint8_t interpolation;
    };
    for (const Case c : {Case{0x0110, 13, 1, 1, 0}, Case{0x0210, 12, 4, 3, 3}}) {
        SCOPED_TRACE(c.pid);
        KavixSim_UnplugAll();
        Session &s = open(camera_config(c.pid, 1));
        EXPECT_EQ(s.mode.EnablePreviewFormats, c.enable);
        EXPECT_EQ(s.mode.PreviewPixelFormat, c.format);
        EXPECT_EQ(s.mode.PreviewBytesPerPixel, c.bytes);
        EXPECT_EQ(s.processing.InterpolationMethod[0], c.interpolation);
        EXPECT_EQ(s.processing.InterpolationMethod[1], c.interpolation);
        const KavixSimCameraState state = camera_state(camera_);
        EXPECT_EQ(s.mode.Width, state.width);
        EXPECT_EQ(s.mode.Height, state.height);
        EXPECT_EQ(s.mode.PreviewSizeA, state.width * state.height * c.bytes);
        EXPECT_EQ(s.mode.PreviewSizeB, s.mode.PreviewSizeA);
        EXPECT_EQ(s.preview.DestRect.width, state.width);
        EXPECT_EQ(s.preview.MaskRect.height, state.height);
        close_session(session_);
        session_ = nullptr;
    }
}

TEST_F(OpenedRecord, ScanStateTransferFormatAndLongClockRecord) {
    KavixSimCameraConfig config = camera_config(0x0210, 1);
    config.enable_transfer_bits = KAVIX_TRANSFER_RAW8 | KAVIX_TRANSFER_RAW12;
    config.transfer_bits = KAVIX_TRANSFER_RAW12;
    config.firmware_version = 3;
    config.header_bytes = 32;
    Session &s = open(config);
    const KavixSimCameraState state = camera_state(camera_);
    EXPECT_EQ(s.mode.TransferBits, KAVIX_TRANSFER_RAW12);
    EXPECT_EQ(s.mode.RawSize, state.width * state.height * 2);
    EXPECT_EQ(s.mode.TransferSize, 32 + s.mode.RawSize);
    EXPECT_EQ(s.mode.ClockHz, state.clock_hz);
    EXPECT_EQ(s.mode.ClockMode, state.clock_mode);
    EXPECT_EQ(s.mode.ClocksPerLine, state.clocks_per_line);
    EXPECT_EQ(s.mode.LinesPerFrame, state.lines_per_frame);
    EXPECT_EQ(s.mode.ScanMode, state.scan_mode);
    EXPECT_EQ(s.mode.OffsetX, state.offset_x);
    EXPECT_EQ(s.defaults.MaxGain, config.max_gain);
    EXPECT_EQ(s.defaults.DefaultGain, config.default_gain);
    EXPECT_EQ(s.defaults.DefaultDigitalGain, config.default_digital_gain);
}

TEST_F(OpenedRecord, ShortClockRecordOnOldFirmware) {
    KavixSimCameraConfig config = camera_config(0x0210, 1);
    config.firmware_version = 2;
    Session &s = open(config);
    EXPECT_EQ(s.mode.ClockMode, 0u);
    EXPECT_EQ(s.mode.ClockHz, camera_state(camera_).clock_hz);
}

TEST_F(OpenedRecord, SingleTransferFormatIsNotAsked) {
    KavixSimCameraConfig config = camera_config(0x0210, 1);
    config.enable_transfer_bits = KAVIX_TRANSFER_RAW8;
    config.transfer_bits = KAVIX_TRANSFER_RAW8;
    const KAVIXSIM_CAMERA camera = plug(config);
    ASSERT_NE(KavixSim_SetRequestFault(camera, 0x13, KAVIXSIM_FAULT_FAIL, 31, 0), 0);
    session_ = open_session(1);
    ASSERT_NE(session_, nullptr) << "request 19 would have failed";
    EXPECT_EQ(session_->mode.TransferBits, KAVIX_TRANSFER_RAW8);
}

TEST_F(OpenedRecord, CameraMirrorGoesToTheHighNibble) {
    KavixSimCameraConfig config = camera_config(0x0210, 1);
    config.function_bits[1] = 1u << (23 - 16);  // vertical mirror in the camera
    const KAVIXSIM_CAMERA camera = plug(config);
    const uint16_t mirror = 0x0002;
    ASSERT_NE(KavixSim_SetStatusWords(camera, 0, 63, 1, &mirror), 0);
    session_ = open_session(1);
    ASSERT_NE(session_, nullptr);
    EXPECT_EQ(session_->processing.MirrorMode, 0x20);
}

TEST_F(OpenedRecord, LimitWordsFollowTheTimingWithoutFunction48) {
    KavixSimCameraConfig config = camera_config(0x0210, 1);
    config.function_bits[3] &= ~1u;  // function 48
    Session &s = open(config);
    ASSERT_FALSE(s.has_function(48));
    EXPECT_EQ(s.mode.ShutterMaxClock, s.mode.ClocksPerLine - 1u);
    EXPECT_EQ(s.mode.ShortLimitClock, 0u);
    EXPECT_EQ(s.mode.LongLimitClock, 0u);
    EXPECT_EQ(s.mode.ShortLimitLine, s.mode.LinesPerFrame);
}

TEST_F(OpenedRecord, TransportHandleAndUsbAddress) {
    Session &s = open(camera_config(0x0210, 1));
    EXPECT_EQ(Kavix_GetKavixUSBHandle(handle_of(&s)), s.usb());
    uint8_t address = 0;
    ASSERT_NE(KavixUSBD_GetFunctionAddress(s.usb(), &address), 0);
    EXPECT_EQ(s.thread.USBFunctionAddress, address);
}

}  // namespace
}  // namespace kavix::test
