#pragma once
// A simulated camera opened through the library, with a receive queue, for
// the capture tests. Waits are on events, queues and simulator counters, each
// with a generous bound; nothing sleeps.
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <vector>

#include "KavixD.h"
#include "KavixSim.h"
#include "session/capture_loop.h"
#include "session/export_frame.h"

namespace kavix::test {

constexpr uint32_t kBound = 30000;  // ms: every wait's limit, never reached when things work

struct CameraSetup {
    uint32_t width = 64;
    uint32_t height = 48;
    uint16_t header_bytes = 64;
    uint16_t color_array = 1;
    uint32_t transfer_bits = KAVIX_TRANSFER_MONO8;
    uint8_t usb_speed = KAVIXSIM_SPEED_HIGH;
    bool separate_header = false;
    bool can_restart = true;
    bool as_fast_as_read = true;
    uint32_t buffer_frames = 4;
    uint32_t first_frame_number = 1;
};

inline uint32_t bits_per_pixel(uint32_t transfer_bits) {
    switch (transfer_bits) {
    case 1: case 32: return 8;
    case 2: case 4: case 8: case 16: case 64: case 128: case 256: case 512: return 16;
    case 1024: case 16384: return 24;
    case 2048: return 32;
    case 4096: return 12;
    case 8192: return 16;
    default: return 0;
    }
}

class CaptureTest : public testing::Test {
protected:
    void TearDown() override {
        if (camera != nullptr) Kavix_Close(camera);
        if (queue != nullptr) Kavix_DestroyMessageQueue(queue);
        if (sim != 0) KavixSim_Unplug(sim);
    }

    // Plugs a camera of this kind and opens it, with the receive queue set.
    void open(const CameraSetup &setup) {
        setup_ = setup;
        KavixSimCameraConfig config;
        ASSERT_EQ(KavixSim_InitConfig(&config, 0x7A01, 0), 1);  // a generic model with an FPGA
        config.sensor_width = setup.width;
        config.sensor_height = setup.height;
        config.min_width = std::min<uint16_t>(config.min_width, setup.width);
        config.min_height = std::min<uint16_t>(config.min_height, setup.height);
        config.header_bytes = setup.header_bytes;
        config.color_array = setup.color_array;
        config.enable_transfer_bits = setup.transfer_bits;
        config.transfer_bits = setup.transfer_bits;
        config.usb_speed = setup.usb_speed;
        config.user_id = next_user_id_++;
        sim = KavixSim_Plug(&config);
        ASSERT_NE(sim, 0u) << KavixUSBD_GetLastError();
        KavixSimStreamOptions options{};
        options.separate_header = setup.separate_header;
        options.can_restart = setup.can_restart;
        options.as_fast_as_read = setup.as_fast_as_read;
        options.buffer_frames = setup.buffer_frames;
        options.first_frame_number = setup.first_frame_number;
        ASSERT_EQ(KavixSim_SetStreamOptions(sim, &options), 1);
        camera = Kavix_Open(config.user_id);
        ASSERT_NE(camera, nullptr) << std::hex << Kavix_GetLastError(nullptr);
        queue = Kavix_CreateMessageQueue();
        ASSERT_NE(queue, nullptr);
        ASSERT_EQ(Kavix_SetReceiveMsgWindow(camera, queue), 1);
        ASSERT_EQ(session().mode.Width, setup.width);
        ASSERT_EQ(session().mode.Height, setup.height);
    }

    Session &session() { return *session_of(camera); }
    uint32_t raw_size() const { return bits_per_pixel(setup_.transfer_bits) * setup_.width * setup_.height / 8; }

    // Frames of the simulator: `count` pixel blocks, block k filled with k + 1
    // at every byte, so that a torn or mixed frame shows.
    void supply_numbered_frames(uint32_t count) {
        std::vector<uint8_t> frames(size_t(raw_size()) * count);
        for (uint32_t k = 0; k < count; ++k) std::memset(&frames[size_t(k) * raw_size()], int(k + 1), raw_size());
        ASSERT_EQ(KavixSim_SupplyFrames(sim, frames.data(), raw_size(), count), 1);
    }

    // Takes messages until one with this number has come; all of them in order.
    std::vector<KAVIX_MESSAGE> messages_until(uint32_t number) {
        std::vector<KAVIX_MESSAGE> got;
        for (;;) {
            KAVIX_MESSAGE m{};
            if (Kavix_GetMessage(queue, &m, kBound) == 0) {
                ADD_FAILURE() << "no message " << std::hex << number << " came";
                return got;
            }
            got.push_back(m);
            if (m.number == number) return got;
        }
    }
    // Whatever is waiting now.
    std::vector<KAVIX_MESSAGE> messages_now() {
        std::vector<KAVIX_MESSAGE> got;
        KAVIX_MESSAGE m{};
        while (Kavix_GetMessage(queue, &m, 0) != 0) got.push_back(m);
        return got;
    }
    static size_t count_of(const std::vector<KAVIX_MESSAGE> &messages, uint32_t number) {
        return size_t(std::count_if(messages.begin(), messages.end(),
                                    [&](const KAVIX_MESSAGE &m) { return m.number == number; }));
    }

    bool wait_counter(uint32_t counter, uint64_t value) {
        return KavixSim_WaitStreamCounter(sim, counter, value, kBound) == 1;
    }
    KavixSimStreamCounters counters() {
        KavixSimStreamCounters c{};
        KavixSim_GetStreamCounters(sim, &c);
        return c;
    }
    // The capture thread has ended (by itself or stopped).
    bool wait_thread_end() {
        std::shared_ptr<platform::Thread> thread = current_capture_thread(session());
        return thread && platform::wait_one(*thread, kBound) == platform::kWaitObject0;
    }

    KAVIXSIM_CAMERA sim = 0;
    KAVIX_HANDLE camera = nullptr;
    KAVIX_MESSAGE_QUEUE queue = nullptr;

private:
    CameraSetup setup_;
    static inline uint32_t next_user_id_ = 100;
};

// Frames as a raw callback saw them, shared with the test thread.
struct FrameLog {
    std::mutex m;
    std::condition_variable cv;
    std::vector<uint32_t> numbers;
    std::vector<uint32_t> sizes;
    bool whole = true;  // every frame had one byte value throughout

    static void raw(const uint8_t *pixels, uint32_t size, uint32_t, uint32_t, uint32_t frame, uint16_t, uint32_t,
                    void *context, void *) {
        auto *log = static_cast<FrameLog *>(context);
        const bool uniform = std::all_of(pixels, pixels + size, [&](uint8_t b) { return b == pixels[0]; });
        std::lock_guard<std::mutex> lock(log->m);
        log->numbers.push_back(frame);
        log->sizes.push_back(size);
        log->whole = log->whole && uniform;
        log->cv.notify_all();
    }
    bool wait_frames(size_t n) {
        std::unique_lock<std::mutex> lock(m);
        return cv.wait_for(lock, std::chrono::milliseconds(kBound), [&] { return numbers.size() >= n; });
    }
    std::vector<uint32_t> seen() {
        std::lock_guard<std::mutex> lock(m);
        return numbers;
    }
};

// One transfer into a frame log: the raw callback added, the transfer
// started, stopped again once `frames` frames have reached the log.
inline void log_transfer(KAVIX_HANDLE camera, FrameLog &log, size_t frames) {
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddRawCallback(camera, FrameLog::raw, &log, &id), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    ASSERT_TRUE(log.wait_frames(frames));
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
}

// A gate a callback can be held at until the test opens it.
struct Gate {
    std::mutex m;
    std::condition_variable cv;
    bool open = false;
    int arrived = 0;

    void pass() {
        std::unique_lock<std::mutex> lock(m);
        ++arrived;
        cv.notify_all();
        cv.wait_for(lock, std::chrono::milliseconds(kBound), [&] { return open; });
    }
    bool wait_arrived(int n) {
        std::unique_lock<std::mutex> lock(m);
        return cv.wait_for(lock, std::chrono::milliseconds(kBound), [&] { return arrived >= n; });
    }
    void release() {
        std::lock_guard<std::mutex> lock(m);
        open = true;
        cv.notify_all();
    }
};

}  // namespace kavix::test
