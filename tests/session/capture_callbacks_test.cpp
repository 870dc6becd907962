// The three callback lists through their exports and on the capture thread,
// preview snapshots and the shown image.
#include <cairo.h>

#include <atomic>
#include <thread>

#include "capture_fixture.h"

namespace kavix::test {
namespace {

using Callbacks = CaptureTest;

void raw_a(const uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t, uint16_t, uint32_t, void *, void *) {}
void bitmap_a(uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, void *, void *) {}
void gdi_a(void *, uint32_t, uint32_t, uint32_t, void *, void *) {}

// The same rules hold for each kind; a table drives the three through their
// six exports.
struct Kind {
    const char *name;
    KAVIX_BOOL (*add)(KAVIX_HANDLE, void (*)(), void *, uint32_t *);
    KAVIX_BOOL (*remove)(KAVIX_HANDLE, uint32_t);
    KAVIX_BOOL (*remove_all)(KAVIX_HANDLE);
    KAVIX_BOOL (*count)(KAVIX_HANDLE, uint32_t *);
    KAVIX_BOOL (*get)(KAVIX_HANDLE, uint32_t, void (**)(), uint32_t *);
    KAVIX_BOOL (*list)(KAVIX_HANDLE, uint32_t, void (**)(), uint32_t *, uint32_t *);
    void (*function)();
};

template <typename Fn>
Kind kind_of(const char *name, KAVIX_BOOL (*add)(KAVIX_HANDLE, Fn, void *, uint32_t *),
             KAVIX_BOOL (*remove)(KAVIX_HANDLE, uint32_t), KAVIX_BOOL (*remove_all)(KAVIX_HANDLE),
             KAVIX_BOOL (*count)(KAVIX_HANDLE, uint32_t *), KAVIX_BOOL (*get)(KAVIX_HANDLE, uint32_t, Fn *, uint32_t *),
             KAVIX_BOOL (*list)(KAVIX_HANDLE, uint32_t, Fn *, uint32_t *, uint32_t *), Fn function) {
    // Function pointers of the three kinds share one representation; the
    // table reaches each export through its own type.
    return Kind{name,
                reinterpret_cast<KAVIX_BOOL (*)(KAVIX_HANDLE, void (*)(), void *, uint32_t *)>(add),
                remove,
                remove_all,
                count,
                reinterpret_cast<KAVIX_BOOL (*)(KAVIX_HANDLE, uint32_t, void (**)(), uint32_t *)>(get),
                reinterpret_cast<KAVIX_BOOL (*)(KAVIX_HANDLE, uint32_t, void (**)(), uint32_t *, uint32_t *)>(list),
                reinterpret_cast<void (*)()>(function)};
}

class CallbackExports : public CaptureTest, public testing::WithParamInterface<int> {
protected:
    Kind kind() {
        switch (GetParam()) {
        case 0:
            return kind_of("Raw", Kavix_AddRawCallback, Kavix_RemoveRawCallback, Kavix_RemoveAllRawCallback,
                           Kavix_GetRawCallbackCount, Kavix_GetRawCallback, Kavix_GetRawCallbackList,
                           KAVIX_RAW_CALLBACK(raw_a));
        case 1:
            return kind_of("PreviewBitmap", Kavix_AddPreviewBitmapCallback, Kavix_RemovePreviewBitmapCallback,
                           Kavix_RemoveAllPreviewBitmapCallback, Kavix_GetPreviewBitmapCallbackCount,
                           Kavix_GetPreviewBitmapCallback, Kavix_GetPreviewBitmapCallbackList,
                           KAVIX_PREVIEW_BITMAP_CALLBACK(bitmap_a));
        default:
            return kind_of("PreviewGDI", Kavix_AddPreviewGDICallback, Kavix_RemovePreviewGDICallback,
                           Kavix_RemoveAllPreviewGDICallback, Kavix_GetPreviewGDICallbackCount,
                           Kavix_GetPreviewGDICallback, Kavix_GetPreviewGDICallbackList,
                           KAVIX_PREVIEW_GDI_CALLBACK(gdi_a));
        }
    }
};

TEST_P(CallbackExports, IdsCountsAndLists) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    const Kind k = kind();
    int ctx1 = 0, ctx2 = 0;
    uint32_t id1 = 0, id2 = 0, id3 = 0, n = 99;
    ASSERT_EQ(k.add(camera, k.function, &ctx1, &id1), 1);
    ASSERT_EQ(k.add(camera, k.function, &ctx2, &id2), 1);
    EXPECT_EQ(id1, 1u);
    EXPECT_EQ(id2, 2u);
    ASSERT_EQ(k.remove(camera, 1), 1);
    ASSERT_EQ(k.add(camera, k.function, &ctx1, &id3), 1);
    EXPECT_EQ(id3, 3u);
    EXPECT_EQ(k.remove(camera, 42), 1);  // unknown id: success, nothing changes
    ASSERT_EQ(k.count(camera, &n), 1);
    EXPECT_EQ(n, 2u);

    void (*function)() = nullptr;
    uint32_t id = 0;
    ASSERT_EQ(k.get(camera, 1, &function, &id), 1);
    EXPECT_EQ(function, k.function);
    EXPECT_EQ(id, 3u);
    ASSERT_EQ(k.get(camera, 2, &function, &id), 1);  // past the end
    EXPECT_EQ(function, nullptr);
    EXPECT_EQ(id, 0u);

    void (*functions[3])() = {};
    uint32_t ids[3] = {7, 7, 7};
    ASSERT_EQ(k.list(camera, 0, nullptr, nullptr, &n), 1);  // capacity 0 fills nothing
    EXPECT_EQ(n, 2u);
    ASSERT_EQ(k.list(camera, 1, functions, ids, &n), 1);
    EXPECT_EQ(n, 2u);
    EXPECT_EQ(ids[0], 2u);
    EXPECT_EQ(ids[1], 7u);
    ASSERT_EQ(k.list(camera, 3, functions, ids, &n), 1);
    EXPECT_EQ(ids[1], 3u);
    EXPECT_EQ(functions[1], k.function);

    ASSERT_EQ(k.remove_all(camera), 1);
    ASSERT_EQ(k.count(camera, &n), 1);
    EXPECT_EQ(n, 0u);
    ASSERT_EQ(k.add(camera, k.function, &ctx1, &id), 1);
    EXPECT_EQ(id, 1u);
}

TEST_P(CallbackExports, BadArgumentsFail) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    const Kind k = kind();
    uint32_t id = 0, n = 0;
    void (*function)() = nullptr;
    EXPECT_EQ(k.add(camera, nullptr, nullptr, &id), 0);
    EXPECT_EQ(Kavix_GetLastError(camera), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(k.add(camera, k.function, nullptr, nullptr), 0);
    EXPECT_EQ(k.count(camera, nullptr), 0);
    EXPECT_EQ(k.get(camera, 0, nullptr, &id), 0);
    EXPECT_EQ(k.get(camera, 0, &function, nullptr), 0);
    EXPECT_EQ(k.list(camera, 1, nullptr, &id, &n), 0);
    EXPECT_EQ(k.list(camera, 0, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(Kavix_GetLastError(camera), KAVIX_ERROR_INVALID_PARAMETER);
    ASSERT_EQ(k.count(camera, &n), 1);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(k.add(nullptr, k.function, nullptr, &id), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
    EXPECT_EQ(k.remove(nullptr, 1), 0);
    EXPECT_EQ(k.remove_all(nullptr), 0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, CallbackExports, testing::Values(0, 1, 2),
                         [](const testing::TestParamInfo<int> &info) {
                             return std::string(info.param == 0 ? "Raw" : info.param == 1 ? "PreviewBitmap"
                                                                                           : "PreviewGDI");
                         });

// ---- On the capture thread ----------------------------------------------------

// A raw callback that registers another raw callback during its walk: the
// same walk reaches the new one, for the same frame.
struct SelfAdding {
    KAVIX_HANDLE camera = nullptr;
    std::mutex m;
    std::condition_variable cv;
    std::vector<std::pair<int, uint32_t>> calls;  // (which, frame)
    bool added = false;

    static void second(const uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t frame, uint16_t, uint32_t,
                       void *context, void *) {
        auto *self = static_cast<SelfAdding *>(context);
        std::lock_guard<std::mutex> lock(self->m);
        self->calls.emplace_back(2, frame);
        self->cv.notify_all();
    }
    static void first(const uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t frame, uint16_t, uint32_t,
                      void *context, void *) {
        auto *self = static_cast<SelfAdding *>(context);
        bool add = false;
        {
            std::lock_guard<std::mutex> lock(self->m);
            self->calls.emplace_back(1, frame);
            add = !self->added;
            self->added = true;
        }
        uint32_t id = 0;
        if (add) {
            EXPECT_EQ(Kavix_AddRawCallback(self->camera, second, self, &id), 1);
        }
    }
};

TEST_F(Callbacks, CallbackAddingToItsOwnListDuringTheWalk) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    SelfAdding state;
    state.camera = camera;
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddRawCallback(camera, SelfAdding::first, &state, &id), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    {
        std::unique_lock<std::mutex> lock(state.m);
        ASSERT_TRUE(state.cv.wait_for(lock, std::chrono::milliseconds(kBound), [&] { return state.calls.size() >= 4; }));
    }
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    uint32_t n = 0;
    Kavix_GetRawCallbackCount(camera, &n);
    EXPECT_EQ(n, 2u);
    std::lock_guard<std::mutex> lock(state.m);
    ASSERT_GE(state.calls.size(), 4u);
    // First frame: the first callback, then the one it added, same frame.
    EXPECT_EQ(state.calls[0].first, 1);
    EXPECT_EQ(state.calls[1].first, 2);
    EXPECT_EQ(state.calls[1].second, state.calls[0].second);
    EXPECT_EQ(state.calls[2].first, 1);
    EXPECT_EQ(state.calls[3].first, 2);
}

// Remove on another thread waits for the running callback; after it returns
// the callback is never called again.
TEST_F(Callbacks, RemoveFromAnotherThreadWaitsForTheRunningCallback) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    struct Held {
        Gate gate;
        std::atomic<bool> running{false};
        std::atomic<int> calls{0};
        static void raw(const uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t, uint16_t, uint32_t, void *context,
                        void *) {
            auto *self = static_cast<Held *>(context);
            self->running = true;
            self->calls++;
            self->gate.pass();
            self->running = false;
        }
    } held;
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddRawCallback(camera, Held::raw, &held, &id), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    ASSERT_TRUE(held.gate.wait_arrived(1));
    std::mutex m;
    std::condition_variable cv;
    bool removed = false;
    bool running_at_return = true;
    std::thread remover([&] {
        EXPECT_EQ(Kavix_RemoveRawCallback(camera, id), 1);
        std::lock_guard<std::mutex> lock(m);
        running_at_return = held.running;
        removed = true;
        cv.notify_all();
    });
    {
        // A window in which a Remove that didn't wait would be seen returning.
        std::unique_lock<std::mutex> lock(m);
        EXPECT_FALSE(cv.wait_for(lock, std::chrono::milliseconds(100), [&] { return removed; }));
    }
    held.gate.release();
    remover.join();
    EXPECT_FALSE(running_at_return);
    const int calls_at_remove = held.calls;
    ASSERT_TRUE(wait_counter(KAVIXSIM_COUNTER_DELIVERED, counters().delivered + 10));
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    EXPECT_EQ(held.calls, calls_at_remove);
}

// Stopping while a callback blocks waits for the callback to return.
TEST_F(Callbacks, StopWhileACallbackBlocksWaitsForIt) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    struct Held {
        Gate gate;
        std::atomic<bool> returned{false};
        static void raw(const uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t, uint16_t, uint32_t, void *context,
                        void *) {
            auto *self = static_cast<Held *>(context);
            self->gate.pass();
            self->returned = true;
        }
    } held;
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddRawCallback(camera, Held::raw, &held, &id), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    ASSERT_TRUE(held.gate.wait_arrived(1));
    const std::shared_ptr<platform::Thread> thread = current_capture_thread(session());
    bool returned_at_stop = false;
    std::thread stopper([&] {
        Kavix_StopTransfer(camera);
        returned_at_stop = held.returned;
    });
    // Stop has asked the thread to end; it is still inside the callback.
    ASSERT_EQ(platform::wait_one(session().thread.StopEvent, kBound), platform::kWaitObject0);
    EXPECT_FALSE(thread->ended());
    held.gate.release();
    stopper.join();
    EXPECT_TRUE(returned_at_stop);
    EXPECT_FALSE(capture_thread_exists(session()));
}

// A callback may stop the transfer it runs on: the thread ends, and stays set
// until stopped from outside.
TEST_F(Callbacks, CallbackStoppingItsOwnTransfer) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    struct Stopper {
        KAVIX_HANDLE camera;
        std::atomic<int> calls{0};
        static void raw(const uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t, uint16_t, uint32_t, void *context,
                        void *) {
            auto *self = static_cast<Stopper *>(context);
            if (self->calls++ == 0) {
                EXPECT_EQ(Kavix_StopTransfer(self->camera), 1);
            }
        }
    } stopper{camera};
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddRawCallback(camera, Stopper::raw, &stopper, &id), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    ASSERT_TRUE(wait_thread_end());
    EXPECT_EQ(stopper.calls, 1);
    EXPECT_TRUE(capture_thread_exists(session()));
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    EXPECT_FALSE(capture_thread_exists(session()));
}

// ---- Preview images -------------------------------------------------------------

struct PreviewCase {
    const char *name;
    uint32_t transfer_bits;
    uint16_t color_array;
    uint32_t bytes_per_pixel;
};

void PrintTo(const PreviewCase &c, std::ostream *os) { *os << c.name; }

class PreviewSnapshots : public CaptureTest, public testing::WithParamInterface<PreviewCase> {};

// Mono and colour-direct frames reach the preview unchanged: the snapshot
// holds exactly the frames the camera sent, and a bitmap callback sees the
// same image with its size and format.
TEST_P(PreviewSnapshots, PreviewImageIsTheFrame) {
    const PreviewCase c = GetParam();
    CameraSetup setup;
    setup.transfer_bits = c.transfer_bits;
    setup.color_array = c.color_array;
    ASSERT_NO_FATAL_FAILURE(open(setup));
    const uint32_t frame = raw_size();
    std::vector<uint8_t> frames(frame * 2);
    for (size_t i = 0; i < frames.size(); ++i) frames[i] = uint8_t(i * 7 + i / frame);
    ASSERT_EQ(KavixSim_SupplyFrames(sim, frames.data(), frame, 2), 1);
    ASSERT_EQ(session().mode.PreviewSizeB, frame);

    struct Seen {
        std::mutex m;
        uint32_t size = 0, width = 0, height = 0, format = 0;
        static void bitmap(uint8_t *, uint32_t size, uint32_t width, uint32_t height, uint32_t, uint32_t format,
                           void *context, void *) {
            auto *self = static_cast<Seen *>(context);
            std::lock_guard<std::mutex> lock(self->m);
            self->size = size;
            self->width = width;
            self->height = height;
            self->format = format;
        }
    } seen;
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddPreviewBitmapCallback(camera, Seen::bitmap, &seen, &id), 1);

    std::vector<uint8_t> buffer(frame * 3);
    uint32_t numbers[3] = {};
    uint32_t taken = 0;
    ASSERT_EQ(Kavix_TakePreviewSnapShot(camera, buffer.data(), uint32_t(buffer.size()), &taken, numbers, 0), 1);
    EXPECT_EQ(taken, frame * 3);
    EXPECT_EQ(numbers[1], numbers[0] + 1);
    for (uint32_t k = 0; k < 3; ++k) {
        const uint8_t *got = &buffer[size_t(k) * frame];
        const bool first = std::equal(got, got + frame, frames.data());
        const bool second = std::equal(got, got + frame, frames.data() + frame);
        EXPECT_TRUE(first || second) << "preview " << k << " is no frame the camera sent";
    }
    std::lock_guard<std::mutex> lock(seen.m);
    EXPECT_EQ(seen.size, frame);
    EXPECT_EQ(seen.width, 64u);
    EXPECT_EQ(seen.height, 48u);
    EXPECT_EQ(seen.format, c.bytes_per_pixel == 1 ? KAVIX_PREVIEW_MONO8 : KAVIX_PREVIEW_BGR24);
}

INSTANTIATE_TEST_SUITE_P(Cameras, PreviewSnapshots,
                         testing::Values(PreviewCase{"MonoDirect", KAVIX_TRANSFER_MONO8, 1, 1},
                                         PreviewCase{"MonoRaw", KAVIX_TRANSFER_RAW8, 1, 1},
                                         PreviewCase{"ColourDirectBGR24", KAVIX_TRANSFER_BGR24, 2, 3}),
                         [](const testing::TestParamInfo<PreviewCase> &info) { return std::string(info.param.name); });

// A GDI callback draws a filled rectangle with cairo on the back buffer; the
// shown image has it. The preview snapshot is taken before the GDI step, so
// a snapshot holds the image as the pipeline made it.
struct Rectangle {
    std::atomic<int> calls{0};
    static void draw(void *context_handle, uint32_t width, uint32_t height, uint32_t, void *context, void *) {
        auto *cr = static_cast<cairo_t *>(context_handle);
        EXPECT_EQ(width, 64u);
        EXPECT_EQ(height, 48u);
        cairo_set_source_rgb(cr, 1.0, 1.0, 1.0);
        cairo_rectangle(cr, 8, 4, 16, 10);  // x 8..23, y 4..13
        cairo_fill(cr);
        static_cast<Rectangle *>(context)->calls++;
    }
};

TEST_F(Callbacks, GdiCallbackDrawsOnTheShownImage) {
    CameraSetup setup;
    ASSERT_NO_FATAL_FAILURE(open(setup));
    std::vector<uint8_t> frames(raw_size(), 0x40);
    ASSERT_EQ(KavixSim_SupplyFrames(sim, frames.data(), raw_size(), 1), 1);
    Rectangle rect;
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddPreviewGDICallback(camera, Rectangle::draw, &rect, &id), 1);

    // The GDI list alone makes the thread build previews; a snapshot of the
    // preview sees the frame before any drawing.
    std::vector<uint8_t> snapshot(raw_size());
    uint32_t taken = 0;
    ASSERT_EQ(Kavix_TakePreviewSnapShot(camera, snapshot.data(), raw_size(), &taken, nullptr, 0), 1);
    EXPECT_TRUE(std::all_of(snapshot.begin(), snapshot.end(), [](uint8_t b) { return b == 0x40; }));

    // 45067 follows the swap: the shown image now has the rectangle.
    std::vector<KAVIX_MESSAGE> got = messages_now();
    ASSERT_GE(count_of(got, KAVIX_MSG_FRAME_READY), 1u);
    for (const KAVIX_MESSAGE &m : got) {
        if (m.number == KAVIX_MSG_FRAME_READY) {
            EXPECT_EQ(m.wparam, reinterpret_cast<uintptr_t>(camera));
        }
    }
    EXPECT_GE(rect.calls, 1);
    uint32_t value = 0;
    ASSERT_EQ(Kavix_GetPreviewImagePixelValue(camera, 10, 5, &value), 1);
    EXPECT_EQ(value, 0xFFFFFFu);
    ASSERT_EQ(Kavix_GetPreviewImagePixelValue(camera, 23, 13, &value), 1);
    EXPECT_EQ(value, 0xFFFFFFu);
    ASSERT_EQ(Kavix_GetPreviewImagePixelValue(camera, 24, 13, &value), 1);
    EXPECT_EQ(value, 0x404040u);
    ASSERT_EQ(Kavix_GetPreviewImagePixelValue(camera, 63, 47, &value), 1);
    EXPECT_EQ(value, 0x404040u);
    // Outside the image: 0, and still success.
    value = 7;
    ASSERT_EQ(Kavix_GetPreviewImagePixelValue(camera, 64, 0, &value), 1);
    EXPECT_EQ(value, 0u);
    ASSERT_EQ(Kavix_GetPreviewImagePixelValue(camera, 0, 48, &value), 1);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(Kavix_GetPreviewImagePixelValue(camera, 0, 0, nullptr), 0);
    EXPECT_EQ(Kavix_GetLastError(camera), KAVIX_ERROR_INVALID_PARAMETER);
}

// On a BGR24 preview the value reads blue, green, red from memory as
// 0xBBGGRR: red drawn by cairo reads 0x0000FF.
TEST_F(Callbacks, GdiCallbackOnAColourPreview) {
    CameraSetup setup;
    setup.transfer_bits = KAVIX_TRANSFER_BGR24;
    setup.color_array = 2;
    ASSERT_NO_FATAL_FAILURE(open(setup));
    std::vector<uint8_t> frames(raw_size());
    for (size_t i = 0; i < frames.size(); i += 3) {
        frames[i] = 0x10;      // B
        frames[i + 1] = 0x20;  // G
        frames[i + 2] = 0x30;  // R
    }
    ASSERT_EQ(KavixSim_SupplyFrames(sim, frames.data(), raw_size(), 1), 1);
    struct Red {
        static void draw(void *handle, uint32_t, uint32_t, uint32_t, void *, void *) {
            auto *cr = static_cast<cairo_t *>(handle);
            cairo_set_source_rgb(cr, 1.0, 0.0, 0.0);
            cairo_rectangle(cr, 0, 0, 4, 4);
            cairo_fill(cr);
        }
    };
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddPreviewGDICallback(camera, Red::draw, nullptr, &id), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    ASSERT_FALSE(messages_until(KAVIX_MSG_FRAME_READY).empty());
    uint32_t inside = 0, outside = 0;
    ASSERT_EQ(Kavix_GetPreviewImagePixelValue(camera, 1, 1, &inside), 1);
    ASSERT_EQ(Kavix_GetPreviewImagePixelValue(camera, 10, 10, &outside), 1);
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    EXPECT_EQ(inside, 0x0000FFu);
    EXPECT_EQ(outside, 0x102030u);
}

}  // namespace
}  // namespace kavix::test
