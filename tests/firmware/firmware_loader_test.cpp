// The firmware loader: images by model, loading them from the firmware
// directory, and Kavix_OpenFW's download loop against virtual cameras of the
// models without FPGA (and one with, which must be left alone).
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "KavixD.h"
#include "KavixSim.h"
#include "firmware/firmware_image.h"
#include "firmware/firmware_loader.h"
#include "firmware/hex_image.h"
#include "session/export_frame.h"

namespace kavix::test {
namespace {

using firmware::kImageBufferBytes;

KavixSimCameraConfig boot_camera(uint16_t product_id, uint32_t user_id) {
    KavixSimCameraConfig config;
    EXPECT_NE(KavixSim_InitConfig(&config, product_id, 0), 0);
    config.user_id = user_id;
    config.boot_firmware = 1;
    config.reenumeration_delay_ms = 0;
    return config;
}

KavixSimCameraState state_of(KAVIXSIM_CAMERA camera) {
    KavixSimCameraState state;
    std::memset(&state, 0, sizeof state);
    EXPECT_NE(KavixSim_GetState(camera, &state), 0);
    return state;
}

class FirmwareTest : public ::testing::Test {
protected:
    void SetUp() override {
        KavixSim_UnplugAll();
        ASSERT_FALSE(images.path().empty());
    }
    void TearDown() override { KavixSim_UnplugAll(); }

    KAVIXSIM_CAMERA plug(const KavixSimCameraConfig &config) {
        const KAVIXSIM_CAMERA camera = KavixSim_Plug(&config);
        EXPECT_NE(camera, 0u);
        return camera;
    }

    FirmwareDirectory images;
};

TEST(FirmwareImageTest, ResourceIdsByModel) {
    const struct {
        uint16_t product_id;
        uint16_t resource;
    } rows[] = {
        {0x0305, 133}, {0x0605, 128}, {0x0705, 131}, {0x0805, 130},
        // Anything else falls to the last choice.
        {0x0110, 130}, {0x0000, 130}, {0xFFFF, 130},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(firmware::resource_id_for_model(row.product_id), row.resource)
            << std::hex << row.product_id;
    }
}

TEST(FirmwareImageTest, ImageFileNamedByResourceId) {
    EXPECT_EQ(firmware::image_path("/opt/fw", 128), "/opt/fw/128.hex");
    EXPECT_EQ(firmware::image_path("/opt/fw/", 133), "/opt/fw/133.hex");
}

TEST_F(FirmwareTest, LoadsAnImageIntoAClearedBuffer) {
    const std::string text = to_intel_hex(make_program(3));
    images.write("131.hex", text);
    std::vector<char> buffer(10, 'x');
    uint32_t length = 99;
    ASSERT_EQ(firmware::load_image(images.path(), 131, buffer, length), 0u);
    EXPECT_EQ(length, text.size());
    ASSERT_EQ(buffer.size(), kImageBufferBytes);
    EXPECT_EQ(std::string(buffer.data(), length), text);
    for (size_t i = length; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], 0) << i;
}

TEST_F(FirmwareTest, ImageSizeLimit) {
    uint32_t length = 0;
    std::vector<char> buffer;
    images.write("128.hex", std::string(kImageBufferBytes - 1, ':'));
    EXPECT_EQ(firmware::load_image(images.path(), 128, buffer, length), 0u);
    EXPECT_EQ(length, kImageBufferBytes - 1);
    images.write("128.hex", std::string(kImageBufferBytes, ':'));
    EXPECT_EQ(firmware::load_image(images.path(), 128, buffer, length),
              KAVIX_ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(length, 0u);
}

TEST_F(FirmwareTest, MissingImageIsFileNotFound) {
    std::vector<char> buffer;
    uint32_t length = 0;
    EXPECT_EQ(firmware::load_image(images.path(), 130, buffer, length), KAVIX_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(firmware::load_image(images.path() + "/nowhere", 130, buffer, length),
              KAVIX_ERROR_FILE_NOT_FOUND);
}

// A boot-mode camera gets its image, leaves the bus, and comes back running;
// the session handed out is that of the running camera.
TEST_F(FirmwareTest, BootModeCameraGetsItsImage) {
    const struct {
        uint16_t product_id;
        uint16_t resource;
    } models[] = {{0x0305, 133}, {0x0605, 128}, {0x0705, 131}, {0x0805, 130}};
    for (const auto &model : models) {
        SCOPED_TRACE(model.product_id);
        KavixSim_UnplugAll();
        // Every model's image is there; each model must take its own.
        for (const auto &other : models) {
            images.write_image(other.resource, make_program(static_cast<uint8_t>(other.resource)));
        }
        const ProgramImage program = make_program(static_cast<uint8_t>(model.resource));
        const KAVIXSIM_CAMERA camera = plug(boot_camera(model.product_id, 77));
        uint32_t downloads = 99;
        KAVIX_HANDLE session = firmware::open_with_firmware(77, &downloads, images.path());
        ASSERT_NE(session, nullptr) << Kavix_GetLastError(nullptr);
        EXPECT_EQ(downloads, 1u);
        EXPECT_EQ(state_of(camera).downloads, 1u);
        EXPECT_NE(session_of(session)->info.FirmwareVersion, firmware::kBootFirmwareVersion);
        uint16_t vendor = 0, product = 0, fpga = 0, version = 0;
        EXPECT_NE(Kavix_GetCameraVersion(session, &vendor, &product, &fpga, &version), 0);
        EXPECT_EQ(product, model.product_id);
        EXPECT_NE(version, firmware::kBootFirmwareVersion);
        // The controller holds exactly the model's program.
        for (const auto &[address, byte] : program) {
            uint8_t got = 0;
            ASSERT_NE(KavixSim_ReadControllerRam(camera, address, &got, 1), 0);
            ASSERT_EQ(got, byte) << "address " << address;
        }
        Kavix_Close(session);
    }
}

TEST_F(FirmwareTest, RunningCameraIsLeftAlone) {
    images.write_image(128, make_program(1));
    KavixSimCameraConfig config = boot_camera(0x0605, 5);
    config.boot_firmware = 0;
    const KAVIXSIM_CAMERA camera = plug(config);
    uint32_t downloads = 99;
    KAVIX_HANDLE session = firmware::open_with_firmware(5, &downloads, images.path());
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(downloads, 0u);
    EXPECT_EQ(state_of(camera).downloads, 0u);
    Kavix_Close(session);
}

// Version 8 means boot-level firmware only on the models without FPGA.
TEST_F(FirmwareTest, FpgaModelWithVersionEightIsUntouched) {
    images.write_image(130, make_program(1));
    KavixSimCameraConfig config;
    ASSERT_NE(KavixSim_InitConfig(&config, 0x0110, 0), 0);
    config.user_id = 6;
    config.firmware_version = 8;
    const KAVIXSIM_CAMERA camera = plug(config);
    uint32_t downloads = 99;
    KAVIX_HANDLE session = firmware::open_with_firmware(6, &downloads, images.path());
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(downloads, 0u);
    EXPECT_EQ(session_of(session)->info.FirmwareVersion, 8);
    const KavixSimCameraState state = state_of(camera);
    EXPECT_EQ(state.downloads, 0u);
    EXPECT_EQ(state.firmware_version, 8);
    Kavix_Close(session);
}

// The loop waits for nothing: a camera that is still away when the library
// opens it again ends the call with null and a count of 1. The next call
// finds it running.
TEST_F(FirmwareTest, CameraBackTooLate) {
    images.write_image(131, make_program(2));
    KavixSimCameraConfig config = boot_camera(0x0705, 8);
    config.reenumeration_delay_ms = KAVIXSIM_DELAY_MANUAL;
    const KAVIXSIM_CAMERA camera = plug(config);
    uint32_t downloads = 99;
    EXPECT_EQ(firmware::open_with_firmware(8, &downloads, images.path()), nullptr);
    EXPECT_EQ(downloads, 1u);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_NO_CAMERA);

    ASSERT_NE(KavixSim_CompleteReenumeration(camera), 0);
    KAVIX_HANDLE session = firmware::open_with_firmware(8, &downloads, images.path());
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(downloads, 0u);
    EXPECT_EQ(state_of(camera).downloads, 1u);
    Kavix_Close(session);
}

TEST_F(FirmwareTest, NothingToOpen) {
    uint32_t downloads = 99;
    EXPECT_EQ(firmware::open_with_firmware(1, &downloads, images.path()), nullptr);
    EXPECT_EQ(downloads, 0u);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_NO_CAMERA);
}

// Each failure of a download step gives its own Windows error, and the
// camera stays in its boot-level code.
TEST_F(FirmwareTest, DownloadFailures) {
    const KAVIXSIM_CAMERA camera = plug(boot_camera(0x0805, 9));
    KAVIX_HANDLE session = Kavix_Open(9);
    ASSERT_NE(session, nullptr);
    Session &s = *session_of(session);
    ASSERT_TRUE(firmware::needs_firmware(s));

    EXPECT_EQ(firmware::download_model_firmware(s, images.path()), KAVIX_ERROR_FILE_NOT_FOUND);
    images.write("130.hex", std::string(kImageBufferBytes, '0'));
    EXPECT_EQ(firmware::download_model_firmware(s, images.path()), KAVIX_ERROR_NOT_ENOUGH_MEMORY);
    images.write("130.hex", "this is no image\n");
    EXPECT_EQ(firmware::download_model_firmware(s, images.path()), KAVIX_ERROR_INVALID_DATA);
    // An address beyond the controller's 16 KiB.
    images.write("130.hex", hex_record(0x4000, 0, {1, 2, 3}) + hex_record(0, 1, {}));
    EXPECT_EQ(firmware::download_model_firmware(s, images.path()), 122u);
    EXPECT_EQ(state_of(camera).downloads, 0u);

    images.write_image(130, make_program(4));
    EXPECT_EQ(firmware::download_model_firmware(s, images.path()), 0u);
    EXPECT_EQ(state_of(camera).downloads, 1u);
    Kavix_Close(session);
}

// A failed download doesn't end the loop: the error is left for the caller,
// the camera is opened anew and tried again until it runs.
TEST_F(FirmwareTest, FailedDownloadIsRetriedAfterReopen) {
    images.write_image(133, make_program(5));
    const KAVIXSIM_CAMERA camera = plug(boot_camera(0x0305, 10));
    // The first download's first RAM write stalls.
    ASSERT_NE(KavixSim_SetRequestFault(camera, 0xA0, KAVIXSIM_FAULT_FAIL, 31, 1), 0);
    uint32_t downloads = 99;
    KAVIX_HANDLE session = firmware::open_with_firmware(10, &downloads, images.path());
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(downloads, 1u);
    EXPECT_EQ(state_of(camera).downloads, 1u);
    Kavix_Close(session);
}

TEST_F(FirmwareTest, CountIsOptional) {
    images.write_image(128, make_program(6));
    const KAVIXSIM_CAMERA camera = plug(boot_camera(0x0605, 11));
    KAVIX_HANDLE session = firmware::open_with_firmware(11, nullptr, images.path());
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(state_of(camera).downloads, 1u);
    Kavix_Close(session);
}

// The export looks in the installed firmware directory; a camera that runs
// already needs nothing from there.
TEST_F(FirmwareTest, ExportOpensARunningCamera) {
    KavixSimCameraConfig config = boot_camera(0x0705, 12);
    config.boot_firmware = 0;
    plug(config);
    uint32_t downloads = 99;
    KAVIX_HANDLE session = Kavix_OpenFW(12, &downloads);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(downloads, 0u);
    Kavix_Close(session);
}

}  // namespace
}  // namespace kavix::test
