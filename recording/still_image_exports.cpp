// Exports of still image files and the two small image utilities beside them.
// Saving touches nothing of the session but its last error, so it works
// whether a transfer runs or not, on the caller's thread.
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "KavixD.h"
#include "platform/text.h"
#include "recording/still_image.h"
#include "session/export_frame.h"

namespace {

using kavix::Session;
using kavix::stills::StillImage;
using kavix::stills::StillResult;

template <typename Char>
KAVIX_BOOL SaveImage(Session& session, uint32_t width, uint32_t height, uint32_t pixel_format,
                     const void* image, const Char* file_name, uint32_t quality) {
    if (file_name == nullptr) return session.fail(KAVIX_ERROR_INVALID_PARAMETER);
    const std::basic_string_view<Char> name(file_name);
    const auto type = kavix::stills::ImageFileTypeOf(name);
    if (!type) return session.fail(KAVIX_E_BAD_EXTENSION);
    std::string path;
    if constexpr (std::is_same_v<Char, char>)
        path.assign(name);
    else
        path = kavix::platform::to_utf8(name);
    const StillImage still{width, height, pixel_format, static_cast<const uint8_t*>(image)};
    const StillResult result = kavix::stills::SaveStillImage(*type, path.c_str(), still, quality);
    if (result.error != 0) session.set_error(result.error);
    return result.result;
}

}  // namespace

extern "C" {

KAVIX_API KAVIX_BOOL Kavix_SaveImageA(KAVIX_HANDLE camera, uint32_t width, uint32_t height,
                                      uint32_t pixel_format, const void* image, const char* file_name,
                                      uint32_t quality) {
    return kavix::session_export(camera, [&](Session& s) {
        return SaveImage(s, width, height, pixel_format, image, file_name, quality);
    });
}

KAVIX_API KAVIX_BOOL Kavix_SaveImageW(KAVIX_HANDLE camera, uint32_t width, uint32_t height,
                                      uint32_t pixel_format, const void* image, const KAVIX_WCHAR* file_name,
                                      uint32_t quality) {
    return kavix::session_export(camera, [&](Session& s) {
        return SaveImage(s, width, height, pixel_format, image, file_name, quality);
    });
}

KAVIX_API KAVIX_BOOL Kavix_ConvertBitmapBGR24ToRGB24(KAVIX_HANDLE camera, uint32_t width, uint32_t height,
                                                     uint8_t* image) {
    return kavix::session_export(camera, [&](Session& s) -> KAVIX_BOOL {
        if (image == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        const size_t pixels = size_t{width} * height;
        for (size_t i = 0; i < pixels; ++i) std::swap(image[3 * i], image[3 * i + 2]);
        return 1;
    });
}

KAVIX_API KAVIX_BOOL Kavix_ConvTo8BitsImage(KAVIX_HANDLE camera, uint32_t width, uint32_t height,
                                            uint32_t bit_code, const uint16_t* source, uint8_t* destination) {
    return kavix::session_export(camera, [&](Session& s) -> KAVIX_BOOL {
        int shift = 0;
        switch (bit_code) {
            case 2: case 64: shift = 2; break;
            case 4: case 128: shift = 4; break;
            case 8: case 256: shift = 6; break;
            case 16: case 512: shift = 8; break;
            default: return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        if (source == nullptr || destination == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        const size_t samples = size_t{width} * height;
        for (size_t i = 0; i < samples; ++i) destination[i] = static_cast<uint8_t>(source[i] >> shift);
        return 1;
    });
}

}  // extern "C"
