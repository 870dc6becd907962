#include "recording/still_image.h"

#include <array>

#include "KavixD.h"
#include "recording/bmp_file.h"
#include "recording/jpeg_file.h"
#include "recording/png_file.h"
#include "recording/tiff_file.h"

namespace kavix::stills {
namespace {

struct Keyword {
    std::string_view text;
    ImageFileType type;
};

constexpr std::array<Keyword, 7> kKeywords = {{
    {"RAW", ImageFileType::kRaw},
    {"BMP", ImageFileType::kBmp},
    {"TIF", ImageFileType::kTiff},
    {"TIFF", ImageFileType::kTiff},
    {"JPG", ImageFileType::kJpeg},
    {"JPEG", ImageFileType::kJpeg},
    {"PNG", ImageFileType::kPng},
}};

template <typename Char>
Char AsciiUpper(Char c) {
    return c >= Char('a') && c <= Char('z') ? static_cast<Char>(c - 'a' + 'A') : c;
}

// Compares the extension with a keyword over the extension's length; past
// the keyword's end the keyword reads as a terminator, which no character
// of the extension equals.
template <typename Char>
bool MatchesKeyword(std::basic_string_view<Char> extension, std::string_view keyword) {
    for (size_t i = 0; i < extension.size(); ++i) {
        if (i >= keyword.size()) return false;
        if (AsciiUpper(extension[i]) != static_cast<Char>(keyword[i])) return false;
    }
    return true;
}

template <typename Char>
std::optional<ImageFileType> TypeOf(std::basic_string_view<Char> name) {
    const size_t dot = name.rfind(Char('.'));
    if (dot == std::basic_string_view<Char>::npos) return std::nullopt;
    const std::basic_string_view<Char> extension = name.substr(dot + 1);
    for (const Keyword& keyword : kKeywords)
        if (MatchesKeyword(extension, keyword.text)) return keyword.type;
    return std::nullopt;
}

StillResult RunWriter(ImageFileType type, std::FILE* file, const StillImage& image, uint32_t quality) {
    switch (type) {
        case ImageFileType::kRaw: return WriteRawFile(file, image);
        case ImageFileType::kBmp: return WriteBmpFile(file, image);
        case ImageFileType::kTiff: return WriteTiffFile(file, image);
        case ImageFileType::kJpeg: return WriteJpegFile(file, image, quality);
        case ImageFileType::kPng: return WritePngFile(file, image, quality);
    }
    return Failed(KAVIX_ERROR_INVALID_PARAMETER);
}

}  // namespace

uint32_t BytesPerPixel(uint32_t pixel_format) {
    switch (pixel_format) {
        case kMono8: return 1;
        case kMono16:
        case kMono10:
        case kMono12:
        case kMono14: return 2;
        case kBgr24: return 3;
        case kBgr32: return 4;
        default: return 0;
    }
}

std::optional<ImageFileType> ImageFileTypeOf(std::string_view file_name) { return TypeOf(file_name); }
std::optional<ImageFileType> ImageFileTypeOf(std::u16string_view file_name) { return TypeOf(file_name); }

StillResult SaveStillImage(ImageFileType type, const char* path, const StillImage& image, uint32_t quality) {
    // An image that cannot be read is refused before the file is touched.
    if (image.pixels == nullptr || image.width == 0 || image.height == 0)
        return Failed(KAVIX_ERROR_INVALID_PARAMETER);
    std::FILE* file = std::fopen(path, "wb");
    if (file == nullptr) return Failed(KAVIX_E_IMAGE_FILE_OPEN);
    const StillResult result = RunWriter(type, file, image, quality);
    std::fclose(file);
    return result;
}

StillResult WriteRawFile(std::FILE* file, const StillImage& image) {
    switch (image.pixel_format) {
        case kMono8:
        case kMono16:
        case kMono10:
        case kMono12:
        case kMono14: break;
        default: return Failed(KAVIX_ERROR_INVALID_PARAMETER);
    }
    const size_t size = static_cast<size_t>(image.width) * image.height * BytesPerPixel(image.pixel_format);
    if (std::fwrite(image.pixels, 1, size, file) != size) return Failed(KAVIX_E_RAW_SHORT_WRITE);
    return Succeeded();
}

}  // namespace kavix::stills
