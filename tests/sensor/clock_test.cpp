// The sensor clock against virtual cameras: the session keeps what the
// camera reads back, in the record form its firmware takes.
#include <gtest/gtest.h>

#include "sensor/sensor_fixture.h"
#include "session/session.h"

namespace kavix::test {
namespace {

constexpr uint16_t kColourModel = 0x0810;
constexpr uint32_t kArbitrary = KAVIX_CLOCK_ARBITRARY;

class Clock : public SensorCameraTest {
protected:
    void SetUp() override {
        SensorCameraTest::SetUp();
        open_model(kColourModel, [](KavixSimCameraConfig &c) {
            c.enable_clock_modes = 0x3 | kArbitrary;
        });
    }
    uint32_t session_clock(uint32_t *mode = nullptr) const {
        uint32_t m = 0, hz = 0;
        EXPECT_NE(Kavix_GetClock(handle, &m, &hz), 0);
        if (mode) *mode = m;
        return hz;
    }
};

TEST_F(Clock, TheSessionTakesWhatTheCameraReadsBack) {
    struct Case {
        uint32_t mode, hz;
    };
    const Case cases[] = {
        {kArbitrary, 12000000},
        {kArbitrary, 6000000},   // both limits included
        {kArbitrary, 48000000},
        {1, 99},                 // a clock mode: the camera picks the frequency
        {2, 0},
        {0, 1},                  // the default passes any Hz value
    };
    for (const Case &c : cases) {
        clear_wire();
        ASSERT_NE(Kavix_SetClock(handle, c.mode, c.hz), 0) << c.mode << " " << c.hz;
        const auto writes = transfers(kRequestClock, kRequestOut);
        ASSERT_EQ(writes.size(), 1u);
        EXPECT_EQ(writes[0].length, 10);
        EXPECT_EQ(writes[0].data[0], 10);
        EXPECT_EQ(writes[0].data[1], 34);
        EXPECT_EQ(le32(writes[0].data + 2), c.mode);
        EXPECT_EQ(le32(writes[0].data + 6), c.hz);
        EXPECT_EQ(transfers(kRequestClock, kRequestIn).size(), 1u) << "read back";
        uint32_t mode = 0;
        EXPECT_EQ(session_clock(&mode), state().clock_hz);
        EXPECT_EQ(mode, state().clock_mode);
    }
    // The camera's own frequency for the modes, not the argument.
    ASSERT_NE(Kavix_SetClock(handle, 1, 99), 0);
    EXPECT_EQ(session_clock(), 24545455u / 2);
}

TEST_F(Clock, BadModesAndFrequenciesAreRefusedWithoutATransfer) {
    const uint32_t before = session_clock();
    struct Case {
        uint32_t mode, hz;
    };
    for (const Case c : {Case{4, 0}, Case{0x40000000, 0}, Case{kArbitrary, 5999999},
                         Case{kArbitrary, 48000001}, Case{kArbitrary, 0}}) {
        clear_wire();
        EXPECT_EQ(Kavix_SetClock(handle, c.mode, c.hz), 0) << c.mode << " " << c.hz;
        EXPECT_EQ(last_error(), 87u);
        EXPECT_TRUE(wire().empty());
    }
    EXPECT_EQ(session_clock(), before);
}

TEST_F(Clock, AFailedOrShortWriteFails) {
    const uint32_t before = session_clock();
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestClock, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    EXPECT_EQ(Kavix_SetClock(handle, kArbitrary, 12000000), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(session_clock(), before);
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestClock, KAVIXSIM_FAULT_SHORT, 6, 1), 0);
    Kavix_GetLastError(handle);
    EXPECT_EQ(Kavix_SetClock(handle, kArbitrary, 12000000), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
}

TEST_F(Clock, AFailedReadBackFails) {
    // The write goes through (the first transfer), the read back doesn't.
    ASSERT_NE(Kavix_SetClock(handle, kArbitrary, 20000000), 0);
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestClock, KAVIXSIM_FAULT_SHORT, 4, 0), 0);
    EXPECT_EQ(Kavix_SetClock(handle, kArbitrary, 12000000), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestClock, KAVIXSIM_FAULT_NONE, 0, 0), 0);
}

TEST_F(Clock, IsAllowedBesideACaptureThread) {
    session().thread.CaptureThreadSet = true;
    EXPECT_NE(Kavix_SetClock(handle, kArbitrary, 12000000), 0);
    session().thread.CaptureThreadSet = false;
    EXPECT_EQ(session_clock(), 12000000u);
}

TEST_F(Clock, EnableClockTellsTheCamerasLimits) {
    uint32_t modes = 0, def = 0, lo = 0, hi = 0;
    ASSERT_NE(Kavix_GetEnableClock(handle, &modes, &def, &lo, &hi), 0);
    EXPECT_EQ(modes, 0x3u | kArbitrary);
    EXPECT_EQ(def, 24545455u);
    EXPECT_EQ(lo, 6000000u);
    EXPECT_EQ(hi, 48000000u);
    EXPECT_EQ(Kavix_GetEnableClock(handle, &modes, &def, &lo, nullptr), 0);
    EXPECT_EQ(last_error(), 87u);
}

TEST_F(SensorCameraTest, OldFirmwareSendsTheFrequencyAlone) {
    open_model(kColourModel, [](KavixSimCameraConfig &c) {
        c.firmware_version = 2;
        c.enable_clock_modes = 0x3 | kArbitrary;
    });
    clear_wire();
    // The mode word has no room in the old record: the camera sees a frequency.
    ASSERT_NE(Kavix_SetClock(handle, 1, 12000000), 0);
    const auto writes = transfers(kRequestClock, kRequestOut);
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].length, 6);
    EXPECT_EQ(writes[0].data[0], 6);
    EXPECT_EQ(writes[0].data[1], 34);
    EXPECT_EQ(le32(writes[0].data + 2), 12000000u);
    uint32_t mode = 7, hz = 0;
    ASSERT_NE(Kavix_GetClock(handle, &mode, &hz), 0);
    EXPECT_EQ(hz, 12000000u);
    EXPECT_EQ(mode, 0u) << "a short record read back has no mode";
}

TEST_F(SensorCameraTest, FrameClockGivesTheSessionsTotals) {
    open_model(kColourModel);
    uint16_t lines = 0, clocks = 0;
    ASSERT_NE(Kavix_GetFrameClock(handle, &lines, &clocks), 0);
    EXPECT_EQ(lines, state().lines_per_frame);
    EXPECT_EQ(clocks, state().clocks_per_line);
    EXPECT_EQ(Kavix_GetFrameClock(handle, &lines, nullptr), 0);
    EXPECT_EQ(last_error(), 87u);
}

}  // namespace
}  // namespace kavix::test
