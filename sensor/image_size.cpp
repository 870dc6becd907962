#include "sensor/image_size.h"

#include "sensor/scan_modes.h"
#include "sensor/session_refresh.h"
#include "session/export_frame.h"
#include "session/scan_state.h"
#include "session/vendor_request.h"
#include "session/wire.h"

namespace kavix::sensor {

bool set_image_size(Session &session, uint16_t scan_mode, uint32_t offset_x, uint32_t offset_y,
                    uint32_t width, uint32_t height, bool resize_preview) {
    if (scan_mode != kScanModeFreeRegion) {
        width = session.mode.Width;
        offset_x = session.mode.OffsetX;
    }
    uint8_t record[kScanStateBytes] = {kScanStateBytes, kRequestScanState};
    wire::put_u32(record + 6, width);
    wire::put_u32(record + 10, height);
    wire::put_u32(record + 14, offset_x);
    wire::put_u32(record + 18, offset_y);
    wire::put_u16(record + 22, scan_mode);
    uint32_t moved = 0;
    uint32_t noted_error = 0;
    if (camera_transfer(session, Direction::Out, kRequestScanState, 0, 0, record, sizeof record,
                        &moved) == 0 ||
        moved != sizeof record) {
        noted_error = KAVIX_E_TRANSFER_FAILED;
        session.set_error(noted_error);
    }
    return refresh_session(session, resize_preview, noted_error);
}

}  // namespace kavix::sensor

using kavix::Session;
using kavix::sensor::capture_thread_exists;

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetImageSize(KAVIX_HANDLE camera, uint32_t,
                                                   uint16_t scan_mode, uint32_t offset_x,
                                                   uint32_t offset_y, uint32_t width,
                                                   uint32_t height) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (capture_thread_exists(s)) return s.fail(KAVIX_E_CAPTURE_RUNNING);
        return kavix::sensor::set_image_size(s, scan_mode, offset_x, offset_y, width, height,
                                             true);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetImageSize(KAVIX_HANDLE camera, void *,
                                                   uint16_t *scan_mode, uint32_t *offset_x,
                                                   uint32_t *offset_y, uint32_t *width,
                                                   uint32_t *height) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (scan_mode == nullptr || offset_x == nullptr || offset_y == nullptr ||
            width == nullptr || height == nullptr) {
            return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        *scan_mode = s.mode.ScanMode;
        *offset_x = s.mode.OffsetX;
        *offset_y = s.mode.OffsetY;
        *width = s.mode.Width;
        *height = s.mode.Height;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetEnableImageSize(KAVIX_HANDLE camera, uint32_t *size_flags,
                                                         uint16_t *scan_modes) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (scan_modes == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        if (size_flags != nullptr) *size_flags = s.info.EnableImageSizeFlags;
        *scan_modes = s.info.EnableScanModes;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetMaximumImageSize(KAVIX_HANDLE camera, uint32_t *width,
                                                          uint32_t *height) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (width == nullptr || height == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *width = s.info.MaxWidth;
        *height = s.info.MaxHeight;
        return 1;
    });
}
