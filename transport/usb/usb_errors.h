#pragma once
#include <cstdint>

namespace kavix::usb {

// A libusb error code as the Windows error number that the transport's
// clients expect: no device 1167, stall 31, overflow 23, I/O 31, time-out 121,
// access 5, no memory 8.
uint32_t windows_error(int libusb_error);

}  // namespace kavix::usb
