// Exports of what the library knows of a model and what the camera reported:
// functions, product names, the colour array, the camera mode.
#include <cstring>

#include "KavixD.h"
#include "platform/text.h"
#include "session/export_frame.h"
#include "session/fpga_status.h"
#include "session/model_table.h"

namespace kavix {

namespace {

// Function: a second model shares the product id (bit 0 of word 7).
constexpr uint32_t kFunctionSecondModel = 112;
// Function: the camera keeps the Bayer phase itself when it mirrors.
constexpr uint32_t kFunctionKeepsPhase = 71;

const char16_t *product_name(const Session &s) {
    return model_product_name(s.info.ProductId, s.has_function(kFunctionSecondModel));
}

// The colour array as the application should see it while the camera
// mirrors. Unlike the capture thread, this compares the whole mirror byte:
// with any software mirror bit set as well, the array stays as it is.
uint16_t reported_color_array(const Session &s) {
    const uint16_t array = s.info.ColorArray;
    const uint8_t mirror = s.processing.MirrorMode;
    if (array == KAVIX_COLOR_MONO || mirror == 0) return array;
    if (s.has_fpga() && s.has_function(kFunctionKeepsPhase)) return array;
    static constexpr uint16_t kSwaps[3][6] = {
        {0, 1, 3, 2, 5, 4},  // horizontal: within a row
        {0, 1, 4, 5, 2, 3},  // vertical: the rows
        {0, 1, 5, 4, 3, 2},  // both
    };
    const int which = mirror == 0x10 ? 0 : mirror == 0x20 ? 1 : mirror == 0x30 ? 2 : -1;
    if (which < 0 || array > 5) return array;
    return kSwaps[which][array];
}

}  // namespace
}  // namespace kavix

using kavix::Session;

extern "C" KAVIX_API KAVIX_BOOL Kavix_HasFunction(KAVIX_HANDLE camera, uint32_t id,
                                                  uint32_t *has) {
    // The answer is "no" until the camera has been asked, even for a bad
    // handle.
    if (has != nullptr) *has = 0;
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (has == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *has = s.has_function(id) ? 1 : 0;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetSamePIDCameraType(KAVIX_HANDLE camera, uint32_t *type) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (type == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *type = s.has_fpga() ? (s.functions[7] & 1u) : 0;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetProductNameW(KAVIX_HANDLE camera, KAVIX_WCHAR *name,
                                                      uint32_t name_bytes) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (name == nullptr && name_bytes >= 2) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        // At most name_bytes / 2 characters: the name, then zeros for the
        // rest; a name that fills the buffer has no terminator.
        const char16_t *source = kavix::product_name(s);
        const uint32_t capacity = name_bytes / 2;
        uint32_t i = 0;
        for (; i < capacity && source[i] != 0; ++i) name[i] = source[i];
        for (; i < capacity; ++i) name[i] = 0;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetProductNameA(KAVIX_HANDLE camera, char *name,
                                                      uint32_t name_bytes) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (name == nullptr && name_bytes != 0) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        if (name_bytes == 0) return 1;
        // The name with its terminator; a buffer too small gets the leading
        // characters that fit, as the converter leaves them.
        const int32_t capacity = name_bytes > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int32_t>(name_bytes);
        kavix::platform::utf16_to_utf8(kavix::product_name(s), -1, name, capacity);
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetUSBFunctionAddress(KAVIX_HANDLE camera,
                                                            uint8_t *address) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (address == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *address = s.thread.USBFunctionAddress;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetColorArray(KAVIX_HANDLE camera, uint16_t *color_array) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (color_array == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *color_array = kavix::reported_color_array(s);
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetColorArray(KAVIX_HANDLE camera, uint16_t color_array) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        // Only the Bayer phases and mono; anything else is ignored without
        // an error.
        if (color_array < KAVIX_COLOR_MONO || color_array > KAVIX_COLOR_BG_GR) return 0;
        s.info.ColorArray = color_array;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetCameraMode(KAVIX_HANDLE camera, uint16_t mode) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        // The camera's answer isn't reported: models without FPGA refuse the
        // word, and the mode still counts as set.
        kavix::write_camera_mode(s, mode);
        return 1;
    });
}
