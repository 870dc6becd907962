#pragma once
#include <cstdint>

#include "KavixUSBD.h"

namespace kavix::platform {

// The calling thread's Windows-style error number. One value per thread shared
// by both libraries: it is kept by the transport library.
inline uint32_t last_error() { return KavixUSBD_GetLastError(); }
inline void set_last_error(uint32_t error) { KavixUSBD_SetLastError(error); }

}  // namespace kavix::platform
