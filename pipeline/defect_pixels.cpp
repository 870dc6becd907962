#include "pipeline/defect_pixels.h"

#include <algorithm>
#include <new>

#include "KavixD.h"
#include "sensor/status_io.h"
#include "session/export_frame.h"
#include "session/fpga_status.h"
#include "session/session.h"
#include "session/wire.h"

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

// ---- The camera's table and mode ------------------------------------------------

namespace kavix::pipeline {

namespace {

constexpr uint16_t kDefectTableSelector = 129;
constexpr uint16_t kDefectWriteForm = 0xC000;
constexpr uint16_t kStatusDefectMode = 78;
constexpr uint16_t kUnusedEntry = 0xFFFF;

// Entry i of the table: the two words x, y at id 2 i of selector 129.
uint16_t entry_id(uint32_t index) { return static_cast<uint16_t>(2u * index); }

uint32_t write_entry(Session &s, uint16_t id, uint32_t x, uint32_t y) {
    uint8_t words[4];
    wire::put_u16(words, static_cast<uint16_t>(x));
    wire::put_u16(words + 2, static_cast<uint16_t>(y));
    return transfer_status_words(s, Direction::Out, kDefectTableSelector, id, 2, words);
}

// The whole table from the list, unused entries marked; then the commit,
// whose result is the detection's. A failed entry write ends it early.
uint32_t write_table(Session &s, const CPeriodCheck &list) {
    for (uint32_t i = 0; i < list.capacity(); ++i) {
        const bool used = i < list.count();
        if (write_entry(s, entry_id(i), used ? list[i].x : kUnusedEntry,
                        used ? list[i].y : kUnusedEntry) == 0) {
            return 0;
        }
    }
    return sensor::write_status_word(s, sensor::kStatusPulse, sensor::kPulseCommit);
}

}  // namespace
}  // namespace kavix::pipeline

using kavix::Session;
namespace pipeline = kavix::pipeline;

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetEnableDefectPixelCorrectionCount(KAVIX_HANDLE camera,
                                                                          uint16_t *count) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (count == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *count = static_cast<uint16_t>(pipeline::defect_pixel_count(s));
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetDefectPixelCorrectionPosition(KAVIX_HANDLE camera,
                                                                       uint16_t index, uint16_t x,
                                                                       uint32_t y) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (index >= pipeline::defect_pixel_count(s)) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        // Twice the index with the write form's bits, cut to the id's 16 bits.
        const auto id = static_cast<uint16_t>(2u * (index | pipeline::kDefectWriteForm));
        return static_cast<KAVIX_BOOL>(pipeline::write_entry(s, id, x, y));
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetDefectPixelCorrectionPosition(KAVIX_HANDLE camera,
                                                                       uint16_t index, uint32_t *x,
                                                                       uint32_t *y) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (x == nullptr || y == nullptr || index >= pipeline::defect_pixel_count(s)) {
            return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        uint8_t words[4] = {};
        const uint32_t result = kavix::transfer_status_words(
            s, kavix::Direction::In, pipeline::kDefectTableSelector, pipeline::entry_id(index), 2,
            words);
        if (result == 0) return 0;
        *x = kavix::wire::u16(words);
        *y = kavix::wire::u16(words + 2);
        return static_cast<KAVIX_BOOL>(result);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetDefectPixelCorrectionMode(KAVIX_HANDLE camera,
                                                                   uint16_t mode) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (pipeline::defect_pixel_count(s) == 0) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        return static_cast<KAVIX_BOOL>(kavix::sensor::write_status_word(
            s, pipeline::kStatusDefectMode | kavix::sensor::kStatusWriteForm, mode));
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetDefectPixelCorrectionMode(KAVIX_HANDLE camera,
                                                                   uint16_t *mode) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (mode == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        if (pipeline::defect_pixel_count(s) == 0) {
            *mode = 0;
            return 1;
        }
        uint16_t word = 0;
        const uint32_t result =
            kavix::sensor::read_status_word(s, pipeline::kStatusDefectMode, word);
        if (result == 0) return 0;
        *mode = word;
        return static_cast<KAVIX_BOOL>(result);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_DetectDefectPixel(KAVIX_HANDLE camera, uint32_t width,
                                                        uint32_t height, const uint8_t *image,
                                                        uint16_t threshold) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        const uint32_t count = pipeline::defect_pixel_count(s);
        if (count == 0) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        if (image == nullptr && width != 0 && height != 0) {
            return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        pipeline::CPeriodCheck list(count);
        if (!list.valid()) return s.fail(KAVIX_ERROR_NOT_ENOUGH_MEMORY);
        list.scan(image, width, height, threshold);
        return static_cast<KAVIX_BOOL>(pipeline::write_table(s, list));
    });
}
