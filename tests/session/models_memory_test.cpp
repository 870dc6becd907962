// The camera's memory: user memory, the ID blocks written whole, I2C, and
// the gamma value the camera applies itself.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "KavixD.h"
#include "sensor/camera_fixture.h"

namespace kavix::test {
namespace {

class MemoryTest : public VirtualCameraTest {
protected:
    std::vector<uint8_t> eeprom(uint32_t address, uint32_t bytes) const {
        std::vector<uint8_t> data(bytes);
        EXPECT_NE(KavixSim_ReadEeprom(camera, address, data.data(), bytes), 0);
        return data;
    }
};

std::vector<uint8_t> pattern(size_t bytes, uint8_t seed) {
    std::vector<uint8_t> data(bytes);
    for (size_t i = 0; i < bytes; ++i) data[i] = static_cast<uint8_t>(seed + 13 * i);
    return data;
}

TEST_F(MemoryTest, UserMemoryRoundTrip) {
    open_model(0x0210);
    const std::vector<uint8_t> data = pattern(300, 1);
    EXPECT_NE(Kavix_WriteUserMemory(handle, data.data(), 100, 300), 0);
    EXPECT_EQ(eeprom(512 + 100, 300), data) << "user memory starts at EEPROM address 512";
    std::vector<uint8_t> back(300);
    EXPECT_NE(Kavix_ReadUserMemory(handle, back.data(), 100, 300), 0);
    EXPECT_EQ(back, data);
}

// A range running over the end is cut to end at byte 1,024, and the caller
// isn't told: 1,000 + 100 reads 24 bytes and succeeds.
TEST_F(MemoryTest, RangeOverTheEndIsCut) {
    open_model(0x0810);
    const std::vector<uint8_t> tail = pattern(24, 7);
    ASSERT_NE(KavixSim_WriteEeprom(camera, 512 + 1000, tail.data(), 24), 0);
    std::vector<uint8_t> buffer(100, 0xEE);
    EXPECT_NE(Kavix_ReadUserMemory(handle, buffer.data(), 1000, 100), 0);
    EXPECT_EQ(std::vector<uint8_t>(buffer.begin(), buffer.begin() + 24), tail);
    for (size_t i = 24; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], 0xEE) << i;

    // Writing likewise stops at the end of user memory.
    const std::vector<uint8_t> beyond = eeprom(1536, 100);
    const std::vector<uint8_t> data = pattern(100, 9);
    EXPECT_NE(Kavix_WriteUserMemory(handle, data.data(), 1000, 100), 0);
    EXPECT_EQ(eeprom(512 + 1000, 24), std::vector<uint8_t>(data.begin(), data.begin() + 24));
    EXPECT_EQ(eeprom(1536, 100), beyond);
}

TEST_F(MemoryTest, UserMemoryArguments) {
    open_model(0x0810);
    uint8_t buffer[16] = {};
    const uint32_t sent = transfers();
    const struct {
        uint16_t offset, count;
    } refused[] = {{1024, 1}, {0xFFFF, 16}, {0, 0}, {1023, 0}};
    for (const auto &r : refused) {
        SCOPED_TRACE(testing::Message() << r.offset << "+" << r.count);
        EXPECT_EQ(Kavix_ReadUserMemory(handle, buffer, r.offset, r.count), 0);
        EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
        EXPECT_EQ(Kavix_WriteUserMemory(handle, buffer, r.offset, r.count), 0);
        EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(Kavix_ReadUserMemory(handle, nullptr, 0, 16), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(transfers(), sent);
    // The last byte alone.
    EXPECT_NE(Kavix_ReadUserMemory(handle, buffer, 1023, 1), 0);
}

TEST_F(MemoryTest, UserMemoryTransferFailure) {
    open_model(0x0810);
    uint8_t buffer[16] = {};
    ASSERT_NE(KavixSim_SetRequestFault(camera, 0xA2, KAVIXSIM_FAULT_FAIL, 31, 0), 0);
    EXPECT_EQ(Kavix_ReadUserMemory(handle, buffer, 0, 16), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(Kavix_WriteUserMemory(handle, buffer, 0, 16), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);
}

// The block as the camera holds it: number, flag, length, text, zeros.
struct IdBlockView {
    uint32_t id;
    uint8_t flag;
    uint8_t length;
    std::vector<uint8_t> text;  // all 250 bytes
};
IdBlockView id_block(const std::vector<uint8_t> &b) {
    return {uint32_t{b[0]} | uint32_t{b[1]} << 8 | uint32_t{b[2]} << 16 | uint32_t{b[3]} << 24, b[4],
            b[5], std::vector<uint8_t>(b.begin() + 6, b.end())};
}

TEST_F(MemoryTest, NarrowIdLengths) {
    open_model(0x0410);
    const struct {
        size_t text_bytes;
        int zero_at;  // -1 for none
        uint8_t stored;
    } cases[] = {
        {250, -1, 250},  // exactly 250: whole
        {251, -1, 249},  // above: 249
        {400, -1, 249},
        {10, 5, 6},      // up to the terminator, which counts
        {10, -1, 10},
        {1, 0, 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.text_bytes << " " << c.zero_at);
        std::vector<uint8_t> text(c.text_bytes);
        for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<uint8_t>('A' + i % 26);
        if (c.zero_at >= 0) text[static_cast<size_t>(c.zero_at)] = 0;
        EXPECT_NE(Kavix_WriteCameraUserIDA(handle, 0x01020304,
                                           reinterpret_cast<const char *>(text.data()),
                                           static_cast<uint32_t>(text.size())),
                  0);
        const IdBlockView block = id_block(eeprom(256, 256));
        EXPECT_EQ(block.id, 0x01020304u);
        EXPECT_EQ(block.flag, 0);
        EXPECT_EQ(block.length, c.stored);
        EXPECT_TRUE(std::equal(block.text.begin(), block.text.begin() + c.stored, text.begin()));
        for (size_t i = c.stored; i < block.text.size(); ++i) ASSERT_EQ(block.text[i], 0) << i;
    }
}

TEST_F(MemoryTest, NullTextWritesTheNumberOnly) {
    open_model(0x0410);
    std::vector<uint8_t> full(256, 0x5A);
    ASSERT_NE(KavixSim_WriteEeprom(camera, 256, full.data(), 256), 0);
    EXPECT_NE(Kavix_WriteCameraUserIDA(handle, 42, nullptr, 100), 0);
    const IdBlockView block = id_block(eeprom(256, 256));
    EXPECT_EQ(block.id, 42u);
    EXPECT_EQ(block.flag, 0);
    EXPECT_EQ(block.length, 0);
    for (uint8_t byte : block.text) ASSERT_EQ(byte, 0);
    // A text of no bytes is none either; the wide form keeps its flag.
    EXPECT_NE(Kavix_WriteCameraUserIDW(handle, 43, u"abc", 0), 0);
    const IdBlockView wide = id_block(eeprom(256, 256));
    EXPECT_EQ(wide.id, 43u);
    EXPECT_EQ(wide.flag, 0x80);
    EXPECT_EQ(wide.length, 0);

    uint32_t id = 0;
    char text[32] = "x";
    EXPECT_NE(Kavix_ReadCameraUserIDA(handle, &id, text, sizeof text), 0);
    EXPECT_EQ(id, 43u);
    EXPECT_STREQ(text, "");
}

TEST_F(MemoryTest, WideIdLengths) {
    open_model(0x0410);
    // Whole characters up to the size, cut to 248 above 250 bytes.
    std::u16string long_text(200, u'w');
    EXPECT_NE(Kavix_WriteCameraUserIDW(handle, 1, long_text.data(), 250), 0);
    EXPECT_EQ(id_block(eeprom(256, 256)).length, 250);
    EXPECT_NE(Kavix_WriteCameraUserIDW(handle, 1, long_text.data(), 252), 0);
    EXPECT_EQ(id_block(eeprom(256, 256)).length, 248);
    // The end test looks at the low byte alone: U+0100 ends the text, and
    // is stored as its last character.
    const char16_t text[] = u"ab\u0100cd";
    EXPECT_NE(Kavix_WriteCameraUserIDW(handle, 2, text, sizeof text), 0);
    const IdBlockView block = id_block(eeprom(256, 256));
    EXPECT_EQ(block.flag, 0x80);
    EXPECT_EQ(block.length, 6);
    EXPECT_EQ(std::vector<uint8_t>(block.text.begin(), block.text.begin() + 8),
              (std::vector<uint8_t>{'a', 0, 'b', 0, 0x00, 0x01, 0, 0}));
}

// Text written wide comes back through the narrow reader converted, and the
// other way round.
TEST_F(MemoryTest, WideTextReadNarrow) {
    open_model(0x1206);
    const char16_t wide[] = u"Kamera \u00e9\u00e8 \u4e2d";
    EXPECT_NE(Kavix_WriteCameraUserIDW(handle, 77, wide, sizeof wide), 0);
    uint32_t id = 0;
    char narrow[64];
    EXPECT_NE(Kavix_ReadCameraUserIDA(handle, &id, narrow, sizeof narrow), 0);
    EXPECT_EQ(id, 77u);
    EXPECT_STREQ(narrow, "Kamera \xc3\xa9\xc3\xa8 \xe4\xb8\xad");

    EXPECT_NE(Kavix_WriteCameraUserIDA(handle, 78, "plain", 6), 0);
    char16_t back[16];
    EXPECT_NE(Kavix_ReadCameraUserIDW(handle, &id, back, sizeof back), 0);
    EXPECT_EQ(id, 78u);
    EXPECT_EQ(std::u16string(back), u"plain");
}

TEST_F(MemoryTest, SerialBlock) {
    open_model(0x1206);
    const std::vector<uint8_t> user_before = eeprom(256, 256);
    EXPECT_NE(Kavix_WriteCameraSerialIDA(handle, 0xCAFE, "SN-1", 5), 0);
    const IdBlockView block = id_block(eeprom(0, 256));
    EXPECT_EQ(block.id, 0xCAFEu);
    EXPECT_EQ(block.length, 5);
    EXPECT_EQ(eeprom(256, 256), user_before);
    uint32_t id = 0;
    char16_t text[16];
    EXPECT_NE(Kavix_WriteCameraSerialIDW(handle, 0xBEEF, u"SN-2", 10), 0);
    EXPECT_NE(Kavix_ReadCameraSerialIDW(handle, &id, text, sizeof text), 0);
    EXPECT_EQ(id, 0xBEEFu);
    EXPECT_EQ(std::u16string(text), u"SN-2");
}

// A new user ID is what the next open looks for.
TEST_F(MemoryTest, NewUserIdOpensTheCamera) {
    open_model(0x0210);
    EXPECT_NE(Kavix_WriteCameraUserIDA(handle, 4711, "renamed", 8), 0);
    Kavix_Close(handle);
    handle = Kavix_Open(4711);
    ASSERT_NE(handle, nullptr);
    uint32_t id = 0;
    char text[16];
    EXPECT_NE(Kavix_ReadCameraUserIDA(handle, &id, text, sizeof text), 0);
    EXPECT_EQ(id, 4711u);
    EXPECT_STREQ(text, "renamed");
}

TEST_F(MemoryTest, IdWriteFailure) {
    open_model(0x0210);
    ASSERT_NE(KavixSim_SetRequestFault(camera, 0xA2, KAVIXSIM_FAULT_FAIL, 31, 0), 0);
    EXPECT_EQ(Kavix_WriteCameraUserIDA(handle, 1, "x", 2), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);
}

// I2C reaches every device but the EEPROM, on any model.
TEST_F(MemoryTest, I2CWithoutFpga) {
    open_model(0x0305);
    const uint8_t sensor = 0x5D;
    const uint8_t out[4] = {1, 2, 3, 4};
    uint8_t in[4] = {};
    EXPECT_NE(Kavix_WriteI2CB(handle, 0, sensor, 0x10, 4, out), 0);
    EXPECT_NE(Kavix_ReadI2CB(handle, 0, sensor, 0x10, 4, in), 0);
    EXPECT_EQ(std::vector<uint8_t>(in, in + 4), std::vector<uint8_t>(out, out + 4));
    const uint8_t out_w[3] = {9, 8, 7};
    uint8_t in_w[3] = {};
    EXPECT_NE(Kavix_WriteI2CW(handle, 0, sensor, 0x1234, 3, out_w), 0);
    EXPECT_NE(Kavix_ReadI2CW(handle, 0, sensor, 0x1234, 3, in_w), 0);
    EXPECT_EQ(std::vector<uint8_t>(in_w, in_w + 3), std::vector<uint8_t>(out_w, out_w + 3));
}

TEST_F(MemoryTest, EepromAddressIsRefused) {
    open_model(0x0210);
    const std::vector<uint8_t> before = eeprom(0, 64);
    const uint32_t sent = transfers();
    uint8_t data[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(Kavix_WriteI2CB(handle, 0, 0x51, 0, 8, data), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_I2C_RESERVED);
    EXPECT_EQ(Kavix_ReadI2CB(handle, 0, 0x51, 0, 8, data), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_I2C_RESERVED);
    EXPECT_EQ(Kavix_WriteI2CW(handle, 0, 0x51, 0, 8, data), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_I2C_RESERVED);
    EXPECT_EQ(Kavix_ReadI2CW(handle, 7, 0x51, 0, 8, nullptr), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_I2C_RESERVED);
    EXPECT_EQ(transfers(), sent);
    EXPECT_EQ(eeprom(0, 64), before);
}

TEST_F(MemoryTest, I2CFailures) {
    open_model(0x0210);
    uint8_t data[4] = {};
    // No device answers at this address.
    EXPECT_EQ(Kavix_ReadI2CB(handle, 0, 0x20, 0, 4, data), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(Kavix_ReadI2CW(handle, 0, 0x5D, 0, 4, nullptr), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
}

TEST_F(MemoryTest, CameraGammaValue) {
    open_model(0x0810);
    uint16_t value = 0;
    EXPECT_NE(Kavix_SetCameraGammaValue(handle, 180), 0);
    EXPECT_EQ(status_word(77), 180);
    ASSERT_NE(KavixSim_SetStatusWords(camera, 0, 77, 1, std::array<uint16_t, 1>{45}.data()), 0);
    EXPECT_NE(Kavix_GetCameraGammaValue(handle, &value), 0);
    EXPECT_EQ(value, 45);

    // Without function 57 the camera has no value: the set is refused, the
    // get says 0 and asks nobody.
    open_model(0x0810, [](KavixSimCameraConfig &c) { set_function_bit(c, 57, false); });
    const uint32_t sent = transfers();
    EXPECT_EQ(Kavix_SetCameraGammaValue(handle, 180), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
    value = 99;
    EXPECT_EQ(Kavix_GetCameraGammaValue(handle, &value), 1);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(transfers(), sent);
    EXPECT_EQ(status_word(77), 0);
}

}  // namespace
}  // namespace kavix::test
