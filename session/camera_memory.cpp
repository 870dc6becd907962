#include "session/camera_memory.h"

#include <cstring>

#include "session/wire.h"

namespace kavix {

namespace {
constexpr uint32_t kNarrowTextLimit = 249;
constexpr uint32_t kWideTextLimit = 248;
}  // namespace

EepromRange user_memory_range(uint16_t offset, uint16_t count) {
    EepromRange range;
    if (offset >= kUserMemoryBytes || count == 0) return range;
    uint32_t end = uint32_t{offset} + count;  // one past the last byte
    // Running over the end is cut silently: the caller isn't told.
    if (end > kUserMemoryBytes) end = kUserMemoryBytes;
    range.first = kUserMemoryFirst + offset;
    range.last = kUserMemoryFirst + end - 1;
    range.valid = true;
    return range;
}

uint32_t measure_id_text(const void *text, uint32_t text_bytes, bool wide) {
    if (text == nullptr || text_bytes == 0) return 0;
    const auto *bytes = static_cast<const uint8_t *>(text);
    uint32_t length = 0;
    if (wide) {
        // Whole characters only: a stray odd byte is no character.
        const uint32_t whole = text_bytes & ~1u;
        length = whole;
        for (uint32_t i = 0; i < whole; i += 2) {
            if (bytes[i] == 0) {  // the low byte alone decides
                length = i + 2;
                break;
            }
        }
        return length > kIdBlockMaxTextBytes ? kWideTextLimit : length;
    }
    length = text_bytes;
    if (const void *zero = std::memchr(bytes, 0, text_bytes); zero != nullptr) {
        length = static_cast<uint32_t>(static_cast<const uint8_t *>(zero) - bytes) + 1;
    }
    return length > kIdBlockMaxTextBytes ? kNarrowTextLimit : length;
}

void compose_id_block(uint8_t (&block)[kIdBlockBytes], uint32_t id, const void *text,
                      uint32_t text_bytes, bool wide) {
    std::memset(block, 0, sizeof block);
    const uint32_t length = measure_id_text(text, text_bytes, wide);
    wire::put_u32(block, id);
    block[4] = wide ? kIdBlockWideText : 0;
    block[5] = static_cast<uint8_t>(length);
    // Without a length the text stays two zero bytes, from the clearing.
    if (length != 0) std::memcpy(block + kIdBlockTextOffset, text, length);
}

KAVIX_BOOL write_camera_id(Session &session, IdBlock block, uint32_t id, const void *text,
                           uint32_t text_bytes, bool wide) {
    uint8_t content[kIdBlockBytes];
    compose_id_block(content, id, text, text_bytes, wide);
    const uint32_t first = static_cast<uint32_t>(block);
    uint32_t written = 0;
    const int32_t result = KavixUSBD_WriteEeprom(session.usb(), first, first + kIdBlockBytes - 1,
                                                 content, &written);
    if (result == 0) return session.fail(KAVIX_E_TRANSFER_FAILED);
    return result;
}

}  // namespace kavix
