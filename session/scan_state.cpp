#include "session/scan_state.h"

#include "session/vendor_request.h"
#include "session/wire.h"

namespace kavix {

namespace {
// Function: the scan state carries the five exposure limit words.
constexpr uint32_t kFunctionScanStateLimits = 48;
// Scan modes whose long exposure may run over the frame.
constexpr uint16_t kLongExposureScanModes[] = {4, 32};
constexpr uint32_t kLongExposureLimitLine = 4090;
}  // namespace

void apply_scan_state(Session &session, const uint8_t (&record)[kScanStateBytes]) {
    const uint8_t *r = record;
    CurrentMode &m = session.mode;
    m.Width = wire::u32(r + 6);
    m.Height = wire::u32(r + 10);
    m.OffsetX = wire::u32(r + 14);
    m.OffsetY = wire::u32(r + 18);
    m.ScanMode = wire::u16(r + 22);
    m.LinesPerFrame = wire::u16(r + 26);
    m.ClocksPerLine = wire::u16(r + 28);
    session.defaults.MaxGain = wire::u16(r + 30);
    session.defaults.DefaultGain = wire::u16(r + 32);
    session.defaults.DefaultDigitalGain = wire::u16(r + 34);
    if (session.has_function(kFunctionScanStateLimits)) {
        m.ShutterMaxClock = wire::u32(r + 36);
        m.ShortLimitClock = wire::u32(r + 40);
        m.ShortLimitLine = wire::u32(r + 44);
        m.LongLimitClock = wire::u32(r + 48);
        m.LongLimitLine = wire::u32(r + 52);
        return;
    }
    m.ShutterMaxClock = uint32_t{m.ClocksPerLine} - 1u;
    m.ShortLimitClock = 0;
    m.ShortLimitLine = m.LinesPerFrame;
    m.LongLimitClock = 0;
    m.LongLimitLine = m.LinesPerFrame;
    for (uint16_t mode : kLongExposureScanModes) {
        if (m.ScanMode == mode) m.LongLimitLine = kLongExposureLimitLine;
    }
}

bool read_scan_state(Session &session) {
    uint8_t record[kScanStateBytes] = {};
    if (!read_camera_record(session, kRequestScanState, record, kScanStateBytes)) return false;
    apply_scan_state(session, record);
    return true;
}

}  // namespace kavix
