#include "recording/jpeg/color_convert.h"

#include <immintrin.h>

#include <algorithm>

namespace kavix::jpeg {
namespace {

// Weights times 2^15. Each row of three sums to 2^15 (Y) or 0 (Cb, Cr), so
// white stays 255 and grey keeps its chroma at 128.
constexpr int kYr = 9798, kYg = 19235, kYb = 3735;
constexpr int kCbR = -5529, kCbG = -10855, kCbB = 16384;
constexpr int kCrR = 16384, kCrG = -13720, kCrB = -2664;
constexpr int kHalf = 1 << 14;
constexpr int kChromaOffset = 128 << 15;

inline uint8_t Clamp8(int v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

inline uint8_t LumaOf(int r, int g, int b) {
    return Clamp8((kYr * r + kYg * g + kYb * b + kHalf) >> 15);
}

void ConvertToYCbCrScalar(const uint8_t* src, PixelLayout layout, int width, uint8_t* y,
                          uint8_t* cb, uint8_t* cr) {
    for (int x = 0; x < width; ++x, src += layout.step) {
        const int r = src[layout.red_offset], g = src[1], b = src[layout.blue_offset];
        y[x] = LumaOf(r, g, b);
        cb[x] = Clamp8((kCbR * r + kCbG * g + kCbB * b + kHalf + kChromaOffset) >> 15);
        cr[x] = Clamp8((kCrR * r + kCrG * g + kCrB * b + kHalf + kChromaOffset) >> 15);
    }
}

void ConvertToGreyScalar(const uint8_t* src, PixelLayout layout, int width, uint8_t* y) {
    for (int x = 0; x < width; ++x, src += layout.step)
        y[x] = LumaOf(src[layout.red_offset], src[1], src[layout.blue_offset]);
}

void DownsampleH2Scalar(const uint8_t* src, int out_width, uint8_t* out) {
    for (int i = 0; i < out_width; ++i) out[i] = static_cast<uint8_t>((src[2 * i] + src[2 * i + 1] + 1) >> 1);
}

void DownsampleH2V2Scalar(const uint8_t* row0, const uint8_t* row1, int out_width, uint8_t* out) {
    for (int i = 0; i < out_width; ++i)
        out[i] = static_cast<uint8_t>(
            (row0[2 * i] + row0[2 * i + 1] + row1[2 * i] + row1[2 * i + 1] + 2) >> 2);
}

// ---- AVX2 ------------------------------------------------------------------
//
// Eight pixels at a time: their bytes are spread so that each 32-bit lane
// holds the 16-bit pairs (B, G) in one register and (R, 1) in another; one
// multiply-add per pair and output gives the weighted sums, the constant 1
// carrying the rounding term.

#define KAVIX_AVX2 __attribute__((target("avx2")))

struct PixelShuffles {
    __m256i spread;      // dword permutation that gives each 128-bit lane 4 pixels
    __m256i blue_green;  // byte shuffle to (B, 0, G, 0) per pixel
    __m256i red;         // byte shuffle to (R, 0, 0, 0) per pixel
};

KAVIX_AVX2 PixelShuffles MakeShuffles(PixelLayout layout) {
    alignas(32) uint8_t bg[32], r[32];
    for (int lane = 0; lane < 2; ++lane)
        for (int p = 0; p < 4; ++p) {
            const int base = p * layout.step;
            uint8_t* q = bg + lane * 16 + p * 4;
            q[0] = static_cast<uint8_t>(base + layout.blue_offset);
            q[1] = 0x80;
            q[2] = static_cast<uint8_t>(base + 1);
            q[3] = 0x80;
            uint8_t* s = r + lane * 16 + p * 4;
            s[0] = static_cast<uint8_t>(base + layout.red_offset);
            s[1] = s[2] = s[3] = 0x80;
        }
    PixelShuffles shuffles;
    shuffles.spread = layout.step == 3 ? _mm256_setr_epi32(0, 1, 2, 0, 3, 4, 5, 0)
                                       : _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    shuffles.blue_green = _mm256_load_si256(reinterpret_cast<const __m256i*>(bg));
    shuffles.red = _mm256_load_si256(reinterpret_cast<const __m256i*>(r));
    return shuffles;
}

// Loads 8 pixels (reading 32 bytes) and spreads them into (B,G) and (R,1) pairs.
KAVIX_AVX2 inline void LoadPairs(const uint8_t* src, const PixelShuffles& s, __m256i& bg,
                                 __m256i& r1) {
    __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
    v = _mm256_permutevar8x32_epi32(v, s.spread);
    bg = _mm256_shuffle_epi8(v, s.blue_green);
    r1 = _mm256_or_si256(_mm256_shuffle_epi8(v, s.red), _mm256_set1_epi32(0x00010000));
}

// Weights as (B, G) and (R, constant) pairs of 16 bits for the multiply-add.
KAVIX_AVX2 inline __m256i Pair(int low, int high) {
    return _mm256_set1_epi32(static_cast<int>((static_cast<uint32_t>(high) << 16) |
                                              static_cast<uint16_t>(low)));
}

// Packs 16 sums of 32 bits (two registers of 8, in pixel order) to 16 bytes.
KAVIX_AVX2 inline void StoreBytes(__m256i low, __m256i high, uint8_t* out) {
    __m256i words = _mm256_packs_epi32(low, high);               // 0-3 8-11 | 4-7 12-15
    words = _mm256_permute4x64_epi64(words, 0xD8);               // 0-7 | 8-15
    const __m128i bytes = _mm_packus_epi16(_mm256_castsi256_si128(words),
                                           _mm256_extracti128_si256(words, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
}

// Pixels that the vector loop may take while its 32-byte loads stay inside
// the row: the last load of a 16-pixel step starts at byte 8 * step.
inline int VectorPixels(PixelLayout layout, int width) {
    const int usable = width - (layout.step == 3 ? 3 : 0);
    return usable < 16 ? 0 : usable & ~15;
}

// One channel of sixteen pixels, stored as bytes: (b*wb + g*wg + r*wr +
// rounding half + offset) >> 15, for the two groups of eight that LoadPairs gives.
KAVIX_AVX2 inline void StoreChannel(__m256i bg0, __m256i r0, __m256i bg1, __m256i r1, __m256i w_bg,
                                    __m256i w_r, __m256i offset, uint8_t* out) {
    const __m256i low = _mm256_srai_epi32(
        _mm256_add_epi32(_mm256_add_epi32(_mm256_madd_epi16(bg0, w_bg), _mm256_madd_epi16(r0, w_r)), offset), 15);
    const __m256i high = _mm256_srai_epi32(
        _mm256_add_epi32(_mm256_add_epi32(_mm256_madd_epi16(bg1, w_bg), _mm256_madd_epi16(r1, w_r)), offset), 15);
    StoreBytes(low, high, out);
}

KAVIX_AVX2 void ConvertToYCbCrAvx2(const uint8_t* src, PixelLayout layout, int width,
                                   uint8_t* y, uint8_t* cb, uint8_t* cr) {
    const PixelShuffles s = MakeShuffles(layout);
    const __m256i y_bg = Pair(kYb, kYg), y_r = Pair(kYr, kHalf);
    const __m256i cb_bg = Pair(kCbB, kCbG), cb_r = Pair(kCbR, kHalf);
    const __m256i cr_bg = Pair(kCrB, kCrG), cr_r = Pair(kCrR, kHalf);
    const __m256i none = _mm256_setzero_si256(), offset = _mm256_set1_epi32(kChromaOffset);
    const int vector_pixels = VectorPixels(layout, width);
    int x = 0;
    for (; x < vector_pixels; x += 16) {
        __m256i bg0, r0, bg1, r1;
        LoadPairs(src + x * layout.step, s, bg0, r0);
        LoadPairs(src + (x + 8) * layout.step, s, bg1, r1);
        StoreChannel(bg0, r0, bg1, r1, y_bg, y_r, none, y + x);
        StoreChannel(bg0, r0, bg1, r1, cb_bg, cb_r, offset, cb + x);
        StoreChannel(bg0, r0, bg1, r1, cr_bg, cr_r, offset, cr + x);
    }
    ConvertToYCbCrScalar(src + x * layout.step, layout, width - x, y + x, cb + x, cr + x);
}

KAVIX_AVX2 void ConvertToGreyAvx2(const uint8_t* src, PixelLayout layout, int width, uint8_t* y) {
    const PixelShuffles s = MakeShuffles(layout);
    const __m256i y_bg = Pair(kYb, kYg), y_r = Pair(kYr, kHalf);
    const __m256i none = _mm256_setzero_si256();
    const int vector_pixels = VectorPixels(layout, width);
    int x = 0;
    for (; x < vector_pixels; x += 16) {
        __m256i bg0, r0, bg1, r1;
        LoadPairs(src + x * layout.step, s, bg0, r0);
        LoadPairs(src + (x + 8) * layout.step, s, bg1, r1);
        StoreChannel(bg0, r0, bg1, r1, y_bg, y_r, none, y + x);
    }
    ConvertToGreyScalar(src + x * layout.step, layout, width - x, y + x);
}

KAVIX_AVX2 void DownsampleH2Avx2(const uint8_t* src, int out_width, uint8_t* out) {
    const __m256i low_bytes = _mm256_set1_epi16(0x00FF);
    int i = 0;
    for (; i + 32 <= out_width; i += 32) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * i));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * i + 32));
        const __m256i mean_a = _mm256_avg_epu16(_mm256_and_si256(a, low_bytes), _mm256_srli_epi16(a, 8));
        const __m256i mean_b = _mm256_avg_epu16(_mm256_and_si256(b, low_bytes), _mm256_srli_epi16(b, 8));
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(mean_a, mean_b), 0xD8);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), packed);
    }
    DownsampleH2Scalar(src + 2 * i, out_width - i, out + i);
}

KAVIX_AVX2 void DownsampleH2V2Avx2(const uint8_t* row0, const uint8_t* row1, int out_width,
                                   uint8_t* out) {
    const __m256i ones = _mm256_set1_epi8(1);
    const __m256i two = _mm256_set1_epi16(2);
    int i = 0;
    for (; i + 32 <= out_width; i += 32) {
        __m256i sums[2];
        for (int half = 0; half < 2; ++half) {
            const int at = 2 * i + 32 * half;
            const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row0 + at));
            const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row1 + at));
            const __m256i sum = _mm256_add_epi16(_mm256_maddubs_epi16(a, ones), _mm256_maddubs_epi16(b, ones));
            sums[half] = _mm256_srli_epi16(_mm256_add_epi16(sum, two), 2);
        }
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(sums[0], sums[1]), 0xD8);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), packed);
    }
    DownsampleH2V2Scalar(row0 + 2 * i, row1 + 2 * i, out_width - i, out + i);
}

#undef KAVIX_AVX2

}  // namespace

void ConvertToYCbCr(const uint8_t* source, PixelLayout layout, int width, uint8_t* y,
                    uint8_t* cb, uint8_t* cr, SimdLevel level) {
    if (level != SimdLevel::kScalar)
        ConvertToYCbCrAvx2(source, layout, width, y, cb, cr);
    else
        ConvertToYCbCrScalar(source, layout, width, y, cb, cr);
}

void ConvertToGrey(const uint8_t* source, PixelLayout layout, int width, uint8_t* y,
                   SimdLevel level) {
    if (level != SimdLevel::kScalar)
        ConvertToGreyAvx2(source, layout, width, y);
    else
        ConvertToGreyScalar(source, layout, width, y);
}

void DownsampleH2(const uint8_t* source, int out_width, uint8_t* out, SimdLevel level) {
    if (level != SimdLevel::kScalar)
        DownsampleH2Avx2(source, out_width, out);
    else
        DownsampleH2Scalar(source, out_width, out);
}

void DownsampleH2V2(const uint8_t* row0, const uint8_t* row1, int out_width, uint8_t* out,
                    SimdLevel level) {
    if (level != SimdLevel::kScalar)
        DownsampleH2V2Avx2(row0, row1, out_width, out);
    else
        DownsampleH2V2Scalar(row0, row1, out_width, out);
}

}  // namespace kavix::jpeg
