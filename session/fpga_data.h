#pragma once
// The FPGA's flat 24-bit data space: request 130, value the address's low
// byte shifted left 8 or'ed with a selector, index address bits 8 to 23,
// length a multiple of 4.
#include <cstdint>

#include "session/session.h"
#include "session/vendor_request.h"

namespace kavix {

// Selector of the register space that the register table describes.
inline constexpr uint8_t kRegisterSpaceSelector = 1;

// One data transfer: KAVIX_E_NO_FPGA without FPGA or without function 64,
// KAVIX_ERROR_INVALID_PARAMETER for a length that isn't a multiple of 4,
// KAVIX_E_TRANSFER_FAILED for a failed transfer; otherwise the transport's
// own non-zero result.
uint32_t transfer_data_space(Session &session, Direction direction, uint8_t selector,
                             uint32_t address, void *data, uint16_t bytes);

}  // namespace kavix
