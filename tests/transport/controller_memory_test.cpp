// EEPROM blocks and user memory, I2C, and the controller's registers.
#include <gtest/gtest.h>

#include <numeric>
#include <string>

#include "transport/sim_fixture.h"

namespace kavix::test {
namespace {

using ControllerMemory = SimBusTest;

std::vector<uint8_t> eeprom_of(KAVIXSIM_CAMERA cam, uint32_t first, uint32_t bytes) {
    std::vector<uint8_t> d(bytes);
    EXPECT_EQ(KavixSim_ReadEeprom(cam, first, d.data(), bytes), 1);
    return d;
}

TEST_F(ControllerMemory, IdBlocksHoldNumberKindLengthAndText) {
    const KAVIXSIM_CAMERA cam = plug(0x0810, [](auto &c) {
        c.user_id = 0x01020304;
        std::strcpy(c.user_text, "Line camera");
        c.serial_id = 77;
        std::strcpy(c.serial_text, "SN-0077");
    });
    KAVIXUSB_HANDLE h = open(0);
    std::vector<uint8_t> block(256, 0xEE);
    uint32_t moved = 0;
    ASSERT_EQ(KavixUSBD_ReadEeprom(h, 256, 511, block.data(), &moved), 1);
    EXPECT_EQ(moved, 256u);
    EXPECT_EQ(u32(block, 0), 0x01020304u);
    EXPECT_EQ(block[4], 0);
    EXPECT_EQ(block[5], 12);  // terminator included
    EXPECT_EQ(std::string(reinterpret_cast<char *>(&block[6])), "Line camera");
    for (size_t i = 18; i < 256; ++i) EXPECT_EQ(block[i], 0) << "byte " << i;

    ASSERT_EQ(KavixUSBD_ReadEeprom(h, 0, 255, block.data(), &moved), 1);
    EXPECT_EQ(u32(block, 0), 77u);
    EXPECT_EQ(block[5], 8);
    EXPECT_EQ(block, eeprom_of(cam, 0, 256));
}

TEST_F(ControllerMemory, WideTextIsUtf16WithItsFlag) {
    plug(0x0810, [](auto &c) {
        c.id_text_wide = 1;
        std::strcpy(c.user_text, "K\xC3\xA4m");  // "Käm"
    });
    std::vector<uint8_t> block(256);
    ASSERT_EQ(KavixUSBD_ReadEeprom(open(0), 256, 511, block.data(), nullptr), 1);
    EXPECT_EQ(block[4], 0x80);
    EXPECT_EQ(block[5], 8);
    EXPECT_EQ(u16(block, 6), u'K');
    EXPECT_EQ(u16(block, 8), 0x00E4);
    EXPECT_EQ(u16(block, 10), u'm');
    EXPECT_EQ(u16(block, 12), 0);
}

TEST_F(ControllerMemory, LongTextsAreCutToTheBlock) {
    plug(0x0810, [](auto &c) { std::memset(c.user_text, 'a', 249); });
    plug(0x0810, [](auto &c) {
        c.id_text_wide = 1;
        std::memset(c.user_text, 'b', 249);
    });
    std::vector<uint8_t> block(256);
    ASSERT_EQ(KavixUSBD_ReadEeprom(open(0), 256, 511, block.data(), nullptr), 1);
    EXPECT_EQ(block[5], 250);
    EXPECT_EQ(block[6 + 248], 'a');
    EXPECT_EQ(block[6 + 249], 0);
    ASSERT_EQ(KavixUSBD_ReadEeprom(open(1), 256, 511, block.data(), nullptr), 1);
    EXPECT_EQ(block[5], 250);
    EXPECT_EQ(u16(block, 6 + 246), u'b');
    EXPECT_EQ(u16(block, 6 + 248), 0);
}

TEST_F(ControllerMemory, BlankEepromReadsAllOnes) {
    plug(0x0810, [](auto &c) { c.blank_eeprom = 1; });
    std::vector<uint8_t> block(256);
    ASSERT_EQ(KavixUSBD_ReadEeprom(open(0), 256, 511, block.data(), nullptr), 1);
    EXPECT_EQ(u32(block, 0), 0xFFFFFFFFu);
    EXPECT_EQ(block[5], 255);
}

TEST_F(ControllerMemory, UserMemoryRangesRoundTrip) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    EXPECT_EQ(eeprom_of(cam, 512, 1024), std::vector<uint8_t>(1024, 0));

    struct Range {
        uint32_t first, last;
    };
    // Within one chunk, across chunk borders, odd ends, the whole area.
    const Range ranges[] = {{512, 512}, {512, 575}, {600, 700}, {1000, 1535}, {512, 1535}};
    uint8_t seed = 1;
    for (const Range &r : ranges) {
        const uint32_t n = r.last - r.first + 1;
        std::vector<uint8_t> data(n);
        std::iota(data.begin(), data.end(), seed++);
        uint32_t moved = 0;
        ASSERT_EQ(KavixUSBD_WriteEeprom(h, r.first, r.last, data.data(), &moved), 1) << r.first;
        EXPECT_EQ(moved, n);
        EXPECT_EQ(eeprom_of(cam, r.first, n), data) << r.first;
        std::vector<uint8_t> back(n, 0);
        ASSERT_EQ(KavixUSBD_ReadEeprom(h, r.first, r.last, back.data(), &moved), 1);
        EXPECT_EQ(moved, n);
        EXPECT_EQ(back, data);
    }
    // The ID blocks stay as they were.
    EXPECT_EQ(eeprom_of(cam, 256, 4), (std::vector<uint8_t>{0, 0, 0, 0}));
}

TEST_F(ControllerMemory, EepromRefusals) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    std::vector<uint8_t> buf(4096);
    uint32_t moved = 99;
    EXPECT_EQ(KavixUSBD_ReadEeprom(h, 10, 9, buf.data(), &moved), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    EXPECT_EQ(moved, 0u);
    EXPECT_EQ(KavixUSBD_ReadEeprom(h, 0, 10, nullptr, &moved), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    EXPECT_EQ(KavixUSBD_ReadEeprom(h, 0, 0x10000, buf.data(), &moved), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    // The EEPROM ends at 2047: the chunks before the end arrive.
    EXPECT_EQ(KavixUSBD_ReadEeprom(h, 1920, 2100, buf.data(), &moved), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 31u);
    EXPECT_EQ(moved, 128u);

    // A failing chunk in the middle stops the write there.
    ASSERT_EQ(KavixSim_SetRequestFault(cam, 0xA2, KAVIXSIM_FAULT_FAIL, 0, 0), 1);
    EXPECT_EQ(KavixUSBD_WriteEeprom(h, 512, 1535, buf.data(), &moved), 0);
    EXPECT_EQ(moved, 0u);
    // A short chunk is a failure too, with the bytes that did move.
    ASSERT_EQ(KavixSim_SetRequestFault(cam, 0xA2, KAVIXSIM_FAULT_SHORT, 10, 0), 1);
    EXPECT_EQ(KavixUSBD_ReadEeprom(h, 512, 1535, buf.data(), &moved), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 31u);
    EXPECT_EQ(moved, 10u);
}

TEST_F(ControllerMemory, I2cReachesTheEepromAndTheSensor) {
    const KAVIXSIM_CAMERA cam = plug(0x0810, [](auto &c) { c.user_id = 0xA1B2C3D4; });
    KAVIXUSB_HANDLE h = open(0);
    // The EEPROM answers at 0x51 with either sub-address width.
    std::vector<uint8_t> b(4);
    uint32_t moved = 0;
    ASSERT_EQ(KavixUSBD_ReadI2CWord(h, 0, 0x51, 256, 4, b.data(), &moved), 1);
    EXPECT_EQ(moved, 4u);
    EXPECT_EQ(u32(b, 0), 0xA1B2C3D4u);
    ASSERT_EQ(KavixUSBD_ReadI2CByte(h, 0, 0x51, 0, 4, b.data(), &moved), 1);
    EXPECT_EQ(b, eeprom_of(cam, 0, 4));

    // The sensor's port keeps registers; a byte sub-address wraps at 0xFF.
    const std::vector<uint8_t> four = {1, 2, 3, 4};
    ASSERT_EQ(KavixUSBD_WriteI2CByte(h, 0, 0x5D, 0xFE, 4, four.data(), &moved), 1);
    EXPECT_EQ(moved, 4u);
    std::vector<uint8_t> low(2);
    ASSERT_EQ(KavixUSBD_ReadI2CByte(h, 0, 0x5D, 0x00, 2, low.data(), nullptr), 1);
    EXPECT_EQ(low, (std::vector<uint8_t>{3, 4}));
    ASSERT_EQ(KavixUSBD_ReadI2CWord(h, 0, 0x5D, 0x00FE, 2, low.data(), nullptr), 1);
    EXPECT_EQ(low, (std::vector<uint8_t>{1, 2}));

    // More than one chunk with a two-byte sub-address.
    std::vector<uint8_t> big(300), back(300);
    std::iota(big.begin(), big.end(), uint8_t{7});
    ASSERT_EQ(KavixUSBD_WriteI2CWord(h, 0, 0x5D, 0x1000, 300, big.data(), &moved), 1);
    EXPECT_EQ(moved, 300u);
    ASSERT_EQ(KavixUSBD_ReadI2CWord(h, 0, 0x5D, 0x1000, 300, back.data(), &moved), 1);
    EXPECT_EQ(back, big);
}

TEST_F(ControllerMemory, I2cRefusals) {
    plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    uint8_t b[4] = {};
    uint32_t moved = 9;
    EXPECT_EQ(KavixUSBD_ReadI2CByte(h, 0, 0x20, 0, 4, b, &moved), 0);  // nobody there
    EXPECT_EQ(KavixUSBD_GetLastError(), 31u);
    EXPECT_EQ(moved, 0u);
    EXPECT_EQ(KavixUSBD_ReadI2CByte(h, 1, 0x5D, 0, 4, b, &moved), 0);  // no bus 1
    EXPECT_EQ(KavixUSBD_GetLastError(), 31u);
    EXPECT_EQ(KavixUSBD_ReadI2CByte(h, 0, 0x80, 0, 4, b, &moved), 0);  // not 7 bits
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    EXPECT_EQ(KavixUSBD_ReadI2CWord(h, 0, 0x5D, 0, 4, nullptr, &moved), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    EXPECT_EQ(KavixUSBD_ReadI2CByte(h, 0, 0x5D, 0, 0, nullptr, &moved), 1);  // nothing to do
    EXPECT_EQ(moved, 0u);
}

TEST_F(ControllerMemory, ChipRegistersReadAndWrite) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    const std::vector<uint8_t> regs = {0x11, 0x22, 0x33};
    uint32_t moved = 0;
    ASSERT_EQ(KavixUSBD_WriteChipRegisters(h, 0xE010, 0xE012, regs.data(), &moved), 1);
    EXPECT_EQ(moved, 3u);
    std::vector<uint8_t> back(3);
    ASSERT_EQ(KavixUSBD_ReadChipRegisters(h, 0xE010, 0xE012, back.data(), &moved), 1);
    EXPECT_EQ(back, regs);
    uint8_t cpu = 0xFF;
    ASSERT_EQ(KavixUSBD_ReadChipRegisters(h, 0xE600, 0xE600, &cpu, nullptr), 1);
    EXPECT_EQ(cpu, 0);  // running
    EXPECT_EQ(KavixUSBD_ReadChipRegisters(h, 0xE012, 0xE010, back.data(), &moved), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    EXPECT_EQ(KavixUSBD_ReadChipRegisters(h, 0x8000, 0x8001, back.data(), &moved), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 31u);
    KavixSimCameraState s;
    ASSERT_EQ(KavixSim_GetState(cam, &s), 1);
    EXPECT_EQ(s.downloads, 0u);
}

}  // namespace
}  // namespace kavix::test
