#pragma once
#include <mutex>
#include <vector>

#include "transport/device_list.h"

struct libusb_context;

namespace kavix::usb {

// Real cameras of the family on the machine's USB buses, through libusb-1.0.
// A machine without USB access (no usbfs, a container) simply has none.
class UsbBus {
public:
    static UsbBus &instance();
    ~UsbBus();

    // The family's devices, ordered by bus and port path so that indexes stay
    // put while nothing is plugged.
    std::vector<transport::FoundDevice> devices();

private:
    UsbBus();
    std::mutex mutex_;
    libusb_context *context_ = nullptr;
};

}  // namespace kavix::usb
