#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "transport/device.h"

struct libusb_context;
struct libusb_device_handle;

namespace kavix::usb {

// A real camera opened through libusb. Vendor control transfers go to the
// device; the vendor interface is claimed when nobody else holds it, and a
// device held by another process counts that process as a client.
class UsbDevice final : public transport::Device {
public:
    UsbDevice(libusb_context *context, libusb_device_handle *handle);
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

    bool stream_restartable() override { return true; }
    uint32_t start_stream() override;
    uint32_t stop_stream() override;
    uint32_t post_stream_read(uint32_t slot, void *buffer, uint32_t length,
                              KAVIXUSBD_STREAM_DONE done, void *context) override;
    uint32_t stream_result(uint32_t slot, bool wait, uint32_t &transferred) override;

private:
    libusb_device_handle *handle_;
    std::unique_ptr<class UsbStream> stream_;  // ended before the handle closes
    bool claimed_ = false;
    bool held_elsewhere_ = false;
};

}  // namespace kavix::usb
