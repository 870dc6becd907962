#pragma once
#include <cstdint>

#include "transport/device.h"

namespace kavix::transport {

// Operations on the camera's USB controller, built from its vendor requests
// in chunks that fit endpoint 0. The same code serves real and virtual
// cameras. Results are Windows errors; `done` counts the bytes moved, and a
// chunk that moves fewer bytes than asked ends the operation with 31.

uint32_t eeprom_transfer(Device &device, bool read, uint32_t first, uint32_t last,
                         uint8_t *buffer, uint32_t &done);

uint32_t i2c_transfer(Device &device, bool read, bool word_address, uint8_t bus, uint8_t address,
                      uint16_t sub_address, uint32_t count, uint8_t *buffer, uint32_t &done);

// The controller's RAM and registers, by their addresses.
uint32_t ram_transfer(Device &device, bool read, uint32_t first, uint32_t count, uint8_t *buffer,
                      uint32_t &done);

}  // namespace kavix::transport
