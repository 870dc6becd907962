// Exports of still image files.
// Saving touches nothing of the session but its last error, so it works
// whether a transfer runs or not, on the caller's thread.
#include <string>
#include <string_view>
#include <type_traits>

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

}  // extern "C"
