#include "session/fpga_data.h"

namespace kavix {

namespace {
constexpr uint32_t kFunctionDataSpace = 64;
}

uint32_t transfer_data_space(Session &session, Direction direction, uint8_t selector,
                             uint32_t address, void *data, uint16_t bytes) {
    if (!session.has_fpga() || !session.has_function(kFunctionDataSpace)) {
        return session.fail(KAVIX_E_NO_FPGA);
    }
    if ((bytes & 3u) != 0) return session.fail(KAVIX_ERROR_INVALID_PARAMETER);
    const auto value = static_cast<uint16_t>(((address & 0xFFu) << 8) | selector);
    const auto index = static_cast<uint16_t>((address >> 8) & 0xFFFFu);
    return camera_transfer(session, direction, kRequestDataSpace, value, index, data, bytes);
}

}  // namespace kavix
