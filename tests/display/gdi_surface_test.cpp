#include "display/gdi_surface.h"

#include <gtest/gtest.h>

#include <vector>

namespace kavix::display {
namespace {

// A filled rectangle drawn through the context lands in the bitmap in the
// bitmap's own layout, and nothing outside it changes.
struct SurfaceCase {
    uint32_t format;
    uint32_t bytes_per_pixel;
};

class GdiSurfaceFormats : public testing::TestWithParam<SurfaceCase> {};

TEST_P(GdiSurfaceFormats, FilledRectangleLandsInTheBitmap) {
    const SurfaceCase c = GetParam();
    const uint32_t width = 13, height = 7;  // rows no multiple of four bytes
    std::vector<uint8_t> bitmap(size_t(width) * height * c.bytes_per_pixel, 0x10);
    GdiSurface surface;
    ASSERT_TRUE(surface.reserve(size_t(width) * height));
    cairo_t *cr = surface.begin(bitmap.data(), width, height, c.format);
    ASSERT_NE(cr, nullptr);
    cairo_set_source_rgb(cr, 1.0, 0.0, 0.0);  // pure red
    cairo_rectangle(cr, 2, 3, 4, 2);          // x 2..5, y 3..4
    cairo_fill(cr);
    surface.end();

    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            const uint8_t *p = &bitmap[(size_t(y) * width + x) * c.bytes_per_pixel];
            const bool inside = x >= 2 && x < 6 && y >= 3 && y < 5;
            if (c.bytes_per_pixel == 1) {
                // Red by the weights 0.2989: round(255 * 0.2989) = 76.
                ASSERT_EQ(p[0], inside ? 76 : 0x10) << x << "," << y;
            } else {
                ASSERT_EQ(p[0], inside ? 0 : 0x10) << x << "," << y;
                ASSERT_EQ(p[1], inside ? 0 : 0x10);
                ASSERT_EQ(p[2], inside ? 255 : 0x10);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(PreviewFormats, GdiSurfaceFormats,
                         testing::Values(SurfaceCase{1, 1}, SurfaceCase{4, 3}, SurfaceCase{8, 4}));

TEST(GdiSurface, NoContextWithoutRoomOrWithAnEmptyImage) {
    std::vector<uint8_t> bitmap(64 * 3);
    GdiSurface surface;
    EXPECT_EQ(surface.begin(bitmap.data(), 8, 8, 4), nullptr);  // nothing reserved
    ASSERT_TRUE(surface.reserve(64));
    EXPECT_EQ(surface.begin(bitmap.data(), 0, 8, 4), nullptr);
    EXPECT_EQ(surface.begin(bitmap.data(), 9, 8, 4), nullptr);  // more than reserved
    cairo_t *cr = surface.begin(bitmap.data(), 8, 8, 4);
    EXPECT_NE(cr, nullptr);
    surface.end();
    surface.end();  // a second end does nothing
}

TEST(GdiSurface, LuminanceWeights) {
    EXPECT_EQ(luminance(0, 0, 0), 0);
    EXPECT_EQ(luminance(255, 255, 255), 255);
    EXPECT_EQ(luminance(0, 255, 0), 150);  // round(255 * 0.5866)
    EXPECT_EQ(luminance(255, 0, 0), 29);   // blue: round(255 * 0.1145)
    EXPECT_EQ(luminance(100, 100, 100), 30 + 59 + 11);
}

}  // namespace
}  // namespace kavix::display
