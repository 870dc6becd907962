#include "recording/jpeg/forward_dct.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "recording/jpeg/annex_k_tables.h"

// The DCT is the Arai-Agui-Nakajima factorisation in single precision: five
// multiplications per 8-point transform, the remaining cosine factor of each
// output folded into the quantiser's multiplier. Rows are transformed first,
// then columns; the scalar and the vector code run the same operations in
// the same order (no fused multiply-add) and so agree to the bit.
namespace kavix::jpeg {
namespace {

constexpr float kC4 = 0.707106781f;    // cos(4 pi / 16)
constexpr float kC6 = 0.382683433f;     // cos(6 pi / 16)
constexpr float kC2mC6 = 0.541196100f;  // cos(2 pi / 16) - cos(6 pi / 16)
constexpr float kC2pC6 = 1.306562965f;  // cos(2 pi / 16) + cos(6 pi / 16)

// One 8-point transform, in place, over values that are `step` apart.
inline void Transform8(float* d, int step) {
    float& d0 = d[0 * step];
    float& d1 = d[1 * step];
    float& d2 = d[2 * step];
    float& d3 = d[3 * step];
    float& d4 = d[4 * step];
    float& d5 = d[5 * step];
    float& d6 = d[6 * step];
    float& d7 = d[7 * step];
    const float tmp0 = d0 + d7, tmp7 = d0 - d7;
    const float tmp1 = d1 + d6, tmp6 = d1 - d6;
    const float tmp2 = d2 + d5, tmp5 = d2 - d5;
    const float tmp3 = d3 + d4, tmp4 = d3 - d4;

    // Even part.
    const float tmp10 = tmp0 + tmp3, tmp13 = tmp0 - tmp3;
    const float tmp11 = tmp1 + tmp2, tmp12 = tmp1 - tmp2;
    d0 = tmp10 + tmp11;
    d4 = tmp10 - tmp11;
    const float z1 = (tmp12 + tmp13) * kC4;
    d2 = tmp13 + z1;
    d6 = tmp13 - z1;

    // Odd part.
    const float o10 = tmp4 + tmp5, o11 = tmp5 + tmp6, o12 = tmp6 + tmp7;
    const float z5 = (o10 - o12) * kC6;
    const float z2 = o10 * kC2mC6 + z5;
    const float z4 = o12 * kC2pC6 + z5;
    const float z3 = o11 * kC4;
    const float z11 = tmp7 + z3, z13 = tmp7 - z3;
    d5 = z13 + z2;
    d3 = z13 - z2;
    d1 = z11 + z4;
    d7 = z11 - z4;
}

void ForwardDctQuantizeScalar(const uint8_t* src, int stride, const ForwardQuantTable& table,
                              int16_t* out) {
    float block[64];
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) block[y * 8 + x] = static_cast<float>(src[y * stride + x] - 128);
    for (int y = 0; y < 8; ++y) Transform8(block + y * 8, 1);
    for (int x = 0; x < 8; ++x) Transform8(block + x, 8);
    for (int i = 0; i < 64; ++i) {
        const long v = std::lrint(block[i] * table.multiplier[i]);
        out[i] = static_cast<int16_t>(std::clamp<long>(v, -32768, 32767));
    }
}

// ---- AVX2 ------------------------------------------------------------------
//
// Each register holds one line of eight values. The 8 x 8 bytes are first
// transposed as bytes so that the row transform runs across registers, the
// floats are transposed once between the passes, and the column transform
// leaves the rows of the result in natural order.

#define KAVIX_AVX2 __attribute__((target("avx2")))

// The same transform as Transform8, on eight lines at once.
KAVIX_AVX2 inline void Transform8Avx2(__m256* d) {
    const __m256 c4 = _mm256_set1_ps(kC4), c6 = _mm256_set1_ps(kC6);
    const __m256 c2mc6 = _mm256_set1_ps(kC2mC6), c2pc6 = _mm256_set1_ps(kC2pC6);
    const __m256 tmp0 = _mm256_add_ps(d[0], d[7]), tmp7 = _mm256_sub_ps(d[0], d[7]);
    const __m256 tmp1 = _mm256_add_ps(d[1], d[6]), tmp6 = _mm256_sub_ps(d[1], d[6]);
    const __m256 tmp2 = _mm256_add_ps(d[2], d[5]), tmp5 = _mm256_sub_ps(d[2], d[5]);
    const __m256 tmp3 = _mm256_add_ps(d[3], d[4]), tmp4 = _mm256_sub_ps(d[3], d[4]);

    const __m256 tmp10 = _mm256_add_ps(tmp0, tmp3), tmp13 = _mm256_sub_ps(tmp0, tmp3);
    const __m256 tmp11 = _mm256_add_ps(tmp1, tmp2), tmp12 = _mm256_sub_ps(tmp1, tmp2);
    d[0] = _mm256_add_ps(tmp10, tmp11);
    d[4] = _mm256_sub_ps(tmp10, tmp11);
    const __m256 z1 = _mm256_mul_ps(_mm256_add_ps(tmp12, tmp13), c4);
    d[2] = _mm256_add_ps(tmp13, z1);
    d[6] = _mm256_sub_ps(tmp13, z1);

    const __m256 o10 = _mm256_add_ps(tmp4, tmp5), o11 = _mm256_add_ps(tmp5, tmp6);
    const __m256 o12 = _mm256_add_ps(tmp6, tmp7);
    const __m256 z5 = _mm256_mul_ps(_mm256_sub_ps(o10, o12), c6);
    const __m256 z2 = _mm256_add_ps(_mm256_mul_ps(o10, c2mc6), z5);
    const __m256 z4 = _mm256_add_ps(_mm256_mul_ps(o12, c2pc6), z5);
    const __m256 z3 = _mm256_mul_ps(o11, c4);
    const __m256 z11 = _mm256_add_ps(tmp7, z3), z13 = _mm256_sub_ps(tmp7, z3);
    d[5] = _mm256_add_ps(z13, z2);
    d[3] = _mm256_sub_ps(z13, z2);
    d[1] = _mm256_add_ps(z11, z4);
    d[7] = _mm256_sub_ps(z11, z4);
}

KAVIX_AVX2 inline void Transpose8x8(__m256* r) {
    const __m256 t0 = _mm256_unpacklo_ps(r[0], r[1]);
    const __m256 t1 = _mm256_unpackhi_ps(r[0], r[1]);
    const __m256 t2 = _mm256_unpacklo_ps(r[2], r[3]);
    const __m256 t3 = _mm256_unpackhi_ps(r[2], r[3]);
    const __m256 t4 = _mm256_unpacklo_ps(r[4], r[5]);
    const __m256 t5 = _mm256_unpackhi_ps(r[4], r[5]);
    const __m256 t6 = _mm256_unpacklo_ps(r[6], r[7]);
    const __m256 t7 = _mm256_unpackhi_ps(r[6], r[7]);
    const __m256 s0 = _mm256_shuffle_ps(t0, t2, 0x44);
    const __m256 s1 = _mm256_shuffle_ps(t0, t2, 0xEE);
    const __m256 s2 = _mm256_shuffle_ps(t1, t3, 0x44);
    const __m256 s3 = _mm256_shuffle_ps(t1, t3, 0xEE);
    const __m256 s4 = _mm256_shuffle_ps(t4, t6, 0x44);
    const __m256 s5 = _mm256_shuffle_ps(t4, t6, 0xEE);
    const __m256 s6 = _mm256_shuffle_ps(t5, t7, 0x44);
    const __m256 s7 = _mm256_shuffle_ps(t5, t7, 0xEE);
    r[0] = _mm256_permute2f128_ps(s0, s4, 0x20);
    r[1] = _mm256_permute2f128_ps(s1, s5, 0x20);
    r[2] = _mm256_permute2f128_ps(s2, s6, 0x20);
    r[3] = _mm256_permute2f128_ps(s3, s7, 0x20);
    r[4] = _mm256_permute2f128_ps(s0, s4, 0x31);
    r[5] = _mm256_permute2f128_ps(s1, s5, 0x31);
    r[6] = _mm256_permute2f128_ps(s2, s6, 0x31);
    r[7] = _mm256_permute2f128_ps(s3, s7, 0x31);
}

KAVIX_AVX2 inline __m256 BytesToCentredFloats(__m128i bytes) {
    return _mm256_sub_ps(_mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes)), _mm256_set1_ps(128.0f));
}

KAVIX_AVX2 void ForwardDctQuantizeAvx2(const uint8_t* src, int stride,
                                       const ForwardQuantTable& table, int16_t* out) {
    // Transpose the bytes: afterwards register c holds column c.
    __m128i rows[8];
    for (int y = 0; y < 8; ++y)
        rows[y] = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + y * stride));
    const __m128i a0 = _mm_unpacklo_epi8(rows[0], rows[1]);
    const __m128i a1 = _mm_unpacklo_epi8(rows[2], rows[3]);
    const __m128i a2 = _mm_unpacklo_epi8(rows[4], rows[5]);
    const __m128i a3 = _mm_unpacklo_epi8(rows[6], rows[7]);
    const __m128i b0 = _mm_unpacklo_epi16(a0, a1);
    const __m128i b1 = _mm_unpackhi_epi16(a0, a1);
    const __m128i b2 = _mm_unpacklo_epi16(a2, a3);
    const __m128i b3 = _mm_unpackhi_epi16(a2, a3);
    const __m128i c01 = _mm_unpacklo_epi32(b0, b2);  // columns 0, 1
    const __m128i c23 = _mm_unpackhi_epi32(b0, b2);  // columns 2, 3
    const __m128i c45 = _mm_unpacklo_epi32(b1, b3);
    const __m128i c67 = _mm_unpackhi_epi32(b1, b3);
    __m256 v[8];
    v[0] = BytesToCentredFloats(c01);
    v[1] = BytesToCentredFloats(_mm_srli_si128(c01, 8));
    v[2] = BytesToCentredFloats(c23);
    v[3] = BytesToCentredFloats(_mm_srli_si128(c23, 8));
    v[4] = BytesToCentredFloats(c45);
    v[5] = BytesToCentredFloats(_mm_srli_si128(c45, 8));
    v[6] = BytesToCentredFloats(c67);
    v[7] = BytesToCentredFloats(_mm_srli_si128(c67, 8));

    Transform8Avx2(v);  // along each row; register u is frequency u
    Transpose8x8(v);    // register y is row y again
    Transform8Avx2(v);  // along each column; register v is row v of the result

    for (int y = 0; y < 8; y += 2) {
        const __m256i q0 = _mm256_cvtps_epi32(_mm256_mul_ps(v[y], _mm256_load_ps(table.multiplier + y * 8)));
        const __m256i q1 = _mm256_cvtps_epi32(_mm256_mul_ps(v[y + 1], _mm256_load_ps(table.multiplier + y * 8 + 8)));
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packs_epi32(q0, q1), 0xD8);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + y * 8), packed);
    }
}

#undef KAVIX_AVX2

}  // namespace

void ScaleQuantTable(const uint8_t* table, int quality, int max_value, uint16_t* scaled) {
    const int scale = quality < 50 ? 5000 / quality : 200 - 2 * std::min(quality, 100);
    for (int i = 0; i < 64; ++i) {
        const long entry = (static_cast<long>(table[i]) * scale + 50) / 100;
        scaled[i] = static_cast<uint16_t>(std::clamp<long>(entry, 1, max_value));
    }
}

void BuildForwardQuantTable(const uint16_t* zigzag_table, ForwardQuantTable& table) {
    // The fast DCT leaves coefficient (v, u) multiplied by 8 a(u) a(v), with
    // a(0) = 1 and a(k) = sqrt(2) cos(k pi / 16).
    double aan[8];
    aan[0] = 1.0;
    for (int k = 1; k < 8; ++k) aan[k] = std::sqrt(2.0) * std::cos(k * std::numbers::pi / 16.0);
    for (int k = 0; k < 64; ++k) {
        const int natural = kZigzagToNatural[k];
        const int v = natural / 8, u = natural % 8;
        table.multiplier[natural] =
            static_cast<float>(1.0 / (zigzag_table[k] * aan[u] * aan[v] * 8.0));
    }
}

void ForwardDctQuantize(const uint8_t* source, int stride, const ForwardQuantTable& table,
                        int16_t* coefficients, SimdLevel level) {
    if (level != SimdLevel::kScalar)
        ForwardDctQuantizeAvx2(source, stride, table, coefficients);
    else
        ForwardDctQuantizeScalar(source, stride, table, coefficients);
}

}  // namespace kavix::jpeg
