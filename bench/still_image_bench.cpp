// Saving a 1600 x 1236 still through the library's writers: PNG at libpng's
// default compression (plain and Adam7), and JPEG and BMP for comparison.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "recording/still_image.h"
#include "tests/recording/test_image.h"

namespace {

constexpr uint32_t kWidth = 1600;
constexpr uint32_t kHeight = 1236;

void SaveStill(benchmark::State& state, kavix::stills::ImageFileType type, const char* extension,
               uint32_t format, uint32_t quality) {
    const int channels = format == kavix::stills::kMono8 ? 1 : 3;
    const std::vector<uint8_t> picture = kavix::test::MakeTestImage(kWidth, kHeight, channels);
    const std::string path = (std::filesystem::temp_directory_path() /
                              ("kavix_bench_" + std::to_string(getpid()) + extension)).string();
    const kavix::stills::StillImage image{kWidth, kHeight, format, picture.data()};
    for (auto _ : state) {
        const kavix::stills::StillResult result = kavix::stills::SaveStillImage(type, path.c_str(), image, quality);
        if (result.result == 0) {
            state.SkipWithError("save failed");
            break;
        }
    }
    state.counters["MPix/s"] = benchmark::Counter(static_cast<double>(kWidth) * kHeight / 1e6,
                                                  benchmark::Counter::kIsIterationInvariantRate);
    std::error_code error;
    state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(path, error));
    std::filesystem::remove(path, error);
}

using kavix::stills::ImageFileType;
using kavix::stills::kBgr24;
using kavix::stills::kMono8;

BENCHMARK_CAPTURE(SaveStill, png_colour, ImageFileType::kPng, ".png", kBgr24, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveStill, png_colour_adam7, ImageFileType::kPng, ".png", kBgr24, 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveStill, png_grey, ImageFileType::kPng, ".png", kMono8, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveStill, jpeg_colour_q25, ImageFileType::kJpeg, ".jpg", kBgr24, 25)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveStill, bmp_colour, ImageFileType::kBmp, ".bmp", kBgr24, 0)->Unit(benchmark::kMillisecond);

}  // namespace
