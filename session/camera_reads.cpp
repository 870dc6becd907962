#include "session/camera_reads.h"

#include "session/camera_info.h"
#include "session/fpga_status.h"
#include "session/lifecycle_steps.h"
#include "session/model_table.h"
#include "session/scan_state.h"
#include "session/vendor_request.h"
#include "session/wire.h"

namespace kavix {

namespace {

// Functions: mirror in the camera, horizontal and vertical.
constexpr uint32_t kFunctionCameraMirrorH = 22;
constexpr uint32_t kFunctionCameraMirrorV = 23;

// Preview formats a camera offers: BGR24 and BGR32, and mono 8 on mono cameras.
constexpr uint32_t kColourPreviewFormats = KAVIX_PREVIEW_BGR24 | KAVIX_PREVIEW_BGR32;
constexpr uint32_t kMonoPreviewFormats = kColourPreviewFormats | KAVIX_PREVIEW_MONO8;

constexpr uint16_t kWhiteBalanceRecordBytes = 64;
constexpr uint16_t kTransferFormatRecordBytes = 6;
constexpr uint16_t kShortClockRecordBytes = 6;
constexpr uint16_t kLongClockRecordBytes = 10;

bool read_info_record(Session &session) {
    uint8_t record[kCameraInfoRecordBytes] = {};
    if (!read_camera_record(session, kRequestCameraInfo, record, sizeof record)) return false;
    CameraInfo &info = session.info;
    decode_camera_info(record, info);
    // Old firmware doesn't report its size; the model table knows it.
    if (info.MaxWidth == 0 || info.MaxHeight == 0) {
        const ModelSize size = model_fallback_size(info.ProductId);
        info.MaxWidth = size.width;
        info.MaxHeight = size.height;
    }
    return true;
}

bool read_function_bits(Session &session) {
    if (!session.has_fpga()) return true;  // no FPGA: the words stay zero
    uint8_t words[sizeof(FunctionBits)] = {};
    if (transfer_status_words(session, Direction::In, 0, kFunctionBitsStatusId,
                              static_cast<uint16_t>(session.functions.size()), words) == 0) {
        return false;
    }
    for (size_t w = 0; w < session.functions.size(); ++w) {
        session.functions[w] = wire::u16(words + 2 * w);
    }
    return true;
}

void set_preview_formats_for_colour(Session &session) {
    session.mode.EnablePreviewFormats = kColourPreviewFormats;
    if (session.is_mono()) {
        session.mode.EnablePreviewFormats = kMonoPreviewFormats;
        session.processing.InterpolationMethod[0] = 0;
        session.processing.InterpolationMethod[1] = 0;
    }
}

bool read_white_balance_defaults(Session &session) {
    uint8_t record[kWhiteBalanceRecordBytes] = {};
    if (!read_camera_record(session, kRequestWhiteBalanceDefaults, record, sizeof record)) {
        return false;
    }
    for (int i = 0; i < 4; ++i) session.defaults.WhiteBalanceGains[i] = wire::u16(record + 2 + 2 * i);
    return true;
}

bool read_camera_mirror(Session &session) {
    if (!session.has_function(kFunctionCameraMirrorH) &&
        !session.has_function(kFunctionCameraMirrorV)) {
        return true;
    }
    uint8_t word[2] = {};
    if (transfer_status_words(session, Direction::In, 0, kStatusCameraMirror, 1, word) == 0) {
        return false;
    }
    uint8_t &mirror = session.processing.MirrorMode;
    mirror = static_cast<uint8_t>((mirror & 0x0F) | ((word[0] & 0x0F) << 4));
    return true;
}

}  // namespace

bool read_camera_information(Session &session) {
    if (!read_info_record(session) || !read_function_bits(session)) return false;
    set_preview_formats_for_colour(session);
    return read_white_balance_defaults(session) && read_scan_state(session);
}

bool read_transfer_format(Session &session) {
    if (session.info.EnableTransferBits == KAVIX_TRANSFER_RAW8) {
        session.mode.TransferBits = KAVIX_TRANSFER_RAW8;
        return true;
    }
    uint8_t record[kTransferFormatRecordBytes] = {};
    if (!read_camera_record(session, kRequestTransferFormat, record, sizeof record)) return false;
    session.mode.TransferBits = wire::u32(record + 2);
    return true;
}

bool read_clock(Session &session) {
    uint8_t record[kLongClockRecordBytes] = {};
    uint32_t moved = 0;
    if (camera_transfer(session, Direction::In, kRequestClock, 0, 0, record, sizeof record,
                        &moved) == 0) {
        return false;
    }
    if (moved == kShortClockRecordBytes) {
        session.mode.ClockHz = wire::u32(record + 2);
        session.mode.ClockMode = 0;
    } else if (moved == kLongClockRecordBytes) {
        session.mode.ClockMode = wire::u32(record + 2);
        session.mode.ClockHz = wire::u32(record + 6);
    } else {
        session.set_error(KAVIX_E_TRANSFER_FAILED);
        return false;
    }
    return true;
}

bool read_camera_state(Session &session) {
    if (!read_scan_state(session) || !read_transfer_format(session) || !read_clock(session) ||
        !synchronise_luminance_control(session) || !read_camera_mirror(session)) {
        return false;
    }
    create_register_table(session);
    return true;
}

}  // namespace kavix
