// Exports of the transfer format (what the camera sends) and the preview
// pixel format (what the library makes of it). Both change the frame sizes,
// so both rebuild the frame buffers and refuse to run beside a capture
// thread.
#include "KavixD.h"
#include "sensor/session_refresh.h"
#include "session/camera_reads.h"
#include "session/export_frame.h"
#include "session/frame_sizes.h"
#include "session/lifecycle_steps.h"
#include "session/preview_format.h"
#include "session/scan_state.h"
#include "session/vendor_request.h"
#include "session/wire.h"

namespace kavix {

namespace {

constexpr uint16_t kTransferFormatRecordBytes = 6;

// A camera whose mask is exactly raw 8 bits has one format and no request
// for it.
bool fixed_format(const Session &s) { return s.info.EnableTransferBits == KAVIX_TRANSFER_RAW8; }

}  // namespace
}  // namespace kavix

using kavix::Session;

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetEnableTransferBitsPerPixel(KAVIX_HANDLE camera,
                                                                    uint32_t *mask) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (mask == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *mask = s.info.EnableTransferBits;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetTransferBitsPerPixel(KAVIX_HANDLE camera,
                                                              uint32_t *bits) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (bits == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        if (kavix::fixed_format(s)) {
            *bits = KAVIX_TRANSFER_RAW8;
            return 1;
        }
        uint8_t record[kavix::kTransferFormatRecordBytes] = {};
        if (!kavix::read_camera_record(s, kavix::kRequestTransferFormat, record, sizeof record)) {
            return 0;
        }
        // Formats fit in three bytes; the fourth isn't read.
        *bits = uint32_t{record[2]} | (uint32_t{record[3]} << 8) | (uint32_t{record[4]} << 16);
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetTransferBitsPerPixel(KAVIX_HANDLE camera,
                                                              uint32_t bits) {
    return kavix::session_export(camera, [&](Session &s) -> int32_t {
        if (kavix::sensor::capture_thread_exists(s)) return s.fail(KAVIX_E_CAPTURE_RUNNING);
        if ((bits & s.info.EnableTransferBits) == 0) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        int32_t result = 1;
        if (!kavix::fixed_format(s)) {
            uint8_t record[kavix::kTransferFormatRecordBytes] = {kavix::kTransferFormatRecordBytes,
                                                                 kavix::kRequestTransferFormat};
            kavix::wire::put_u32(record + 2, bits);
            // A refused request doesn't stop the change: the session takes
            // the format all the same, and the result tells the caller.
            result = static_cast<int32_t>(kavix::camera_transfer(
                s, kavix::Direction::Out, kavix::kRequestTransferFormat, 0, 0, record,
                sizeof record));
            kavix::read_scan_state(s);
        }
        if (s.thread.BuffersReady != 0) kavix::release_frame_buffers(s);
        s.mode.TransferBits = bits;
        kavix::compute_frame_sizes(s);
        if (!kavix::create_frame_buffers(s)) return 0;
        return result;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetEnablePreviewPixelFormat(KAVIX_HANDLE camera,
                                                                  uint32_t *mask) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (mask == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *mask = s.mode.EnablePreviewFormats;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetPreviewPixelFormat(KAVIX_HANDLE camera,
                                                            uint32_t *format) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (format == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *format = s.mode.PreviewPixelFormat;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetPreviewPixelFormat(KAVIX_HANDLE camera,
                                                            uint32_t format) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (kavix::sensor::capture_thread_exists(s)) return s.fail(KAVIX_E_CAPTURE_RUNNING);
        return kavix::apply_preview_pixel_format(s, format) ? 1 : 0;
    });
}
