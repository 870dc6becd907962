// libusb errors as the Windows numbers the transport's clients expect.
#include <gtest/gtest.h>
#include <libusb.h>

#include "transport/usb/usb_errors.h"

namespace kavix::test {
namespace {

TEST(UsbErrors, MapToWindowsNumbers) {
    struct Case {
        int libusb;
        uint32_t windows;
    };
    const Case cases[] = {
        {LIBUSB_SUCCESS, 0},
        {LIBUSB_ERROR_NO_DEVICE, 1167},  // unplugged
        {LIBUSB_ERROR_PIPE, 31},         // stall
        {LIBUSB_ERROR_OVERFLOW, 23},     // babble: as a CRC error
        {LIBUSB_ERROR_IO, 31},
        {LIBUSB_ERROR_TIMEOUT, 121},
        {LIBUSB_ERROR_ACCESS, 5},
        {LIBUSB_ERROR_NO_MEM, 8},
        {LIBUSB_ERROR_INVALID_PARAM, 87},
        {LIBUSB_ERROR_NOT_FOUND, 1167},  // gone after a port reset
        {LIBUSB_ERROR_BUSY, 170},
        {LIBUSB_ERROR_NOT_SUPPORTED, 50},
        {LIBUSB_ERROR_INTERRUPTED, 995},
        {LIBUSB_ERROR_OTHER, 31},
        {-1000, 31},
    };
    for (const Case &k : cases) EXPECT_EQ(usb::windows_error(k.libusb), k.windows) << k.libusb;
}

}  // namespace
}  // namespace kavix::test
