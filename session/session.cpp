#include "session/session.h"

#include "session/camera_functions.h"
#include "session/fpga_data.h"
#include "session/model_table.h"

namespace kavix {

bool KAVIX_COMMON_PARAM::has_fpga() const { return model_has_fpga(info.ProductId); }

bool KAVIX_COMMON_PARAM::has_function(uint32_t id) const {
    return camera_has_function(info, functions, id);
}

namespace {
constexpr uint32_t kRegisterAddressMask = 0xFFFFFF;
constexpr uint32_t kMaxRegisterSpan = 0xFFFF;  // one transfer's length
}  // namespace

uint32_t KAVIX_COMMON_PARAM::read_registers(uint32_t address, void *buffer, uint32_t bytes) {
    if (bytes > kMaxRegisterSpan) {
        set_error(KAVIX_ERROR_INVALID_PARAMETER);
        return last_error();
    }
    const uint32_t result = transfer_data_space(*this, Direction::In, kRegisterSpaceSelector,
                                                address & kRegisterAddressMask, buffer,
                                                static_cast<uint16_t>(bytes));
    return result != 0 ? 0 : last_error();
}

uint32_t KAVIX_COMMON_PARAM::write_registers(uint32_t address, const void *buffer,
                                             uint32_t bytes) {
    if (bytes > kMaxRegisterSpan) {
        set_error(KAVIX_ERROR_INVALID_PARAMETER);
        return last_error();
    }
    // Out transfers only read the buffer.
    const uint32_t result = transfer_data_space(*this, Direction::Out, kRegisterSpaceSelector,
                                                address & kRegisterAddressMask,
                                                const_cast<void *>(buffer),
                                                static_cast<uint16_t>(bytes));
    return result != 0 ? 0 : last_error();
}

}  // namespace kavix
