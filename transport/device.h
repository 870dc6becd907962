#pragma once
#include <cstdint>
#include <span>
#include <vector>

#include "KavixUSBD.h"

namespace kavix::transport {

// The eight bytes of a control transfer's setup stage.
struct SetupPacket {
    uint8_t request_type = 0;  // bit 7: device to host
    uint8_t request = 0;
    uint16_t value = 0;
    uint16_t index = 0;
    uint16_t length = 0;

    bool is_in() const { return (request_type & 0x80) != 0; }
};

// The two recovery operations a driver offers for a device that stops
// answering: the first resets its pipes, the second resets its port.
enum class Recovery { ResetPipes, ResetPort };

// One camera on a bus, as the transport sees it. Both backends (libusb and
// the simulator) implement it; every operation above the raw transfers
// (EEPROM, I2C, firmware download, speed) is built on these in common code.
// All calls are synchronous and may come from any thread at once.
// Results are Windows error numbers: 0 for success.
class Device {
public:
    virtual ~Device() = default;

    // One control transfer. `data` holds `setup.length` bytes; `transferred`
    // gets the bytes moved by the data stage, also on failure.
    virtual uint32_t control(const SetupPacket &setup, uint8_t *data, uint32_t &transferred) = 0;

    // The active configuration descriptor with all its subordinates.
    virtual uint32_t config_descriptor(std::vector<uint8_t> &out) = 0;

    // The device's USB address on its bus.
    virtual uint32_t function_address(uint8_t &address) = 0;

    // Whether the device answers and can be used.
    virtual uint32_t probe() = 0;
    virtual uint32_t recover(Recovery kind) = 0;

    // The kernel driver's version, four words (major-style, minor-style, ...).
    virtual uint32_t driver_version(uint32_t (&words)[4]) = 0;

    // Clients outside this process that hold the device.
    virtual uint32_t external_clients() = 0;

    // ---- The bulk IN stream of frames (the contract stands in KavixUSBD.h).
    // Whether a stream that failed with 31 can be restarted in place.
    virtual bool stream_restartable() = 0;
    virtual uint32_t start_stream() = 0;
    virtual uint32_t stop_stream() = 0;
    virtual uint32_t post_stream_read(uint32_t slot, void *buffer, uint32_t length,
                                      KAVIXUSBD_STREAM_DONE done, void *context) = 0;
    // `transferred` gets the bytes that arrived, also on failure.
    virtual uint32_t stream_result(uint32_t slot, bool wait, uint32_t &transferred) = 0;
};

}  // namespace kavix::transport
