#include "session/vendor_request.h"

namespace kavix {

uint32_t camera_transfer(Session &session, Direction direction, uint8_t request, uint16_t value,
                         uint16_t index, void *data, uint16_t length, uint32_t *transferred) {
    uint32_t moved = 0;
    const uint8_t type = direction == Direction::In ? KAVIXUSBD_REQUEST_IN : KAVIXUSBD_REQUEST_OUT;
    const uint32_t result = KavixUSBD_ControlTransfer(session.usb(), type, request, value, index,
                                                      length, data, &moved);
    if (transferred != nullptr) *transferred = moved;
    if (result == 0) session.set_error(KAVIX_E_TRANSFER_FAILED);
    return result;
}

bool read_camera_record(Session &session, uint8_t request, void *record, uint16_t length) {
    uint32_t moved = 0;
    if (camera_transfer(session, Direction::In, request, 0, 0, record, length, &moved) == 0) {
        return false;
    }
    if (moved != length) {
        session.set_error(KAVIX_E_TRANSFER_FAILED);
        return false;
    }
    return true;
}

}  // namespace kavix
