// The defect pixel exports against virtual cameras: the table in the camera,
// the mode, and detection from a dark frame to the table and its commit.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <vector>

#include "sensor/sensor_fixture.h"

// The detection takes its records with a non-throwing array allocation; this
// one fails on request, so that a lack of memory can be shown.
namespace {
std::atomic<bool> g_fail_nothrow_arrays{false};
}

void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    if (g_fail_nothrow_arrays.load()) return nullptr;
    try {
        return ::operator new[](size);
    } catch (...) {
        return nullptr;
    }
}

namespace kavix::test {
namespace {

constexpr uint16_t kColourModel = 0x0810;  // function 59, 64 entries
constexpr uint16_t kModelWithoutFpga = 0x0305;
constexpr uint16_t kDefectSelector = 129;
constexpr uint16_t kUnused = 0xFFFF;

class DefectPixels : public SensorCameraTest {
protected:
    void open_with_entries(uint16_t entries) {
        open_model(kColourModel, [&](KavixSimCameraConfig &c) {
            c.function_bits[5] = entries;
            c.defect_table_size = entries == 0 ? 64 : entries;
        });
        clear_wire();
    }
    struct Entry {
        uint16_t x, y;
    };
    std::vector<Entry> camera_table(uint32_t entries) const {
        std::vector<uint16_t> words(2 * entries);
        EXPECT_NE(KavixSim_GetStatusWords(camera, kDefectSelector, 0, static_cast<uint16_t>(words.size()),
                                          words.data()),
                  0);
        std::vector<Entry> out;
        for (uint32_t i = 0; i < entries; ++i) out.push_back({words[2 * i], words[2 * i + 1]});
        return out;
    }
    // The entry writes of a detection: ids and values as they went out.
    std::vector<KavixSimControlRecord> table_writes() const {
        std::vector<KavixSimControlRecord> out;
        for (const auto &r : transfers(kRequestStatus, kRequestOut)) {
            if (r.index == kDefectSelector) out.push_back(r);
        }
        return out;
    }
};

TEST_F(DefectPixels, TheCountComesFromWord5Or64) {
    struct Case {
        uint16_t word5;
        uint16_t count;
    };
    for (const Case c : {Case{0, 64}, Case{16, 16}, Case{300, 300}}) {
        open_with_entries(c.word5);
        uint16_t count = 0;
        ASSERT_NE(Kavix_GetEnableDefectPixelCorrectionCount(handle, &count), 0);
        EXPECT_EQ(count, c.count);
    }
    EXPECT_EQ(Kavix_GetEnableDefectPixelCorrectionCount(handle, nullptr), 0);
    EXPECT_EQ(last_error(), 87u);
}

TEST_F(DefectPixels, PositionsAreWrittenWithTheWriteFormAndReadBack) {
    open_with_entries(16);
    ASSERT_NE(Kavix_SetDefectPixelCorrectionPosition(handle, 3, 123, 0x10000 + 45), 0);
    const auto writes = table_writes();
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].value, 0x8000 + 2 * 3) << "twice (index | 0xC000), cut to 16 bits";
    EXPECT_EQ(writes[0].length, 4);
    EXPECT_EQ(le16(writes[0].data), 123);
    EXPECT_EQ(le16(writes[0].data + 2), 45) << "the low 16 bits of y";
    EXPECT_EQ(camera_table(16)[3].x, 123);
    EXPECT_EQ(camera_table(16)[3].y, 45);

    clear_wire();
    uint32_t x = 0, y = 0;
    ASSERT_NE(Kavix_GetDefectPixelCorrectionPosition(handle, 3, &x, &y), 0);
    const auto reads = transfers(kRequestStatus, kRequestIn);
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_EQ(reads[0].value, 6);
    EXPECT_EQ(reads[0].index, kDefectSelector);
    EXPECT_EQ(x, 123u);
    EXPECT_EQ(y, 45u);
    // The last entry is in range too.
    EXPECT_NE(Kavix_SetDefectPixelCorrectionPosition(handle, 15, 1, 2), 0);
    EXPECT_NE(Kavix_GetDefectPixelCorrectionPosition(handle, 15, &x, &y), 0);
    EXPECT_EQ(x, 1u);
}

TEST_F(DefectPixels, AnIndexEqualToTheCountIsRefused) {
    open_with_entries(16);
    uint32_t x = 0, y = 0;
    EXPECT_EQ(Kavix_SetDefectPixelCorrectionPosition(handle, 16, 1, 1), 0);
    EXPECT_EQ(last_error(), 87u);
    Kavix_GetImageSize(handle, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(Kavix_GetDefectPixelCorrectionPosition(handle, 16, &x, &y), 0);
    EXPECT_EQ(last_error(), 87u);
    EXPECT_EQ(Kavix_GetDefectPixelCorrectionPosition(handle, 0, nullptr, &y), 0);
    EXPECT_EQ(last_error(), 87u);
    EXPECT_TRUE(wire().empty());
}

TEST_F(DefectPixels, TheModeIsStatus78) {
    open_with_entries(0);
    ASSERT_NE(Kavix_SetDefectPixelCorrectionMode(handle, 0x0203), 0);
    const auto writes = transfers(kRequestStatus, kRequestOut);
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].value, 0x804E);
    EXPECT_EQ(writes[0].index, 0);
    EXPECT_EQ(le16(writes[0].data), 0x0203);
    uint16_t mode = 0;
    ASSERT_NE(Kavix_GetDefectPixelCorrectionMode(handle, &mode), 0);
    EXPECT_EQ(mode, 0x0203);
    EXPECT_EQ(transfers(kRequestStatus, kRequestIn).back().value, 78);
}

TEST_F(SensorCameraTest, WithoutTheFunctionThereIsNoTable) {
    for (const bool fpga : {true, false}) {
        if (fpga)
            open_model(kColourModel, [](KavixSimCameraConfig &c) { with_function(c, 59, false); });
        else
            open_model(kModelWithoutFpga);
        clear_wire();
        uint16_t count = 9, mode = 9;
        ASSERT_NE(Kavix_GetEnableDefectPixelCorrectionCount(handle, &count), 0);
        EXPECT_EQ(count, 0);
        ASSERT_NE(Kavix_GetDefectPixelCorrectionMode(handle, &mode), 0);
        EXPECT_EQ(mode, 0);
        EXPECT_EQ(Kavix_SetDefectPixelCorrectionMode(handle, 1), 0);
        EXPECT_EQ(last_error(), 87u);
        EXPECT_EQ(Kavix_SetDefectPixelCorrectionPosition(handle, 0, 1, 1), 0);
        EXPECT_EQ(last_error(), 87u);
        const uint8_t image[4] = {};
        EXPECT_EQ(Kavix_DetectDefectPixel(handle, 2, 2, image, 0), 0);
        EXPECT_EQ(last_error(), 87u);
        EXPECT_TRUE(wire().empty());
    }
}

TEST_F(DefectPixels, ThresholdZeroOnAZeroImageTakesTheFirstPixelsOfTheFirstRow) {
    open_with_entries(0);  // 64 entries
    const std::vector<uint8_t> image(200 * 100, 0);
    const uint32_t commits = state().commits;
    ASSERT_NE(Kavix_DetectDefectPixel(handle, 200, 100, image.data(), 0), 0);
    const auto table = camera_table(64);
    for (uint16_t i = 0; i < 64; ++i) {
        EXPECT_EQ(table[i].x, i);
        EXPECT_EQ(table[i].y, 0);
    }
    // Every entry written once, in order, with plain ids, then the commit.
    const auto writes = table_writes();
    ASSERT_EQ(writes.size(), 64u);
    for (uint16_t i = 0; i < 64; ++i) {
        EXPECT_EQ(writes[i].value, 2 * i) << "no write form on the detection's ids";
        EXPECT_EQ(writes[i].length, 4);
    }
    const auto all = wire();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(all.back().value, 80);
    EXPECT_EQ(all.back().index, 0);
    EXPECT_EQ(le16(all.back().data), 1);
    EXPECT_EQ(state().commits, commits + 1);
}

TEST_F(DefectPixels, Threshold256FindsNothingAndClearsTheTable) {
    open_with_entries(8);
    for (uint16_t i = 0; i < 8; ++i) ASSERT_NE(Kavix_SetDefectPixelCorrectionPosition(handle, i, i, i), 0);
    const std::vector<uint8_t> image(32 * 32, 255);
    ASSERT_NE(Kavix_DetectDefectPixel(handle, 32, 32, image.data(), 256), 0);
    for (const Entry &e : camera_table(8)) {
        EXPECT_EQ(e.x, kUnused);
        EXPECT_EQ(e.y, kUnused);
    }
}

TEST_F(DefectPixels, MoreCandidatesThanEntriesEndWithTheBrightest) {
    open_with_entries(4);
    // A dark 16 x 8 frame with six hot pixels of different levels.
    std::vector<uint8_t> image(16 * 8, 3);
    struct Hot {
        uint32_t x, y;
        uint8_t level;
    };
    const Hot hot[] = {{1, 0, 60}, {5, 1, 200}, {9, 2, 90}, {2, 4, 250}, {7, 5, 70}, {14, 7, 120}};
    for (const Hot &h : hot) image[h.y * 16 + h.x] = h.level;
    ASSERT_NE(Kavix_DetectDefectPixel(handle, 16, 8, image.data(), 50), 0);
    // 60, 200, 90, 250 fill the list; 70 replaces 60; 120 replaces 70.
    const auto table = camera_table(4);
    const Entry expected[] = {{5, 1}, {9, 2}, {2, 4}, {14, 7}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(table[i].x, expected[i].x) << i;
        EXPECT_EQ(table[i].y, expected[i].y) << i;
    }
}

TEST_F(DefectPixels, FewerCandidatesLeaveTheRestUnused) {
    open_with_entries(6);
    std::vector<uint8_t> image(10 * 10, 0);
    image[3 * 10 + 4] = 100;
    image[8 * 10 + 1] = 90;
    ASSERT_NE(Kavix_DetectDefectPixel(handle, 10, 10, image.data(), 10), 0);
    const auto table = camera_table(6);
    EXPECT_EQ(table[0].x, 4);
    EXPECT_EQ(table[0].y, 3);
    EXPECT_EQ(table[1].x, 1);
    EXPECT_EQ(table[1].y, 8);
    for (int i = 2; i < 6; ++i) {
        EXPECT_EQ(table[i].x, kUnused);
        EXPECT_EQ(table[i].y, kUnused);
    }
}

TEST_F(DefectPixels, AFailedEntryWriteEndsTheDetectionWithoutACommit) {
    open_with_entries(8);
    const std::vector<uint8_t> image(8 * 8, 0);
    const uint32_t commits = state().commits;
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestStatus, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    EXPECT_EQ(Kavix_DetectDefectPixel(handle, 8, 8, image.data(), 0), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(wire().size(), 1u);
    EXPECT_EQ(state().commits, commits);
}

TEST_F(DefectPixels, DetectionLeavesTheModeAlone) {
    open_with_entries(2);
    ASSERT_NE(Kavix_SetDefectPixelCorrectionMode(handle, 5), 0);
    const uint8_t image[4] = {};
    clear_wire();
    EXPECT_NE(Kavix_DetectDefectPixel(handle, 2, 2, image, 0), 0);
    for (const auto &r : transfers(kRequestStatus, kRequestOut)) EXPECT_NE(r.value & 0x7FFF, 78);
    uint16_t mode = 0;
    ASSERT_NE(Kavix_GetDefectPixelCorrectionMode(handle, &mode), 0);
    EXPECT_EQ(mode, 5);
}

TEST_F(DefectPixels, BadImagesAreRefused) {
    open_with_entries(4);
    EXPECT_EQ(Kavix_DetectDefectPixel(handle, 4, 4, nullptr, 0), 0);
    EXPECT_EQ(last_error(), 87u);
    EXPECT_TRUE(wire().empty());
    // An empty image finds nothing and still writes the table.
    EXPECT_NE(Kavix_DetectDefectPixel(handle, 0, 0, nullptr, 0), 0);
    EXPECT_EQ(table_writes().size(), 4u);
}

TEST_F(DefectPixels, WithoutMemoryForTheRecordsTheDetectionFailsWith8) {
    open_with_entries(64);
    const std::vector<uint8_t> image(64, 0);
    g_fail_nothrow_arrays = true;
    const KAVIX_BOOL result = Kavix_DetectDefectPixel(handle, 8, 8, image.data(), 0);
    g_fail_nothrow_arrays = false;
    EXPECT_EQ(result, 0);
    EXPECT_EQ(last_error(), 8u);
    EXPECT_TRUE(wire().empty()) << "the table is left as it was";
}

}  // namespace
}  // namespace kavix::test
