// The simulated stream through the transport's public operations, as the
// camera library's stream reader drives it: a virtual camera sending 8-bit
// 4092 x 4092 frames as fast as they are read, four reads of 512 KiB in
// flight, a reader that only counts bytes. The target: well above the 400 MB/s
// of a USB 3 link.
#include <benchmark/benchmark.h>

#include <vector>

#include "KavixSim.h"
#include "KavixUSBD.h"

namespace {

constexpr uint32_t kSide = 4092;
constexpr uint32_t kReadBytes = 0x80000;
constexpr uint32_t kInFlight = 4;

void transport_stream(benchmark::State &state) {
  KavixSimCameraConfig c;
  KavixSim_InitConfig(&c, 0x7F7F, 0);
  c.sensor_width = c.sensor_height = kSide;
  c.width_step = 4;
  c.height_step = 2;
  c.color_array = 2;
  c.enable_transfer_bits = 1;
  c.transfer_bits = 1;
  const KAVIXSIM_CAMERA camera = KavixSim_Plug(&c);
  KavixSimStreamOptions o{};
  o.as_fast_as_read = 1;
  o.can_restart = 1;
  o.buffer_frames = 4;
  KavixSim_SetStreamOptions(camera, &o);
  KAVIXUSB_HANDLE h = KavixUSBD_OpenDevice(0);
  if (!camera || !h) {
    state.SkipWithError("no virtual camera");
    return;
  }
  KavixSimCameraState s{};
  KavixSim_GetState(camera, &s);
  const uint64_t frame = c.header_bytes + uint64_t{s.width} * s.height;

  KavixUSBD_StartStream(h);
  std::vector<std::vector<uint8_t>> buffers(KAVIXUSBD_STREAM_SLOTS, std::vector<uint8_t>(kReadBytes));
  uint32_t next_post = 0, next_collect = 0;
  for (; next_post < kInFlight; ++next_post)
    KavixUSBD_PostStreamRead(h, next_post, buffers[next_post].data(), kReadBytes, nullptr, nullptr);
  uint64_t bytes = 0;
  for (auto _ : state) {
    uint64_t got = 0;
    while (got < frame) {
      uint32_t transferred = 0;
      KavixUSBD_GetStreamResult(h, next_collect, 1, &transferred);
      got += transferred;
      KavixUSBD_PostStreamRead(h, next_post, buffers[next_post].data(), kReadBytes, nullptr, nullptr);
      next_collect = (next_collect + 1) % KAVIXUSBD_STREAM_SLOTS;
      next_post = (next_post + 1) % KAVIXUSBD_STREAM_SLOTS;
    }
    bytes += got;
  }
  KavixUSBD_StopStream(h);
  KavixUSBD_CloseDevice(h);
  KavixSim_UnplugAll();
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
  state.counters["frames/s"] = benchmark::Counter(static_cast<double>(bytes) / frame, benchmark::Counter::kIsRate);
}

BENCHMARK(transport_stream)->Name("transport_stream/colour_bars_raw8_4092")->Unit(benchmark::kMillisecond)
    ->UseRealTime()->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
