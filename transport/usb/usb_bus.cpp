#include "transport/usb/usb_bus.h"

#include <libusb.h>

#include <algorithm>
#include <string>

#include "transport/controller_protocol.h"
#include "transport/usb/usb_device.h"
#include "transport/usb/usb_errors.h"

namespace kavix::usb {

UsbBus &UsbBus::instance() {
    static UsbBus bus;
    return bus;
}

UsbBus::UsbBus() {
    if (libusb_init(&context_) != LIBUSB_SUCCESS) context_ = nullptr;
}

UsbBus::~UsbBus() {
    if (context_) libusb_exit(context_);
}

std::vector<transport::FoundDevice> UsbBus::devices() {
    std::vector<transport::FoundDevice> found;
    std::lock_guard lock(mutex_);
    if (!context_) return found;

    libusb_device **list = nullptr;
    const ssize_t n = libusb_get_device_list(context_, &list);
    if (n < 0) return found;

    struct Entry {
        std::string path;
        libusb_device *device;
    };
    std::vector<Entry> family;
    for (ssize_t i = 0; i < n; ++i) {
        libusb_device_descriptor d{};
        if (libusb_get_device_descriptor(list[i], &d) != LIBUSB_SUCCESS) continue;
        if (d.idVendor != transport::kVendorId) continue;
        uint8_t ports[8];
        const int depth = libusb_get_port_numbers(list[i], ports, sizeof ports);
        std::string path = std::to_string(libusb_get_bus_number(list[i]));
        for (int p = 0; p < depth; ++p) path += (p ? "." : "-") + std::to_string(ports[p]);
        // The address changes with every enumeration: a device that came back
        // is a new device, as its handles must notice.
        path += "@" + std::to_string(libusb_get_device_address(list[i]));
        family.push_back({"usb:" + path, libusb_ref_device(list[i])});
    }
    libusb_free_device_list(list, 1);
    std::sort(family.begin(), family.end(),
              [](const Entry &a, const Entry &b) { return a.path < b.path; });

    for (Entry &e : family) {
        // The reference taken above lives as long as the entry's opener.
        std::shared_ptr<libusb_device> device(e.device, libusb_unref_device);
        found.push_back({e.path, [device, context = context_](uint32_t &error) -> std::shared_ptr<transport::Device> {
                             libusb_device_handle *handle = nullptr;
                             const int r = libusb_open(device.get(), &handle);
                             if (r != LIBUSB_SUCCESS) {
                                 error = windows_error(r);
                                 return nullptr;
                             }
                             return std::make_shared<UsbDevice>(context, handle);
                         }});
    }
    return found;
}

}  // namespace kavix::usb
