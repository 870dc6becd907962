#pragma once
// Defect pixels are corrected by the camera's FPGA from a table of positions
// that the library writes. The library's own work is finding candidates: the
// brightest pixels of a dark frame that the application hands in.
#include <cstdint>
#include <memory>

namespace kavix {

class KAVIX_COMMON_PARAM;

namespace pipeline {

// One candidate: where it is and how bright it was.
struct DefectCandidate {
    uint32_t x = 0;
    uint32_t y = 0;
    uint16_t level = 0;
};

// The candidate list of a detection: at most `capacity` records, the count in
// use and the lowest level among them. Records stay in scan order but for
// replacements, which go to the end.
class CPeriodCheck {
public:
    // Takes the records with a non-throwing allocation; check valid() after.
    explicit CPeriodCheck(uint32_t capacity);
    CPeriodCheck(const CPeriodCheck &) = delete;
    CPeriodCheck &operator=(const CPeriodCheck &) = delete;

    bool valid() const { return capacity_ == 0 || records_ != nullptr; }

    // Offers every pixel of an 8-bit image, rows top down with stride `width`,
    // whose value is at least `threshold`.
    void scan(const uint8_t *image, uint32_t width, uint32_t height, uint16_t threshold);

    // One pixel at or above the threshold. While the list has room it is
    // appended. Once full, a pixel no brighter than the lowest record is
    // passed over; a brighter one takes the place of the first record at the
    // lowest level: the records behind that one move up, the new one goes last.
    void offer(uint32_t x, uint32_t y, uint16_t level);

    uint32_t capacity() const { return capacity_; }
    uint32_t count() const { return count_; }
    uint16_t lowest() const { return lowest_; }
    const DefectCandidate &operator[](uint32_t i) const { return records_[i]; }

private:
    void replace_lowest(uint32_t x, uint32_t y, uint16_t level);

    std::unique_ptr<DefectCandidate[]> records_;
    uint32_t capacity_ = 0;
    uint32_t count_ = 0;
    uint16_t lowest_ = 0xFFFF;
};

// Entries of the camera's table: from word 5 of the function bits, 64 when
// that word is 0; none on a model without FPGA or without the defect
// function (59).
uint32_t defect_pixel_count(const KAVIX_COMMON_PARAM &session);

}  // namespace pipeline
}  // namespace kavix
