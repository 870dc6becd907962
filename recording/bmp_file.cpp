#include "recording/bmp_file.h"

#include <cstring>
#include <new>
#include <memory>

#include "KavixD.h"
#include "recording/little_endian.h"

namespace kavix::stills {
namespace {

constexpr uint32_t kFileHeaderBytes = 14;
constexpr uint32_t kInfoHeaderBytes = 40;
constexpr uint32_t kPaletteBytes = 1024;

}  // namespace

StillResult WriteBmpFile(std::FILE* file, const StillImage& image) {
    if (image.pixel_format != kMono8 && image.pixel_format != kBgr24 && image.pixel_format != kBgr32)
        return Failed(KAVIX_ERROR_INVALID_PARAMETER);
    const uint32_t bytes_per_pixel = BytesPerPixel(image.pixel_format);
    const uint32_t header = kFileHeaderBytes + kInfoHeaderBytes + (image.pixel_format == kMono8 ? kPaletteBytes : 0);
    const uint64_t row_bytes = uint64_t{image.width} * bytes_per_pixel;
    const uint64_t pixel_bytes = row_bytes * image.height;
    // The sizes must fit the header's 32-bit fields.
    if (header + pixel_bytes > UINT32_MAX || image.width > INT32_MAX || image.height > INT32_MAX)
        return Failed(KAVIX_ERROR_INVALID_PARAMETER);

    const size_t total = header + static_cast<size_t>(pixel_bytes);
    std::unique_ptr<uint8_t[]> block(new (std::nothrow) uint8_t[total]);
    if (!block) return Failed(KAVIX_ERROR_NOT_ENOUGH_MEMORY);
    uint8_t* out = block.get();
    std::memset(out, 0, header);

    PutU16(out + 0, 19778);  // "BM"
    PutU32(out + 2, static_cast<uint32_t>(total));
    PutU32(out + 10, header);
    PutU32(out + 14, kInfoHeaderBytes);
    PutU32(out + 18, image.width);
    PutU32(out + 22, image.height);
    PutU16(out + 26, 1);
    PutU16(out + 28, static_cast<uint16_t>(bytes_per_pixel * 8));
    PutU32(out + 34, static_cast<uint32_t>(pixel_bytes));
    if (image.pixel_format == kMono8) {
        PutU32(out + 46, 256);
        PutU32(out + 50, 256);
        for (uint32_t i = 0; i < 256; ++i) PutU32(out + 54 + 4 * i, i * 0x010101u);
    }

    // Bottom-up: the image's last row first.
    uint8_t* pixels = out + header;
    for (uint32_t y = 0; y < image.height; ++y)
        std::memcpy(pixels + (image.height - 1 - y) * row_bytes, image.pixels + y * row_bytes, row_bytes);

    std::fwrite(out, 1, total, file);
    return Succeeded();
}

}  // namespace kavix::stills
