#include "transport/usb/usb_errors.h"

#include <libusb.h>

#include "transport/windows_errors.h"

namespace kavix::usb {

namespace win = transport::win;

uint32_t windows_error(int e) {
    switch (e) {
        case LIBUSB_SUCCESS: return win::kSuccess;
        case LIBUSB_ERROR_NO_DEVICE: return win::kDeviceNotConnected;
        case LIBUSB_ERROR_NOT_FOUND: return win::kDeviceNotConnected;
        case LIBUSB_ERROR_PIPE: return win::kGenFailure;
        case LIBUSB_ERROR_OVERFLOW: return win::kCrc;
        case LIBUSB_ERROR_IO: return win::kGenFailure;
        case LIBUSB_ERROR_TIMEOUT: return win::kSemTimeout;
        case LIBUSB_ERROR_ACCESS: return win::kAccessDenied;
        case LIBUSB_ERROR_NO_MEM: return win::kNotEnoughMemory;
        case LIBUSB_ERROR_INVALID_PARAM: return win::kInvalidParameter;
        case LIBUSB_ERROR_BUSY: return win::kBusy;
        case LIBUSB_ERROR_NOT_SUPPORTED: return win::kNotSupported;
        case LIBUSB_ERROR_INTERRUPTED: return win::kOperationAborted;
        default: return win::kGenFailure;
    }
}

}  // namespace kavix::usb
