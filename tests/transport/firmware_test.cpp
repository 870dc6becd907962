// Intel HEX parsing, firmware download into a boot-level camera and its
// re-enumeration with the new firmware.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "transport/sim_fixture.h"

namespace kavix::test {
namespace {

// One record line, checksum computed here: the two's complement of the sum.
std::string record(uint8_t type, uint16_t address, const std::vector<uint8_t> &data,
                   int checksum_delta = 0) {
    std::vector<uint8_t> bytes = {static_cast<uint8_t>(data.size()),
                                  static_cast<uint8_t>(address >> 8),
                                  static_cast<uint8_t>(address), type};
    bytes.insert(bytes.end(), data.begin(), data.end());
    unsigned sum = 0;
    for (uint8_t b : bytes) sum += b;
    bytes.push_back(static_cast<uint8_t>(-sum + checksum_delta));
    std::string line = ":";
    char hex[3];
    for (uint8_t b : bytes) {
        std::snprintf(hex, sizeof hex, "%02X", b);
        line += hex;
    }
    return line + "\n";
}

const std::string kEnd = ":00000001FF\n";

// A small program image: reset vector, an interrupt vector, code at 0x100 and
// descriptors near the end of program memory, in records of up to 16 bytes.
struct Program {
    std::string text;
    std::vector<uint8_t> bytes = std::vector<uint8_t>(0x4000, 0);
    std::vector<uint8_t> mask = std::vector<uint8_t>(0x4000, 0);
    uint32_t count = 0;

    void put(uint16_t address, std::vector<uint8_t> data) {
        for (size_t i = 0; i < data.size(); i += 16) {
            std::vector<uint8_t> part(data.begin() + static_cast<long>(i),
                                      data.begin() + static_cast<long>(std::min(i + 16, data.size())));
            text += record(0, static_cast<uint16_t>(address + i), part);
        }
        for (size_t i = 0; i < data.size(); ++i) {
            bytes[address + i] = data[i];
            mask[address + i] = 1;
        }
        count = std::max<uint32_t>(count, static_cast<uint32_t>(address + data.size()));
    }
};

Program sample_program() {
    Program p;
    p.put(0x0000, {0x02, 0x01, 0x00});  // jump to 0x100
    p.put(0x000B, {0x32});              // reti
    std::vector<uint8_t> code(100);
    for (size_t i = 0; i < code.size(); ++i) code[i] = static_cast<uint8_t>(i * 7 + 3);
    p.put(0x0100, code);
    p.put(0x3F00, {0x12, 0x01, 0x00, 0x02, 0xFF, 0xFF, 0xFF, 0x40, 0x3D, 0x7B, 0x05, 0x03});
    p.text += kEnd;
    return p;
}

struct Parsed {
    int32_t ok;
    uint32_t error;
    uint32_t count;
    std::vector<uint8_t> image, mask;
};

Parsed parse(const std::string &text, uint32_t capacity = 0x4000) {
    Parsed p{0, 0, 99, std::vector<uint8_t>(capacity, 0xAA), std::vector<uint8_t>(capacity, 0xAA)};
    KavixUSBD_SetLastError(0);
    p.ok = KavixUSBD_ParseFirmwareImage(text.data(), static_cast<uint32_t>(text.size()),
                                        p.image.data(), p.mask.data(), capacity, &p.count);
    p.error = KavixUSBD_GetLastError();
    return p;
}

TEST(IntelHex, ParsesDataRecordsIntoImageAndMask) {
    const Program program = sample_program();
    const Parsed p = parse(program.text);
    ASSERT_EQ(p.ok, 1) << p.error;
    EXPECT_EQ(p.count, 0x3F0Cu);
    EXPECT_EQ(p.image, program.bytes);
    EXPECT_EQ(p.mask, program.mask);
}

TEST(IntelHex, AcceptsLowerCaseCrLfAndPaddingAfterTheEnd) {
    Program program = sample_program();
    std::string text;
    for (char c : program.text) {
        if (c == '\n') text += '\r';
        text += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    text += "\r\n\n";
    text.append(5, '\0');  // a resource buffer cleared beyond the text
    const Parsed p = parse(text);
    ASSERT_EQ(p.ok, 1) << p.error;
    EXPECT_EQ(p.image, program.bytes);
}

TEST(IntelHex, RefusesBadText) {
    const std::string good = record(0, 0x10, {1, 2, 3});
    struct Case {
        const char *what;
        std::string text;
    };
    std::string odd_digits = good;
    odd_digits.insert(3, "0");
    const Case cases[] = {
        {"empty", ""},
        {"no end record", good},
        {"bad checksum", record(0, 0x10, {1, 2, 3}, 1) + kEnd},
        {"not hex", ":0300100001G203E7\n" + kEnd},
        {"odd digit count", odd_digits + kEnd},
        {"length says more", ":04001000010203E6\n" + kEnd},
        {"missing colon", good.substr(1) + kEnd},
        {"extended linear address", record(4, 0, {0, 1}) + good + kEnd},
        {"extended segment address", record(2, 0, {0x10, 0}) + kEnd},
        {"start address", record(5, 0, {0, 0, 1, 0}) + kEnd},
        {"end record with data", good + record(1, 0, {1})},
        {"text after the end", good + kEnd + good},
        {"a record too short", ":0000\n" + kEnd},
        {"spaces inside", ": 03001000010203E7\n" + kEnd},
    };
    for (const Case &k : cases) {
        const Parsed p = parse(k.text);
        EXPECT_EQ(p.ok, 0) << k.what;
        EXPECT_EQ(p.error, 13u) << k.what;
        EXPECT_EQ(p.count, 0u) << k.what;
    }
}

TEST(IntelHex, AddressesBeyondTheBufferAndBadArguments) {
    const std::string text = record(0, 0x0FFE, {1, 2, 3}) + kEnd;
    Parsed p = parse(text, 0x1000);
    EXPECT_EQ(p.ok, 0);
    EXPECT_EQ(p.error, 122u);
    p = parse(text, 0x1001);
    EXPECT_EQ(p.ok, 1);
    EXPECT_EQ(p.count, 0x1001u);

    uint8_t image[16], mask[16];
    uint32_t count = 5;
    EXPECT_EQ(KavixUSBD_ParseFirmwareImage(nullptr, 10, image, mask, 16, &count), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    EXPECT_EQ(KavixUSBD_ParseFirmwareImage(text.data(), 10, image, nullptr, 16, &count), 0);
    EXPECT_EQ(KavixUSBD_ParseFirmwareImage(text.data(), 10, image, mask, 16, nullptr), 0);
    EXPECT_EQ(KavixUSBD_ParseFirmwareImage(text.data(), 10, image, mask, 0, &count), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
}

TEST(IntelHex, FinishFlattensTheImage) {
    const Program program = sample_program();
    const Parsed p = parse(program.text);
    uint32_t written = 0;
    ASSERT_EQ(KavixUSBD_FinishFirmwareImage(p.image.data(), p.mask.data(), p.count, nullptr, 0,
                                            &written), 1);
    EXPECT_EQ(written, p.count);
    std::vector<uint8_t> flat(p.count, 0x55);
    EXPECT_EQ(KavixUSBD_FinishFirmwareImage(p.image.data(), p.mask.data(), p.count, flat.data(),
                                            p.count - 1, &written), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 122u);
    ASSERT_EQ(KavixUSBD_FinishFirmwareImage(p.image.data(), p.mask.data(), p.count, flat.data(),
                                            p.count, &written), 1);
    EXPECT_EQ(flat, std::vector<uint8_t>(program.bytes.begin(), program.bytes.begin() + p.count));
}

using FirmwareDownload = SimBusTest;

KavixSimCameraState state_of(KAVIXSIM_CAMERA cam) {
    KavixSimCameraState s{};
    EXPECT_EQ(KavixSim_GetState(cam, &s), 1);
    return s;
}

TEST_F(FirmwareDownload, BootCameraLeavesAndReturnsWithTheNewFirmware) {
    const KAVIXSIM_CAMERA other = plug(0x0810);
    const KAVIXSIM_CAMERA cam = plug(0x0605, [](auto &c) {
        c.boot_firmware = 1;
        c.firmware_version = 2;
        c.reenumeration_delay_ms = KAVIXSIM_DELAY_MANUAL;
    });
    KAVIXUSB_HANDLE h = open(1);
    EXPECT_EQ(u16(vendor_in(h, 17, 64).data, 6), 8);  // boot-level firmware
    uint8_t address_before = 0;
    ASSERT_EQ(KavixUSBD_GetFunctionAddress(h, &address_before), 1);

    const Program program = sample_program();
    const Parsed p = parse(program.text);
    ASSERT_EQ(p.ok, 1);
    uint32_t downloaded = 0;
    ASSERT_EQ(KavixUSBD_DownloadFirmware(h, p.image.data(), p.mask.data(), p.count, &downloaded),
              1)
        << KavixUSBD_GetLastError();
    EXPECT_EQ(downloaded, 3u + 1 + 100 + 12);

    // The controller holds exactly the image.
    std::vector<uint8_t> ram(0x4000);
    ASSERT_EQ(KavixSim_ReadControllerRam(cam, 0, ram.data(), 0x4000), 1);
    EXPECT_EQ(ram, program.bytes);

    // Off the bus: the old handle is dead and the index is free.
    EXPECT_EQ(vendor_in(h, 17, 64).error, 1167u);
    int32_t present = 1;
    ASSERT_EQ(KavixSim_IsPresent(cam, &present), 1);
    EXPECT_EQ(present, 0);
    KavixUSBD_SetLastError(0);
    EXPECT_EQ(KavixUSBD_OpenDevice(1), nullptr);
    EXPECT_EQ(KavixUSBD_GetLastError(), 2u);
    EXPECT_EQ(u16(vendor_in(open(0), 17, 64).data, 4), 0x0810);  // the other one is untouched

    ASSERT_EQ(KavixSim_CompleteReenumeration(cam), 1);
    KAVIXUSB_HANDLE back = open(1);
    ASSERT_NE(back, nullptr);
    Reply info = vendor_in(back, 17, 64);
    EXPECT_EQ(u16(info.data, 2), 0x0605);
    EXPECT_EQ(u16(info.data, 6), 2);
    uint8_t address_after = 0;
    ASSERT_EQ(KavixUSBD_GetFunctionAddress(back, &address_after), 1);
    EXPECT_NE(address_after, address_before);
    EXPECT_EQ(state_of(cam).downloads, 1u);
    EXPECT_EQ(state_of(other).downloads, 0u);
}

TEST_F(FirmwareDownload, ReturnAfterTheConfiguredDelay) {
    constexpr uint32_t kDelayMs = 40;
    const KAVIXSIM_CAMERA cam = plug(0x0305, [](auto &c) {
        c.boot_firmware = 1;
        c.firmware_version = 1;
        c.reenumeration_delay_ms = kDelayMs;
    });
    KAVIXUSB_HANDLE h = open(0);
    const Parsed p = parse(sample_program().text);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(KavixUSBD_DownloadFirmware(h, p.image.data(), p.mask.data(), p.count, nullptr), 1);
    ASSERT_EQ(KavixSim_WaitPresence(cam, 1, 10000), 1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(kDelayMs));
    EXPECT_EQ(u16(vendor_in(open(0), 17, 64).data, 6), 1);
}

TEST_F(FirmwareDownload, WaitForPresenceTimesOut) {
    const KAVIXSIM_CAMERA cam = plug(0x0305, [](auto &c) {
        c.boot_firmware = 1;
        c.reenumeration_delay_ms = KAVIXSIM_DELAY_MANUAL;
    });
    const Parsed p = parse(sample_program().text);
    ASSERT_EQ(KavixUSBD_DownloadFirmware(open(0), p.image.data(), p.mask.data(), p.count, nullptr),
              1);
    EXPECT_EQ(KavixSim_WaitPresence(cam, 0, 1000), 1);
    KavixUSBD_SetLastError(0);
    EXPECT_EQ(KavixSim_WaitPresence(cam, 1, 20), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 258u);
}

TEST_F(FirmwareDownload, ProgramMemoryIsWrittenOnlyWithTheCpuInReset) {
    const KAVIXSIM_CAMERA cam = plug(0x0305, [](auto &c) { c.boot_firmware = 1; });
    KAVIXUSB_HANDLE h = open(0);
    Reply r = vendor_out(h, 0xA0, {1, 2, 3}, 0x0000);
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.error, 31u);
    ASSERT_EQ(vendor_out(h, 0xA0, {1}, 0xE600).ok, 1);  // hold
    ASSERT_EQ(vendor_out(h, 0xA0, {1, 2, 3}, 0x0000).ok, 1);
    uint8_t ram[3] = {};
    ASSERT_EQ(KavixSim_ReadControllerRam(cam, 0, ram, 3), 1);
    EXPECT_EQ(ram[2], 3);
    EXPECT_EQ(state_of(cam).present, 1);  // still in reset, still there
}

TEST_F(FirmwareDownload, FailedDownloadLeavesTheCameraOnTheBus) {
    const KAVIXSIM_CAMERA cam = plug(0x0305, [](auto &c) { c.boot_firmware = 1; });
    KAVIXUSB_HANDLE h = open(0);
    const Parsed p = parse(sample_program().text);
    // Every controller write fails: the download stops at its first one.
    ASSERT_EQ(KavixSim_SetRequestFault(cam, 0xA0, KAVIXSIM_FAULT_FAIL, 0, 0), 1);
    uint32_t downloaded = 77;
    EXPECT_EQ(KavixUSBD_DownloadFirmware(h, p.image.data(), p.mask.data(), p.count, &downloaded), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 31u);
    EXPECT_EQ(downloaded, 0u);
    EXPECT_EQ(state_of(cam).present, 1);
    EXPECT_EQ(state_of(cam).downloads, 0u);
    EXPECT_EQ(state_of(cam).firmware_version, 8);
}

TEST_F(FirmwareDownload, ArgumentsAreChecked) {
    plug(0x0305, [](auto &c) { c.boot_firmware = 1; });
    KAVIXUSB_HANDLE h = open(0);
    std::vector<uint8_t> image(0x4001), mask(0x4001, 1);
    EXPECT_EQ(KavixUSBD_DownloadFirmware(h, image.data(), mask.data(), 0x4001, nullptr), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    EXPECT_EQ(KavixUSBD_DownloadFirmware(h, nullptr, mask.data(), 16, nullptr), 0);
    EXPECT_EQ(KavixUSBD_DownloadFirmware(h, image.data(), mask.data(), 0, nullptr), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    EXPECT_EQ(KavixUSBD_DownloadFirmware(nullptr, image.data(), mask.data(), 16, nullptr), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 6u);
}

TEST_F(FirmwareDownload, RunningCameraReloadsToo) {
    const KAVIXSIM_CAMERA cam = plug(0x0810, [](auto &c) { c.reenumeration_delay_ms = 0; });
    const Parsed p = parse(sample_program().text);
    ASSERT_EQ(KavixUSBD_DownloadFirmware(open(0), p.image.data(), p.mask.data(), p.count, nullptr),
              1);
    ASSERT_EQ(KavixSim_WaitPresence(cam, 1, 10000), 1);
    EXPECT_EQ(u16(vendor_in(open(0), 17, 64).data, 8), 5);
}

}  // namespace
}  // namespace kavix::test
