// Exports that read the camera after open: status words, ID blocks, USB speed.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "sim_bus.h"

namespace kavix::test {
namespace {

class OpenCamera : public SimBus {
protected:
    KAVIX_HANDLE open(const KavixSimCameraConfig &config) {
        camera_ = plug(config);
        session_ = Kavix_Open(config.user_id);
        EXPECT_NE(session_, nullptr) << std::hex << Kavix_GetLastError(nullptr);
        return session_;
    }
    void TearDown() override {
        if (session_ != nullptr) Kavix_Close(session_);
        SimBus::TearDown();
    }
    KAVIXSIM_CAMERA camera_ = 0;
    KAVIX_HANDLE session_ = nullptr;
};

// ---- Status words --------------------------------------------------------------

using StatusWords = OpenCamera;

TEST_F(StatusWords, ReadsAsManyWordsAsAsked) {
    KavixSimCameraConfig config = camera_config(0x0210, 1);
    for (int w = 0; w < 16; ++w) config.function_bits[w] = static_cast<uint16_t>(0x1111 * w + 3);
    ASSERT_NE(open(config), nullptr);
    uint8_t words[40];
    std::memset(words, 0xEE, sizeof words);
    EXPECT_NE(Kavix_GetFPGAStatus(session_, 104, 3, words), 0);
    for (int w = 0; w < 3; ++w) {
        EXPECT_EQ(words[2 * w] | (words[2 * w + 1] << 8), config.function_bits[w]) << w;
    }
    EXPECT_EQ(words[6], 0xEE) << "three words are six bytes";
    std::memset(words, 0xEE, sizeof words);
    EXPECT_NE(Kavix_GetFPGAStatusEx(session_, 0, 104, 16, words), 0);
    EXPECT_EQ(words[30] | (words[31] << 8), config.function_bits[15]);
    EXPECT_EQ(words[32], 0xEE);
}

TEST_F(StatusWords, WritesReachTheCamera) {
    ASSERT_NE(open(camera_config(0x0210, 1)), nullptr);
    uint8_t mode[2] = {0x34, 0x12};
    EXPECT_NE(Kavix_SetFPGAStatus(session_, 101, 1, mode), 0);
    EXPECT_EQ(camera_state(camera_).camera_mode, 0x1234u);
    mode[0] = 9;
    mode[1] = 0;
    EXPECT_NE(Kavix_SetFPGAStatusEx(session_, 0, 101, 1, mode), 0);
    EXPECT_EQ(camera_state(camera_).camera_mode, 9u);
}

TEST_F(StatusWords, ModelWithoutFpgaRefusesEveryForm) {
    ASSERT_NE(open(camera_config(0x0305, 1)), nullptr);
    const uint32_t transfers = camera_state(camera_).control_transfers;
    uint8_t words[2] = {};
    EXPECT_EQ(Kavix_SetFPGAStatus(session_, 101, 1, words), 0);
    EXPECT_EQ(Kavix_GetFPGAStatus(session_, 104, 1, words), 0);
    EXPECT_EQ(Kavix_SetFPGAStatusEx(session_, 0, 101, 1, words), 0);
    EXPECT_EQ(Kavix_GetFPGAStatusEx(session_, 0, 104, 1, words), 0);
    EXPECT_EQ(Kavix_GetLastError(session_), KAVIX_E_NO_FPGA);
    EXPECT_EQ(camera_state(camera_).control_transfers, transfers);
}

TEST_F(StatusWords, BadArgumentsAndHandles) {
    ASSERT_NE(open(camera_config(0x0210, 1)), nullptr);
    EXPECT_EQ(Kavix_GetFPGAStatus(session_, 104, 1, nullptr), 0);
    EXPECT_EQ(Kavix_GetLastError(session_), KAVIX_ERROR_INVALID_PARAMETER);
    uint8_t words[2] = {};
    EXPECT_EQ(Kavix_GetFPGAStatus(session_, 104, 0x8000, words), 0) << "length past 16 bits";
    EXPECT_EQ(Kavix_GetLastError(session_), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Kavix_GetFPGAStatus(nullptr, 104, 1, words), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
}

TEST_F(StatusWords, FailedTransfer) {
    ASSERT_NE(open(camera_config(0x0210, 1)), nullptr);
    ASSERT_NE(KavixSim_SetRequestFault(camera_, 0x80, KAVIXSIM_FAULT_FAIL, 31, 1), 0);
    uint8_t words[2] = {};
    EXPECT_EQ(Kavix_GetFPGAStatus(session_, 104, 1, words), 0);
    EXPECT_EQ(Kavix_GetLastError(session_), KAVIX_E_TRANSFER_FAILED);
}

// ---- ID blocks ---------------------------------------------------------------------

using IdBlocks = OpenCamera;

KavixSimCameraConfig camera_with_texts(const char *user, const char *serial, bool wide) {
    KavixSimCameraConfig config = camera_config(0x0210, 77);
    config.serial_id = 0xA1B2C3D4;
    std::strncpy(config.user_text, user, sizeof config.user_text - 1);
    std::strncpy(config.serial_text, serial, sizeof config.serial_text - 1);
    config.id_text_wide = wide ? 1 : 0;
    return config;
}

// "Kamera Süd" with a non-ASCII letter, in both encodings.
const char kUtf8Text[] = "Kamera S\xC3\xBC" "d";
const char16_t kUtf16Text[] = u"Kamera S\u00FCd";

TEST_F(IdBlocks, EachFormReadsEachStorage) {
    for (bool wide : {false, true}) {
        SCOPED_TRACE(wide ? "stored as UTF-16" : "stored as bytes");
        KavixSim_UnplugAll();
        ASSERT_NE(open(camera_with_texts(kUtf8Text, "SN-1", wide)), nullptr);
        uint32_t id = 0;
        char narrow[64];
        EXPECT_NE(Kavix_ReadCameraUserIDA(session_, &id, narrow, sizeof narrow), 0);
        EXPECT_EQ(id, 77u);
        EXPECT_STREQ(narrow, kUtf8Text);
        char16_t wide_text[64];
        EXPECT_NE(Kavix_ReadCameraUserIDW(session_, &id, wide_text, sizeof wide_text), 0);
        EXPECT_EQ(std::u16string(wide_text), std::u16string(kUtf16Text));
        EXPECT_NE(Kavix_ReadCameraSerialIDA(session_, &id, narrow, sizeof narrow), 0);
        EXPECT_EQ(id, 0xA1B2C3D4u);
        EXPECT_STREQ(narrow, "SN-1");
        EXPECT_NE(Kavix_ReadCameraSerialIDW(session_, &id, wide_text, sizeof wide_text), 0);
        EXPECT_EQ(std::u16string(wide_text), u"SN-1");
        Kavix_Close(session_);
        session_ = nullptr;
    }
}

TEST_F(IdBlocks, SmallBuffersCutTheText) {
    for (bool wide : {false, true}) {
        SCOPED_TRACE(wide ? "stored as UTF-16" : "stored as bytes");
        KavixSim_UnplugAll();
        ASSERT_NE(open(camera_with_texts(kUtf8Text, "", wide)), nullptr);
        uint32_t id = 0;
        // Ten bytes: nine of text and the terminator. Stored as bytes, the
        // copy stops in the middle of the two-byte letter; converted, it
        // keeps whole characters only.
        char narrow[10];
        EXPECT_NE(Kavix_ReadCameraUserIDA(session_, &id, narrow, sizeof narrow), 0);
        EXPECT_EQ(std::string(narrow), wide ? std::string("Kamera S") : std::string("Kamera S\xC3"));
        // Eight bytes: three characters and the terminator.
        char16_t wide_text[4];
        EXPECT_NE(Kavix_ReadCameraUserIDW(session_, &id, wide_text, sizeof wide_text), 0);
        EXPECT_EQ(std::u16string(wide_text), u"Kam");
        Kavix_Close(session_);
        session_ = nullptr;
    }
}

TEST_F(IdBlocks, FreshEepromReadsAsAllOnesWithoutText) {
    KavixSimCameraConfig config = camera_config(0x0210, 0);
    config.blank_eeprom = 1;
    config.user_id = 0xFFFFFFFF;
    ASSERT_NE(open(config), nullptr) << "the ID of a blank EEPROM is 0xFFFFFFFF";
    uint32_t id = 0;
    char narrow[16];
    std::memset(narrow, 'x', sizeof narrow);
    EXPECT_NE(Kavix_ReadCameraUserIDA(session_, &id, narrow, sizeof narrow), 0);
    EXPECT_EQ(id, 0xFFFFFFFFu);
    for (char c : narrow) EXPECT_EQ(c, 0) << "the buffer is cleared whole";
    char16_t wide_text[8] = {u'x'};
    EXPECT_NE(Kavix_ReadCameraSerialIDW(session_, &id, wide_text, sizeof wide_text), 0);
    EXPECT_EQ(id, 0xFFFFFFFFu);
    EXPECT_EQ(wide_text[0], 0);
}

TEST_F(IdBlocks, FailedEepromReadStillSucceedsWithIdZero) {
    ASSERT_NE(open(camera_with_texts("abc", "def", false)), nullptr);
    ASSERT_NE(KavixSim_SetRequestFault(camera_, 0xA2, KAVIXSIM_FAULT_FAIL, 31, 2), 0);
    uint32_t id = 5;
    char narrow[8];
    std::memset(narrow, 'x', sizeof narrow);
    EXPECT_EQ(Kavix_ReadCameraUserIDA(session_, &id, narrow, sizeof narrow), 1);
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(narrow[0], 0);
    EXPECT_EQ(Kavix_GetLastError(session_), KAVIX_E_TRANSFER_FAILED);
    char16_t wide_text[8];
    id = 5;
    EXPECT_EQ(Kavix_ReadCameraSerialIDW(session_, &id, wide_text, sizeof wide_text), 1);
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(wide_text[0], 0);
}

TEST_F(IdBlocks, IdWithoutTextBuffer) {
    ASSERT_NE(open(camera_with_texts("abc", "def", false)), nullptr);
    uint32_t id = 0;
    EXPECT_NE(Kavix_ReadCameraUserIDA(session_, &id, nullptr, 0), 0);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(Kavix_ReadCameraUserIDA(session_, nullptr, nullptr, 0), 0);
    EXPECT_EQ(Kavix_GetLastError(session_), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Kavix_ReadCameraUserIDW(session_, &id, nullptr, 8), 0);
    EXPECT_EQ(Kavix_GetLastError(session_), KAVIX_ERROR_INVALID_PARAMETER);
}

// ---- USB speed ----------------------------------------------------------------------

using UsbSpeed = OpenCamera;

TEST_F(UsbSpeed, FromTheFirstBulkInEndpoint) {
    struct Case {
        uint8_t speed;
        bool interrupt_first;
    };
    for (const Case c : {Case{KAVIXSIM_SPEED_FULL, false}, Case{KAVIXSIM_SPEED_HIGH, false},
                         Case{KAVIXSIM_SPEED_SUPER, false}, Case{KAVIXSIM_SPEED_HIGH, true},
                         Case{KAVIXSIM_SPEED_SUPER, true}}) {
        SCOPED_TRACE(testing::Message() << "speed " << int(c.speed) << " interrupt first "
                                        << c.interrupt_first);
        KavixSim_UnplugAll();
        KavixSimCameraConfig config = camera_config(0x0210, 1);
        config.usb_speed = c.speed;
        config.interrupt_endpoint_first = c.interrupt_first;
        ASSERT_NE(open(config), nullptr);
        uint8_t speed = 0xAA;
        EXPECT_NE(Kavix_GetUSBSpeed(session_, &speed), 0);
        EXPECT_EQ(speed, c.speed);
        Kavix_Close(session_);
        session_ = nullptr;
    }
}

TEST_F(UsbSpeed, MaxSpeedFromTheFirmwareVersion) {
    for (uint16_t version : {3, 255, 256, 300}) {
        KavixSim_UnplugAll();
        KavixSimCameraConfig config = camera_config(0x0210, 1);
        config.firmware_version = version;
        ASSERT_NE(open(config), nullptr);
        const uint32_t transfers = camera_state(camera_).control_transfers;
        uint8_t speed = 0xAA;
        EXPECT_NE(Kavix_GetUSBMaxSpeed(session_, &speed), 0);
        EXPECT_EQ(speed, version >= 256 ? 2 : 1) << version;
        EXPECT_EQ(camera_state(camera_).control_transfers, transfers) << "no camera access";
        Kavix_Close(session_);
        session_ = nullptr;
    }
    EXPECT_EQ(Kavix_GetUSBMaxSpeed(nullptr, nullptr), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
}

}  // namespace
}  // namespace kavix::test
