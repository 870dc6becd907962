#include "sensor/scan_modes.h"

namespace kavix::sensor {

bool scan_mode_bins(uint16_t scan_mode) {
    switch (scan_mode) {
        case 16:
        case 32:
        case 64:
        case 128:
        case 256: return true;
        default: return false;
    }
}

bool scan_mode_allows_long_exposure(uint16_t scan_mode) { return scan_mode == 4 || scan_mode == 32; }

uint16_t pack_skip_binning(const SkipBinning &v) {
    return static_cast<uint16_t>(((v.VSkip & 0xFu) << 12) | ((v.HSkip & 0xFu) << 8) |
                                 ((v.VBin & 0xFu) << 4) | (v.HBin & 0xFu));
}

SkipBinning unpack_skip_binning(uint16_t word) {
    SkipBinning v;
    v.VSkip = static_cast<uint8_t>((word >> 12) & 0xF);
    v.HSkip = static_cast<uint8_t>((word >> 8) & 0xF);
    v.VBin = static_cast<uint8_t>((word >> 4) & 0xF);
    v.HBin = static_cast<uint8_t>(word & 0xF);
    return v;
}

}  // namespace kavix::sensor
