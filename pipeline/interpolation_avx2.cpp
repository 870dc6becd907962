// AVX2 bodies of the demosaicing methods 0 to 5 and 254. They compute the
// same bytes as the plain bodies: 32 pixels per step in the inner part of each
// row, and the per-pixel rules at the borders and in the tails.
//
// Every function that uses AVX2 carries the target attribute and lives in
// this file's anonymous namespace; the file is built without -mavx2, so
// nothing here runs unless the CPU check at the bottom has passed.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "pipeline/bayer_phase.h"
#include "pipeline/interpolation_kernels.h"
#include "pipeline/interpolation_rules.h"
#include "pipeline/interpolation_tables.h"

#define KAVIX_AVX2 __attribute__((target("avx2")))

namespace kavix::pipeline {

namespace {

// ---- BGR24 interleave ----------------------------------------------------------
//
// Three planes of 32 bytes become 96 bytes B G R B G R ... in three stores.
// vpshufb works within 128-bit lanes, so each output vector takes its source
// lanes from a plane whose lanes are arranged to hold the pixels it needs:
// output 0 (pixels 0..10) both lanes from pixels 0..15, output 1 (10..21) the
// plane as it is, output 2 (21..31) both lanes from pixels 16..31.
struct alignas(32) InterleaveMasks {
  uint8_t planes[3][3][32];  // [output vector][channel][byte]
  uint8_t grey[3][32];       // [output vector][byte]: the same sample thrice
};

constexpr InterleaveMasks MakeInterleaveMasks() {
  InterleaveMasks t{};
  for (int v = 0; v < 3; ++v)
    for (int i = 0; i < 32; ++i) {
      const int k = 32 * v + i, pixel = k / 3, channel = k % 3;
      const auto index = static_cast<uint8_t>(pixel & 15);
      t.grey[v][i] = index;
      for (int c = 0; c < 3; ++c) t.planes[v][c][i] = c == channel ? index : 0x80;
    }
  return t;
}

constexpr InterleaveMasks kInterleave = MakeInterleaveMasks();

KAVIX_AVX2 inline __m256i Load(const uint8_t *p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}
KAVIX_AVX2 inline void Store(uint8_t *p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v);
}
KAVIX_AVX2 inline __m256i Mask(const uint8_t *m) {
  return _mm256_load_si256(reinterpret_cast<const __m256i *>(m));
}

KAVIX_AVX2 inline void StoreBGR(uint8_t *out, __m256i b, __m256i g, __m256i r) {
  const auto &m = kInterleave.planes;
  const __m256i b0 = _mm256_permute2x128_si256(b, b, 0x00);
  const __m256i g0 = _mm256_permute2x128_si256(g, g, 0x00);
  const __m256i r0 = _mm256_permute2x128_si256(r, r, 0x00);
  const __m256i b2 = _mm256_permute2x128_si256(b, b, 0x11);
  const __m256i g2 = _mm256_permute2x128_si256(g, g, 0x11);
  const __m256i r2 = _mm256_permute2x128_si256(r, r, 0x11);
  const __m256i o0 = _mm256_or_si256(
      _mm256_or_si256(_mm256_shuffle_epi8(b0, Mask(m[0][0])), _mm256_shuffle_epi8(g0, Mask(m[0][1]))),
      _mm256_shuffle_epi8(r0, Mask(m[0][2])));
  const __m256i o1 = _mm256_or_si256(
      _mm256_or_si256(_mm256_shuffle_epi8(b, Mask(m[1][0])), _mm256_shuffle_epi8(g, Mask(m[1][1]))),
      _mm256_shuffle_epi8(r, Mask(m[1][2])));
  const __m256i o2 = _mm256_or_si256(
      _mm256_or_si256(_mm256_shuffle_epi8(b2, Mask(m[2][0])), _mm256_shuffle_epi8(g2, Mask(m[2][1]))),
      _mm256_shuffle_epi8(r2, Mask(m[2][2])));
  Store(out, o0);
  Store(out + 32, o1);
  Store(out + 64, o2);
}

KAVIX_AVX2 inline void StoreGrey(uint8_t *out, __m256i v) {
  const auto &m = kInterleave.grey;
  Store(out, _mm256_shuffle_epi8(_mm256_permute2x128_si256(v, v, 0x00), Mask(m[0])));
  Store(out + 32, _mm256_shuffle_epi8(v, Mask(m[1])));
  Store(out + 64, _mm256_shuffle_epi8(_mm256_permute2x128_si256(v, v, 0x11), Mask(m[2])));
}

// Puts the colour and other-colour planes of a row into B and R.
KAVIX_AVX2 inline void StoreRow(uint8_t *out, bool red_row, __m256i colour, __m256i green,
                                __m256i other) {
  if (red_row)
    StoreBGR(out, other, green, colour);
  else
    StoreBGR(out, colour, green, other);
}

// Floor of the mean of two bytes ((a + b) >> 1), from the rounding average.
KAVIX_AVX2 inline __m256i AvgFloor(__m256i a, __m256i b) {
  return _mm256_sub_epi8(_mm256_avg_epu8(a, b),
                         _mm256_and_si256(_mm256_xor_si256(a, b), _mm256_set1_epi8(1)));
}

// All-ones in the byte lanes i where (x0 + i) & 1 == parity.
KAVIX_AVX2 inline __m256i ParityMask(uint32_t x0, uint32_t parity) {
  return ((x0 ^ parity) & 1) ? _mm256_set1_epi16(static_cast<short>(0xFF00))
                             : _mm256_set1_epi16(0x00FF);
}

// The same for 16-bit lanes after an unpack of bytes (either half: both start
// at an even byte).
KAVIX_AVX2 inline __m256i WordParityMask(uint32_t x0, uint32_t parity) {
  return ((x0 ^ parity) & 1) ? _mm256_set1_epi32(static_cast<int>(0xFFFF0000u))
                             : _mm256_set1_epi32(0x0000FFFF);
}

KAVIX_AVX2 inline __m256i Lo16(__m256i v) { return _mm256_unpacklo_epi8(v, _mm256_setzero_si256()); }
KAVIX_AVX2 inline __m256i Hi16(__m256i v) { return _mm256_unpackhi_epi8(v, _mm256_setzero_si256()); }

// Clamp(CubicInner[s1] + CubicOuter[s2]) on 16-bit lanes; the tables are
// (5 s + 4) >> 3 and -((s + 4) >> 3).
KAVIX_AVX2 inline __m256i Cubic16(__m256i s1, __m256i s2) {
  const __m256i four = _mm256_set1_epi16(4);
  const __m256i inner = _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(s1, _mm256_slli_epi16(s1, 2)), four), 3);
  const __m256i outer = _mm256_srli_epi16(_mm256_add_epi16(s2, four), 3);
  return _mm256_sub_epi16(inner, outer);
}

// The four-tap value of 32 lanes from the inner pair (a, b) and the outer
// pair (e, f), clamped to 0..255 by the pack.
KAVIX_AVX2 inline __m256i Cubic8(__m256i a, __m256i b, __m256i e, __m256i f) {
  const __m256i lo = Cubic16(_mm256_add_epi16(Lo16(a), Lo16(b)), _mm256_add_epi16(Lo16(e), Lo16(f)));
  const __m256i hi = Cubic16(_mm256_add_epi16(Hi16(a), Hi16(b)), _mm256_add_epi16(Hi16(e), Hi16(f)));
  return _mm256_packus_epi16(lo, hi);
}

// ---- Methods 0 and 1 -----------------------------------------------------------

KAVIX_AVX2 bool Grey(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h, uint16_t) {
  const size_t n = size_t{w} * h;
  size_t i = 0;
  for (; i + 32 <= n; i += 32) StoreGrey(d + 3 * i, Load(s + i));
  for (; i < n; ++i) d[3 * i] = d[3 * i + 1] = d[3 * i + 2] = s[i];
  return true;
}

template <uint16_t A>
KAVIX_AVX2 void NoneRows(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h) {
  using Ph = BayerPhase<A>;
  const __m256i zero = _mm256_setzero_si256();
  for (uint32_t y = 0; y < h; ++y) {
    const uint8_t *p = s + size_t{y} * w;
    uint8_t *out = d + size_t{y} * w * 3;
    const uint32_t c = Ph::ColourParity(y);
    const bool red_row = Ph::RedRow(y);
    const __m256i colour_sites = ParityMask(0, c);
    uint32_t x = 0;
    for (; x + 32 <= w; x += 32) {
      const __m256i v = Load(p + x);
      StoreRow(out + 3 * x, red_row, _mm256_and_si256(v, colour_sites),
               _mm256_andnot_si256(colour_sites, v), zero);
    }
    for (; x < w; ++x) {
      uint8_t *o = out + 3 * x;
      o[0] = o[1] = o[2] = 0;
      o[Ph::ChannelAt(x, y)] = p[x];
    }
  }
}

KAVIX_AVX2 bool None(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h, uint16_t array) {
  return WithBayerPhase(array, [&]<uint16_t A>() { NoneRows<A>(s, d, w, h); });
}

// ---- Method 2 --------------------------------------------------------------------

template <uint16_t A>
KAVIX_AVX2 void NearestRows(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h) {
  using Ph = BayerPhase<A>;
  const __m256i even = _mm256_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14,
                                        0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14);
  const __m256i odd = _mm256_add_epi8(even, _mm256_set1_epi8(1));
  // Within a cell: the red sample's column parity, and the greens' columns in
  // the top and the bottom row.
  const __m256i red_pick = Ph::kRedX ? odd : even;
  const __m256i blue_pick = Ph::kRedX ? even : odd;
  const __m256i top_green = Ph::IsGreen(0, 0) ? even : odd;
  const __m256i bottom_green = Ph::IsGreen(0, 1) ? even : odd;
  const uint32_t cells_end = w & ~1u;
  for (uint32_t y0 = 0; y0 + 1 < h; y0 += 2) {
    const uint8_t *top = s + size_t{y0} * w, *bottom = top + w;
    const uint8_t *red_row = Ph::kRedY ? bottom : top, *blue_row = Ph::kRedY ? top : bottom;
    uint8_t *out0 = d + size_t{y0} * w * 3, *out1 = out0 + size_t{w} * 3;
    uint32_t x = 0;
    for (; x + 32 <= cells_end; x += 32) {
      const __m256i r = _mm256_shuffle_epi8(Load(red_row + x), red_pick);
      const __m256i b = _mm256_shuffle_epi8(Load(blue_row + x), blue_pick);
      StoreBGR(out0 + 3 * x, b, _mm256_shuffle_epi8(Load(top + x), top_green), r);
      StoreBGR(out1 + 3 * x, b, _mm256_shuffle_epi8(Load(bottom + x), bottom_green), r);
    }
    for (; x < cells_end; x += 2) {
      const uint8_t r = red_row[x + Ph::kRedX], b = blue_row[x + 1 - Ph::kRedX];
      const uint8_t gt = top[x + (Ph::IsGreen(0, 0) ? 0 : 1)];
      const uint8_t gb = bottom[x + (Ph::IsGreen(0, 1) ? 0 : 1)];
      for (uint32_t k = 0; k < 2; ++k) {
        uint8_t *o0 = out0 + 3 * (x + k), *o1 = out1 + 3 * (x + k);
        o0[0] = o1[0] = b;
        o0[2] = o1[2] = r;
        o0[1] = gt;
        o1[1] = gb;
      }
    }
  }
}

KAVIX_AVX2 bool Nearest(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h, uint16_t array) {
  return WithBayerPhase(array, [&]<uint16_t A>() { NearestRows<A>(s, d, w, h); });
}

// ---- Methods 3 and 254 -----------------------------------------------------------
//
// Row y takes its own colour and green from the horizontal two-tap values of
// its own samples, and the other colour as the mean of that colour in the rows
// above and below (up and dn, which the first and last row replace by their
// one neighbour). In those rows the other colour sits at the green columns of
// row y, where it is a sample, and is the two-tap value at the colour columns.

struct BilinearRow {
  const uint8_t *cur, *up, *dn;
  uint32_t w;
  uint32_t colour_parity;  // x parity of the colour sites of this row
  bool red_row;
  bool inner_row;          // 0 < y < height - 1
};

template <bool EdgeColumnsFromBelow, bool G4>
inline void BilinearPixel(const BilinearRow &r, uint32_t x, uint8_t *out) {
  const uint32_t w = r.w;
  auto h = [&](const uint8_t *p) -> int {
    return x == 0 ? p[1] : x == w - 1 ? p[w - 2] : (p[x - 1] + p[x + 1]) >> 1;
  };
  const bool from_below = EdgeColumnsFromBelow && r.inner_row && (x == 0 || x == w - 1);
  int colour, green, other;
  if ((x & 1) == r.colour_parity) {
    colour = r.cur[x];
    green = h(r.cur);
    if (G4 && r.inner_row && x > 0 && x < w - 1) green = (((r.up[x] + r.dn[x]) >> 1) + green) >> 1;
    other = from_below ? h(r.dn) : (h(r.up) + h(r.dn)) >> 1;
  } else {
    green = r.cur[x];
    colour = h(r.cur);
    other = from_below ? r.dn[x] : (r.up[x] + r.dn[x]) >> 1;
  }
  uint8_t *o = out + 3 * x;
  o[kGreen] = static_cast<uint8_t>(green);
  o[r.red_row ? kRed : kBlue] = static_cast<uint8_t>(colour);
  o[r.red_row ? kBlue : kRed] = static_cast<uint8_t>(other);
}

template <uint16_t A, bool G4>
KAVIX_AVX2 void BilinearRows(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h) {
  using Ph = BayerPhase<A>;
  constexpr bool kFromBelow = A == 3 && !G4;
  for (uint32_t y = 0; y < h; ++y) {
    const uint32_t ya = y == 0 ? 1 : y - 1, yb = y == h - 1 ? h - 2 : y + 1;
    const BilinearRow row{s + size_t{y} * w, s + size_t{ya} * w, s + size_t{yb} * w, w,
                          Ph::ColourParity(y), Ph::RedRow(y), y > 0 && y < h - 1};
    uint8_t *out = d + size_t{y} * w * 3;
    BilinearPixel<kFromBelow, G4>(row, 0, out);
    uint32_t x = 1;
    const __m256i colour_sites = ParityMask(1, row.colour_parity);
    const __m256i g4_row = G4 && row.inner_row ? _mm256_set1_epi8(-1) : _mm256_setzero_si256();
    for (; x + 33 <= w; x += 32) {
      const __m256i c0 = Load(row.cur + x);
      const __m256i hc = AvgFloor(Load(row.cur + x - 1), Load(row.cur + x + 1));
      const __m256i hu = AvgFloor(Load(row.up + x - 1), Load(row.up + x + 1));
      const __m256i hd = AvgFloor(Load(row.dn + x - 1), Load(row.dn + x + 1));
      const __m256i pv = AvgFloor(Load(row.up + x), Load(row.dn + x));
      const __m256i hv = AvgFloor(hu, hd);
      __m256i green_at_colour = hc;
      if constexpr (G4) green_at_colour = _mm256_blendv_epi8(hc, AvgFloor(pv, hc), g4_row);
      const __m256i green = _mm256_blendv_epi8(c0, green_at_colour, colour_sites);
      const __m256i colour = _mm256_blendv_epi8(hc, c0, colour_sites);
      const __m256i other = _mm256_blendv_epi8(pv, hv, colour_sites);
      StoreRow(out + 3 * x, row.red_row, colour, green, other);
    }
    for (; x < w; ++x) BilinearPixel<kFromBelow, G4>(row, x, out);
  }
}

KAVIX_AVX2 bool Bilinear(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h, uint16_t array) {
  if (w < kBilinearMinSize || h < kBilinearMinSize) return false;
  return WithBayerPhase(array, [&]<uint16_t A>() { BilinearRows<A, false>(s, d, w, h); });
}

KAVIX_AVX2 bool BilinearG4(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h, uint16_t array) {
  if (w < kBilinearMinSize || h < kBilinearMinSize) return false;
  return WithBayerPhase(array, [&]<uint16_t A>() { BilinearRows<A, true>(s, d, w, h); });
}

// ---- Method 4 --------------------------------------------------------------------
//
// The horizontal step of a row is needed by the vertical step of the three
// rows above and below it, so each row's colour plane (its row colour after
// the horizontal step) and green plane go once into a ring of eight rows.

inline uint8_t CubicH(const uint8_t *p, uint32_t w, uint32_t x) {
  if (x == 0) return p[1];
  if (x == w - 1) return p[w - 2];
  if (x == 1 || x == 2 || x == w - 3 || x == w - 2) return static_cast<uint8_t>((p[x - 1] + p[x + 1]) >> 1);
  return Clamp(CubicInner[p[x - 1] + p[x + 1]] + CubicOuter[p[x - 3] + p[x + 3]]);
}

KAVIX_AVX2 void CubicHorizontal(const uint8_t *p, uint32_t w, uint32_t colour_parity,
                                uint8_t *colour, uint8_t *green) {
  auto scalar = [&](uint32_t x) {
    const uint8_t hv = CubicH(p, w, x);
    const bool colour_site = (x & 1) == colour_parity;
    colour[x] = colour_site ? p[x] : hv;
    green[x] = colour_site ? hv : p[x];
  };
  uint32_t x = 0;
  for (; x < 3; ++x) scalar(x);
  const __m256i colour_sites = ParityMask(3, colour_parity);
  for (; x + 35 <= w; x += 32) {
    const __m256i p0 = Load(p + x);
    const __m256i hv = Cubic8(Load(p + x - 1), Load(p + x + 1), Load(p + x - 3), Load(p + x + 3));
    Store(colour + x, _mm256_blendv_epi8(hv, p0, colour_sites));
    Store(green + x, _mm256_blendv_epi8(p0, hv, colour_sites));
  }
  for (; x < w; ++x) scalar(x);
}

template <uint16_t A>
KAVIX_AVX2 void CubicRows(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h, uint8_t *ring) {
  using Ph = BayerPhase<A>;
  auto colour_row = [&](uint32_t r) { return ring + size_t{r & 7} * w * 2; };
  auto green_row = [&](uint32_t r) { return ring + size_t{r & 7} * w * 2 + w; };
  uint32_t done = 0;
  for (uint32_t y = 0; y < h; ++y) {
    const uint32_t last_needed = y + 3 < h ? y + 3 : h - 1;
    for (; done <= last_needed; ++done)
      CubicHorizontal(s + size_t{done} * w, w, Ph::ColourParity(done), colour_row(done), green_row(done));
    const uint8_t *colour = colour_row(y), *green = green_row(y);
    const bool red_row = Ph::RedRow(y);
    uint8_t *out = d + size_t{y} * w * 3;
    // Vertical rule of this row: copy of one neighbour, two-tap or four-tap.
    const bool edge = y == 0 || y == h - 1;
    const bool two_tap = !edge && (y <= 2 || y >= h - 3);
    const uint8_t *v1 = colour_row(y == 0 ? 1 : y - 1);
    const uint8_t *v2 = colour_row(y == h - 1 ? h - 2 : y + 1);
    const uint8_t *v3 = (edge || two_tap) ? v1 : colour_row(y - 3);
    const uint8_t *v4 = (edge || two_tap) ? v2 : colour_row(y + 3);
    uint32_t x = 0;
    for (; x + 32 <= w; x += 32) {
      const __m256i a = Load(v1 + x), b = Load(v2 + x);
      const __m256i other = edge ? a : two_tap ? AvgFloor(a, b) : Cubic8(a, b, Load(v3 + x), Load(v4 + x));
      StoreRow(out + 3 * x, red_row, Load(colour + x), Load(green + x), other);
    }
    for (; x < w; ++x) {
      const int other = edge      ? v1[x]
                        : two_tap ? (v1[x] + v2[x]) >> 1
                                  : Clamp(CubicInner[v1[x] + v2[x]] + CubicOuter[v3[x] + v4[x]]);
      uint8_t *o = out + 3 * x;
      o[kGreen] = green[x];
      o[red_row ? kRed : kBlue] = colour[x];
      o[red_row ? kBlue : kRed] = static_cast<uint8_t>(other);
    }
  }
}

// Scratch rows for method 4, one set per thread, grown when a wider frame
// comes; null if that allocation fails.
uint8_t *CubicScratch(uint32_t width) {
  thread_local std::vector<uint8_t> scratch;
  const size_t bytes = size_t{width} * 16;
  if (scratch.size() < bytes) {
    try {
      scratch.resize(bytes);
    } catch (const std::bad_alloc &) {
      return nullptr;
    }
  }
  return scratch.data();
}

KAVIX_AVX2 bool Cubic(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h, uint16_t array) {
  if (w < kCubicMinSize || h < kCubicMinSize) return false;
  uint8_t *ring = CubicScratch(w);
  if (ring == nullptr) return PlainInterpolationKernels().cubic(s, d, w, h, array);
  return WithBayerPhase(array, [&]<uint16_t A>() { CubicRows<A>(s, d, w, h, ring); });
}

// ---- Method 5 --------------------------------------------------------------------
//
// Inside the frame a red or blue value is (3 S(xc) + S(xo)) >> 4 with
// S(x) = 3 P(x, yc) + P(x, yo): at the columns of the colour's own parity
// xc = x and xo = x + 2, elsewhere xc = x + 1 and xo = x - 1. Colour array 3
// (and 4) takes the irregular taps for red in its even rows. The first column,
// the first row and the last two rows and four columns take the per-pixel
// rules.

template <bool High>
KAVIX_AVX2 inline __m256i Widen(__m256i v) {
  return High ? Hi16(v) : Lo16(v);
}

KAVIX_AVX2 inline __m256i Times3Plus(__m256i a, __m256i b) {
  return _mm256_add_epi16(_mm256_add_epi16(a, _mm256_slli_epi16(a, 1)), b);
}

// One 16-bit half of HalfColour below.
template <bool High>
KAVIX_AVX2 inline __m256i HalfColour16(const __m256i (&c)[4], const __m256i (&o)[4], __m256i own) {
  const __m256i sm = Times3Plus(Widen<High>(c[0]), Widen<High>(o[0]));
  const __m256i s0 = Times3Plus(Widen<High>(c[1]), Widen<High>(o[1]));
  const __m256i s1 = Times3Plus(Widen<High>(c[2]), Widen<High>(o[2]));
  const __m256i s2 = Times3Plus(Widen<High>(c[3]), Widen<High>(o[3]));
  const __m256i at_own = Times3Plus(s0, s2), elsewhere = Times3Plus(s1, sm);
  return _mm256_srli_epi16(_mm256_blendv_epi8(elsewhere, at_own, own), 4);
}

// Red or blue of 32 blocks from x, given the rows yc and yo of the colour and
// the 16-bit lanes where x has the colour's column parity.
KAVIX_AVX2 inline __m256i HalfColour(const uint8_t *rc, const uint8_t *ro, uint32_t x, __m256i own) {
  const __m256i c[4] = {Load(rc + x - 1), Load(rc + x), Load(rc + x + 1), Load(rc + x + 2)};
  const __m256i o[4] = {Load(ro + x - 1), Load(ro + x), Load(ro + x + 1), Load(ro + x + 2)};
  return _mm256_packus_epi16(HalfColour16<false>(c, o, own), HalfColour16<true>(c, o, own));
}

// One 16-bit half of IrregularRed below.
template <bool High>
KAVIX_AVX2 inline __m256i IrregularRed16(const __m256i (&a)[2], const __m256i (&b)[4], __m256i odd) {
  const __m256i at_odd = _mm256_add_epi16(
      _mm256_add_epi16(_mm256_mullo_epi16(Widen<High>(a[1]), _mm256_set1_epi16(9)),
                       _mm256_mullo_epi16(Widen<High>(b[1]), _mm256_set1_epi16(6))),
      Widen<High>(b[3]));
  const __m256i at_even = _mm256_add_epi16(
      _mm256_add_epi16(_mm256_mullo_epi16(Widen<High>(a[0]), _mm256_set1_epi16(12)), Widen<High>(b[0])),
      _mm256_mullo_epi16(Widen<High>(b[2]), _mm256_set1_epi16(3)));
  return _mm256_srli_epi16(_mm256_blendv_epi8(at_even, at_odd, odd), 4);
}

// Red of colour array 3's even rows y (2 <= y <= height - 4):
// odd x (9 P(x, y) + 6 P(x, y + 2) + P(x + 2, y + 2)) >> 4,
// even x (12 P(x - 1, y) + P(x - 1, y + 2) + 3 P(x + 1, y + 2)) >> 4.
KAVIX_AVX2 inline __m256i IrregularRed(const uint8_t *ra, const uint8_t *rb, uint32_t x, __m256i odd) {
  const __m256i a[2] = {Load(ra + x - 1), Load(ra + x)};
  const __m256i b[4] = {Load(rb + x - 1), Load(rb + x), Load(rb + x + 1), Load(rb + x + 2)};
  return _mm256_packus_epi16(IrregularRed16<false>(a, b, odd), IrregularRed16<true>(a, b, odd));
}

template <uint16_t A>
KAVIX_AVX2 void HalfPixelRows(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h) {
  constexpr uint16_t kBody = (A == 2 || A == 5) ? 2 : 3;
  constexpr bool kSwap = A == 4 || A == 5;
  using Ph = BayerPhase<kBody>;
  const Frame f{s, d, w, h};
  const unsigned red_out = kSwap ? kBlue : kRed, blue_out = kSwap ? kRed : kBlue;
  auto scalar = [&](uint32_t x, uint32_t y) {
    const Rgb c = HalfPixelAt<kBody>(f, x, y);
    uint8_t *o = d + (size_t{y} * w + x) * 3;
    o[red_out] = static_cast<uint8_t>(c.r);
    o[kGreen] = static_cast<uint8_t>(c.g);
    o[blue_out] = static_cast<uint8_t>(c.b);
  };
  auto row = [&](uint32_t y) { return s + size_t{y} * w; };
  for (uint32_t y = 0; y < h; ++y) {
    uint32_t x = 0;
    if (y >= 1 && y + 3 <= h) {
      scalar(0, y);
      x = 1;
      // Rows of red and blue: (yc, yo) = (y, y + 2) in a row of that colour,
      // else (y + 1, y - 1).
      const bool red_here = (y & 1) == Ph::kRedY;
      const uint8_t *red_c = red_here ? row(y) : row(y + 1), *red_o = red_here ? row(y + 2) : row(y - 1);
      const uint8_t *blue_c = red_here ? row(y + 1) : row(y), *blue_o = red_here ? row(y - 1) : row(y + 2);
      const uint8_t *cur = row(y), *next = row(y + 1);
      const bool irregular_red = kBody == 3 && (y & 1) == 0;
      const __m256i red_own = WordParityMask(1, Ph::kRedX);
      const __m256i blue_own = WordParityMask(1, 1 - Ph::kRedX);
      const __m256i odd_words = WordParityMask(1, 1);
      // Block (x, y) starts on a green site: greens (x, y) and (x + 1, y + 1).
      const __m256i green_start = ParityMask(1, Ph::IsGreen(0, y) ? 0 : 1);
      for (; x + 36 <= w; x += 32) {
        const __m256i red = irregular_red ? IrregularRed(cur, row(y + 2), x, odd_words)
                                          : HalfColour(red_c, red_o, x, red_own);
        const __m256i blue = HalfColour(blue_c, blue_o, x, blue_own);
        const __m256i c0 = Load(cur + x), c1 = Load(cur + x + 1);
        const __m256i n0 = Load(next + x), n1 = Load(next + x + 1);
        const __m256i green = _mm256_blendv_epi8(AvgFloor(c1, n0), AvgFloor(c0, n1), green_start);
        if (kSwap)
          StoreBGR(d + (size_t{y} * w + x) * 3, red, green, blue);
        else
          StoreBGR(d + (size_t{y} * w + x) * 3, blue, green, red);
      }
    }
    for (; x < w; ++x) scalar(x, y);
  }
}

KAVIX_AVX2 bool HalfPixel(const uint8_t *s, uint8_t *d, uint32_t w, uint32_t h, uint16_t array) {
  if (w < kHalfPixelMinSize || h < kHalfPixelMinSize || (w & 1) || (h & 1)) return false;
  return WithBayerPhase(array, [&]<uint16_t A>() { HalfPixelRows<A>(s, d, w, h); });
}

}  // namespace

const InterpolationKernels *Avx2InterpolationKernels() {
  static const InterpolationKernels kernels{
      "avx2", Grey, None, Nearest, Bilinear, Cubic, HalfPixel, OutlierBody, BilinearG4,
      PlainInterpolationKernels().quadrants};
  if (!__builtin_cpu_supports("avx2")) return nullptr;
  return &kernels;
}

}  // namespace kavix::pipeline
