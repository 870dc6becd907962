#pragma once
// The two ID blocks of the camera's EEPROM, the serial ID and the user ID:
// a number and a name each. Layout of a 256-byte block: u32 number, a flag
// byte (bit 7: the text is UTF-16), the text length in bytes with its
// terminator (above 250: no text), then the text.
#include <cstdint>

#include "session/session.h"

namespace kavix {

enum class IdBlock : uint32_t { Serial = 0, User = 256 };  // first EEPROM address

inline constexpr uint32_t kIdBlockBytes = 256;
inline constexpr uint32_t kIdBlockTextOffset = 6;
inline constexpr uint8_t kIdBlockWideText = 0x80;
inline constexpr uint8_t kIdBlockMaxTextBytes = 250;

// Read an ID block into the ID number and a text buffer of `text_bytes`
// bytes, which is cleared first. A failed EEPROM read leaves
// KAVIX_E_TRANSFER_FAILED in the session but still succeeds, with ID 0 and no
// text. Narrow text is UTF-8, wide text UTF-16; text of the other kind is
// converted, cut to the buffer without splitting a character.
KAVIX_BOOL read_camera_id_narrow(Session &session, IdBlock block, uint32_t *id, char *text,
                                 uint32_t text_bytes);
KAVIX_BOOL read_camera_id_wide(Session &session, IdBlock block, uint32_t *id, char16_t *text,
                               uint32_t text_bytes);

}  // namespace kavix
