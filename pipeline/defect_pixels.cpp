#include "pipeline/defect_pixels.h"

#include <algorithm>
#include <new>

#include "session/session.h"

namespace kavix::pipeline {

CPeriodCheck::CPeriodCheck(uint32_t capacity)
    : records_(capacity == 0 ? nullptr : new (std::nothrow) DefectCandidate[capacity]),
      capacity_(capacity) {}

void CPeriodCheck::scan(const uint8_t *image, uint32_t width, uint32_t height,
                        uint16_t threshold) {
    if (threshold > 0xFF || capacity_ == 0) return;  // no 8-bit sample can qualify
    const uint8_t *row = image;
    for (uint32_t y = 0; y < height; ++y, row += width) {
        for (uint32_t x = 0; x < width; ++x) {
            // Once the list is full only a pixel above its lowest level
            // changes anything: most of a dark frame costs one comparison.
            const uint32_t floor =
                count_ < capacity_ ? threshold : std::max<uint32_t>(threshold, lowest_ + 1u);
            if (row[x] >= floor) offer(x, y, row[x]);
        }
    }
}

void CPeriodCheck::offer(uint32_t x, uint32_t y, uint16_t level) {
    if (count_ < capacity_) {
        records_[count_++] = DefectCandidate{x, y, level};
        lowest_ = std::min(lowest_, level);
        return;
    }
    if (level <= lowest_) return;
    replace_lowest(x, y, level);
}

void CPeriodCheck::replace_lowest(uint32_t x, uint32_t y, uint16_t level) {
    // The new lowest level is the least of what stays: the records passed on
    // the way to the first one at the lowest level, those behind it, and the
    // newcomer itself.
    uint16_t least = level;
    uint32_t i = 0;
    while (i < count_ && records_[i].level > lowest_) {
        least = std::min(least, records_[i].level);
        ++i;
    }
    for (uint32_t j = i + 1; j < count_; ++j) {
        records_[j - 1] = records_[j];
        least = std::min(least, records_[j].level);
    }
    records_[count_ - 1] = DefectCandidate{x, y, level};
    lowest_ = least;
}

namespace {
// The camera corrects defect pixels from its table.
constexpr uint32_t kFunctionDefectPixels = 59;
// Word of the function bits that tells the table's size.
constexpr size_t kDefectCountWord = 5;
constexpr uint32_t kDefaultDefectCount = 64;
}  // namespace

uint32_t defect_pixel_count(const Session &session) {
    if (!session.has_fpga() || !session.has_function(kFunctionDefectPixels)) return 0;
    const uint16_t word = session.functions[kDefectCountWord];
    return word == 0 ? kDefaultDefectCount : word;
}

}  // namespace kavix::pipeline
