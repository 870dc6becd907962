#pragma once
// The drawing context of the preview GDI step: a cairo context whose target
// is the back buffer of the preview, so that what callbacks and the overlay
// draw lands in the image the window shows. BGR32 bitmaps are drawn on in
// place; cairo has no 24-bit or grey colour format, so BGR24 and mono 8
// bitmaps are spread into a 32-bit scratch image for the drawing and packed
// back afterwards (mono by luminance).
#include <cairo.h>

#include <cstddef>
#include <cstdint>

namespace kavix::display {

class GdiSurface {
public:
    GdiSurface() = default;
    ~GdiSurface();
    GdiSurface(const GdiSurface &) = delete;
    GdiSurface &operator=(const GdiSurface &) = delete;

    // Room for images of up to this many pixels; taken once, before the
    // frames, and committed by the system only when drawn on. False when
    // memory runs out.
    bool reserve(size_t pixels);

    // A context drawing on `bitmap` (packed rows, top down, in the preview
    // format 1, 4 or 8); null if none can be made.
    cairo_t *begin(uint8_t *bitmap, uint32_t width, uint32_t height, uint32_t preview_format);
    // Ends the drawing: destroys the context and brings the drawing into the
    // bitmap.
    void end();

private:
    uint8_t *scratch_ = nullptr;
    size_t scratch_bytes_ = 0;
    cairo_surface_t *surface_ = nullptr;
    cairo_t *context_ = nullptr;
    uint8_t *bitmap_ = nullptr;
    uint32_t width_ = 0;
    uint32_t height_ = 0;
    uint32_t format_ = 0;
};

// Luminance of a BGR pixel by the library's weights 0.2989, 0.5866, 0.1145.
uint8_t luminance(uint8_t blue, uint8_t green, uint8_t red);

}  // namespace kavix::display
