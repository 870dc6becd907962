// Compares the kernels byte for byte with the vectors of reference_model.py,
// an independent pixel-by-pixel model of every method and conversion.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "pipeline/color_direct.h"
#include "pipeline/color_interpolation.h"
#include "pipeline/preview_format.h"
#include "pipeline/reduce_to_8bits.h"

namespace kavix::pipeline {
namespace {

enum Op : uint32_t { kInterpolate = 1, kColourDirect = 2, kExpand = 3, kReduce = 4 };

struct Case {
  uint32_t op, p0, p1, width, height, result, error;
  std::vector<uint8_t> source, before, after;

  std::string Name() const {
    return "op " + std::to_string(op) + " p0 " + std::to_string(p0) + " p1 " + std::to_string(p1) +
           " size " + std::to_string(width) + "x" + std::to_string(height);
  }
};

const std::vector<Case> &Vectors() {
  static const std::vector<Case> cases = [] {
    std::ifstream in(KAVIX_PIPELINE_VECTORS, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<Case> out;
    size_t pos = 0;
    auto u32 = [&] {
      uint32_t v = 0;
      if (pos + 4 <= bytes.size()) std::memcpy(&v, bytes.data() + pos, 4);
      pos += 4;
      return v;
    };
    auto take = [&](uint32_t n) {
      std::vector<uint8_t> v;
      if (pos + n <= bytes.size()) v.assign(bytes.begin() + pos, bytes.begin() + pos + n);
      pos += n;
      return v;
    };
    if (bytes.size() < 12 || std::memcmp(bytes.data(), "KVXV", 4) != 0) return out;
    pos = 4;
    if (u32() != 1) return out;
    const uint32_t count = u32();
    for (uint32_t i = 0; i < count && pos < bytes.size(); ++i) {
      Case c{};
      c.op = u32(), c.p0 = u32(), c.p1 = u32(), c.width = u32(), c.height = u32();
      c.result = u32(), c.error = u32();
      const uint32_t source_len = u32(), dest_len = u32();
      c.source = take(source_len);
      c.before = take(dest_len);
      c.after = take(dest_len);
      out.push_back(std::move(c));
    }
    return out;
  }();
  return cases;
}

// Index of the first differing byte, or -1.
long FirstDifference(const std::vector<uint8_t> &a, const std::vector<uint8_t> &b) {
  for (size_t i = 0; i < a.size() && i < b.size(); ++i)
    if (a[i] != b[i]) return static_cast<long>(i);
  return a.size() == b.size() ? -1 : static_cast<long>(std::min(a.size(), b.size()));
}

TEST(ReferenceVectors, FileIsComplete) {
  size_t per_op[5] = {};
  for (const Case &c : Vectors()) ++per_op[c.op < 5 ? c.op : 0];
  EXPECT_GT(per_op[kInterpolate], 1000u);
  EXPECT_GT(per_op[kColourDirect], 100u);
  EXPECT_GT(per_op[kExpand], 30u);
  EXPECT_GT(per_op[kReduce], 30u);
  EXPECT_EQ(per_op[0], 0u);
}

// One test per method and kernel set, over every colour array and size.
struct MethodParam {
  const char *set;
  uint32_t method;
};

void PrintTo(const MethodParam &p, std::ostream *os) { *os << p.set << " method " << p.method; }

class InterpolationVectors : public testing::TestWithParam<MethodParam> {};

TEST_P(InterpolationVectors, MatchModel) {
  const InterpolationKernels &kernels = std::string(GetParam().set) == "plain"
                                            ? PlainInterpolationKernels()
                                            : FastInterpolationKernels();
  int checked = 0, failures = 0;
  for (const Case &c : Vectors()) {
    if (c.op != kInterpolate || c.p0 != GetParam().method) continue;
    SCOPED_TRACE(c.Name());
    std::vector<uint8_t> dst = c.before;
    uint32_t error = 0;
    const uint32_t result = InterpolateBayerWith(kernels, error, c.width, c.height, c.source.data(),
                                                 dst.data(), static_cast<uint8_t>(c.p0),
                                                 static_cast<uint16_t>(c.p1));
    ++checked;
    EXPECT_EQ(result, c.result);
    EXPECT_EQ(error, c.error);
    const long at = FirstDifference(dst, c.after);
    if (at >= 0) {
      ADD_FAILURE() << "first difference at byte " << at << " (pixel " << at / 3 << ", channel "
                    << at % 3 << "): got " << int(dst[at]) << ", expected " << int(c.after[at]);
      if (++failures > 5) break;
    }
  }
  EXPECT_GT(checked, 0);
}

std::vector<MethodParam> AllMethods() {
  std::vector<MethodParam> out;
  for (const char *set : {"plain", "fast"})
    for (uint32_t m : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 100u, 252u, 253u, 254u, 255u}) out.push_back({set, m});
  return out;
}

INSTANTIATE_TEST_SUITE_P(Methods, InterpolationVectors, testing::ValuesIn(AllMethods()),
                         [](const testing::TestParamInfo<MethodParam> &info) {
                           return std::string(info.param.set) + "_method_" + std::to_string(info.param.method);
                         });

TEST(ReferenceVectors, ColourDirectTransfers) {
  int checked = 0;
  for (const Case &c : Vectors()) {
    if (c.op != kColourDirect) continue;
    SCOPED_TRACE(c.Name());
    std::vector<uint8_t> dst = c.before;
    EXPECT_TRUE(ConvertColorDirect(c.width, c.height, c.p0, c.source.data(), c.p1, dst.data()));
    EXPECT_EQ(FirstDifference(dst, c.after), -1);
    ++checked;
  }
  EXPECT_GT(checked, 0);
}

TEST(ReferenceVectors, ExpansionToPreviewFormat) {
  int checked = 0;
  for (const Case &c : Vectors()) {
    if (c.op != kExpand) continue;
    SCOPED_TRACE(c.Name());
    std::vector<uint8_t> buf = c.before;
    uint32_t error = 0;
    const bool ok = ExpandToPreviewFormat(error, c.width, c.height, buf.data(), c.p0, c.p1 != 0);
    EXPECT_EQ(ok ? 1u : 0u, c.result);
    EXPECT_EQ(error, c.error);
    EXPECT_EQ(FirstDifference(buf, c.after), -1);
    ++checked;
  }
  EXPECT_GT(checked, 0);
}

TEST(ReferenceVectors, ReductionTo8Bits) {
  int checked = 0;
  for (const Case &c : Vectors()) {
    if (c.op != kReduce) continue;
    SCOPED_TRACE(c.Name());
    const size_t n = size_t{c.width} * c.height;
    std::vector<uint16_t> words(n);
    std::memcpy(words.data(), c.source.data(), 2 * n);
    // Into a separate destination...
    std::vector<uint8_t> dst = c.before;
    EXPECT_EQ(ReduceTo8Bits(c.width, c.height, words.data(), dst.data(), c.p0), c.result);
    EXPECT_EQ(FirstDifference(dst, c.after), -1);
    // ...and in place, as the capture loop does: the first half of the buffer
    // then holds the bytes.
    if (c.result) {
      std::vector<uint16_t> in_place = words;
      auto *bytes = reinterpret_cast<uint8_t *>(in_place.data());
      EXPECT_EQ(ReduceTo8Bits(c.width, c.height, in_place.data(), bytes, c.p0), 1u);
      EXPECT_EQ(std::memcmp(bytes, c.after.data(), n), 0);
    }
    ++checked;
  }
  EXPECT_GT(checked, 0);
}

}  // namespace
}  // namespace kavix::pipeline
