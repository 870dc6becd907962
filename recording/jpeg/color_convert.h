#pragma once
#include <cstdint>

#include "recording/jpeg/cpu_dispatch.h"

// Colour conversion and box downsampling of one row of samples, the first
// stages of the JPEG encoder.
//
// The conversion is the JFIF one:
//   Y  =  0.299   R + 0.587   G + 0.114   B
//   Cb = -0.16874 R - 0.33126 G + 0.5     B + 128
//   Cr =  0.5     R - 0.41869 G - 0.08131 B + 128
// in 15-bit fixed point, rounded and clamped to 8 bits. Every code path gives
// the same bytes.
namespace kavix::jpeg {

// Where the colours lie within one source pixel.
struct PixelLayout {
    int step;          // bytes per pixel: 3 or 4
    int red_offset;    // 0 for RGB, 2 for BGR
    int blue_offset;   // 2 for RGB, 0 for BGR
};

inline constexpr PixelLayout kBgr24{3, 2, 0};
inline constexpr PixelLayout kBgr32{4, 2, 0};
inline constexpr PixelLayout kRgb24{3, 0, 2};
inline constexpr PixelLayout kRgb32{4, 0, 2};

// Converts `width` pixels into the planes y, cb, cr.
void ConvertToYCbCr(const uint8_t* source, PixelLayout layout, int width, uint8_t* y,
                    uint8_t* cb, uint8_t* cr, SimdLevel level = DetectedSimdLevel());

// Converts `width` pixels to luminance alone.
void ConvertToGrey(const uint8_t* source, PixelLayout layout, int width, uint8_t* y,
                   SimdLevel level = DetectedSimdLevel());

// Halves a row: out[i] = (in[2i] + in[2i + 1] + 1) / 2 for i < out_width.
void DownsampleH2(const uint8_t* source, int out_width, uint8_t* out,
                  SimdLevel level = DetectedSimdLevel());

// Halves two rows both ways: out[i] is the rounded mean of the 2 x 2 samples
// at columns 2i and 2i + 1 of both rows.
void DownsampleH2V2(const uint8_t* row0, const uint8_t* row1, int out_width, uint8_t* out,
                    SimdLevel level = DetectedSimdLevel());

}  // namespace kavix::jpeg
