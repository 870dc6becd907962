#include "session/id_block.h"

#include <cstring>

#include "platform/text.h"
#include "session/export_frame.h"
#include "session/wire.h"

namespace kavix {

namespace {

struct IdBlockContent {
    uint8_t bytes[kIdBlockBytes] = {};

    uint32_t id() const { return wire::u32(bytes); }
    bool has_text() const { return bytes[5] <= kIdBlockMaxTextBytes; }
    bool wide() const { return (bytes[4] & kIdBlockWideText) != 0; }
    uint32_t text_bytes() const { return bytes[5]; }
    const uint8_t *text() const { return bytes + kIdBlockTextOffset; }
};

// Converters take their capacity as a signed count; no ID text comes near it.
int32_t text_capacity(uint32_t units) { return static_cast<int32_t>(units < 0x7FFFFFFF ? units : 0x7FFFFFFF); }

// A failed read leaves the block cleared: ID 0, no text.
IdBlockContent read_block(Session &session, IdBlock block) {
    IdBlockContent content;
    const uint32_t first = static_cast<uint32_t>(block);
    uint32_t moved = 0;
    if (KavixUSBD_ReadEeprom(session.usb(), first, first + kIdBlockBytes - 1, content.bytes,
                             &moved) == 0) {
        session.set_error(KAVIX_E_TRANSFER_FAILED);
        std::memset(content.bytes, 0, sizeof content.bytes);
    }
    return content;
}

// The UTF-16 text of a block in characters (a stray odd byte is dropped).
int32_t wide_text(const IdBlockContent &content, char16_t (&chars)[kIdBlockMaxTextBytes / 2]) {
    const int32_t count = static_cast<int32_t>(content.text_bytes() / 2);
    for (int32_t i = 0; i < count; ++i) chars[i] = static_cast<char16_t>(wire::u16(content.text() + 2 * i));
    return count;
}

}  // namespace

KAVIX_BOOL read_camera_id_narrow(Session &session, IdBlock block, uint32_t *id, char *text,
                                 uint32_t text_bytes) {
    if (id == nullptr || (text == nullptr && text_bytes != 0)) {
        return session.fail(KAVIX_ERROR_INVALID_PARAMETER);
    }
    if (text_bytes != 0) std::memset(text, 0, text_bytes);
    const IdBlockContent content = read_block(session, block);
    *id = content.id();
    if (!content.has_text() || text_bytes == 0) return 1;
    if (content.wide()) {
        // One byte stays free for the terminator the buffer was cleared to;
        // a text that doesn't fit is cut after its last whole character.
        char16_t chars[kIdBlockMaxTextBytes / 2];
        const int32_t count = wide_text(content, chars);
        if (count > 0) platform::utf16_to_utf8(chars, count, text, text_capacity(text_bytes - 1));
        return 1;
    }
    const uint32_t length = content.text_bytes();
    std::memcpy(text, content.text(), length <= text_bytes ? length : text_bytes - 1);
    return 1;
}

KAVIX_BOOL read_camera_id_wide(Session &session, IdBlock block, uint32_t *id, char16_t *text,
                               uint32_t text_bytes) {
    if (id == nullptr || (text == nullptr && text_bytes != 0)) {
        return session.fail(KAVIX_ERROR_INVALID_PARAMETER);
    }
    if (text_bytes != 0) std::memset(text, 0, text_bytes);
    const IdBlockContent content = read_block(session, block);
    *id = content.id();
    const uint32_t chars = text_bytes / 2;
    if (!content.has_text() || chars == 0) return 1;
    if (!content.wide()) {
        const auto length = static_cast<int32_t>(content.text_bytes());
        if (length > 0) {
            platform::utf8_to_utf16(reinterpret_cast<const char *>(content.text()), length, text,
                                    text_capacity(chars - 1));
        }
        return 1;
    }
    const uint32_t length = content.text_bytes();
    std::memcpy(text, content.text(), length <= text_bytes ? length : text_bytes - 2);
    return 1;
}

}  // namespace kavix

using kavix::IdBlock;

extern "C" KAVIX_API KAVIX_BOOL Kavix_ReadCameraUserIDA(KAVIX_HANDLE camera, uint32_t *id,
                                                        char *text, uint32_t text_bytes) {
    return kavix::session_export(camera, [&](kavix::Session &s) {
        return kavix::read_camera_id_narrow(s, IdBlock::User, id, text, text_bytes);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_ReadCameraUserIDW(KAVIX_HANDLE camera, uint32_t *id,
                                                        char16_t *text, uint32_t text_bytes) {
    return kavix::session_export(camera, [&](kavix::Session &s) {
        return kavix::read_camera_id_wide(s, IdBlock::User, id, text, text_bytes);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_ReadCameraSerialIDA(KAVIX_HANDLE camera, uint32_t *id,
                                                          char *text, uint32_t text_bytes) {
    return kavix::session_export(camera, [&](kavix::Session &s) {
        return kavix::read_camera_id_narrow(s, IdBlock::Serial, id, text, text_bytes);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_ReadCameraSerialIDW(KAVIX_HANDLE camera, uint32_t *id,
                                                          char16_t *text, uint32_t text_bytes) {
    return kavix::session_export(camera, [&](kavix::Session &s) {
        return kavix::read_camera_id_wide(s, IdBlock::Serial, id, text, text_bytes);
    });
}
