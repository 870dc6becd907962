// The FPGA data space, the register table read at open, and the small
// commands on status words: counters, buffer clearing, digital clamp.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "KavixD.h"
#include "sensor/camera_fixture.h"
#include "sensor/register_table.h"

namespace kavix::test {
namespace {

class FpgaTest : public VirtualCameraTest {};

TEST_F(FpgaTest, DataSpaceRoundTrip) {
    open_model(0x0610);
    // Block 3's words behind its size word are free for the application.
    const sensor::RegisterTable *table = session().defaults.RegisterTable.get();
    ASSERT_NE(table, nullptr);
    const uint32_t address = table->block_address(3) + 4;
    const std::array<uint8_t, 8> out = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_NE(Kavix_SetFPGAData2(handle, 1, address, const_cast<uint8_t *>(out.data()), 8), 0);
    std::array<uint8_t, 8> in = {};
    EXPECT_NE(Kavix_GetFPGAData2(handle, 1, address, in.data(), 8), 0);
    EXPECT_EQ(in, out);
    // No bytes at all is a transfer too.
    EXPECT_NE(Kavix_GetFPGAData2(handle, 1, address, nullptr, 0), 0);
}

// The checks in their order: FPGA, function 64, then the length.
TEST_F(FpgaTest, DataSpaceChecks) {
    uint8_t buffer[8] = {};
    open_model(0x0610);
    uint32_t sent = transfers();
    EXPECT_EQ(Kavix_GetFPGAData2(handle, 1, 0x100, buffer, 6), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Kavix_SetFPGAData2(handle, 1, 0x100, buffer, 1), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Kavix_GetFPGAData2(handle, 1, 0x100, nullptr, 4), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(transfers(), sent) << "nothing reaches the camera";
    // A refused transfer.
    EXPECT_EQ(Kavix_GetFPGAData2(handle, 1, 0xFFFFF0, buffer, 8), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);

    // Without function 64 the length doesn't matter any more.
    open_model(0x0610, [](KavixSimCameraConfig &c) { set_function_bit(c, 64, false); });
    sent = transfers();
    EXPECT_EQ(Kavix_GetFPGAData2(handle, 1, 0x100, buffer, 6), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_NO_FPGA);
    EXPECT_EQ(Kavix_SetFPGAData2(handle, 1, 0x100, buffer, 4), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_NO_FPGA);
    EXPECT_EQ(transfers(), sent);

    open_model(0x0805);
    EXPECT_EQ(Kavix_GetFPGAData2(handle, 1, 0x100, buffer, 6), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_NO_FPGA);
}

// The address is split into the request's value and index: its low byte
// beside the selector, bits 8 to 23 in the index.
TEST_F(FpgaTest, DataSpaceAddressing) {
    open_model(0x0610);
    const sensor::RegisterTable *table = session().defaults.RegisterTable.get();
    ASSERT_NE(table, nullptr);
    // Block 21's frame clock word, read through the plain data call.
    const uint32_t address = table->block_address(21) + 20;
    uint8_t word[4] = {};
    EXPECT_NE(Kavix_GetFPGAData2(handle, 1, address, word, 4), 0);
    const uint32_t clock = uint32_t{word[0]} | uint32_t{word[1]} << 8 | uint32_t{word[2]} << 16 |
                           uint32_t{word[3]} << 24;
    EXPECT_EQ(clock, state().clock_hz);
    EXPECT_NE(clock, 0u);
}

TEST_F(FpgaTest, RegisterTableAtOpen) {
    open_model(0x0410);
    const sensor::RegisterTable *table = session().defaults.RegisterTable.get();
    ASSERT_NE(table, nullptr);
    const KavixSimCameraState camera_state = state();
    uint32_t value = 0;
    ASSERT_EQ(table->read(21, 0, value), 0u);
    EXPECT_EQ(value, table->block_size(21)) << "offset 0 is the block's size word";
    ASSERT_EQ(table->read(21, 20, value), 0u);
    EXPECT_EQ(value, camera_state.clock_hz);
    ASSERT_EQ(table->read(21, 84, value), 0u);
    EXPECT_EQ(value, uint32_t{camera_state.clocks_per_line} * camera_state.lines_per_frame);
    ASSERT_EQ(table->read(21, 88, value), 0u);
    EXPECT_EQ(value, 4000u) << "the model's maximum V-blank";
    // Every block has an address of its own and a size.
    for (uint32_t i = 0; i < sensor::RegisterTable::kBlockCount; ++i) {
        EXPECT_NE(table->block_size(i), 0u) << i;
        for (uint32_t j = 0; j < i; ++j) EXPECT_NE(table->block_address(i), table->block_address(j));
    }
}

// Offsets must lie inside the block (but 0, the size word); indexes inside
// the table. Refusals leave no transfer behind.
TEST_F(FpgaTest, RegisterBlockRanges) {
    open_model(0x0410);
    const sensor::RegisterTable *table = session().defaults.RegisterTable.get();
    ASSERT_NE(table, nullptr);
    const uint32_t size = table->block_size(21);
    const uint32_t sent = transfers();
    uint32_t value = 1234;
    EXPECT_EQ(table->read(21, size, value), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(table->read(21, size + 4, value), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(table->read(23, 0, value), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(table->read(0xFFFFFFFF, 4, value), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(value, 1234u);
    EXPECT_EQ(transfers(), sent);
    EXPECT_EQ(table->read(21, size - 4, value), 0u);
}

// A register map of our own: the directory and sizes come from memory, and
// a read can be made to fail.
class MemoryRegisterMap final : public IMorvaneRegMap {
public:
    MemoryRegisterMap() : space_(0x4000, 0) {}
    uint32_t read_registers(uint32_t address, void *buffer, uint32_t bytes) override {
        ++reads;
        if (reads == fail_at) return 0xE0000005;
        if (address + bytes > space_.size()) return 87;
        std::memcpy(buffer, space_.data() + address, bytes);
        return 0;
    }
    uint32_t write_registers(uint32_t, const void *, uint32_t) override { return 87; }
    void put(uint32_t address, uint32_t value) {
        for (int i = 0; i < 4; ++i) space_[address + i] = static_cast<uint8_t>(value >> (8 * i));
    }
    uint32_t reads = 0;
    uint32_t fail_at = 0;

private:
    std::vector<uint8_t> space_;
};

TEST(RegisterTableTest, FillAndRead) {
    MemoryRegisterMap map;
    for (uint32_t i = 0; i < 23; ++i) {
        // High bits of an entry aren't part of the address.
        map.put(4 + 4 * i, 0xAB000000u | (0x200 + 0x80 * i));
        map.put(0x200 + 0x80 * i, 8 + 4 * i);
    }
    map.put(0x200 + 0x80 * 21 + 84, 84);
    sensor::RegisterTable table(map);
    ASSERT_EQ(table.fill(), 0u);
    EXPECT_EQ(map.reads, 24u) << "the directory, then one size per block";
    EXPECT_EQ(table.block_address(5), 0x200u + 0x80 * 5);
    EXPECT_EQ(table.block_size(21), 8u + 4 * 21);
    uint32_t value = 0;
    EXPECT_EQ(table.read(21, 84, value), 0u);
    EXPECT_EQ(value, 84u);
    // Block 0 is 8 bytes: offset 4 is inside, 8 is not.
    EXPECT_EQ(table.read(0, 4, value), 0u);
    EXPECT_EQ(table.read(0, 8, value), KAVIX_ERROR_INVALID_PARAMETER);
}

TEST(RegisterTableTest, ReadAtTheSizeIsRefused) {
    MemoryRegisterMap map;
    for (uint32_t i = 0; i < 23; ++i) map.put(4 + 4 * i, 0x200 + 0x80 * i);
    map.put(0x200 + 0x80 * 21, 84);  // block 21 reports 84 bytes
    sensor::RegisterTable table(map);
    ASSERT_EQ(table.fill(), 0u);
    uint32_t value = 0;
    EXPECT_EQ(table.read(21, 84, value), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(table.read(21, 80, value), 0u);
}

TEST(RegisterTableTest, FirstFailingReadEndsTheFill) {
    for (uint32_t fail_at : {1u, 2u, 13u, 24u}) {
        MemoryRegisterMap map;
        for (uint32_t i = 0; i < 23; ++i) map.put(4 + 4 * i, 0x200 + 0x80 * i);
        map.fail_at = fail_at;
        sensor::RegisterTable table(map);
        EXPECT_EQ(table.fill(), 0xE0000005u) << fail_at;
        EXPECT_EQ(map.reads, fail_at);
    }
}

// Cameras without function 64 (or without FPGA) have no table: the fill
// fails and the session keeps none.
TEST_F(FpgaTest, NoRegisterTableWithoutDataSpace) {
    open_model(0x0610, [](KavixSimCameraConfig &c) { set_function_bit(c, 64, false); });
    EXPECT_EQ(session().defaults.RegisterTable, nullptr);
    open_model(0x0705);
    EXPECT_EQ(session().defaults.RegisterTable, nullptr);
}

TEST_F(FpgaTest, FailedFillAtOpenLeavesNoTable) {
    KavixSimCameraConfig config = config_of(0x0410);
    KavixSim_UnplugAll();
    camera = KavixSim_Plug(&config);
    ASSERT_NE(camera, 0u);
    // Every data read fails.
    ASSERT_NE(KavixSim_SetRequestFault(camera, 130, KAVIXSIM_FAULT_FAIL, 31, 0), 0);
    handle = Kavix_Open(config.user_id);
    ASSERT_NE(handle, nullptr) << "a missing table doesn't fail the open";
    EXPECT_EQ(session().defaults.RegisterTable, nullptr);
}

TEST_F(FpgaTest, ResetCounterAndClearBuffer) {
    open_model(0x1406);
    EXPECT_NE(Kavix_ResetCounter(handle), 0);
    EXPECT_NE(Kavix_ResetCounter(handle), 0);
    EXPECT_EQ(state().counter_resets, 2u);
    EXPECT_EQ(state().commits, 0u) << "only the reset bit is pulsed";
    EXPECT_EQ(Kavix_ClearBuffer(handle), 1);
    EXPECT_EQ(state().buffer_clears, 1u);

    open_model(0x0805);
    EXPECT_EQ(Kavix_ResetCounter(handle), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_NO_FPGA);
    EXPECT_EQ(Kavix_ClearBuffer(handle), 1);
    EXPECT_EQ(state().buffer_clears, 1u);
    // The camera's refusal is noted but not reported by the result.
    ASSERT_NE(KavixSim_SetRequestFault(camera, 32, KAVIXSIM_FAULT_FAIL, 31, 1), 0);
    EXPECT_EQ(Kavix_ClearBuffer(handle), 1);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);
}

TEST_F(FpgaTest, DigitalClamp) {
    open_model(0x1406);
    uint16_t clamp = 0;
    EXPECT_NE(Kavix_SetDigitalClamp(handle, 33), 0);
    EXPECT_EQ(status_word(21), 33);
    ASSERT_NE(KavixSim_SetStatusWords(camera, 0, 21, 1, std::array<uint16_t, 1>{17}.data()), 0);
    EXPECT_NE(Kavix_GetDigitalClamp(handle, &clamp), 0);
    EXPECT_EQ(clamp, 17);

    // Without function 55: the set is refused, the get gives 0.
    for (uint16_t model : {uint16_t{0x1406}, uint16_t{0x0305}}) {
        open_model(model, [](KavixSimCameraConfig &c) { set_function_bit(c, 55, false); });
        const uint32_t sent = transfers();
        EXPECT_EQ(Kavix_SetDigitalClamp(handle, 33), 0);
        EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
        clamp = 99;
        EXPECT_EQ(Kavix_GetDigitalClamp(handle, &clamp), 1);
        EXPECT_EQ(clamp, 0);
        EXPECT_EQ(transfers(), sent);
    }
}

}  // namespace
}  // namespace kavix::test
