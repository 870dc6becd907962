// Raw frames through the capture loop: a simulated 4092 x 4092 camera sends
// 8-bit frames as fast as they are read, the stream reader collects them in
// reads of 512 KiB, and the capture thread hands each to a raw callback that
// only counts it. Reports frames/s, MB/s and the CPU time per frame of the
// reader and the capture threads (from the kernel's per-thread run time), and
// of the simulated camera that feeds them.
#include <benchmark/benchmark.h>
#include <dirent.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "KavixD.h"
#include "KavixSim.h"

namespace {

constexpr uint32_t kSide = 4092;

struct Counter {
    std::mutex m;
    std::condition_variable cv;
    uint64_t frames = 0;
    uint64_t bytes = 0;
    static void raw(const uint8_t *, uint32_t size, uint32_t, uint32_t, uint32_t, uint16_t, uint32_t,
                    void *context, void *) {
        auto *self = static_cast<Counter *>(context);
        std::lock_guard<std::mutex> lock(self->m);
        self->frames++;
        self->bytes += size;
        self->cv.notify_all();
    }
};

// Nanoseconds on a CPU of the threads of this process with a name (the
// kernel's run time of each task). Threads inherit their creator's name: the
// simulated camera's worker, started from the reader thread, is named like it
// but comes later, so the lowest task id is the library's own thread.
struct NamedThreads {
    uint64_t first_ns = 0;   // the first-started thread of the name
    uint64_t others_ns = 0;  // every later one
};

NamedThreads thread_cpu_ns(const char *name) {
    long best = -1;
    uint64_t best_ns = 0, total = 0;
    DIR *tasks = opendir("/proc/self/task");
    if (tasks == nullptr) return {};
    while (dirent *entry = readdir(tasks)) {
        if (entry->d_name[0] == '.') continue;
        const long tid = std::strtol(entry->d_name, nullptr, 10);
        const std::string base = std::string("/proc/self/task/") + entry->d_name;
        std::ifstream comm(base + "/comm");
        std::string thread_name;
        std::getline(comm, thread_name);
        if (thread_name != name) continue;
        std::ifstream schedstat(base + "/schedstat");
        uint64_t run = 0;
        schedstat >> run;
        total += run;
        if (best < 0 || tid < best) {
            best = tid;
            best_ns = run;
        }
    }
    closedir(tasks);
    return {best_ns, total - best_ns};
}

void raw_frames_to_a_callback(benchmark::State &state, uint16_t header_bytes, bool separate_header) {
    KavixSimCameraConfig config;
    KavixSim_InitConfig(&config, 0x7A02, 0);
    config.sensor_width = kSide;
    config.sensor_height = kSide;
    config.color_array = 2;
    config.enable_transfer_bits = KAVIX_TRANSFER_RAW8;
    config.transfer_bits = KAVIX_TRANSFER_RAW8;
    config.header_bytes = header_bytes;
    config.usb_speed = KAVIXSIM_SPEED_SUPER;
    config.firmware_version = 256;
    config.width_step = 4;  // so that the whole 4092 columns are sent
    config.user_id = 4092;
    const KAVIXSIM_CAMERA sim = KavixSim_Plug(&config);
    KavixSimStreamOptions options{};
    options.as_fast_as_read = 1;
    options.can_restart = 1;
    options.separate_header = separate_header;
    options.buffer_frames = 4;
    KavixSim_SetStreamOptions(sim, &options);

    KAVIX_HANDLE camera = Kavix_Open(config.user_id);
    if (camera == nullptr) {
        state.SkipWithError("no camera");
        KavixSim_Unplug(sim);
        return;
    }
    Counter counter;
    uint32_t id = 0;
    Kavix_AddRawCallback(camera, Counter::raw, &counter, &id);
    Kavix_StartTransfer(camera);
    {
        // Past the start: the first frames fill the ring.
        std::unique_lock<std::mutex> lock(counter.m);
        if (!counter.cv.wait_for(lock, std::chrono::seconds(30), [&] { return counter.frames >= 4; })) {
            lock.unlock();
            Kavix_Close(camera);
            KavixSim_Unplug(sim);
            state.SkipWithError("no frames: the camera's size isn't the one asked for");
            return;
        }
    }

    const NamedThreads reader_start = thread_cpu_ns("kavix-reader");
    const NamedThreads capture_start = thread_cpu_ns("kavix-capture");
    uint64_t first_frame = 0, first_bytes = 0;
    {
        std::lock_guard<std::mutex> lock(counter.m);
        first_frame = counter.frames;
        first_bytes = counter.bytes;
    }
    uint64_t target = first_frame;
    for (auto _ : state) {
        ++target;
        std::unique_lock<std::mutex> lock(counter.m);
        counter.cv.wait(lock, [&] { return counter.frames >= target; });
    }
    const NamedThreads reader_end = thread_cpu_ns("kavix-reader");
    const uint64_t reader_ns = reader_end.first_ns - reader_start.first_ns;
    const uint64_t camera_ns = reader_end.others_ns - reader_start.others_ns;
    const uint64_t capture_ns = thread_cpu_ns("kavix-capture").first_ns - capture_start.first_ns;
    uint64_t frames = 0, bytes = 0;
    {
        std::lock_guard<std::mutex> lock(counter.m);
        frames = counter.frames - first_frame;
        bytes = counter.bytes - first_bytes;
    }
    Kavix_StopTransfer(camera);
    Kavix_Close(camera);
    KavixSim_Unplug(sim);

    state.SetBytesProcessed(static_cast<int64_t>(bytes));
    state.counters["frames/s"] = benchmark::Counter(double(frames), benchmark::Counter::kIsRate);
    if (frames > 0) {
        state.counters["reader_cpu_us/frame"] = double(reader_ns) / 1e3 / double(frames);
        state.counters["capture_cpu_us/frame"] = double(capture_ns) / 1e3 / double(frames);
        // The simulated camera's own work, for scale: it is the source.
        state.counters["camera_cpu_us/frame"] = double(camera_ns) / 1e3 / double(frames);
    }
}

BENCHMARK_CAPTURE(raw_frames_to_a_callback, raw8_4092_header_in_frame, 64, false)
    ->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);
BENCHMARK_CAPTURE(raw_frames_to_a_callback, raw8_4092_header_apart, 64, true)
    ->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);

}  // namespace

BENCHMARK_MAIN();
