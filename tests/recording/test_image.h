#pragma once
// Deterministic test pictures with the mix of smooth areas, edges, fine
// texture and sensor-like noise that camera images have, so that coding
// results and timings resemble real use.
#include <cmath>
#include <cstdint>
#include <vector>

namespace kavix::test {

// Interleaved 8-bit image, `channels` bytes per pixel, rows packed.
inline std::vector<uint8_t> MakeTestImage(int width, int height, int channels, uint32_t seed = 1) {
    std::vector<uint8_t> image(static_cast<size_t>(width) * height * channels);
    uint32_t state = seed * 2654435761u + 12345u;
    auto noise = [&state] {
        state = state * 1664525u + 1013904223u;
        return static_cast<int>((state >> 24) % 9) - 4;
    };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double fx = static_cast<double>(x) / width, fy = static_cast<double>(y) / height;
            const double dx = fx - 0.6, dy = fy - 0.4;
            const bool disc = dx * dx + dy * dy < 0.04;
            const double stripes = 40.0 * std::sin(x * 0.35 + y * 0.12) * (fx > 0.5 ? 1.0 : 0.2);
            const double base[3] = {
                60 + 140 * fx + stripes,
                80 + 120 * fy + (disc ? 70 : 0),
                200 - 150 * fx * fy + 30 * std::sin(y * 0.05) - (disc ? 90 : 0),
            };
            uint8_t* pixel = image.data() + (static_cast<size_t>(y) * width + x) * channels;
            for (int c = 0; c < channels; ++c) {
                const double v = (channels == 1 ? 0.3 * base[2] + 0.6 * base[1] + 0.1 * base[0]
                                                 : base[c % 3]) + noise();
                pixel[c] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
            }
        }
    }
    return image;
}

}  // namespace kavix::test
