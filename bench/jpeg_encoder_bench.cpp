// Our JPEG encoder against libjpeg-turbo (TurboJPEG) on the same picture with
// the same tables (quality 75) and sampling (4:2:2 colour, one component
// grey), one thread each, in the same run. Prints MPix/s per case and, at
// the end, the ratio of our time to libjpeg-turbo's.
//
//   build/bench/kavix_stills_bench [--benchmark_repetitions=5]
#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "recording/jpeg/jpeg_encoder.h"
#include "tests/recording/test_image.h"

namespace {

constexpr int kWidth = 1600;
constexpr int kHeight = 1236;
constexpr int kQuality = 75;

// Collects bytes in memory that stays allocated between frames.
class MemoryOutput : public kavix::CBaseStreamOutput {
public:
    int Open() override { return 0; }
    int Close() override { return 0; }
    int Write(const void* data, uint32_t size, uint32_t* written) override {
        const auto* bytes = static_cast<const uint8_t*>(data);
        buffer_.insert(buffer_.end(), bytes, bytes + size);
        *written = size;
        return 0;
    }
    void Rewind() { buffer_.clear(); }
    size_t Size() const { return buffer_.size(); }

private:
    std::vector<uint8_t> buffer_;
};

const std::vector<uint8_t>& Picture(int channels) {
    static const std::vector<uint8_t> colour = kavix::test::MakeTestImage(kWidth, kHeight, 3);
    static const std::vector<uint8_t> grey = kavix::test::MakeTestImage(kWidth, kHeight, 1);
    return channels == 1 ? grey : colour;
}

void SetCounters(benchmark::State& state, size_t bytes) {
    state.counters["MPix/s"] = benchmark::Counter(static_cast<double>(kWidth) * kHeight / 1e6,
                                                  benchmark::Counter::kIsIterationInvariantRate);
    state.counters["bytes"] = static_cast<double>(bytes);
}

void Ours(benchmark::State& state, int channels, kavix::jpeg::SimdLevel level) {
    if (level > kavix::jpeg::DetectedSimdLevel()) {
        state.SkipWithError("the processor lacks this instruction set");
        return;
    }
    const std::vector<uint8_t>& picture = Picture(channels);
    MemoryOutput output;
    kavix::CJPEGEncoder encoder;
    encoder.SetSimdLevel(level);
    encoder.AttachStream(&output);
    const int color = channels == 1 ? kavix::kJpegGrey : kavix::kJpegBgr;
    const int file_color = channels == 1 ? kavix::kJpegGrey : kavix::kJpegYCbCr;
    for (auto _ : state) {
        output.Rewind();
        encoder.SetSource(picture.data(), kWidth * channels, kavix::JpegSize{kWidth, kHeight}, channels,
                          color, 0, 8);
        if (encoder.SetParams(kavix::kJpegBaseline, file_color, kavix::kJpegSampling422, 0, 0, kQuality) != 0 ||
            encoder.WriteHeader() != 0 || encoder.WriteData() != 0) {
            state.SkipWithError("encoder failed");
            break;
        }
        benchmark::DoNotOptimize(output.Size());
    }
    SetCounters(state, output.Size());
}

void Turbo(benchmark::State& state, int channels) {
    const std::vector<uint8_t>& picture = Picture(channels);
    tjhandle handle = tjInitCompress();
    const int subsampling = channels == 1 ? TJSAMP_GRAY : TJSAMP_422;
    std::vector<unsigned char> buffer(tjBufSize(kWidth, kHeight, subsampling));
    unsigned long size = 0;
    for (auto _ : state) {
        unsigned char* out = buffer.data();
        size = buffer.size();
        if (tjCompress2(handle, picture.data(), kWidth, 0, kHeight, channels == 1 ? TJPF_GRAY : TJPF_BGR, &out,
                        &size, subsampling, kQuality, TJFLAG_NOREALLOC) != 0) {
            state.SkipWithError(tjGetErrorStr2(handle));
            break;
        }
        benchmark::DoNotOptimize(size);
    }
    tjDestroy(handle);
    SetCounters(state, size);
}

using kavix::jpeg::SimdLevel;

// The ratio compares the code path the processor selects; the narrower paths
// show what machines without AVX-512 or AVX2 get.
BENCHMARK_CAPTURE(Ours, colour_422, 3, kavix::jpeg::DetectedSimdLevel())->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Turbo, colour_422, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, grey, 1, kavix::jpeg::DetectedSimdLevel())->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Turbo, grey, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, colour_422_avx2, 3, SimdLevel::kAvx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, colour_422_scalar, 3, SimdLevel::kScalar)->Unit(benchmark::kMillisecond);

// Prints as usual and remembers each case's time for the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred) continue;
            // With repetitions keep the median, else the single run.
            const bool aggregate = run.run_type == Run::RT_Aggregate;
            if (aggregate && run.aggregate_name != "median") continue;
            if (!aggregate && seen_aggregates_) continue;
            seen_aggregates_ |= aggregate;
            times_[run.run_name.str()] = {run.GetAdjustedCPUTime(), run.GetAdjustedRealTime()};
        }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        for (const char* name : {"colour_422", "grey"}) {
            const auto ours = times_.find(std::string("Ours/") + name);
            const auto turbo = times_.find(std::string("Turbo/") + name);
            if (ours == times_.end() || turbo == times_.end()) continue;
            std::printf("%-10s %dx%d q%d: CPU time ours %.2f ms, libjpeg-turbo %.2f ms, ratio %.2f "
                        "(wall clock ratio %.2f)\n",
                        name, kWidth, kHeight, kQuality, ours->second.first, turbo->second.first,
                        ours->second.first / turbo->second.first, ours->second.second / turbo->second.second);
        }
    }

private:
    std::map<std::string, std::pair<double, double>> times_;  // CPU, wall clock
    bool seen_aggregates_ = false;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
