// Device indexes, handles, open counts, probe and recovery, versions.
#include <gtest/gtest.h>

#include "transport/sim_fixture.h"

namespace kavix::test {
namespace {

constexpr uint32_t kInvalidHandle = 6;

using Enumeration = SimBusTest;

TEST_F(Enumeration, EmptyBusHasNoDeviceZero) {
    KavixUSBD_SetLastError(0);
    EXPECT_EQ(KavixUSBD_OpenDevice(0), nullptr);
    EXPECT_EQ(KavixUSBD_GetLastError(), 2u);
}

TEST_F(Enumeration, IndexesFollowPlugOrderAndEndAtTheLastCamera) {
    const KAVIXSIM_CAMERA a = plug(0x0110), b = plug(0x0210);
    KAVIXUSB_HANDLE h0 = open(0), h1 = open(1);
    ASSERT_TRUE(h0 && h1);
    EXPECT_NE(h0, h1);
    // The product id tells which camera each index reached.
    EXPECT_EQ(u16(vendor_in(h0, 17, 64).data, 4), 0x0110);
    EXPECT_EQ(u16(vendor_in(h1, 17, 64).data, 4), 0x0210);
    KavixUSBD_SetLastError(0);
    EXPECT_EQ(KavixUSBD_OpenDevice(2), nullptr);
    EXPECT_EQ(KavixUSBD_GetLastError(), 2u);

    // Unplugging the first closes the gap: the second is index 0 now.
    ASSERT_EQ(KavixSim_Unplug(a), 1);
    KAVIXUSB_HANDLE again = open(0);
    EXPECT_EQ(u16(vendor_in(again, 17, 64).data, 4), 0x0210);
    (void)b;
}

TEST_F(Enumeration, IndexBeyondTheWalkIsNoDevice) {
    for (int i = 0; i < 3; ++i) plug(0x0110);
    KavixUSBD_SetLastError(0);
    EXPECT_EQ(KavixUSBD_OpenDevice(127), nullptr);
    EXPECT_EQ(KavixUSBD_GetLastError(), 2u);
    EXPECT_EQ(KavixUSBD_OpenDevice(0xFFFFFFFFu), nullptr);
}

TEST_F(Enumeration, OpenCountCountsHandlesOnTheSameDevice) {
    plug(0x0110);
    plug(0x0110);
    KAVIXUSB_HANDLE first = open(0), second = open(0), other = open(1);
    uint32_t count = 0;
    ASSERT_EQ(KavixUSBD_GetOpenCount(first, &count), 1);
    EXPECT_EQ(count, 2u);
    ASSERT_EQ(KavixUSBD_GetOpenCount(second, &count), 1);
    EXPECT_EQ(count, 2u);
    ASSERT_EQ(KavixUSBD_GetOpenCount(other, &count), 1);
    EXPECT_EQ(count, 1u);
    close(second);
    ASSERT_EQ(KavixUSBD_GetOpenCount(first, &count), 1);
    EXPECT_EQ(count, 1u);
}

TEST_F(Enumeration, BusyCameraCountsTheOtherClient) {
    const KAVIXSIM_CAMERA cam = plug(0x0110);
    ASSERT_EQ(KavixSim_SetBusy(cam, 1), 1);
    KAVIXUSB_HANDLE h = open(0);
    uint32_t count = 0;
    ASSERT_EQ(KavixUSBD_GetOpenCount(h, &count), 1);
    EXPECT_EQ(count, 2u);
    ASSERT_EQ(KavixSim_SetBusy(cam, 0), 1);
    ASSERT_EQ(KavixUSBD_GetOpenCount(h, &count), 1);
    EXPECT_EQ(count, 1u);
}

TEST_F(Enumeration, ClosedAndForeignHandlesAreRefused) {
    plug(0x0110);
    KAVIXUSB_HANDLE h = KavixUSBD_OpenDevice(0);
    ASSERT_NE(h, nullptr);
    ASSERT_EQ(KavixUSBD_CloseDevice(h), 1);

    KavixUSBD_SetLastError(0);
    EXPECT_EQ(KavixUSBD_CloseDevice(h), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), kInvalidHandle);
    uint32_t count = 99;
    EXPECT_EQ(KavixUSBD_GetOpenCount(h, &count), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), kInvalidHandle);
    EXPECT_EQ(KavixUSBD_CloseDevice(nullptr), 0);
    int not_a_handle = 0;
    EXPECT_EQ(KavixUSBD_CloseDevice(reinterpret_cast<KAVIXUSB_HANDLE>(&not_a_handle)), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), kInvalidHandle);
}

TEST_F(Enumeration, RequiredOutPointersAreChecked) {
    plug(0x0110);
    KAVIXUSB_HANDLE h = open(0);
    KavixUSBD_SetLastError(0);
    EXPECT_EQ(KavixUSBD_GetOpenCount(h, nullptr), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    EXPECT_EQ(KavixUSBD_GetFunctionAddress(h, nullptr), 0);
    uint32_t v = 0;
    EXPECT_EQ(KavixUSBD_GetDriverVersion(h, &v, &v, nullptr, &v), 0);
    EXPECT_EQ(KavixUSBD_GetLibraryVersion(&v, nullptr, &v, &v), 0);
    EXPECT_EQ(KavixUSBD_ControlTransfer(h, KAVIXUSBD_REQUEST_IN, 17, 0, 0, 64, nullptr, nullptr), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
}

TEST_F(Enumeration, UnpluggedDeviceFailsWith1167UntilClosed) {
    const KAVIXSIM_CAMERA cam = plug(0x0110);
    KAVIXUSB_HANDLE h = open(0);
    ASSERT_EQ(KavixSim_Unplug(cam), 1);
    Reply r = vendor_in(h, 17, 64);
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.error, 1167u);
    EXPECT_EQ(r.transferred, 0u);
    uint8_t address = 0;
    EXPECT_EQ(KavixUSBD_GetFunctionAddress(h, &address), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 1167u);
    close(h);
    EXPECT_EQ(KavixSim_Unplug(cam), 0);  // already gone
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
}

TEST_F(Enumeration, FunctionAddressesDifferPerDevice) {
    plug(0x0110);
    plug(0x0110);
    uint8_t a = 0, b = 0;
    ASSERT_EQ(KavixUSBD_GetFunctionAddress(open(0), &a), 1);
    ASSERT_EQ(KavixUSBD_GetFunctionAddress(open(1), &b), 1);
    EXPECT_GE(a, 1);
    EXPECT_LE(a, 127);
    EXPECT_NE(a, b);
}

TEST_F(Enumeration, ProbeFailsUntilEnoughRecoveries) {
    const KAVIXSIM_CAMERA cam = plug(0x0110);
    ASSERT_EQ(KavixSim_FailProbe(cam, 2), 1);
    KAVIXUSB_HANDLE h = open(0);
    uint32_t status = 7, detail = 7;
    EXPECT_EQ(KavixUSBD_ProbeDevice(h, &status, &detail), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 31u);
    EXPECT_EQ(detail, 0u);

    ASSERT_EQ(KavixUSBD_ResetPipes(h), 1);
    close(h);
    h = open(0);
    EXPECT_EQ(KavixUSBD_ProbeDevice(h, nullptr, nullptr), 0);
    ASSERT_EQ(KavixUSBD_ResetPort(h), 1);
    close(h);
    h = open(0);
    EXPECT_EQ(KavixUSBD_ProbeDevice(h, &status, &detail), 1);
    EXPECT_EQ(status, 0u);

    KavixSimCameraState state;
    ASSERT_EQ(KavixSim_GetState(cam, &state), 1);
    EXPECT_EQ(state.recoveries, 2u);
}

TEST_F(Enumeration, DriverVersionIsTheCamerasConfiguredOne) {
    plug(0x0110);
    plug(0x0110, [](KavixSimCameraConfig &c) {
        c.driver_version[0] = 0x30000;
        c.driver_version[1] = 4;  // too old for recovery
    });
    uint32_t v[4] = {};
    ASSERT_EQ(KavixUSBD_GetDriverVersion(open(0), &v[0], &v[1], &v[2], &v[3]), 1);
    EXPECT_EQ(v[0], 0x30000u);
    EXPECT_GE(v[1], 5u);
    ASSERT_EQ(KavixUSBD_GetDriverVersion(open(1), &v[0], &v[1], &v[2], &v[3]), 1);
    EXPECT_EQ(v[1], 4u);
}

TEST_F(Enumeration, LibraryVersionNeedsNoDevice) {
    uint32_t major = 9, minor = 9, patch = 9, build = 9;
    ASSERT_EQ(KavixUSBD_GetLibraryVersion(&major, &minor, &patch, &build), 1);
    EXPECT_EQ(major, 1u);
    EXPECT_EQ(build, 0u);
}

TEST_F(Enumeration, PlugRefusesImpossibleCameras) {
    struct Case {
        const char *what;
        std::function<void(KavixSimCameraConfig &)> tweak;
    };
    const Case cases[] = {
        {"format outside the mask", [](auto &c) { c.transfer_bits = 0x4000; }},
        {"two formats at once", [](auto &c) { c.transfer_bits = 3; }},
        {"boot firmware with FPGA", [](auto &c) { c.boot_firmware = 1; }},
        {"empty sensor", [](auto &c) { c.sensor_width = 0; }},
        {"colour array 6", [](auto &c) { c.color_array = 6; }},
        {"clock default below min", [](auto &c) { c.clock_default = c.clock_min - 1; }},
        {"unterminated text", [](auto &c) { std::memset(c.user_text, 'x', sizeof c.user_text); }},
    };
    for (const Case &k : cases) {
        KavixSimCameraConfig c = config(0x0110);
        k.tweak(c);
        KavixUSBD_SetLastError(0);
        EXPECT_EQ(KavixSim_Plug(&c), 0u) << k.what;
        EXPECT_EQ(KavixUSBD_GetLastError(), 87u) << k.what;
    }
    EXPECT_EQ(KavixSim_Plug(nullptr), 0u);
    EXPECT_EQ(KavixUSBD_OpenDevice(0), nullptr);
}

}  // namespace
}  // namespace kavix::test
