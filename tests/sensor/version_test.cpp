// Versions: of the library itself (from its own file, no camera needed), of
// the transport library and its driver.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "KavixD.h"
#include "KavixSim.h"
#include "KavixUSBD.h"

namespace {

constexpr uint32_t kHigh = (KAVIX_TEST_VERSION_MAJOR << 16) | KAVIX_TEST_VERSION_MINOR;
constexpr uint32_t kLow = KAVIX_TEST_VERSION_PATCH << 16;

TEST(VersionTest, LibraryVersionWithoutCamera) {
    KavixSim_UnplugAll();
    uint32_t v[4] = {7, 7, 7, 7};
    EXPECT_EQ(Kavix_GetCAMDllVersion(&v[0], &v[1], &v[2], &v[3]), 1);
    EXPECT_EQ(v[0], kHigh);
    EXPECT_EQ(v[1], kLow);
    EXPECT_EQ(v[2], kHigh);
    EXPECT_EQ(v[3], kLow);
    // Outputs may be left out.
    EXPECT_EQ(Kavix_GetCAMDllVersion(nullptr, &v[1], nullptr, nullptr), 1);
    EXPECT_EQ(v[1], kLow);
}

TEST(VersionTest, TransportLibraryVersionPassesThrough) {
    uint32_t ours[4] = {}, theirs[4] = {};
    EXPECT_NE(Kavix_GetUSBDllVersion(&ours[0], &ours[1], &ours[2], &ours[3]), 0);
    ASSERT_NE(KavixUSBD_GetLibraryVersion(&theirs[0], &theirs[1], &theirs[2], &theirs[3]), 0);
    EXPECT_EQ(std::memcmp(ours, theirs, sizeof ours), 0);
    EXPECT_EQ(Kavix_GetUSBDllVersion(nullptr, &ours[1], &ours[2], &ours[3]), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
}

TEST(VersionTest, DriverVersionPassesThrough) {
    KavixSim_UnplugAll();
    KavixSimCameraConfig config;
    ASSERT_NE(KavixSim_InitConfig(&config, 0x0210, 0), 0);
    config.driver_version[0] = 0x30001;
    config.driver_version[1] = 12;
    config.driver_version[2] = 345;
    config.driver_version[3] = 6;
    ASSERT_NE(KavixSim_Plug(&config), 0u);
    KAVIX_HANDLE camera = Kavix_Open(0);
    ASSERT_NE(camera, nullptr);
    uint32_t v[4] = {};
    EXPECT_NE(Kavix_GetDriverVersion(camera, &v[0], &v[1], &v[2], &v[3]), 0);
    EXPECT_EQ(v[0], 0x30001u);
    EXPECT_EQ(v[1], 12u);
    EXPECT_EQ(v[2], 345u);
    EXPECT_EQ(v[3], 6u);
    // The transport's refusal is the thread's error; the session's stays.
    const uint32_t before = Kavix_GetLastError(camera);
    EXPECT_EQ(Kavix_GetDriverVersion(camera, nullptr, &v[1], &v[2], &v[3]), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    EXPECT_EQ(Kavix_GetLastError(camera), before);
    Kavix_Close(camera);
    EXPECT_EQ(Kavix_GetDriverVersion(nullptr, &v[0], &v[1], &v[2], &v[3]), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
    KavixSim_UnplugAll();
}

}  // namespace
