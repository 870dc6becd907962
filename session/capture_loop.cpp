#include "session/capture_loop.h"

#include <pthread.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <new>

#include "display/gdi_surface.h"
#include "pipeline/frame_stages.h"
#include "platform/error_numbers.h"
#include "session/export_frame.h"
#include "session/frame_stages.h"
#include "session/lifecycle_steps.h"
#include "session/receive_queues.h"
#include "session/snapshot.h"
#include "session/stream_reader.h"

namespace kavix {

namespace {

constexpr uint32_t kMaxStreamRead = 0x80000;
constexpr uint32_t kErrorAccessDenied = 5;
constexpr uint32_t kErrorCrc = 23;
constexpr uint32_t kErrorGenFailure = 31;
constexpr uint32_t kFrameNumberOffset = 12;
constexpr uint8_t kSuperSpeed = 2;
constexpr uint32_t kMirrorInCameraFunction = 71;

// The frame counter at byte 12 of the header; a header too short to hold it
// gives 0.
uint32_t frame_number_of(const uint8_t *header, uint32_t header_bytes) {
    if (header_bytes < kFrameNumberOffset + 4) return 0;
    const uint8_t *p = header + kFrameNumberOffset;
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// One capture thread's run, from the start of its reader to its end.
class CaptureLoop {
public:
    explicit CaptureLoop(Session &session) : s_(session) {}
    void run();

private:
    bool want_preview();
    bool anybody_wants_frames();
    // Runs every step of one frame; false when the loop is to end after it.
    bool process_frame(uint8_t *pixels, uint32_t frame_number);
    void post(uint32_t number, intptr_t lparam);
    void thread_end();

    Session &s_;
    std::unique_ptr<StreamReader> reader_;
    display::GdiSurface gdi_;
    uint32_t error_ = 0;         // the thread's error, told with 45058
    uint32_t trigger_flags_ = 0;  // read once at the start
    uint32_t preview_size_a_ = 0;
    uint32_t last_frame_number_ = 0;
};

void CaptureLoop::post(uint32_t number, intptr_t lparam) {
    void *window = s_.transport.ReceiveWindow.load(std::memory_order_acquire);
    if (window == nullptr) return;
    const uint32_t error =
        post_message(window, number, reinterpret_cast<uintptr_t>(handle_of(&s_)), lparam);
    // Only the first message's failure counts: it ends the thread.
    if (number == KAVIX_MSG_TRANSFER_STARTED) error_ = error;
}

bool CaptureLoop::want_preview() {
    return stages::recorder_exists(s_) || s_.PreviewSnapshot.Active.load(std::memory_order_acquire) != 0 ||
           !s_.callbacks.Bitmap.empty() || !s_.callbacks.Gdi.empty() || stages::preview_window_alive(s_);
}

bool CaptureLoop::anybody_wants_frames() {
    return want_preview() || s_.thread.TransferStarted != 0 || !s_.callbacks.Raw.empty() ||
           s_.RawSnapshot.Active.load(std::memory_order_acquire) != 0;
}

void CaptureLoop::run() {
    pthread_setname_np(pthread_self(), "kavix-capture");
    trigger_flags_ = stages::read_trigger_flags(s_);
    preview_size_a_ = s_.mode.PreviewSizeA;

    uint8_t speed = 0;
    Kavix_GetUSBSpeed(handle_of(&s_), &speed);
    const uint32_t max_read = stream_max_read(s_.mode.TransferSize, speed);

    reader_.reset(new (std::nothrow) StreamReader(s_.usb(), max_read, s_.info.HeaderBytes, s_.mode.RawSize));
    if (!reader_ || !reader_->allocated()) {
        error_ = platform::kErrorNotEnoughMemory;
        return thread_end();
    }
    if (!gdi_.reserve(size_t(s_.mode.Width) * s_.mode.Height)) {
        error_ = platform::kErrorNotEnoughMemory;
        return thread_end();
    }
    if (!reader_->start()) {
        error_ = platform::kErrorNotEnoughMemory;
        return thread_end();
    }
    post(KAVIX_MSG_TRANSFER_STARTED, 0);
    if (error_ != 0) return thread_end();

    const uint32_t header_bytes = s_.info.HeaderBytes;
    const uint32_t raw_size = s_.mode.RawSize;
    const uint32_t transfer_size = s_.mode.TransferSize;
    for (;;) {
        if (!anybody_wants_frames()) break;  // a thread without consumers stops by itself

        StreamBlock &block = reader_->current_block();
        platform::Waitable *objects[] = {&s_.thread.StopEvent, &reader_->thread(), &block.FullEvent};
        const uint32_t woken = platform::wait_any(objects, platform::kInfinite);
        if (woken == platform::kWaitObject0 + 1) {
            s_.thread.ReaderStatus = reader_->final_status();
            break;
        }
        if (woken != platform::kWaitObject0 + 2) break;

        if (block.Status != 0) {
            const uint32_t status = block.Status;
            reader_->release_block();
            if (status == kErrorGenFailure || status == kErrorCrc) {
                reader_->stop();
                if (!reader_->start()) break;
            } else if (status == kErrorAccessDenied) {
                s_.thread.ReaderStatus = kErrorAccessDenied;
                break;
            }
            continue;
        }

        // Frames are told by their length alone; anything that isn't a
        // header, a frame's pixels or a whole frame is dropped unseen.
        uint8_t *pixels = block.Buffer;
        if (block.Filled == header_bytes) {
            last_frame_number_ = frame_number_of(block.Buffer, header_bytes);
            reader_->release_block();
            continue;
        } else if (block.Filled == raw_size) {
            // Pixels only: the header came in the block before.
        } else if (block.Filled == transfer_size) {
            last_frame_number_ = frame_number_of(block.Buffer, header_bytes);
            pixels += header_bytes;
        } else {
            reader_->release_block();
            continue;
        }
        if (!process_frame(pixels, last_frame_number_)) break;
    }
    thread_end();
}

bool CaptureLoop::process_frame(uint8_t *pixels, uint32_t frame_number) {
    uint32_t width = s_.mode.Width;
    uint32_t height = s_.mode.Height;
    const uint32_t raw_size = s_.mode.RawSize;
    const uint32_t transfer_bits = s_.mode.TransferBits;
    const uint32_t preview_format = s_.mode.PreviewPixelFormat;

    // 1. The colour array as the camera's own mirroring left it.
    uint16_t color_array = adjusted_color_array(s_);

    // 2. Raw snapshot.
    bool skip_to_release = false;
    {
        const SnapshotStep step = snapshot_take_frame(s_.RawSnapshot, pixels, raw_size, frame_number);
        skip_to_release = step == SnapshotStep::nothing_left;
    }

    bool want = false;
    bool end_after_frame = false;
    pipeline::FrameKind kind{};
    FrameBufferPair *pair = nullptr;
    uint8_t *target = nullptr;

    if (!skip_to_release) {
        // 3. Raw callbacks: they may change the pixels, and every stage after
        // them sees the change.
        s_.callbacks.Raw.call_each(static_cast<const uint8_t *>(pixels), raw_size, width, height, frame_number,
                                   color_array, transfer_bits);

        // 4. Decide whether anybody needs more than the raw frame.
        want = want_preview();
        const bool white_balance_wants = stages::white_balance_wants_frame(s_);
        const bool luminance_wants = stages::luminance_wants_frame(s_);
        if (want || white_balance_wants || luminance_wants) {
            // 5. Sort by transfer format; deep samples become bytes in place.
            kind = pipeline::ClassifyFrame(transfer_bits, color_array);
            pipeline::ReduceFrameInPlace(pixels, width, height, transfer_bits);
            const bool raw_path = kind.path == pipeline::FramePath::Raw;

            // 6. Raw path: measurement and the automatic controls.
            if (raw_path) {
                if ((trigger_flags_ & 0x3) != 0 && (trigger_flags_ & 0x3000) != 0) {
                    stages::noise_reduction(s_, width, height, color_array, pixels);
                }
                stages::raw_white_balance(s_, width, height, color_array, pixels);
                stages::frame_statistics(s_, width, height, color_array, pixels);
                if (luminance_wants) error_ = stages::luminance_step(s_);
                if (error_ == 0 && white_balance_wants) stages::white_balance_step(s_);
            }

            // 7. Nothing more unless an image is wanted.
            if (error_ == 0 && want) {
                // 8. Geometry, and the pair that takes the image.
                const uint8_t mirror = s_.processing.MirrorMode & 0x0F;
                const uint8_t rotation = s_.processing.RotationMode;
                if (raw_path) {
                    stages::shading(s_, width, height, pixels);
                    if (color_array != KAVIX_COLOR_MONO) stages::raw_gamma(s_, width, height, color_array, pixels);
                }
                if (mirror != 0 || rotation != 0) {
                    error_ = raw_path ? stages::mirror_and_rotation_raw(s_, mirror, rotation, width, height,
                                                                        color_array, pixels)
                                      : stages::mirror_and_rotation_direct(s_, mirror, rotation, width, height,
                                                                           pixels);
                }
                if (error_ == 0) {
                    pair = rotation != 0 ? &s_.preview.RotatedPair : &s_.preview.StraightPair;

                    // 9. The bitmap to write, and the recorder at the raw point.
                    target = pair->bits(pair->write_index);
                    pair->frame_numbers[pair->write_index & 1] = frame_number;
                    if (raw_path && stages::recorder_exists(s_)) {
                        std::lock_guard<std::mutex> frame_lock(s_.recorder.RecorderFrameMutex);
                        if (stages::recorder_exists(s_)) {
                            const uint32_t mode = stages::recorder_mode(s_);
                            if (mode != 1 && mode != 2 &&
                                stages::recorder_add_frame(s_, pixels, frame_number, color_array)) {
                                std::lock_guard<std::mutex> recorder_lock(s_.recorder.RecorderMutex);
                                stages::delete_recorder(s_);
                                if (s_.recorder.OwnTransfer != 0) end_after_frame = true;
                            }
                        }
                    }

                    // 10. Fill the target: copy, colour-direct transfer or
                    // Bayer interpolation.
                    // The method is set from any thread; one read per frame
                    // keeps the whole frame on one method.
                    const uint8_t method =
                        std::atomic_ref<uint8_t>(s_.processing.InterpolationMethod[0]).load(std::memory_order_relaxed);
                    uint32_t fill_error = 0;
                    if (!pipeline::FillTarget(fill_error, width, height, transfer_bits, color_array, method, pixels,
                                              target)) {
                        error_ = fill_error != 0 ? fill_error : KAVIX_ERROR_INVALID_PARAMETER;
                    }
                }
            }
        }
    }

    // 11. The ring block goes back: from here on the stream runs on.
    reader_->release_block();
    if (error_ != 0) return false;
    if (skip_to_release || !want) return !end_after_frame;

    // 12.-14. The preview image.
    const bool mono = kind.mono;
    const uint32_t work_format = mono ? KAVIX_PREVIEW_MONO8 : KAVIX_PREVIEW_BGR24;
    stages::preview_gamma(s_, width, height, work_format, target);
    error_ = stages::sharpness(s_, width, height, work_format, target);
    if (error_ != 0) return false;
    if (!mono) {
        error_ = stages::color_matrix_and_hue(s_, width, height, target);
        if (error_ != 0) return false;
    }
    // 14. The preview format. Only a mono image that can't be converted ends
    // the thread; a colour image the format has no conversion for goes on
    // as BGR24.
    if (preview_format != work_format) {
        uint32_t convert_error = 0;
        if (!pipeline::ConvertToPreviewFormat(convert_error, width, height, mono, preview_format, target) && mono) {
            error_ = convert_error != 0 ? convert_error : KAVIX_ERROR_INVALID_PARAMETER;
            return false;
        }
    }

    // 15. The recorder at the output point.
    if (stages::recorder_exists(s_)) {
        std::lock_guard<std::mutex> frame_lock(s_.recorder.RecorderFrameMutex);
        if (stages::recorder_exists(s_)) {
            const uint32_t mode = stages::recorder_mode(s_);
            if ((mode == 1 || mode == 2) && stages::recorder_add_frame(s_, target, frame_number, 0)) {
                std::lock_guard<std::mutex> recorder_lock(s_.recorder.RecorderMutex);
                stages::delete_recorder(s_);
                if (s_.recorder.OwnTransfer != 0) end_after_frame = true;
            }
        }
    }

    // 16. Preview snapshot.
    if (snapshot_take_frame(s_.PreviewSnapshot, target, s_.mode.PreviewSizeB, frame_number) ==
        SnapshotStep::nothing_left) {
        return false;
    }

    // 17. Bitmap callbacks.
    s_.callbacks.Bitmap.call_each(target, preview_size_a_, width, height, frame_number, preview_format);

    // 18. Only a window or a GDI callback needs what follows.
    const bool window_alive = stages::preview_window_alive(s_);
    if (!window_alive && s_.callbacks.Gdi.empty()) return !end_after_frame;
    s_.preview.RotatedPairInUse.store(s_.processing.RotationMode, std::memory_order_release);

    // 19. GDI callbacks and the overlay, drawing on the back buffer.
    {
        std::lock_guard<std::recursive_mutex> lock(s_.callbacks.Gdi.mutex());
        const uint32_t info_mode = s_.preview.DisplayInfoMode;
        if (!s_.callbacks.Gdi.empty() || info_mode != 0) {
            cairo_t *context = gdi_.begin(target, width, height, preview_format);
            if (context != nullptr) {
                s_.callbacks.Gdi.call_each(static_cast<void *>(context), width, height, frame_number);
                if ((info_mode & 1) != 0) stages::display_info_overlay(s_, context, 1);
                if ((info_mode & 2) != 0) stages::display_info_overlay(s_, context, 2);
                gdi_.end();
            }
        }
    }

    // 20. The written bitmap becomes the shown one.
    {
        std::lock_guard<std::mutex> lock(s_.preview.FrameSwapMutex);
        pair->swap();
    }

    // 21. Tell the application, and repaint unless the stream has backed up.
    post(KAVIX_MSG_FRAME_READY, static_cast<intptr_t>(frame_number));
    if (window_alive) {
        bool paint = false;
        if (stages::recorder_exists(s_)) {
            StreamRing &ring = reader_->ring();
            paint = !ring.Blocks[ring.ReadIndex]->FullEvent.is_signalled();
        } else {
            paint = throttle_allows_paint(reader_->ring());
        }
        if (paint) stages::invalidate_preview_window(s_);
    }

    // 22.
    return !end_after_frame;
}

void CaptureLoop::thread_end() {
    if (reader_) reader_->stop();
    if (s_.thread.ReaderStatus != 0) error_ = s_.thread.ReaderStatus;
    {
        std::lock_guard<std::mutex> frame_lock(s_.recorder.RecorderFrameMutex);
        std::lock_guard<std::mutex> recorder_lock(s_.recorder.RecorderMutex);
        if (stages::recorder_exists(s_)) stages::delete_recorder(s_);
    }
    post(KAVIX_MSG_TRANSFER_ENDED, static_cast<intptr_t>(error_));
    reader_.reset();
}

}  // namespace

bool throttle_allows_paint(StreamRing &ring) {
    uint32_t full = 0;
    for (uint32_t i = 0; i < ring.Count; ++i) {
        if (ring.Blocks[i]->FullEvent.is_signalled()) ++full;
    }
    if (full > ring.MostFull) ring.MostFull = full;
    if (full > 1 && ring.MostFull >= ring.SkippedPaints) {
        ++ring.SkippedPaints;
        return false;
    }
    ring.SkippedPaints = 0;
    ring.MostFull = 0;
    return true;
}

uint32_t stream_max_read(uint32_t transfer_size, uint8_t usb_speed) {
    uint64_t aligned = usb_speed == kSuperSpeed ? (uint64_t(transfer_size) + 1024) & ~uint64_t(1023)
                                                : (uint64_t(transfer_size) + 512) & ~uint64_t(511);
    return aligned > kMaxStreamRead ? kMaxStreamRead : static_cast<uint32_t>(aligned);
}

uint16_t adjusted_color_array(const Session &session) {
    const uint16_t array = session.info.ColorArray;
    const uint8_t in_camera = session.processing.MirrorMode >> 4;
    if (array == KAVIX_COLOR_MONO || in_camera == 0) return array;
    if (session.has_function(kMirrorInCameraFunction) && session.has_fpga()) return array;
    // Mirroring in the camera moves the Bayer phase: horizontally (1) swaps
    // within a row, vertically (2) swaps the rows, both (3) does both.
    static constexpr uint16_t kMapped[4][6] = {
        {0, 1, 2, 3, 4, 5},
        {0, 1, 3, 2, 5, 4},
        {0, 1, 4, 5, 2, 3},
        {0, 1, 5, 4, 3, 2},
    };
    if (in_camera > 3 || array > 5) return array;
    return kMapped[in_camera][array];
}

namespace {

// The session whose capture thread the calling thread is, if any.
thread_local const Session *current_capture_session = nullptr;

bool on_capture_thread(const Session &session) { return current_capture_session == &session; }

// Both under CaptureControl, on a thread other than the capture thread.
void stop_locked(Session &session) {
    std::shared_ptr<platform::Thread> thread = std::move(session.thread.CaptureThread);
    if (!thread) return;
    session.thread.StopEvent.set();
    thread->join();
    session.thread.CaptureThreadSet.store(false, std::memory_order_release);
}

bool start_locked(Session &session, uint32_t transfer_started) {
    stop_locked(session);
    session.thread.TransferStarted = transfer_started;
    session.thread.StopEvent.reset();
    std::shared_ptr<platform::Thread> thread;
    try {
        thread = std::make_shared<platform::Thread>();
    } catch (const std::bad_alloc &) {
        session.set_error(platform::kErrorNotEnoughMemory);
        return false;
    }
    const uint32_t error = thread->start(
        [&session] {
            current_capture_session = &session;
            CaptureLoop loop(session);
            loop.run();
            current_capture_session = nullptr;
        },
        platform::Thread::Priority::normal);
    if (error != 0) {
        session.set_error(error);
        return false;
    }
    session.thread.CaptureThread = std::move(thread);
    session.thread.CaptureThreadSet.store(true, std::memory_order_release);
    return true;
}

}  // namespace

bool start_capture_thread(Session &session, uint32_t transfer_started) {
    // A callback can't replace the thread it runs on.
    if (on_capture_thread(session)) {
        session.set_error(platform::kErrorBusy);
        return false;
    }
    std::lock_guard<std::mutex> lock(session.thread.CaptureControl);
    return start_locked(session, transfer_started);
}

std::shared_ptr<platform::Thread> snapshot_capture_thread(Session &session, bool &started) {
    started = false;
    std::lock_guard<std::mutex> lock(session.thread.CaptureControl);
    if (!session.thread.CaptureThread) {
        if (!start_locked(session, 0)) return nullptr;
        started = true;
    }
    return session.thread.CaptureThread;
}

std::shared_ptr<platform::Thread> current_capture_thread(Session &session) {
    std::lock_guard<std::mutex> lock(session.thread.CaptureControl);
    return session.thread.CaptureThread;
}

void stop_capture_thread(Session &session) {
    if (on_capture_thread(session)) {
        // A callback can't wait for the thread it runs on: ask it to end. It
        // stays set until somebody stops it from outside.
        session.thread.StopEvent.set();
        return;
    }
    std::lock_guard<std::mutex> lock(session.thread.CaptureControl);
    stop_locked(session);
}

void stop_capture_thread_if(Session &session, const std::shared_ptr<platform::Thread> &thread) {
    if (on_capture_thread(session)) return;
    std::lock_guard<std::mutex> lock(session.thread.CaptureControl);
    if (session.thread.CaptureThread == thread) stop_locked(session);
}

void stop_capture(Session &session) { stop_capture_thread(session); }

bool create_frame_buffers(Session &session) {
    const uint32_t width = session.mode.Width;
    const uint32_t height = session.mode.Height;
    const uint32_t format = session.mode.PreviewPixelFormat;
    if (!session.preview.StraightPair.create(width, height, format) ||
        !session.preview.RotatedPair.create(height, width, format)) {
        release_frame_buffers(session);
        session.set_error(platform::kErrorNotEnoughMemory);
        return false;
    }
    session.RawSnapshot.DoneEvent.reset();
    session.PreviewSnapshot.DoneEvent.reset();
    session.thread.BuffersReady = 1;
    return true;
}

void release_frame_buffers(Session &session) {
    session.preview.StraightPair.release();
    session.preview.RotatedPair.release();
    session.thread.BuffersReady = 0;
}

}  // namespace kavix
