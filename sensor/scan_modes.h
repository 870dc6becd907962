#pragma once
// Scan modes are the camera's numbers: the library gives behaviour of its own
// only to the free region and to the modes that bin or allow long exposures.
// Skipping and binning proper travel as one status word.
#include <cstdint>

namespace kavix::sensor {

// A free region of interest: width and X offset count too. In every other
// mode the sensor fixes them. The same bit in the mask of offered modes
// announces skipping and binning by status word.
inline constexpr uint16_t kScanModeFreeRegion = 0x8000;

// Modes that bin by themselves (reported as 1 x 1 binning without the
// status word).
bool scan_mode_bins(uint16_t scan_mode);

// Modes in which an exposure may be longer than the frame.
bool scan_mode_allows_long_exposure(uint16_t scan_mode);

// Skipping and binning, each 4 bits in the status word: VSkip in bits 12 to
// 15, HSkip 8 to 11, VBin 4 to 7, HBin 0 to 3.
struct SkipBinning {
    uint8_t VSkip = 0;
    uint8_t VBin = 0;
    uint8_t HSkip = 0;
    uint8_t HBin = 0;
};

// Each value is cut to its 4 bits.
uint16_t pack_skip_binning(const SkipBinning &values);
SkipBinning unpack_skip_binning(uint16_t word);

}  // namespace kavix::sensor
