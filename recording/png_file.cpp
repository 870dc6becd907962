#include "recording/png_file.h"

#include <png.h>

#include "KavixD.h"

namespace kavix::stills {
namespace {

// The library writes no messages: libpng's errors return to the setjmp
// point without a word, its warnings are dropped.
void OnPngError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void OnPngWarning(png_structp, png_const_charp) {}

}  // namespace

// Nothing with a destructor lives in this function: libpng's errors leave it
// by longjmp.
StillResult WritePngFile(std::FILE* file, const StillImage& image, uint32_t quality) {
    const uint32_t format = image.pixel_format;
    if (format != kMono8 && format != kBgr24 && format != kBgr32) return Failed(KAVIX_ERROR_INVALID_PARAMETER);

    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, OnPngError, OnPngWarning);
    if (png == nullptr) return Failed(KAVIX_ERROR_NOT_ENOUGH_MEMORY);
    png_infop info = png_create_info_struct(png);
    if (info == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        return Failed(KAVIX_ERROR_NOT_ENOUGH_MEMORY);
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return Failed(KAVIX_ERROR_NOT_ENOUGH_MEMORY);
    }

    const bool interlaced = (quality & 1) == 0;
    png_init_io(png, file);
    png_set_IHDR(png, info, image.width, image.height, 8, format == kMono8 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB,
                 interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);

    png_set_packing(png);
    if (format == kBgr32)
        png_set_filler(png, 0, PNG_FILLER_AFTER);  // drops the fourth byte
    else
        png_set_swap_alpha(png);
    png_set_bgr(png);
    png_set_swap(png);
    png_set_packswap(png);

    const int passes = interlaced ? png_set_interlace_handling(png) : 1;
    const size_t stride = size_t{image.width} * BytesPerPixel(format);
    for (int pass = 0; pass < passes; ++pass) {
        for (uint32_t y = 0; y < image.height; ++y) {
            png_bytep row = const_cast<png_bytep>(image.pixels + y * stride);
            png_write_rows(png, &row, 1);
        }
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return Succeeded();
}

}  // namespace kavix::stills
