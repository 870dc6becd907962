#pragma once
// What a real reader makes of an image file the tool wrote: libpng for PNG,
// libjpeg-turbo for JPEG.
#include <filesystem>
#include <string>

namespace kavix::test {

struct DecodedImage {
    bool ok = false;
    std::string error;
    unsigned width = 0;
    unsigned height = 0;
    unsigned channels = 0;  // 1 grey, 3 colour
};

DecodedImage decode_png(const std::filesystem::path &file);
DecodedImage decode_jpeg(const std::filesystem::path &file);

}  // namespace kavix::test
