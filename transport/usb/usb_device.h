#pragma once
#include <cstdint>
#include <vector>

#include "transport/device.h"

struct libusb_device_handle;

namespace kavix::usb {

// A real camera opened through libusb. Vendor control transfers go to the
// device; the vendor interface is claimed when nobody else holds it, and a
// device held by another process counts that process as a client.
class UsbDevice final : public transport::Device {
public:
    explicit UsbDevice(libusb_device_handle *handle);
    ~UsbDevice() override;
    UsbDevice(const UsbDevice &) = delete;
    UsbDevice &operator=(const UsbDevice &) = delete;

    uint32_t control(const transport::SetupPacket &setup, uint8_t *data,
                     uint32_t &transferred) override;
    uint32_t config_descriptor(std::vector<uint8_t> &out) override;
    uint32_t function_address(uint8_t &address) override;
    uint32_t probe() override;
    uint32_t recover(transport::Recovery kind) override;
    uint32_t driver_version(uint32_t (&words)[4]) override;
    uint32_t external_clients() override;

private:
    libusb_device_handle *handle_;
    bool claimed_ = false;
    bool held_elsewhere_ = false;
};

}  // namespace kavix::usb
