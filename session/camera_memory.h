#pragma once
// The camera's EEPROM as the application sees it: 1,024 bytes of user memory
// behind the two ID blocks, and the ID blocks written whole. Also the raw
// I2C access to the camera's bus, which keeps the EEPROM's own address out
// of reach.
#include <cstdint>

#include "session/id_block.h"
#include "session/session.h"

namespace kavix {

// User memory: EEPROM addresses 512 to 1535.
inline constexpr uint32_t kUserMemoryFirst = 512;
inline constexpr uint32_t kUserMemoryBytes = 1024;

// The EEPROM range a user memory access covers: an offset at or beyond the
// end, or a count of 0, is refused; a range running over the end is cut so
// that it ends there.
struct EepromRange {
    uint32_t first = 0;
    uint32_t last = 0;  // included
    bool valid = false;
};
EepromRange user_memory_range(uint16_t offset, uint16_t count);

// ID text as the camera stores it: the length in bytes with the terminator,
// if one comes up within `text_bytes`. Narrow text stops at a zero byte;
// wide text is measured in whole 16-bit characters and stops at a character
// whose low byte is zero, so U+0100 ends it too. Lengths above 250 are cut to
// 249 (narrow) or 248 (wide).
uint32_t measure_id_text(const void *text, uint32_t text_bytes, bool wide);

// The 256-byte block for an ID number and its text (null or no bytes: none).
void compose_id_block(uint8_t (&block)[kIdBlockBytes], uint32_t id, const void *text,
                      uint32_t text_bytes, bool wide);

// Writes the ID block at `block`. KAVIX_E_TRANSFER_FAILED when the EEPROM
// write fails; otherwise the transport's result.
KAVIX_BOOL write_camera_id(Session &session, IdBlock block, uint32_t id, const void *text,
                           uint32_t text_bytes, bool wide);

// I2C device address of the EEPROM that holds the ID blocks: refused.
inline constexpr uint8_t kEepromI2CAddress = 0x51;

}  // namespace kavix
