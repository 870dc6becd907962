// Kavix_Open and its walk over the bus, Kavix_Close, Kavix_CameraCount and the
// last-error words, through the public interface.
#include <gtest/gtest.h>

#include "sim_bus.h"

namespace kavix::test {
namespace {

using SessionOpen = SimBus;

TEST_F(SessionOpen, GlobalErrorIsZeroUntilAnOpenFails) {
    // Each test runs in a process of its own: nothing has failed yet.
    EXPECT_EQ(Kavix_GetLastError(nullptr), 0u);
    EXPECT_EQ(Kavix_Open(0), nullptr);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_NO_CAMERA);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_NO_CAMERA) << "reading clears nothing";
}

TEST_F(SessionOpen, EmptyBusFindsNoCamera) {
    EXPECT_EQ(Kavix_Open(5), nullptr);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_NO_CAMERA);
    EXPECT_EQ(Kavix_CameraCount(), 0u);
}

TEST_F(SessionOpen, CameraHeldByAnotherClientIsBusy) {
    const KAVIXSIM_CAMERA camera = plug_camera(0);
    const uint16_t seven = 7;
    ASSERT_NE(KavixSim_SetStatusWords(camera, 0, 101, 1, &seven), 0);
    ASSERT_NE(KavixSim_SetBusy(camera, 1), 0);
    EXPECT_EQ(Kavix_Open(0), nullptr);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_CAMERA_BUSY);
    EXPECT_EQ(camera_state(camera).camera_mode, 7u) << "the camera was left alone";
    EXPECT_EQ(Kavix_CameraCount(), 1u) << "a busy camera still counts";
}

TEST_F(SessionOpen, OpensTheCameraWithTheUserIdAndClosesTheOthers) {
    plug_camera(5);
    plug_camera(9);
    KAVIX_HANDLE session = Kavix_Open(9);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(user_id_of(session), 9u);
    EXPECT_EQ(other_clients(0), 0u) << "the camera with ID 5 was closed again";
    EXPECT_EQ(other_clients(1), 1u) << "the camera with ID 9 is kept";
    EXPECT_NE(Kavix_GetKavixUSBHandle(session), nullptr);
    Kavix_Close(session);
    EXPECT_EQ(other_clients(1), 0u);
}

TEST_F(SessionOpen, UserIdZeroMatchesAStoredZero) {
    plug_camera(3);
    plug_camera(0);
    KAVIX_HANDLE session = Kavix_Open(0);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(user_id_of(session), 0u);
    EXPECT_EQ(other_clients(1), 1u);
    Kavix_Close(session);
}

TEST_F(SessionOpen, UnknownUserIdServesAsDeviceIndex) {
    for (uint32_t i = 0; i < 8; ++i) plug_camera(100 + i);
    KAVIX_HANDLE session = Kavix_Open(7);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(user_id_of(session), 107u) << "device index 7";
    Kavix_Close(session);
}

TEST_F(SessionOpen, UnknownUserIdWithoutSuchIndexTakesTheFirstFreeCamera) {
    const KAVIXSIM_CAMERA first = plug_camera(100);
    plug_camera(101);
    plug_camera(102);
    KAVIX_HANDLE session = Kavix_Open(7);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(user_id_of(session), 100u);
    Kavix_Close(session);

    ASSERT_NE(KavixSim_SetBusy(first, 1), 0);
    session = Kavix_Open(7);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(user_id_of(session), 101u) << "the busy one is passed over";
    Kavix_Close(session);
}

TEST_F(SessionOpen, UnreadableUserIdFallsBackToTheFirstFreeCamera) {
    // The ID read fails during the first walk: the camera reads as ID 0, is
    // closed as another camera's, and the second walk takes it.
    const KAVIXSIM_CAMERA camera = plug_camera(5);
    ASSERT_NE(KavixSim_SetRequestFault(camera, 0xA2, KAVIXSIM_FAULT_FAIL, 31, 1), 0);
    KAVIX_HANDLE session = Kavix_Open(5);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(user_id_of(session), 5u);
    EXPECT_EQ(other_clients(0), 1u);
    Kavix_Close(session);
}

TEST_F(SessionOpen, OnlyBusyCamerasBesidesOthersStillFail) {
    const KAVIXSIM_CAMERA a = plug_camera(1);
    const KAVIXSIM_CAMERA b = plug_camera(2);
    ASSERT_NE(KavixSim_SetBusy(a, 1), 0);
    ASSERT_NE(KavixSim_SetBusy(b, 1), 0);
    EXPECT_EQ(Kavix_Open(2), nullptr);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_CAMERA_BUSY);
}

TEST_F(SessionOpen, CameraFailingItsProbeIsRecovered) {
    const KAVIXSIM_CAMERA camera = plug_camera(4);
    ASSERT_NE(KavixSim_FailProbe(camera, 3), 0);
    KAVIX_HANDLE session = Kavix_Open(4);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(camera_state(camera).recoveries, 3u);
    EXPECT_EQ(user_id_of(session), 4u);
    Kavix_Close(session);
}

TEST_F(SessionOpen, DriverTooOldForRecoveryEndsTheWalk) {
    KavixSimCameraConfig config = camera_config(0x0210, 4);
    config.driver_version[0] = 0x30000;
    config.driver_version[1] = 4;
    const KAVIXSIM_CAMERA camera = plug(config);
    plug_camera(4);  // behind it: never reached
    ASSERT_NE(KavixSim_FailProbe(camera, 1), 0);
    EXPECT_EQ(Kavix_Open(4), nullptr);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_NO_CAMERA);
    EXPECT_EQ(camera_state(camera).recoveries, 0u);
    EXPECT_EQ(other_clients(0), 0u);
    EXPECT_EQ(other_clients(1), 0u);
}

TEST_F(SessionOpen, CameraModeIsWrittenZeroAtOpenAndOneAtClose) {
    const KAVIXSIM_CAMERA camera = plug_camera(1);
    const uint16_t seven = 7;
    ASSERT_NE(KavixSim_SetStatusWords(camera, 0, 101, 1, &seven), 0);
    KAVIX_HANDLE session = Kavix_Open(1);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(camera_state(camera).camera_mode, 0u);
    Kavix_Close(session);
    EXPECT_EQ(camera_state(camera).camera_mode, 1u);
}

TEST_F(SessionOpen, ModelWithoutFpgaOpensWithTheWriteRefused) {
    plug_camera(2, 0x0605);
    KAVIX_HANDLE session = Kavix_Open(2);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(Kavix_GetLastError(session), KAVIX_E_NO_FPGA);
    EXPECT_EQ(user_id_of(session), 2u);
    Kavix_Close(session);
    EXPECT_EQ(other_clients(0), 0u);
}

TEST_F(SessionOpen, CloseOfNullSetsTheGlobalError) {
    Kavix_Close(nullptr);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
    EXPECT_EQ(Kavix_GetKavixUSBHandle(nullptr), nullptr);
}

// Each read of the open, answered short or failed once, ends the open with
// 0xE0000005: the device is closed without the release word, and nothing of
// the session is left.
struct ReadFault {
    const char *read;
    uint8_t request;
    uint32_t fault;
    uint32_t param;
};

void PrintTo(const ReadFault &fault, std::ostream *out) { *out << fault.read; }

class OpenReadFault : public SimBus, public ::testing::WithParamInterface<ReadFault> {};

TEST_P(OpenReadFault, FailsTheOpenAndLeavesNothingOpen) {
    KavixSimCameraConfig config = camera_config(0x0210, 6);
    config.enable_transfer_bits = KAVIX_TRANSFER_RAW8 | KAVIX_TRANSFER_RAW16;
    config.transfer_bits = KAVIX_TRANSFER_RAW8;
    config.firmware_version = 3;  // the long clock record
    const KAVIXSIM_CAMERA camera = plug(config);
    const uint16_t seven = 7;
    ASSERT_NE(KavixSim_SetStatusWords(camera, 0, 101, 1, &seven), 0);
    ASSERT_NE(KavixSim_SetRequestFault(camera, GetParam().request, GetParam().fault,
                                       GetParam().param, 1),
              0);
    EXPECT_EQ(Kavix_Open(6), nullptr);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(other_clients(0), 0u);
    EXPECT_NE(camera_state(camera).camera_mode, 1u) << "no release word on a failed open";

    // The fault was used up: the same camera opens now.
    KAVIX_HANDLE session = Kavix_Open(6);
    ASSERT_NE(session, nullptr);
    Kavix_Close(session);
}

INSTANTIATE_TEST_SUITE_P(
    EachRead, OpenReadFault,
    ::testing::Values(ReadFault{"information", 0x11, KAVIXSIM_FAULT_SHORT, 63},
                      ReadFault{"information_failed", 0x11, KAVIXSIM_FAULT_FAIL, 0},
                      ReadFault{"function_bits", 0x80, KAVIXSIM_FAULT_FAIL, 0},
                      ReadFault{"white_balance", 0x23, KAVIXSIM_FAULT_SHORT, 10},
                      ReadFault{"scan_state", 0x12, KAVIXSIM_FAULT_SHORT, 62},
                      ReadFault{"transfer_format", 0x13, KAVIXSIM_FAULT_SHORT, 5},
                      ReadFault{"clock", 0x22, KAVIXSIM_FAULT_SHORT, 8},
                      ReadFault{"clock_failed", 0x22, KAVIXSIM_FAULT_FAIL, 31}),
    [](const ::testing::TestParamInfo<ReadFault> &info) { return std::string(info.param.read); });

TEST(CameraCount, CountsUpTo127) {
    KavixSim_UnplugAll();
    EXPECT_EQ(Kavix_CameraCount(), 0u);
    for (int i = 0; i < 3; ++i) plug_camera(i);
    EXPECT_EQ(Kavix_CameraCount(), 3u);
    for (int i = 3; i < 130; ++i) plug_camera(i);
    EXPECT_EQ(Kavix_CameraCount(), 127u);
    EXPECT_EQ(other_clients(0), 0u) << "each device is closed again";
    KavixSim_UnplugAll();
}

}  // namespace
}  // namespace kavix::test

namespace kavix::test {
namespace {

// A thousand opens and closes, every tenth one failing halfway: nothing may
// pile up, neither memory (the sanitizer build checks) nor transport handles.
TEST_F(SessionOpen, ThousandRoundsLeaveNoHandleBehind) {
    const KAVIXSIM_CAMERA camera = plug_camera(12);
    for (int round = 0; round < 1000; ++round) {
        const bool fail = round % 10 == 5;
        if (fail) {
            ASSERT_NE(KavixSim_SetRequestFault(camera, 0x22, KAVIXSIM_FAULT_SHORT, 2, 1), 0);
        }
        KAVIX_HANDLE session = Kavix_Open(12);
        if (fail) {
            ASSERT_EQ(session, nullptr) << "round " << round;
            continue;
        }
        ASSERT_NE(session, nullptr) << "round " << round;
        Kavix_Close(session);
    }
    EXPECT_EQ(other_clients(0), 0u);
    EXPECT_EQ(camera_state(camera).camera_mode, 1u);
}

}  // namespace
}  // namespace kavix::test
