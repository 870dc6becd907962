// Throughput of a simulated camera's bulk stream alone: a reader that keeps
// four reads of 512 KiB in flight and only counts the bytes, against a camera
// sending 8-bit 4092 x 4092 frames as fast as they are read. Later stages use
// the simulator as their source, so it must outrun a USB 3 link (400 MB/s).
#include <benchmark/benchmark.h>

#include <vector>

#include "transport/sim/camera_stream.h"

namespace {

using namespace kavix::sim;

constexpr uint32_t kSide = 4092;
constexpr uint32_t kHeader = 64;
constexpr uint32_t kReadBytes = 0x80000;  // the reader's cap per read
constexpr uint32_t kInFlight = 4;

ExposureSettings settings_for(SceneKind kind, float noise) {
  ExposureSettings s;
  s.readout.sensor_width = s.readout.width = kSide;
  s.readout.sensor_height = s.readout.height = kSide;
  s.readout.transfer_bits = kTransferRaw8;
  s.readout.color_array = 2;
  s.scene.kind = kind;
  s.scene.noise = noise;
  s.header_bytes = kHeader;
  return s;
}

void stream_throughput(benchmark::State &state, SceneKind kind, float noise) {
  const ExposureSettings settings = settings_for(kind, noise);
  CameraStream stream([&] { return settings; });
  StreamOptions options;
  options.as_fast_as_read = true;
  stream.set_options(options);
  uint32_t error = 0;
  stream.start(error);

  std::vector<std::vector<uint8_t>> buffers(KAVIXUSBD_STREAM_SLOTS, std::vector<uint8_t>(kReadBytes));
  uint32_t next_post = 0, next_collect = 0;
  for (; next_post < kInFlight; ++next_post)
    stream.post(next_post, buffers[next_post].data(), kReadBytes, nullptr, nullptr, error);

  const uint64_t frame = uint64_t{kHeader} + uint64_t{kSide} * kSide;
  uint64_t bytes = 0;
  for (auto _ : state) {
    // One iteration: a whole frame's worth of bytes.
    uint64_t got = 0;
    while (got < frame) {
      uint32_t transferred = 0;
      stream.result(next_collect, true, &transferred, error);
      got += transferred;
      stream.post(next_post, buffers[next_post].data(), kReadBytes, nullptr, nullptr, error);
      next_collect = (next_collect + 1) % KAVIXUSBD_STREAM_SLOTS;
      next_post = (next_post + 1) % KAVIXUSBD_STREAM_SLOTS;
    }
    bytes += got;
  }
  stream.stop(error);
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
  state.counters["frames/s"] = benchmark::Counter(static_cast<double>(bytes) / frame, benchmark::Counter::kIsRate);
}

BENCHMARK_CAPTURE(stream_throughput, colour_bars_raw8_4092, SceneKind::kColorBars, 0.0f)
    ->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK_CAPTURE(stream_throughput, moving_target_raw8_4092, SceneKind::kMovingTarget, 0.0f)
    ->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK_CAPTURE(stream_throughput, noisy_gradient_raw8_4092, SceneKind::kGradient, 2.0f)
    ->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
