#pragma once
// The camera's setting space: a small flat memory behind request 129, whose
// word at address 0 is the camera setting word. Addresses travel as the
// request's value (bits 0 to 15) and index (bits 16 to 31).
#include <cstdint>

#include "session/session.h"

namespace kavix {

// Address of the setting word.
inline constexpr uint32_t kSettingWordAddress = 0;

// Each moves `bytes` bytes; a failed transfer or another count gives false
// with KAVIX_E_TRANSFER_FAILED.
bool write_setting_space(Session &session, uint32_t address, const void *data, uint16_t bytes);
bool read_setting_space(Session &session, uint32_t address, void *data, uint16_t bytes);

}  // namespace kavix
