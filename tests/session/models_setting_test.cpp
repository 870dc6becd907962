// Kavix_CameraSetting: the word reaches the camera's setting space; bits 15
// and 12 make the camera change its state, which the session then reads.
#include <gtest/gtest.h>

#include "KavixD.h"
#include "sensor/camera_fixture.h"
#include "session/setting_space.h"

namespace kavix::test {
namespace {

class CameraSettingTest : public VirtualCameraTest {
protected:
    uint16_t setting_word() {
        uint8_t bytes[2] = {};
        EXPECT_TRUE(read_setting_space(session(), kSettingWordAddress, bytes, 2));
        return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
    }
};

TEST_F(CameraSettingTest, PlainWordChangesNothingElse) {
    open_model(0x0410);
    ASSERT_NE(Kavix_SetImageSize(handle, 0, 0x8000, 8, 8, 512, 384), 0);
    ASSERT_EQ(session().mode.Width, 512u);
    const uint32_t sent = transfers();
    EXPECT_EQ(Kavix_CameraSetting(handle, 0x0123), 1);
    EXPECT_EQ(transfers(), sent + 1) << "the write alone";
    EXPECT_EQ(setting_word(), 0x0123);
    EXPECT_EQ(session().mode.Width, 512u);
    EXPECT_EQ(state().width, 512u);
}

// Bit 12 makes the camera return to its full window: the session follows,
// with the sizes that go with it.
TEST_F(CameraSettingTest, WindowResetIsReadBack) {
    open_model(0x0410);
    ASSERT_NE(Kavix_SetImageSize(handle, 0, 0x8000, 8, 8, 512, 384), 0);
    ASSERT_EQ(session().mode.Width, 512u);
    EXPECT_EQ(Kavix_CameraSetting(handle, 0x1000), 1);
    const KavixSimCameraState camera_state = state();
    const Session &s = session();
    EXPECT_EQ(camera_state.width, 1024u);
    EXPECT_EQ(s.mode.Width, camera_state.width);
    EXPECT_EQ(s.mode.Height, camera_state.height);
    EXPECT_EQ(s.mode.RawSize, s.mode.Width * s.mode.Height);
    EXPECT_EQ(s.mode.PreviewSizeA, s.mode.Width * s.mode.Height * 3);
    EXPECT_EQ(s.preview.MaskRect.width, s.mode.Width);
    EXPECT_EQ(s.preview.DestRect.height, s.mode.Height);
    EXPECT_NE(s.defaults.RegisterTable, nullptr) << "the table is read anew";
}

// Bit 15 restores the camera's power-on timing: the clock is read again.
TEST_F(CameraSettingTest, TimingResetIsReadBack) {
    open_model(0x0810);
    uint32_t modes = 0, default_hz = 0, min_hz = 0, max_hz = 0;
    ASSERT_NE(Kavix_GetEnableClock(handle, &modes, &default_hz, &min_hz, &max_hz), 0);
    ASSERT_NE(modes & 1u, 0u);
    ASSERT_NE(Kavix_SetClock(handle, 1, 0), 0);  // the camera's first clock mode
    ASSERT_NE(session().mode.ClockHz, default_hz);
    ASSERT_EQ(session().mode.ClockMode, 1u);
    EXPECT_EQ(Kavix_CameraSetting(handle, 0x8000), 1);
    EXPECT_EQ(state().clock_hz, default_hz);
    EXPECT_EQ(session().mode.ClockHz, default_hz);
    EXPECT_EQ(session().mode.ClockMode, 0u);
}

TEST_F(CameraSettingTest, Failures) {
    open_model(0x0810);
    ASSERT_NE(KavixSim_SetRequestFault(camera, 129, KAVIXSIM_FAULT_FAIL, 31, 1), 0);
    EXPECT_EQ(Kavix_CameraSetting(handle, 0x0001), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);
    // A short write is a failure too, and the camera didn't take the word.
    ASSERT_NE(KavixSim_SetRequestFault(camera, 129, KAVIXSIM_FAULT_SHORT, 1, 1), 0);
    EXPECT_EQ(Kavix_CameraSetting(handle, 0x1000), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);
    // The camera takes the word but can't be read back.
    ASSERT_NE(KavixSim_SetRequestFault(camera, 18, KAVIXSIM_FAULT_FAIL, 31, 1), 0);
    EXPECT_EQ(Kavix_CameraSetting(handle, 0x1000), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(setting_word(), 0x1000);
    EXPECT_EQ(Kavix_CameraSetting(nullptr, 0x1000), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
}

TEST_F(CameraSettingTest, SettingSpaceAddresses) {
    open_model(0x0810);
    const uint8_t out[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    uint8_t in[8] = {};
    EXPECT_TRUE(write_setting_space(session(), 0x40, out, 8));
    EXPECT_TRUE(read_setting_space(session(), 0x40, in, 8));
    EXPECT_EQ(std::memcmp(in, out, 8), 0);
    // Beyond the camera's space: refused.
    EXPECT_FALSE(read_setting_space(session(), 0x10000, in, 4));
    EXPECT_EQ(session().last_error(), KAVIX_E_TRANSFER_FAILED);
}

}  // namespace
}  // namespace kavix::test
