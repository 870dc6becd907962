#pragma once
// Status words of the camera's FPGA: request 128, the status id as value, a
// selector as index (0 but for the defect table), twice the word count as
// length, the words little-endian.
#include <cstdint>

#include "session/session.h"
#include "session/vendor_request.h"

namespace kavix {

// Status ids the session itself uses.
inline constexpr uint16_t kStatusCameraMode = 101;  // written 0 at open, 1 at close
inline constexpr uint16_t kStatusCameraMirror = 63;

// One status transfer. A model without FPGA gives KAVIX_E_NO_FPGA, a failed
// transfer KAVIX_E_TRANSFER_FAILED; otherwise the transport's own non-zero
// result. The count moved isn't checked.
uint32_t transfer_status_words(Session &session, Direction direction, uint16_t selector,
                               uint16_t id, uint16_t words, void *data);

// Writes the camera mode word (status 101, selector 0).
uint32_t write_camera_mode(Session &session, uint16_t mode);

}  // namespace kavix
