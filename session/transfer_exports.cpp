// Exports of the capture family: transfer, snapshots and the preview pixel
// read.
#include <cstdlib>
#include <mutex>

#include "KavixD.h"
#include "platform/error_numbers.h"
#include "session/capture_loop.h"
#include "session/export_frame.h"
#include "session/snapshot.h"

using kavix::Session;

extern "C" KAVIX_API KAVIX_BOOL Kavix_StartTransfer(KAVIX_HANDLE camera) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        return kavix::start_capture_thread(s, 1) ? 1 : 0;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_StopTransfer(KAVIX_HANDLE camera) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        kavix::stop_capture_thread(s);
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_TakeRawSnapShot(KAVIX_HANDLE camera, uint8_t *buffer, uint32_t size,
                                                      uint32_t *bytes_taken, uint32_t *frame_numbers,
                                                      uint32_t timeout_ms) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        return kavix::take_snapshot(s, s.RawSnapshot, s.mode.RawSize, buffer, size, bytes_taken, frame_numbers,
                                    timeout_ms);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_TakePreviewSnapShot(KAVIX_HANDLE camera, uint8_t *buffer, uint32_t size,
                                                          uint32_t *bytes_taken, uint32_t *frame_numbers,
                                                          uint32_t timeout_ms) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        return kavix::take_snapshot(s, s.PreviewSnapshot, s.mode.PreviewSizeB, buffer, size, bytes_taken,
                                    frame_numbers, timeout_ms);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetPreviewImagePixelValue(KAVIX_HANDLE camera, uint32_t x, uint32_t y,
                                                                uint32_t *value) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (value == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        std::lock_guard<std::mutex> lock(s.preview.FrameSwapMutex);
        const kavix::FrameBufferPair &pair = s.preview.RotatedPairInUse.load(std::memory_order_acquire) != 0
                                                 ? s.preview.RotatedPair
                                                 : s.preview.StraightPair;
        const int64_t width = pair.info_width();
        const int64_t height = std::llabs(pair.info_height());
        const uint32_t bytes_per_pixel = pair.info_bit_count() / 8u;
        *value = 0;
        if (x < width && y < height && pair.created()) {
            const uint8_t *p = pair.bits(pair.read_index) + (uint64_t(y) * uint64_t(width) + x) * bytes_per_pixel;
            if (bytes_per_pixel == 1) {
                *value = uint32_t(p[0]) << 16 | uint32_t(p[0]) << 8 | p[0];
            } else if (bytes_per_pixel == 3 || bytes_per_pixel == 4) {
                *value = uint32_t(p[0]) << 16 | uint32_t(p[1]) << 8 | p[2];
            }
        }
        return 1;
    });
}

