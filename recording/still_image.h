#pragma once
// Still image files: one image in caller memory written to one file, its type
// chosen by the file name's extension. The writers share StillImage and give
// a StillResult: the export's result and, when it sets one, the last error.
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string_view>

namespace kavix::stills {

// File types, numbered as the exports number them.
enum class ImageFileType : int { kRaw = 1, kBmp = 2, kTiff = 3, kJpeg = 4, kPng = 5 };

// Pixel format codes of the pixelFormat argument.
enum PixelFormat : uint32_t {
    kMono8 = 1,
    kMono16 = 2,   // 16 significant bits
    kBgr24 = 4,
    kBgr32 = 8,    // blue, green, red, a fourth byte
    kMono10 = 16,  // 10 significant bits in 16
    kMono12 = 32,
    kMono14 = 64,
};

// Rows packed, top row first: the stride is width times the bytes per pixel.
struct StillImage {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t pixel_format = 0;
    const uint8_t* pixels = nullptr;
};

struct StillResult {
    int32_t result = 0;
    uint32_t error = 0;  // the last error to set; 0 sets none
};

inline StillResult Succeeded() { return {1, 0}; }
inline StillResult Failed(uint32_t error) { return {0, error}; }

// Bytes per pixel of a format code, 0 for an unknown code.
uint32_t BytesPerPixel(uint32_t pixel_format);

// The type the extension selects: the text behind the last dot compared,
// ignoring case and over the extension's own length, with "RAW", "BMP",
// "TIF", "TIFF", "JPG", "JPEG", "PNG" in turn, so that a leading part of a
// keyword (an empty extension, "t", "J") selects it. No dot or no match: none.
std::optional<ImageFileType> ImageFileTypeOf(std::string_view file_name);
std::optional<ImageFileType> ImageFileTypeOf(std::u16string_view file_name);

// Saves the image as `type` into `path` (UTF-8): checks the image, opens the
// file for writing (0xE0000010 when that fails), runs the type's writer and
// closes the file. The pixel format is checked by the writer, so a format
// the type refuses leaves an empty file (87).
StillResult SaveStillImage(ImageFileType type, const char* path, const StillImage& image, uint32_t quality);

// The pixel buffer as it is: formats 1, 2, 16, 32, 64. A short write gives
// 0xE0000011.
StillResult WriteRawFile(std::FILE* file, const StillImage& image);

}  // namespace kavix::stills
