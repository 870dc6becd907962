#include "display/gdi_surface.h"

#include <array>
#include <cmath>

#include "platform/page_memory.h"

namespace kavix::display {

namespace {

constexpr uint32_t kPreviewMono8 = 1;
constexpr uint32_t kPreviewBgr24 = 4;

// index * weight, rounded, one table per channel.
struct LumaTables {
    std::array<uint8_t, 256> r{}, g{}, b{};
    LumaTables() {
        for (int i = 0; i < 256; ++i) {
            r[i] = static_cast<uint8_t>(std::lround(i * 0.2989));
            g[i] = static_cast<uint8_t>(std::lround(i * 0.5866));
            b[i] = static_cast<uint8_t>(std::lround(i * 0.1145));
        }
    }
};

const LumaTables &luma() {
    static const LumaTables tables;
    return tables;
}

}  // namespace

uint8_t luminance(uint8_t blue, uint8_t green, uint8_t red) {
    const LumaTables &t = luma();
    const unsigned sum = unsigned(t.r[red]) + t.g[green] + t.b[blue];
    return static_cast<uint8_t>(sum > 255 ? 255 : sum);
}

GdiSurface::~GdiSurface() {
    end();
    platform::free_pages(scratch_, scratch_bytes_);
}

bool GdiSurface::reserve(size_t pixels) {
    const size_t bytes = pixels * 4;
    if (bytes <= scratch_bytes_) return true;
    platform::free_pages(scratch_, scratch_bytes_);
    scratch_ = static_cast<uint8_t *>(platform::allocate_pages(bytes));
    scratch_bytes_ = scratch_ == nullptr ? 0 : bytes;
    return scratch_ != nullptr;
}

cairo_t *GdiSurface::begin(uint8_t *bitmap, uint32_t width, uint32_t height, uint32_t preview_format) {
    end();
    const size_t pixels = size_t(width) * height;
    const int stride = cairo_format_stride_for_width(CAIRO_FORMAT_RGB24, static_cast<int>(width));
    if (pixels == 0 || stride < 0 || size_t(stride) != size_t(width) * 4) return nullptr;
    uint8_t *target = bitmap;
    if (preview_format == kPreviewMono8 || preview_format == kPreviewBgr24) {
        if (scratch_bytes_ < pixels * 4) return nullptr;
        target = scratch_;
        const uint8_t *from = bitmap;
        uint8_t *to = scratch_;
        if (preview_format == kPreviewMono8) {
            for (size_t i = 0; i < pixels; ++i, ++from, to += 4) {
                to[0] = to[1] = to[2] = *from;
                to[3] = 0;
            }
        } else {
            for (size_t i = 0; i < pixels; ++i, from += 3, to += 4) {
                to[0] = from[0];
                to[1] = from[1];
                to[2] = from[2];
                to[3] = 0;
            }
        }
    }
    // CAIRO_FORMAT_RGB24 is a native-endian 32-bit word 0x00RRGGBB: bytes B,
    // G, R, unused on this little-endian platform, which is BGR32.
    surface_ = cairo_image_surface_create_for_data(target, CAIRO_FORMAT_RGB24, static_cast<int>(width),
                                                   static_cast<int>(height), stride);
    if (cairo_surface_status(surface_) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface_);
        surface_ = nullptr;
        return nullptr;
    }
    context_ = cairo_create(surface_);
    if (cairo_status(context_) != CAIRO_STATUS_SUCCESS) {
        cairo_destroy(context_);
        context_ = nullptr;
        cairo_surface_destroy(surface_);
        surface_ = nullptr;
        return nullptr;
    }
    bitmap_ = bitmap;
    width_ = width;
    height_ = height;
    format_ = preview_format;
    return context_;
}

void GdiSurface::end() {
    if (context_ == nullptr) return;
    cairo_destroy(context_);
    cairo_surface_flush(surface_);
    cairo_surface_destroy(surface_);
    context_ = nullptr;
    surface_ = nullptr;
    const size_t pixels = size_t(width_) * height_;
    const uint8_t *from = scratch_;
    uint8_t *to = bitmap_;
    if (format_ == kPreviewMono8) {
        for (size_t i = 0; i < pixels; ++i, from += 4, ++to) *to = luminance(from[0], from[1], from[2]);
    } else if (format_ == kPreviewBgr24) {
        for (size_t i = 0; i < pixels; ++i, from += 4, to += 3) {
            to[0] = from[0];
            to[1] = from[1];
            to[2] = from[2];
        }
    }
    bitmap_ = nullptr;
}

}  // namespace kavix::display
