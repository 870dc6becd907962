#include "transport/controller_ops.h"

#include <algorithm>

#include "KavixUSBD.h"
#include "transport/controller_protocol.h"
#include "transport/windows_errors.h"

namespace kavix::transport {

namespace {

// One request per chunk; `value_of` and `index_of` give the setup fields of
// the chunk at a byte offset.
template <typename Value, typename Index>
uint32_t chunked(Device &device, bool read, uint8_t request, uint32_t count, uint8_t *buffer,
                 uint32_t &done, Value value_of, Index index_of) {
    done = 0;
    while (done < count) {
        const uint16_t n = static_cast<uint16_t>(std::min<uint32_t>(controller::kChunk, count - done));
        SetupPacket s;
        s.request_type = read ? KAVIXUSBD_REQUEST_IN : KAVIXUSBD_REQUEST_OUT;
        s.request = request;
        s.value = value_of(done);
        s.index = index_of(done);
        s.length = n;
        uint32_t moved = 0;
        const uint32_t error = device.control(s, buffer + done, moved);
        done += std::min<uint32_t>(moved, n);
        if (error) return error;
        if (moved != n) return win::kGenFailure;
    }
    return win::kSuccess;
}

}  // namespace

uint32_t eeprom_transfer(Device &device, bool read, uint32_t first, uint32_t last,
                         uint8_t *buffer, uint32_t &done) {
    done = 0;
    if (!buffer || last < first || last > 0xFFFF) return win::kInvalidParameter;
    return chunked(
        device, read, controller::kRequestEeprom, last - first + 1, buffer, done,
        [first](uint32_t off) { return static_cast<uint16_t>(first + off); },
        [](uint32_t) { return uint16_t{0}; });
}

uint32_t i2c_transfer(Device &device, bool read, bool word_address, uint8_t bus, uint8_t address,
                      uint16_t sub_address, uint32_t count, uint8_t *buffer, uint32_t &done) {
    done = 0;
    if (count && !buffer) return win::kInvalidParameter;
    const uint16_t index = static_cast<uint16_t>((bus << 8) | address);
    // The device steps its register pointer itself and wraps within the
    // sub-address width.
    const uint32_t mask = word_address ? 0xFFFF : 0xFF;
    return chunked(
        device, read, word_address ? controller::kRequestI2CWord : controller::kRequestI2CByte,
        count, buffer, done,
        [sub_address, mask](uint32_t off) { return static_cast<uint16_t>((sub_address + off) & mask); },
        [index](uint32_t) { return index; });
}

uint32_t ram_transfer(Device &device, bool read, uint32_t first, uint32_t count, uint8_t *buffer,
                      uint32_t &done) {
    done = 0;
    if ((count && !buffer) || first > 0xFFFF || count > 0x10000 - first)
        return win::kInvalidParameter;
    return chunked(
        device, read, controller::kRequestRam, count, buffer, done,
        [first](uint32_t off) { return static_cast<uint16_t>(first + off); },
        [](uint32_t) { return uint16_t{0}; });
}

}  // namespace kavix::transport
