#pragma once
// Camera commands: one vendor control transfer each, never retried. A failed
// transfer, or a record that comes back shorter than asked, leaves
// KAVIX_E_TRANSFER_FAILED in the session.
#include <cstdint>

#include "session/session.h"

namespace kavix {

// Vendor requests of the camera.
enum CameraRequest : uint8_t {
    kRequestCameraInfo = 0x11,
    kRequestScanState = 0x12,
    kRequestTransferFormat = 0x13,
    kRequestClearBuffer = 0x20,
    kRequestShutterGain = 0x21,
    kRequestClock = 0x22,
    kRequestWhiteBalanceDefaults = 0x23,
    kRequestSoftTrigger = 0x30,
    kRequestStatusWords = 0x80,
    kRequestSettingSpace = 0x81,
    kRequestDataSpace = 0x82,
};

enum class Direction : uint8_t { In, Out };

// One transfer. Gives the transport's result: 0 on failure (the session's
// error is then KAVIX_E_TRANSFER_FAILED). The count moved is stored in
// `transferred` when that is given; nothing checks it here.
uint32_t camera_transfer(Session &session, Direction direction, uint8_t request, uint16_t value,
                         uint16_t index, void *data, uint16_t length,
                         uint32_t *transferred = nullptr);

// Reads a record with value and index 0 that must come back whole: a failed
// transfer or a different count gives false with KAVIX_E_TRANSFER_FAILED.
bool read_camera_record(Session &session, uint8_t request, void *record, uint16_t length);

}  // namespace kavix
