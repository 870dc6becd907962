#include "recording/tiff_file.h"

#include <cstring>
#include <memory>
#include <new>

#include "KavixD.h"
#include "recording/little_endian.h"

namespace kavix::stills {
namespace {

enum : uint16_t {
    kImageWidth = 256,
    kImageLength = 257,
    kBitsPerSample = 258,
    kCompression = 259,
    kPhotometric = 262,
    kStripOffsets = 273,
    kSamplesPerPixel = 277,
    kRowsPerStrip = 278,
    kStripByteCounts = 279,
    kXResolution = 282,
    kYResolution = 283,
    kResolutionUnit = 296,
    kExtraSamples = 338,
};
enum : uint16_t { kShort = 3, kLong = 4, kRational = 5 };

// Writes the directory entries in the order they are added.
class Directory {
public:
    explicit Directory(uint8_t* file) : at_(file + 10) {}
    void Add(uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
        PutU16(at_, tag);
        PutU16(at_ + 2, type);
        PutU32(at_ + 4, count);
        // A single SHORT lies in the first two bytes of the value field.
        if (type == kShort && count == 1)
            PutU16(at_ + 8, static_cast<uint16_t>(value));
        else
            PutU32(at_ + 8, value);
        at_ += 12;
    }

private:
    uint8_t* at_;
};

// 72 dots per inch as the rational 720000 / 10000.
void PutResolution(uint8_t* at) {
    PutU32(at, 720000);
    PutU32(at + 4, 10000);
}

// Left shift that puts the top significant bit of a deep sample at bit 15.
int ShiftOf(uint32_t pixel_format) {
    switch (pixel_format) {
        case kMono10: return 6;
        case kMono12: return 4;
        case kMono14: return 2;
        default: return 0;
    }
}

void FillGrey(uint8_t* file, const StillImage& image, uint32_t strip_bytes) {
    const uint16_t bits = image.pixel_format == kMono8 ? 8 : 16;
    PutU16(file + 8, 11);
    Directory directory(file);
    directory.Add(kImageWidth, kShort, 1, image.width);
    directory.Add(kImageLength, kShort, 1, image.height);
    directory.Add(kBitsPerSample, kShort, 1, bits);
    directory.Add(kCompression, kShort, 1, 1);
    directory.Add(kPhotometric, kShort, 1, 1);  // black is zero
    directory.Add(kStripOffsets, kLong, 1, 162);
    directory.Add(kRowsPerStrip, kShort, 1, image.height);
    directory.Add(kStripByteCounts, kLong, 1, strip_bytes);
    directory.Add(kXResolution, kRational, 1, 146);
    directory.Add(kYResolution, kRational, 1, 154);
    directory.Add(kResolutionUnit, kShort, 1, 2);
    PutU32(file + 142, 0);
    PutResolution(file + 146);
    PutResolution(file + 154);

    uint8_t* pixels = file + 162;
    const size_t samples = size_t{image.width} * image.height;
    if (bits == 8) {
        std::memcpy(pixels, image.pixels, samples);
        return;
    }
    const int shift = ShiftOf(image.pixel_format);
    for (size_t i = 0; i < samples; ++i) {
        const uint16_t sample = static_cast<uint16_t>(image.pixels[2 * i] | image.pixels[2 * i + 1] << 8);
        PutU16(pixels + 2 * i, static_cast<uint16_t>(sample << shift));
    }
}

void FillColour(uint8_t* file, const StillImage& image, uint32_t strip_bytes) {
    const bool four = image.pixel_format == kBgr32;
    // Offsets: with 12 entries the values follow at 154, with 13 at 166.
    const uint32_t next_directory = four ? 166 : 154;
    const uint32_t x_resolution = next_directory + 4, y_resolution = x_resolution + 8;
    const uint32_t bits_per_sample = y_resolution + 8;
    const uint32_t samples_per_pixel = four ? 4 : 3;
    const uint32_t pixel_offset = bits_per_sample + 2 * samples_per_pixel;

    PutU16(file + 8, four ? 13 : 12);
    Directory directory(file);
    directory.Add(kImageWidth, kShort, 1, image.width);
    directory.Add(kImageLength, kShort, 1, image.height);
    directory.Add(kBitsPerSample, kShort, samples_per_pixel, bits_per_sample);
    directory.Add(kCompression, kShort, 1, 1);
    directory.Add(kPhotometric, kShort, 1, 2);  // RGB
    directory.Add(kStripOffsets, kLong, 1, pixel_offset);
    directory.Add(kSamplesPerPixel, kShort, 1, samples_per_pixel);
    directory.Add(kRowsPerStrip, kShort, 1, image.height);
    directory.Add(kStripByteCounts, kLong, 1, strip_bytes);
    directory.Add(kXResolution, kRational, 1, x_resolution);
    directory.Add(kYResolution, kRational, 1, y_resolution);
    directory.Add(kResolutionUnit, kShort, 1, 2);
    // TIFF readers expect the entries in ascending tag order, so the extra
    // sample's tag (338) comes last rather than beside SamplesPerPixel.
    if (four) directory.Add(kExtraSamples, kShort, 1, 0);
    PutU32(file + next_directory, 0);
    PutResolution(file + x_resolution);
    PutResolution(file + y_resolution);
    for (uint32_t i = 0; i < samples_per_pixel; ++i) PutU16(file + bits_per_sample + 2 * i, 8);

    uint8_t* out = file + pixel_offset;
    const uint8_t* in = image.pixels;
    const size_t pixels = size_t{image.width} * image.height;
    for (size_t i = 0; i < pixels; ++i, in += samples_per_pixel, out += samples_per_pixel) {
        out[0] = in[2];
        out[1] = in[1];
        out[2] = in[0];
        if (four) out[3] = 0;  // the source's fourth byte is not copied
    }
}

}  // namespace

StillResult WriteTiffFile(std::FILE* file, const StillImage& image) {
    const uint32_t format = image.pixel_format;
    const bool grey = format == kMono8 || format == kMono16 || format == kMono10 || format == kMono12 ||
                      format == kMono14;
    if (!grey && format != kBgr24 && format != kBgr32) return Failed(KAVIX_ERROR_INVALID_PARAMETER);
    // Width and height are SHORT fields and the strip's length a LONG one.
    const uint64_t strip_bytes = uint64_t{image.width} * image.height * BytesPerPixel(format);
    if (image.width > UINT16_MAX || image.height > UINT16_MAX || strip_bytes > UINT32_MAX)
        return Failed(KAVIX_ERROR_INVALID_PARAMETER);

    const uint32_t header = grey ? 162 : format == kBgr24 ? 180 : 194;
    const size_t total = header + static_cast<size_t>(strip_bytes);
    std::unique_ptr<uint8_t[]> block(new (std::nothrow) uint8_t[total]);
    if (!block) return Failed(KAVIX_ERROR_NOT_ENOUGH_MEMORY);
    uint8_t* out = block.get();
    std::memset(out, 0, header);
    out[0] = 'I';
    out[1] = 'I';
    PutU16(out + 2, 42);
    PutU32(out + 4, 8);
    if (grey)
        FillGrey(out, image, static_cast<uint32_t>(strip_bytes));
    else
        FillColour(out, image, static_cast<uint32_t>(strip_bytes));

    std::fwrite(out, 1, total, file);
    return Succeeded();
}

}  // namespace kavix::stills
