#pragma once
// Helpers for the JPEG tests: encoding into memory, decoding with the system's
// libjpeg-turbo (TurboJPEG for pixels, the libjpeg API for coefficients and
// reference tables), PSNR and a walk over the file's markers.
#include <cstdint>
#include <string>
#include <vector>

#include "recording/jpeg/jpeg_encoder.h"

namespace kavix::test {

// The zig-zag scan as printed in the JPEG standard, kept here independently
// of the encoder's own table.
inline constexpr int kZigzag[64] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
    12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
    35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
    58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63,
};

struct EncodeRequest {
    const uint8_t* pixels = nullptr;
    int width = 0;
    int height = 0;
    int channels = 1;      // 1 grey, 3 BGR, 4 BGRx
    int source_color = 1;  // 1 grey, 2 RGB, 3 BGR
    int color = 1;         // 1 grey file, 4 YCbCr file
    int sampling = 1;
    int restart_interval = 0;
    int quality = 0;  // encoder quality
    int stride = 0;   // 0: width * channels
};

struct EncodeResult {
    int set_params = 0;
    int header = 0;
    int data = 0;
    std::vector<uint8_t> bytes;
};

// Runs the encoder as the still writer does, into memory.
EncodeResult Encode(const EncodeRequest& request, CJPEGEncoder* encoder = nullptr);

struct Decoded {
    bool ok = false;
    std::string error;
    int width = 0;
    int height = 0;
    int subsampling = -1;  // TurboJPEG TJSAMP_*
    std::vector<uint8_t> pixels;
};

// Decodes with TurboJPEG into grey (channels 1) or BGR (channels 3); a warning
// of the decoder counts as failure.
Decoded DecodeTurbo(const std::vector<uint8_t>& jpeg, int channels);

// Compresses with TurboJPEG at a libjpeg quality and subsampling (TJSAMP_*).
std::vector<uint8_t> CompressTurbo(const uint8_t* pixels, int width, int height, int channels,
                                   int subsampling, int quality);

double Psnr(const uint8_t* a, const uint8_t* b, size_t count);

// The tables libjpeg builds for a quality (1..100, baseline), natural order;
// which 0 luminance, 1 chrominance.
std::vector<int> LibjpegQuantTable(int quality, int which);

struct HuffmanTableBytes {
    std::vector<uint8_t> bits;    // 16 counts
    std::vector<uint8_t> values;  // sum of counts
};
// libjpeg's standard Huffman tables: ac false/true, which 0 luminance, 1 chrominance.
HuffmanTableBytes LibjpegHuffmanTable(bool ac, int which);

// Quantised coefficients of one component as libjpeg's decoder reads them
// from the file: blocks[by][bx][natural index].
struct ComponentCoefficients {
    bool ok = false;
    int width_in_blocks = 0;
    int height_in_blocks = 0;
    int h_samp = 0;
    int v_samp = 0;
    int component_id = -1;
    std::vector<int> quant_natural;
    std::vector<std::vector<std::vector<int>>> blocks;
};
ComponentCoefficients ReadCoefficients(const std::vector<uint8_t>& jpeg, int component);

// A marker segment up to and including SOS.
struct Segment {
    uint8_t marker = 0;
    size_t offset = 0;             // of the 0xFF byte
    std::vector<uint8_t> payload;  // after the length field
};
struct JpegLayout {
    bool ok = false;
    std::vector<Segment> segments;     // SOI has no payload
    size_t scan_begin = 0;             // first byte of entropy-coded data
    std::vector<uint8_t> restarts;     // RSTn markers in the scan, in order (0..7)
    bool ends_with_eoi = false;
};
JpegLayout ParseJpeg(const std::vector<uint8_t>& jpeg);

// Exact forward DCT in double precision of the 8 x 8 samples at `p` with the
// given stride, divided by the natural-order table; not rounded.
void ReferenceDct(const uint8_t* p, int stride, const int* quant_natural, double* out);

// Whether a quantised coefficient is the exact value rounded, allowing either
// neighbour when the exact value lies within `tie` of a rounding tie.
bool RoundsCorrectly(int got, double exact, double tie = 0.01);

}  // namespace kavix::test
