// Camera commands beyond the information and scan records: shutter and gain,
// clock, white-balance defaults, pulses and commits, the defect table, the
// setting and data spaces, and injected faults.
#include <gtest/gtest.h>

#include "transport/sim_fixture.h"

namespace kavix::test {
namespace {

using CameraCommands = SimBusTest;

KavixSimCameraState state_of(KAVIXSIM_CAMERA cam) {
    KavixSimCameraState s{};
    EXPECT_EQ(KavixSim_GetState(cam, &s), 1);
    return s;
}

std::vector<uint8_t> words(std::initializer_list<uint16_t> list) {
    std::vector<uint8_t> d;
    for (uint16_t w : list) {
        d.push_back(static_cast<uint8_t>(w));
        d.push_back(static_cast<uint8_t>(w >> 8));
    }
    return d;
}

TEST_F(CameraCommands, ShutterAndGainRecordRoundTrip) {
    const KAVIXSIM_CAMERA cam = plug(0x0810, [](auto &c) { c.enable_scan_modes |= 4; });
    KAVIXUSB_HANDLE h = open(0);
    // Long exposures need mode 4; the line's high half travels at byte 10.
    std::vector<uint8_t> scan(64, 0);
    put16(scan, 22, 4);
    put32(scan, 10, 480);
    ASSERT_EQ(vendor_out(h, 18, scan).ok, 1);

    std::vector<uint8_t> w(64, 0);
    w[0] = 0x40;
    w[1] = 0x21;
    put16(w, 2, 4000);  // line 4000, beyond the frame of 500 lines
    put16(w, 4, 77);
    put16(w, 6, 200);
    Reply r = vendor_out(h, 33, w);
    ASSERT_EQ(r.ok, 1);
    EXPECT_EQ(r.transferred, 64u);

    r = vendor_in(h, 33, 64);
    ASSERT_EQ(r.transferred, 64u);
    EXPECT_EQ(r.data[0], 64);
    EXPECT_EQ(r.data[1], 33);
    EXPECT_EQ(u16(r.data, 2), 4000);
    EXPECT_EQ(u16(r.data, 4), 77);
    EXPECT_EQ(u16(r.data, 6), 200);
    EXPECT_EQ(u16(r.data, 8), 0);
    EXPECT_EQ(u16(r.data, 10), 0);
    for (size_t i = 12; i < 64; ++i) EXPECT_EQ(r.data[i], 0) << "byte " << i;
    const KavixSimCameraState s = state_of(cam);
    EXPECT_EQ(s.shutter_line, 4000u);
    EXPECT_EQ(s.shutter_clock, 77u);
    EXPECT_EQ(s.gain, 200);
}

TEST_F(CameraCommands, CameraKeepsShutterAndGainWithinItsLimits) {
    plug(0x0810, [](auto &c) { c.max_gain = 100; });
    KAVIXUSB_HANDLE h = open(0);
    std::vector<uint8_t> w(64, 0);
    put16(w, 2, 0x0001);
    put16(w, 10, 0x0002);  // line 0x20001: far beyond the long limit
    put16(w, 4, 60000);    // clock beyond the line
    put16(w, 6, 500);      // gain beyond the maximum
    ASSERT_EQ(vendor_out(h, 33, w).ok, 1);
    Reply r = vendor_in(h, 33, 64);
    EXPECT_EQ(u16(r.data, 2), 1040 + 20);  // long limit: the frame
    EXPECT_EQ(u16(r.data, 10), 0);
    EXPECT_EQ(u16(r.data, 4), 1360 + 160 - 1);
    EXPECT_EQ(u16(r.data, 6), 100);
}

TEST_F(CameraCommands, ClockRecordLongFormFromFirmware3) {
    const KAVIXSIM_CAMERA cam = plug(0x0810, [](auto &c) {
        c.firmware_version = 3;
        c.enable_clock_modes = 0x6;
    });
    KAVIXUSB_HANDLE h = open(0);
    Reply r = vendor_in(h, 34, 10);
    ASSERT_EQ(r.ok, 1);
    ASSERT_EQ(r.transferred, 10u);
    EXPECT_EQ(r.data[0], 10);
    EXPECT_EQ(r.data[1], 34);
    EXPECT_EQ(u32(r.data, 2), 0u);
    EXPECT_EQ(u32(r.data, 6), 24545455u);

    struct Case {
        uint32_t mode, hz, want_mode, want_hz;
        bool accepted;
    };
    const Case cases[] = {
        {0x80000000u, 30000000, 0x80000000u, 30000000, true},
        {0x80000000u, 1000, 0x80000000u, 6000000, true},       // cut to the minimum
        {0x80000000u, 90000000, 0x80000000u, 48000000, true},  // and the maximum
        {0x2, 0, 0x2, 24545455 >> 2, true},                    // flag 1: default / 4
        {0x4, 0, 0x4, 6000000, true},                          // default / 8, cut
        {0, 12345, 0, 24545455, true},                         // default clock
        {0x1, 0, 0, 0, false},                                 // not offered
        {0x3, 0, 0, 0, false},                                 // two flags
    };
    for (const Case &k : cases) {
        std::vector<uint8_t> w(10, 0);
        w[0] = 10;
        w[1] = 34;
        put32(w, 2, k.mode);
        put32(w, 6, k.hz);
        const KavixSimCameraState before = state_of(cam);
        Reply wr = vendor_out(h, 34, w);
        EXPECT_EQ(wr.ok, k.accepted ? 1 : 0) << k.mode;
        r = vendor_in(h, 34, 10);
        if (k.accepted) {
            EXPECT_EQ(u32(r.data, 2), k.want_mode) << k.mode;
            EXPECT_EQ(u32(r.data, 6), k.want_hz) << k.mode;
        } else {
            EXPECT_EQ(wr.error, 31u);
            EXPECT_EQ(u32(r.data, 6), before.clock_hz);
        }
    }
    // A short record doesn't fit this firmware.
    EXPECT_EQ(vendor_out(h, 34, {6, 34, 0, 0x87, 0x93, 0x03}).ok, 0);
}

TEST_F(CameraCommands, ClockRecordShortFormOnOldFirmware) {
    plug(0x0810, [](auto &c) { c.firmware_version = 2; });
    KAVIXUSB_HANDLE h = open(0);
    // The library asks for 10 and takes the 6 that come.
    Reply r = vendor_in(h, 34, 10);
    ASSERT_EQ(r.ok, 1);
    ASSERT_EQ(r.transferred, 6u);
    EXPECT_EQ(r.data[0], 6);
    EXPECT_EQ(r.data[1], 34);
    EXPECT_EQ(u32(r.data, 2), 24545455u);
    EXPECT_EQ(r.data[6], 0xEE);

    std::vector<uint8_t> w = {6, 34, 0, 0, 0, 0};
    put32(w, 2, 12000000);
    ASSERT_EQ(vendor_out(h, 34, w).ok, 1);
    EXPECT_EQ(u32(vendor_in(h, 34, 10).data, 2), 12000000u);
    EXPECT_EQ(vendor_out(h, 34, std::vector<uint8_t>(10, 0)).ok, 0);  // no room for a mode
}

TEST_F(CameraCommands, WhiteBalanceDefaultsRecord) {
    plug(0x0810, [](auto &c) {
        c.white_balance_defaults[0] = 0x0102;
        c.white_balance_defaults[1] = 0x0304;
        c.white_balance_defaults[2] = 0x0506;
        c.white_balance_defaults[3] = 0x0708;
    });
    KAVIXUSB_HANDLE h = open(0);
    Reply r = vendor_in(h, 35, 64);
    ASSERT_EQ(r.transferred, 64u);
    EXPECT_EQ(r.data[0], 64);
    EXPECT_EQ(r.data[1], 35);
    EXPECT_EQ(u16(r.data, 2), 0x0102);
    EXPECT_EQ(u16(r.data, 4), 0x0304);
    EXPECT_EQ(u16(r.data, 6), 0x0506);
    EXPECT_EQ(u16(r.data, 8), 0x0708);
    EXPECT_EQ(vendor_out(h, 35, std::vector<uint8_t>(64, 0)).ok, 0);  // read only
}

TEST_F(CameraCommands, TriggerAndClearBufferAreCounted) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    ASSERT_EQ(vendor_out(h, 48, {}).ok, 1);
    ASSERT_EQ(vendor_out(h, 48, {}).ok, 1);
    ASSERT_EQ(vendor_out(h, 32, {}).ok, 1);
    EXPECT_EQ(vendor_in(h, 48, 2).ok, 0);
    const KavixSimCameraState s = state_of(cam);
    EXPECT_EQ(s.soft_triggers, 2u);
    EXPECT_EQ(s.buffer_clears, 1u);
}

TEST_F(CameraCommands, SkippingBinningAndVBlankWaitForTheCommit) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    // HBin 1 and VSkip 1: half the width, half the height.
    ASSERT_EQ(vendor_out(h, 128, words({0x1001}), 33).ok, 1);
    ASSERT_EQ(vendor_out(h, 128, words({100}), 23).ok, 1);
    Reply r = vendor_in(h, 18, 64);
    EXPECT_EQ(u32(r.data, 6), 1360u);
    EXPECT_EQ(u16(r.data, 26), 1060);
    EXPECT_EQ(u16(vendor_in(h, 128, 2, 33).data, 0), 0x1001);  // reads back as written

    ASSERT_EQ(vendor_out(h, 128, words({1}), 80).ok, 1);
    r = vendor_in(h, 18, 64);
    EXPECT_EQ(u32(r.data, 6), 680u);
    EXPECT_EQ(u32(r.data, 10), 520u);
    EXPECT_EQ(u16(r.data, 28), 680 + 160);
    EXPECT_EQ(u16(r.data, 26), 520 + 20 + 100);
    EXPECT_EQ(state_of(cam).commits, 1u);

    // Back to no binning: the window on the sensor is still the whole sensor.
    ASSERT_EQ(vendor_out(h, 128, words({0}), 33).ok, 1);
    ASSERT_EQ(vendor_out(h, 128, words({1}), 80).ok, 1);
    r = vendor_in(h, 18, 64);
    EXPECT_EQ(u32(r.data, 6), 1360u);
    EXPECT_EQ(u32(r.data, 10), 1040u);
}

TEST_F(CameraCommands, VBlankIsCutToTheCamerasMaximum) {
    plug(0x0810, [](auto &c) { c.max_vblank = 50; });
    KAVIXUSB_HANDLE h = open(0);
    ASSERT_EQ(vendor_out(h, 128, words({400}), 23).ok, 1);
    ASSERT_EQ(vendor_out(h, 128, words({1}), 80).ok, 1);
    EXPECT_EQ(u16(vendor_in(h, 128, 2, 23).data, 0), 50);
    EXPECT_EQ(u16(vendor_in(h, 18, 64).data, 26), 1040 + 20 + 50);
}

TEST_F(CameraCommands, PulsesOtherThanCommitAreCountedNotStored) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    ASSERT_EQ(vendor_out(h, 128, words({2}), 80).ok, 1);
    ASSERT_EQ(vendor_out(h, 128, words({0x4004}), 80).ok, 1);
    EXPECT_EQ(u16(vendor_in(h, 128, 2, 80).data, 0), 0);
    const KavixSimCameraState s = state_of(cam);
    EXPECT_EQ(s.counter_resets, 1u);
    EXPECT_EQ(s.commits, 0u);
}

TEST_F(CameraCommands, MirrorCameraModeAndDigitalGain) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    EXPECT_EQ(state_of(cam).camera_mode, 1);
    ASSERT_EQ(vendor_out(h, 128, words({0x13}), 0x803F).ok, 1);
    ASSERT_EQ(vendor_out(h, 128, words({0}), 101).ok, 1);
    ASSERT_EQ(vendor_out(h, 128, words({300}), 0x8014).ok, 1);
    EXPECT_EQ(u16(vendor_in(h, 128, 2, 63).data, 0), 3);
    EXPECT_EQ(u16(vendor_in(h, 128, 2, 20).data, 0), 300);
    const KavixSimCameraState s = state_of(cam);
    EXPECT_EQ(s.mirror, 3);
    EXPECT_EQ(s.camera_mode, 0);
    EXPECT_EQ(s.digital_gain, 300);
}

TEST_F(CameraCommands, OnCameraControlWordsKeepTheirIds) {
    plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    // Writes at 69 and 75 (no bit 15) and at 0x8047, 0x8049, 0x804A, 0x804C.
    ASSERT_EQ(vendor_out(h, 128, words({900, 0}), 69).ok, 1);
    ASSERT_EQ(vendor_out(h, 128, words({3, 0}), 0x8047).ok, 1);
    ASSERT_EQ(vendor_out(h, 128, words({0x30}), 0x8049).ok, 1);
    ASSERT_EQ(vendor_out(h, 128, words({120}), 0x804A).ok, 1);
    ASSERT_EQ(vendor_out(h, 128, words({200}), 75).ok, 1);
    ASSERT_EQ(vendor_out(h, 128, words({10}), 0x804C).ok, 1);
    Reply r = vendor_in(h, 128, 16, 69);  // 69 to 76 in one read
    ASSERT_EQ(r.transferred, 16u);
    EXPECT_EQ(u32(r.data, 0), 900u);
    EXPECT_EQ(u32(r.data, 4), 3u);
    EXPECT_EQ(u16(r.data, 8), 0x30);
    EXPECT_EQ(u16(r.data, 10), 120);
    EXPECT_EQ(u16(r.data, 12), 200);
    EXPECT_EQ(u16(r.data, 14), 10);
}

TEST_F(CameraCommands, ExposureLimitWordsInClocks) {
    plug(0x0810);
    Reply r = vendor_in(open(0), 128, 12, 88);
    ASSERT_EQ(r.transferred, 12u);
    EXPECT_EQ(u32(r.data, 0), 1u);
    EXPECT_EQ(u32(r.data, 4), 1060u * 1520u);
    EXPECT_EQ(u32(r.data, 8), 1060u * 1520u);
}

TEST_F(CameraCommands, SwitchStatusComesFromTheInputs) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    const uint16_t inputs = 0x5;
    ASSERT_EQ(KavixSim_SetStatusWords(cam, 0, 102, 1, &inputs), 1);
    EXPECT_EQ(u16(vendor_in(h, 128, 2, 102).data, 0), 5);
    EXPECT_EQ(vendor_out(h, 128, words({1}), 0x8000 | 102).ok, 0);
}

TEST_F(CameraCommands, DefectTableOfSelector129) {
    const KAVIXSIM_CAMERA cam = plug(0x0810, [](auto &c) {
        c.defect_table_size = 8;
        c.function_bits[5] = 8;
    });
    KAVIXUSB_HANDLE h = open(0);
    // Unused entries read 0xFFFF, 0xFFFF.
    Reply r = vendor_in(h, 128, 4, 2 * 3, 129);
    ASSERT_EQ(r.ok, 1);
    EXPECT_EQ(u32(r.data, 0), 0xFFFFFFFFu);
    // The position call writes at twice (index | 0xC000), cut to 16 bits.
    const uint16_t id = static_cast<uint16_t>(2 * (3 | 0xC000));
    ASSERT_EQ(vendor_out(h, 128, words({100, 200}), id, 129).ok, 1);
    // Detection writes at twice the index, without the high bits.
    ASSERT_EQ(vendor_out(h, 128, words({7, 9}), 2 * 7, 129).ok, 1);
    r = vendor_in(h, 128, 4, 6, 129);
    EXPECT_EQ(u16(r.data, 0), 100);
    EXPECT_EQ(u16(r.data, 2), 200);
    uint16_t entry[2] = {};
    ASSERT_EQ(KavixSim_GetStatusWords(cam, 129, 14, 2, entry), 1);
    EXPECT_EQ(entry[0], 7);
    EXPECT_EQ(entry[1], 9);
    // Entry 8 lies beyond the table; selector 2 doesn't exist.
    EXPECT_EQ(vendor_in(h, 128, 4, 16, 129).ok, 0);
    EXPECT_EQ(vendor_in(h, 128, 2, 0, 2).ok, 0);
    // Selector 0 is a different space.
    EXPECT_NE(u16(vendor_in(h, 128, 2, 6).data, 0), 100);
}

TEST_F(CameraCommands, SettingSpaceStoresAndWordAnnouncesChanges) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    ASSERT_EQ(vendor_out(h, 129, {1, 2, 3, 4}, 0x10, 0).ok, 1);
    Reply r = vendor_in(h, 129, 4, 0x10, 0);
    EXPECT_EQ(r.data, (std::vector<uint8_t>{1, 2, 3, 4}));
    EXPECT_EQ(vendor_in(h, 129, 4, 0x10, 1).ok, 0);  // address 0x10010
    EXPECT_EQ(vendor_in(h, 129, 8, 252, 0).ok, 0);   // runs off the end

    // A smaller window, then the word with bit 12: the window is whole again.
    std::vector<uint8_t> scan(64, 0);
    put16(scan, 22, 0x8000);
    put32(scan, 6, 320);
    put32(scan, 10, 240);
    ASSERT_EQ(vendor_out(h, 18, scan).ok, 1);
    EXPECT_EQ(state_of(cam).width, 320u);
    ASSERT_EQ(vendor_out(h, 129, {0x00, 0x10}).ok, 1);
    EXPECT_EQ(state_of(cam).width, 1360u);
    EXPECT_EQ(u16(vendor_in(h, 129, 2).data, 0), 0x1000);
}

uint16_t data_value(uint32_t address) { return static_cast<uint16_t>((address & 0xFF) << 8 | 1); }
uint16_t data_index(uint32_t address) { return static_cast<uint16_t>(address >> 8); }

TEST_F(CameraCommands, DataSpaceHoldsTheRegisterTable) {
    plug(0x0810, [](auto &c) { c.max_vblank = 3210; });
    KAVIXUSB_HANDLE h = open(0);
    Reply dir = vendor_in(h, 130, 92, data_value(4), data_index(4));
    ASSERT_EQ(dir.ok, 1);
    ASSERT_EQ(dir.transferred, 92u);
    uint32_t sizes[23];
    for (int i = 0; i < 23; ++i) {
        const uint32_t base = u32(dir.data, 4 * i);
        ASSERT_LT(base, 0x1000000u);
        Reply size = vendor_in(h, 130, 4, data_value(base), data_index(base));
        ASSERT_EQ(size.ok, 1) << "block " << i;
        sizes[i] = u32(size.data, 0);
    }
    EXPECT_GT(sizes[21], 88u);
    const uint32_t timing = u32(dir.data, 4 * 21);
    Reply t = vendor_in(h, 130, 92, data_value(timing), data_index(timing));
    ASSERT_EQ(t.ok, 1);
    EXPECT_EQ(u32(t.data, 20), 24545455u);          // frame clock
    EXPECT_EQ(u32(t.data, 84), 1520u * 1060u);      // clocks per frame
    EXPECT_EQ(u32(t.data, 88), 3210u);              // maximum V-blank

    // Clocks per frame follow the window.
    std::vector<uint8_t> scan(64, 0);
    put16(scan, 22, 0x8000);
    put32(scan, 6, 640);
    put32(scan, 10, 480);
    ASSERT_EQ(vendor_out(h, 18, scan).ok, 1);
    t = vendor_in(h, 130, 4, data_value(timing + 84), data_index(timing + 84));
    EXPECT_EQ(u32(t.data, 0), 800u * 500u);
}

TEST_F(CameraCommands, DataSpaceRefusals) {
    plug(0x0810);
    plug(0x0810, [](auto &c) { c.has_register_table = 0; });
    KAVIXUSB_HANDLE h = open(0);
    EXPECT_EQ(vendor_in(h, 130, 6, data_value(4), 0).ok, 0);       // not whole words
    EXPECT_EQ(vendor_in(h, 130, 4, 0x0400, 0).ok, 0);               // selector 0
    EXPECT_EQ(vendor_out(h, 130, {0, 0, 0, 0}, data_value(4), 0).ok, 0);  // the directory
    const uint32_t free_word = 0x100 + 5 * 0x100 + 8;
    ASSERT_EQ(vendor_out(h, 130, {1, 2, 3, 4}, data_value(free_word), data_index(free_word)).ok, 1);
    EXPECT_EQ(u32(vendor_in(h, 130, 4, data_value(free_word), data_index(free_word)).data, 0),
              0x04030201u);
    EXPECT_EQ(vendor_in(open(1), 130, 4, data_value(4), 0).ok, 0);  // no table at all
}

TEST_F(CameraCommands, InjectedFailureAndShortAnswers) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);

    ASSERT_EQ(KavixSim_SetRequestFault(cam, 17, KAVIXSIM_FAULT_FAIL, 23, 1), 1);
    Reply r = vendor_in(h, 17, 64);
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.error, 23u);
    EXPECT_EQ(r.transferred, 0u);
    EXPECT_EQ(vendor_in(h, 17, 64).ok, 1);  // once only

    ASSERT_EQ(KavixSim_SetRequestFault(cam, 18, KAVIXSIM_FAULT_SHORT, 40, 0), 1);
    for (int i = 0; i < 3; ++i) {
        r = vendor_in(h, 18, 64);
        EXPECT_EQ(r.ok, 1);
        EXPECT_EQ(r.transferred, 40u);
    }
    // A short write reaches nothing.
    std::vector<uint8_t> scan(64, 0);
    put16(scan, 22, 0x8000);
    put32(scan, 6, 320);
    put32(scan, 10, 240);
    r = vendor_out(h, 18, scan);
    EXPECT_EQ(r.ok, 1);
    EXPECT_EQ(r.transferred, 40u);
    EXPECT_EQ(state_of(cam).width, 1360u);

    ASSERT_EQ(KavixSim_SetRequestFault(cam, 18, KAVIXSIM_FAULT_NONE, 0, 0), 1);
    EXPECT_EQ(vendor_in(h, 18, 64).transferred, 64u);
    ASSERT_EQ(KavixSim_SetRequestFault(cam, 128, KAVIXSIM_FAULT_FAIL, 0, 2), 1);
    EXPECT_EQ(vendor_in(h, 128, 2, 63).error, 31u);
    EXPECT_EQ(vendor_in(h, 128, 2, 63).error, 31u);
    EXPECT_EQ(vendor_in(h, 128, 2, 63).ok, 1);

    EXPECT_EQ(KavixSim_SetRequestFault(cam, 18, 3, 0, 0), 0);
    EXPECT_EQ(KavixSim_SetRequestFault(cam + 100, 18, KAVIXSIM_FAULT_FAIL, 0, 0), 0);
}

TEST_F(CameraCommands, BootFirmwareAnswersTheControlPlaneAsVersion8) {
    plug(0x0305, [](auto &c) { c.boot_firmware = 1; });
    KAVIXUSB_HANDLE h = open(0);
    Reply info = vendor_in(h, 17, 64);
    ASSERT_EQ(info.ok, 1);
    EXPECT_EQ(u16(info.data, 2), 0x0305);  // old form
    EXPECT_EQ(u16(info.data, 6), 8);
    for (uint8_t req : {18, 35, 33}) EXPECT_EQ(vendor_in(h, req, 64).transferred, 64u) << int{req};
    EXPECT_EQ(vendor_in(h, 34, 10).transferred, 10u);
}

}  // namespace
}  // namespace kavix::test
