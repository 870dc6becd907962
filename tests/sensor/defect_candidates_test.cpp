// The candidate list of defect pixel detection against the independent model
// (defect_model.py), and the cases worth spelling out by hand.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "pipeline/defect_pixels.h"

namespace {

using kavix::pipeline::CPeriodCheck;

struct Record {
    uint32_t x, y;
    uint16_t level;
};

struct Case {
    uint32_t width = 0, height = 0, capacity = 0;
    uint16_t threshold = 0, lowest = 0;
    std::vector<uint8_t> image;
    std::vector<Record> records;
};

class Reader {
public:
    explicit Reader(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}
    template <typename T>
    T get() {
        T v{};
        if (at_ + sizeof v > bytes_.size()) throw std::runtime_error("vector file too short");
        std::memcpy(&v, bytes_.data() + at_, sizeof v);
        at_ += sizeof v;
        return v;
    }
    std::vector<uint8_t> take(size_t n) {
        if (at_ + n > bytes_.size()) throw std::runtime_error("vector file too short");
        std::vector<uint8_t> out(bytes_.begin() + static_cast<long>(at_),
                                 bytes_.begin() + static_cast<long>(at_ + n));
        at_ += n;
        return out;
    }
    bool done() const { return at_ == bytes_.size(); }

private:
    std::vector<uint8_t> bytes_;
    size_t at_ = 0;
};

std::vector<Case> load_cases() {
    std::ifstream in(KAVIX_DEFECT_VECTORS, std::ios::binary);
    if (!in) throw std::runtime_error("no vector file at " KAVIX_DEFECT_VECTORS);
    Reader r({std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()});
    if (r.get<uint32_t>() != 0x5650444Bu) throw std::runtime_error("not a defect vector file");
    const uint32_t n = r.get<uint32_t>();
    std::vector<Case> cases(n);
    for (Case &c : cases) {
        c.width = r.get<uint32_t>();
        c.height = r.get<uint32_t>();
        c.threshold = r.get<uint16_t>();
        c.capacity = r.get<uint32_t>();
        c.image = r.take(size_t{c.width} * c.height);
        c.records.resize(r.get<uint32_t>());
        for (Record &rec : c.records) {
            rec.x = r.get<uint32_t>();
            rec.y = r.get<uint32_t>();
            rec.level = r.get<uint16_t>();
        }
        c.lowest = r.get<uint16_t>();
    }
    if (!r.done()) throw std::runtime_error("trailing bytes in the vector file");
    return cases;
}

std::vector<Record> records_of(const CPeriodCheck &list) {
    std::vector<Record> out;
    for (uint32_t i = 0; i < list.count(); ++i) out.push_back({list[i].x, list[i].y, list[i].level});
    return out;
}

std::string describe(const std::vector<Record> &records) {
    std::string s;
    for (const Record &r : records) {
        s += "(" + std::to_string(r.x) + "," + std::to_string(r.y) + ":" + std::to_string(r.level) + ")";
    }
    return s;
}

TEST(DefectCandidates, MatchTheReferenceModel) {
    const std::vector<Case> cases = load_cases();
    ASSERT_GT(cases.size(), 20u);
    for (size_t i = 0; i < cases.size(); ++i) {
        const Case &c = cases[i];
        CPeriodCheck list(c.capacity);
        ASSERT_TRUE(list.valid());
        list.scan(c.image.data(), c.width, c.height, c.threshold);
        const std::vector<Record> got = records_of(list);
        EXPECT_EQ(describe(got), describe(c.records))
            << "case " << i << ": " << c.width << "x" << c.height << " threshold " << c.threshold
            << " capacity " << c.capacity;
        EXPECT_EQ(list.lowest(), c.lowest) << "case " << i;
    }
}

TEST(DefectCandidates, ZeroImageWithThresholdZeroTakesTheFirstPixelsOfTheFirstRow) {
    std::vector<uint8_t> image(200 * 2, 0);
    CPeriodCheck list(64);
    list.scan(image.data(), 200, 2, 0);
    ASSERT_EQ(list.count(), 64u);
    for (uint32_t i = 0; i < 64; ++i) {
        EXPECT_EQ(list[i].x, i);
        EXPECT_EQ(list[i].y, 0u);
        EXPECT_EQ(list[i].level, 0);
    }
}

TEST(DefectCandidates, ThresholdAbove255FindsNothing) {
    std::vector<uint8_t> image(64, 255);
    CPeriodCheck list(8);
    list.scan(image.data(), 8, 8, 256);
    EXPECT_EQ(list.count(), 0u);
    EXPECT_EQ(list.lowest(), 0xFFFF);
}

TEST(DefectCandidates, AFullListEndsWithTheBrightest) {
    // Three slots, five hot pixels: the two dimmest go.
    // Row-major 4x2: 9 . 3 7 / . 8 2 .
    const uint8_t image[8] = {9, 0, 3, 7, 0, 8, 2, 0};
    CPeriodCheck list(3);
    list.scan(image, 4, 2, 1);
    ASSERT_EQ(list.count(), 3u);
    // 9, 3, 7 fill the list; 8 pushes out 3 (the others move up); 2 is too dim.
    EXPECT_EQ(describe(records_of(list)), "(0,0:9)(3,0:7)(1,1:8)");
    EXPECT_EQ(list.lowest(), 7);
}

TEST(DefectCandidates, AmongEqualsTheEarliestGoesFirst) {
    // Levels 5, 5, 5 fill the list; 6 replaces the first 5, then 7 the next.
    const uint8_t image[5] = {5, 5, 5, 6, 7};
    CPeriodCheck list(3);
    list.scan(image, 5, 1, 0);
    EXPECT_EQ(describe(records_of(list)), "(2,0:5)(3,0:6)(4,0:7)");
    EXPECT_EQ(list.lowest(), 5);
    // A pixel equal to the lowest level is passed over once the list is full.
    list.offer(9, 9, 5);
    EXPECT_EQ(describe(records_of(list)), "(2,0:5)(3,0:6)(4,0:7)");
}

TEST(DefectCandidates, TheLowestLevelCountsTheNewcomer) {
    // Two slots hold 9 and 3; a 4 replaces the 3 and is itself the lowest now,
    // so a following 5 must still get in.
    const uint8_t image[4] = {9, 3, 4, 5};
    CPeriodCheck list(2);
    list.scan(image, 4, 1, 0);
    EXPECT_EQ(describe(records_of(list)), "(0,0:9)(3,0:5)");
    EXPECT_EQ(list.lowest(), 5);
}

TEST(DefectCandidates, OneSlotKeepsTheBrightestSoFar) {
    const uint8_t image[6] = {1, 4, 2, 4, 8, 3};
    CPeriodCheck list(1);
    list.scan(image, 3, 2, 0);
    EXPECT_EQ(describe(records_of(list)), "(1,1:8)");
}

TEST(DefectCandidates, NoSlotsTakeNothing) {
    const uint8_t image[4] = {1, 2, 3, 4};
    CPeriodCheck list(0);
    EXPECT_TRUE(list.valid());
    list.scan(image, 2, 2, 0);
    EXPECT_EQ(list.count(), 0u);
}

}  // namespace
