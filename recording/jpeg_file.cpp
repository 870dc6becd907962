#include "recording/jpeg_file.h"

#include <algorithm>
#include <memory>
#include <new>

#include "KavixD.h"
#include "recording/jpeg/jpeg_encoder.h"

namespace kavix::stills {

StillResult WriteJpegFile(std::FILE* file, const StillImage& image, uint32_t quality) {
    if (image.pixel_format != kMono8 && image.pixel_format != kBgr24 && image.pixel_format != kBgr32)
        return Failed(KAVIX_ERROR_INVALID_PARAMETER);
    // A JPEG frame header holds 16-bit sizes.
    if (image.width > UINT16_MAX || image.height > UINT16_MAX) return Failed(KAVIX_ERROR_INVALID_PARAMETER);
    const int width = static_cast<int>(image.width), height = static_cast<int>(image.height);

    // Four-byte pixels are copied to three bytes first.
    const uint8_t* pixels = image.pixels;
    std::unique_ptr<uint8_t[]> packed;
    if (image.pixel_format == kBgr32) {
        const size_t count = size_t{image.width} * image.height;
        packed.reset(new (std::nothrow) uint8_t[count * 3]);
        if (!packed) return Failed(KAVIX_ERROR_NOT_ENOUGH_MEMORY);
        for (size_t i = 0; i < count; ++i) std::copy_n(image.pixels + 4 * i, 3, packed.get() + 3 * i);
        pixels = packed.get();
    }
    const bool grey = image.pixel_format == kMono8;

    CStdFileOutput2 stream(file);
    auto encoder = std::make_unique<CJPEGEncoder>();
    encoder->AttachStream(&stream);
    encoder->SetSource(pixels, grey ? width : width * 3, JpegSize{width, height}, grey ? 1 : 3,
                       grey ? kJpegGrey : kJpegBgr, 0, 8);
    const int encoder_quality = 100 - static_cast<int>(std::min<uint32_t>(quality, 100));
    int status = encoder->SetParams(kJpegBaseline, grey ? kJpegGrey : kJpegYCbCr, kJpegSampling422, 0, 0,
                                    encoder_quality);
    if (status == kJpegOk) status = encoder->WriteHeader();
    if (status == kJpegOk) status = encoder->WriteData();
    stream.Close();
    if (status == kJpegOutOfMemory) return Failed(KAVIX_ERROR_NOT_ENOUGH_MEMORY);
    return Succeeded();
}

}  // namespace kavix::stills
