// Demosaicing throughput in MPix/s on one thread, at 1600 x 1236 and
// 4096 x 4096, beside OpenCV's cvtColor Bayer to BGR (bilinear and
// edge-aware) on the same input, and beside a plain copy of the output's size
// as the memory-speed yardstick. After the run a table of ratios is printed.
//
//   pipeline_bench [--benchmark_filter=...] [--benchmark_min_time=...]
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "pipeline/color_direct.h"
#include "pipeline/color_interpolation.h"
#include "pipeline/pixel_formats.h"
#include "pipeline/preview_format.h"
#include "pipeline/reduce_to_8bits.h"

namespace {

using namespace kavix::pipeline;

struct Size {
  uint32_t w, h;
};
constexpr Size kSizes[] = {{1600, 1236}, {4096, 4096}};

// A smooth scene with noise, mosaicked as colour array 2 (R Gr / Gb B).
const std::vector<uint8_t> &BayerFrame(uint32_t w, uint32_t h) {
  static std::map<uint64_t, std::vector<uint8_t>> frames;
  auto &f = frames[(uint64_t{w} << 32) | h];
  if (f.empty()) {
    f.resize(size_t{w} * h);
    std::mt19937 rng(1);
    for (uint32_t y = 0; y < h; ++y)
      for (uint32_t x = 0; x < w; ++x) {
        const int base = ((x * 255 / w) + (y * 255 / h) * ((x + y) & 1)) / 2;
        f[size_t{y} * w + x] = static_cast<uint8_t>(base + static_cast<int>(rng() % 32));
      }
  }
  return f;
}

void SetPixels(benchmark::State &state, Size s) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * s.w * s.h);
  state.counters["MPix/s"] = benchmark::Counter(static_cast<double>(s.w) * s.h * 1e-6,
                                                benchmark::Counter::kIsIterationInvariantRate);
}

void Ours(benchmark::State &state, const InterpolationKernels *kernels, uint8_t method, Size s) {
  const std::vector<uint8_t> &src = BayerFrame(s.w, s.h);
  std::vector<uint8_t> dst(src.size() * 3);
  const InterpolationKernels &k = kernels ? *kernels : FastInterpolationKernels();
  for (auto _ : state) {
    uint32_t error = 0;
    if (!InterpolateBayerWith(k, error, s.w, s.h, src.data(), dst.data(), method, 2))
      state.SkipWithError("interpolation failed");
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  SetPixels(state, s);
}

void OpenCv(benchmark::State &state, int code, Size s) {
  cv::setNumThreads(1);
  const std::vector<uint8_t> &src = BayerFrame(s.w, s.h);
  std::vector<uint8_t> dst(src.size() * 3);
  const cv::Mat in(static_cast<int>(s.h), static_cast<int>(s.w), CV_8UC1, const_cast<uint8_t *>(src.data()));
  cv::Mat out(static_cast<int>(s.h), static_cast<int>(s.w), CV_8UC3, dst.data());
  for (auto _ : state) {
    cv::cvtColor(in, out, code);
    benchmark::DoNotOptimize(out.data);
    benchmark::ClobberMemory();
  }
  SetPixels(state, s);
}

// Reading w x h bytes and writing 3 w x h: what any method must move.
void CopyYardstick(benchmark::State &state, Size s) {
  const std::vector<uint8_t> src(size_t{s.w} * s.h * 3, 1);
  std::vector<uint8_t> dst(src.size());
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), dst.size());
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  SetPixels(state, s);
}

void Reduce12(benchmark::State &state, Size s) {
  std::vector<uint16_t> src(size_t{s.w} * s.h, 0x0ABC);
  std::vector<uint8_t> dst(src.size());
  for (auto _ : state) {
    ReduceTo8Bits(s.w, s.h, src.data(), dst.data(), TransferRaw12);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  SetPixels(state, s);
}

void Yuv422(benchmark::State &state, Size s) {
  std::vector<uint8_t> src(size_t{s.w} * s.h * 2, 100);
  std::vector<uint8_t> dst(size_t{s.w} * s.h * 3);
  for (auto _ : state) {
    ConvertColorDirect(s.w, s.h, TransferYUV422, src.data(), PreviewBGR24, dst.data());
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  SetPixels(state, s);
}

void ExpandBgr32(benchmark::State &state, Size s) {
  std::vector<uint8_t> buf(size_t{s.w} * s.h * 4, 7);
  for (auto _ : state) {
    uint32_t error = 0;
    ExpandToPreviewFormat(error, s.w, s.h, buf.data(), PreviewBGR32, false);
    benchmark::DoNotOptimize(buf.data());
    benchmark::ClobberMemory();
  }
  SetPixels(state, s);
}

std::string SizeName(Size s) { return std::to_string(s.w) + "x" + std::to_string(s.h); }

void RegisterAll() {
  const struct {
    const char *name;
    uint8_t method;
  } methods[] = {{"0_grey", 0},         {"1_none", 1},    {"2_nearest", 2},
                 {"3_bilinear", 3},     {"4_cubic", 4},   {"5_half_pixel", 5},
                 {"253_outlier", 253},  {"254_bilinear_g4", 254}, {"255_quadrants", 255}};
  for (Size s : kSizes) {
    const std::string size = SizeName(s);
    benchmark::RegisterBenchmark(("copy_yardstick/" + size).c_str(), CopyYardstick, s);
    for (const auto &m : methods)
      benchmark::RegisterBenchmark(("ours/" + std::string(m.name) + "/" + size).c_str(), Ours,
                                   nullptr, m.method, s);
    benchmark::RegisterBenchmark(("plain/3_bilinear/" + size).c_str(), Ours,
                                 &PlainInterpolationKernels(), uint8_t{3}, s);
    benchmark::RegisterBenchmark(("opencv/bilinear/" + size).c_str(), OpenCv,
                                 static_cast<int>(cv::COLOR_BayerBG2BGR), s);
    benchmark::RegisterBenchmark(("opencv/edge_aware/" + size).c_str(), OpenCv,
                                 static_cast<int>(cv::COLOR_BayerBG2BGR_EA), s);
    benchmark::RegisterBenchmark(("reduce_raw12/" + size).c_str(), Reduce12, s);
    benchmark::RegisterBenchmark(("yuv422_to_bgr24/" + size).c_str(), Yuv422, s);
    benchmark::RegisterBenchmark(("expand_bgr24_to_bgr32/" + size).c_str(), ExpandBgr32, s);
  }
}

// Keeps the console output and remembers each run's MPix/s for the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> mpix;
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &r : runs) {
      auto it = r.counters.find("MPix/s");
      if (it != r.counters.end() && !r.error_occurred) mpix[r.benchmark_name()] = it->second.value;
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

void PrintRatios(const std::map<std::string, double> &mpix) {
  auto get = [&](const std::string &name) {
    auto it = mpix.find(name);
    return it == mpix.end() ? 0.0 : it->second;
  };
  std::printf("\nSingle thread, MPix/s; ratios against OpenCV cvtColor on the same frame\n");
  std::printf("%-22s %-10s %10s %12s %12s %12s\n", "method", "size", "MPix/s", "/cv bilinear",
              "/cv EA", "/copy");
  for (Size s : kSizes) {
    const std::string size = SizeName(s);
    const double bil = get("opencv/bilinear/" + size), ea = get("opencv/edge_aware/" + size);
    const double copy = get("copy_yardstick/" + size);
    for (const auto &[name, v] : mpix) {
      if (name.size() < size.size() || name.compare(name.size() - size.size(), size.size(), size) != 0) continue;
      const std::string label = name.substr(0, name.size() - size.size() - 1);
      std::printf("%-22s %-10s %10.0f %12.2f %12.2f %12.2f\n", label.c_str(), size.c_str(), v,
                  bil > 0 ? v / bil : 0.0, ea > 0 ? v / ea : 0.0, copy > 0 ? v / copy : 0.0);
    }
  }
  std::printf("kernel set: %s\n", FastInterpolationKernels().name);
}

}  // namespace

int main(int argc, char **argv) {
  RegisterAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  PrintRatios(reporter.mpix);
  benchmark::Shutdown();
  return 0;
}
