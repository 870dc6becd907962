#include "transport/usb/usb_device.h"

#include <libusb.h>

#include "transport/usb/usb_errors.h"
#include "transport/usb/usb_stream.h"
#include "transport/windows_errors.h"

namespace kavix::usb {

namespace {
// Long enough for an EEPROM page write; the camera answers others at once.
constexpr unsigned kControlTimeoutMs = 5000;
constexpr int kInterface = 0;
}  // namespace

UsbDevice::UsbDevice(libusb_context *context, libusb_device_handle *handle)
    : handle_(handle), stream_(std::make_unique<UsbStream>(context, handle)) {
    libusb_set_auto_detach_kernel_driver(handle_, 1);
    const int r = libusb_claim_interface(handle_, kInterface);
    claimed_ = r == LIBUSB_SUCCESS;
    held_elsewhere_ = r == LIBUSB_ERROR_BUSY;
}

UsbDevice::~UsbDevice() {
    stream_.reset();
    if (claimed_) libusb_release_interface(handle_, kInterface);
    libusb_close(handle_);
}

uint32_t UsbDevice::control(const transport::SetupPacket &s, uint8_t *data,
                            uint32_t &transferred) {
    transferred = 0;
    const int r = libusb_control_transfer(handle_, s.request_type, s.request, s.value, s.index,
                                          data, s.length, kControlTimeoutMs);
    if (r < 0) return windows_error(r);
    transferred = static_cast<uint32_t>(r);
    return transport::win::kSuccess;
}

uint32_t UsbDevice::config_descriptor(std::vector<uint8_t> &out) {
    // The header first, for the total length of the set.
    uint8_t header[9];
    int r = libusb_get_descriptor(handle_, LIBUSB_DT_CONFIG, 0, header, sizeof header);
    if (r < 0) return windows_error(r);
    if (r < 4) return transport::win::kGenFailure;
    out.resize(static_cast<size_t>(header[2] | (header[3] << 8)));
    r = libusb_get_descriptor(handle_, LIBUSB_DT_CONFIG, 0, out.data(),
                              static_cast<int>(out.size()));
    if (r < 0) return windows_error(r);
    out.resize(static_cast<size_t>(r));
    return transport::win::kSuccess;
}

uint32_t UsbDevice::function_address(uint8_t &address) {
    address = libusb_get_device_address(libusb_get_device(handle_));
    return transport::win::kSuccess;
}

uint32_t UsbDevice::probe() {
    int configuration = 0;
    const int r = libusb_get_configuration(handle_, &configuration);
    if (r < 0) return windows_error(r);
    return configuration ? transport::win::kSuccess : transport::win::kGenFailure;
}

uint32_t UsbDevice::recover(transport::Recovery kind) {
    if (kind == transport::Recovery::ResetPort) return windows_error(libusb_reset_device(handle_));
    // Clear a halt on every bulk endpoint of the active configuration.
    libusb_config_descriptor *config = nullptr;
    int r = libusb_get_active_config_descriptor(libusb_get_device(handle_), &config);
    if (r < 0) return windows_error(r);
    for (int i = 0; i < config->bNumInterfaces && r >= 0; ++i)
        for (int a = 0; a < config->interface[i].num_altsetting && r >= 0; ++a) {
            const libusb_interface_descriptor &alt = config->interface[i].altsetting[a];
            for (int e = 0; e < alt.bNumEndpoints && r >= 0; ++e)
                if ((alt.endpoint[e].bmAttributes & 3) == LIBUSB_TRANSFER_TYPE_BULK)
                    r = libusb_clear_halt(handle_, alt.endpoint[e].bEndpointAddress);
        }
    libusb_free_config_descriptor(config);
    return r < 0 ? windows_error(r) : transport::win::kSuccess;
}

// The driver interface this transport offers, in the numbering its clients
// check (3.x is the version with both recovery operations), followed by the
// libusb version underneath.
uint32_t UsbDevice::driver_version(uint32_t (&words)[4]) {
    const libusb_version *v = libusb_get_version();
    words[0] = 0x30000;
    words[1] = 10;
    words[2] = (uint32_t{v->major} << 16) | v->minor;
    words[3] = v->micro;
    return transport::win::kSuccess;
}

uint32_t UsbDevice::external_clients() { return held_elsewhere_ ? 1 : 0; }

uint32_t UsbDevice::start_stream() { return stream_->start(); }

uint32_t UsbDevice::stop_stream() { return stream_->stop(); }

uint32_t UsbDevice::post_stream_read(uint32_t slot, void *buffer, uint32_t length,
                                     KAVIXUSBD_STREAM_DONE done, void *context) {
    return stream_->post(slot, buffer, length, done, context);
}

uint32_t UsbDevice::stream_result(uint32_t slot, bool wait, uint32_t &transferred) {
    return stream_->result(slot, wait, transferred);
}

}  // namespace kavix::usb
