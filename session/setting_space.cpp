#include "session/setting_space.h"

#include "session/vendor_request.h"

namespace kavix {

namespace {

bool transfer(Session &session, Direction direction, uint32_t address, void *data,
              uint16_t bytes) {
    uint32_t moved = 0;
    if (camera_transfer(session, direction, kRequestSettingSpace,
                        static_cast<uint16_t>(address & 0xFFFF), static_cast<uint16_t>(address >> 16),
                        data, bytes, &moved) == 0) {
        return false;
    }
    if (moved != bytes) {
        session.set_error(KAVIX_E_TRANSFER_FAILED);
        return false;
    }
    return true;
}

}  // namespace

bool write_setting_space(Session &session, uint32_t address, const void *data, uint16_t bytes) {
    // Out transfers only read the buffer.
    return transfer(session, Direction::Out, address, const_cast<void *>(data), bytes);
}

bool read_setting_space(Session &session, uint32_t address, void *data, uint16_t bytes) {
    return transfer(session, Direction::In, address, data, bytes);
}

}  // namespace kavix
