#include "tools/image_files.h"

#include <png.h>
#include <cstring>
#include <turbojpeg.h>

#include <fstream>
#include <iterator>
#include <vector>

namespace kavix::test {

DecodedImage decode_png(const std::filesystem::path &file) {
    DecodedImage image;
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, file.c_str())) {
        image.error = png.message;
        return image;
    }
    image.width = png.width;
    image.height = png.height;
    image.channels = (png.format & PNG_FORMAT_FLAG_COLOR) ? 3 : 1;
    // Decoding every row is what proves the file whole.
    png.format = image.channels == 3 ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
    std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(png));
    if (!png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr)) {
        image.error = png.message;
        return image;
    }
    image.ok = true;
    return image;
}

DecodedImage decode_jpeg(const std::filesystem::path &file) {
    DecodedImage image;
    std::ifstream in(file, std::ios::binary);
    const std::vector<unsigned char> data((std::istreambuf_iterator<char>(in)),
                                          std::istreambuf_iterator<char>());
    tjhandle tj = tjInitDecompress();
    int width = 0, height = 0, subsampling = 0, colourspace = 0;
    if (tjDecompressHeader3(tj, data.data(), data.size(), &width, &height, &subsampling,
                            &colourspace) != 0) {
        image.error = tjGetErrorStr2(tj);
        tjDestroy(tj);
        return image;
    }
    image.width = static_cast<unsigned>(width);
    image.height = static_cast<unsigned>(height);
    image.channels = colourspace == TJCS_GRAY ? 1 : 3;
    const int format = image.channels == 1 ? TJPF_GRAY : TJPF_RGB;
    std::vector<unsigned char> pixels(static_cast<size_t>(width) * height * image.channels);
    if (tjDecompress2(tj, data.data(), data.size(), pixels.data(), width, 0, height, format, 0) !=
        0) {
        image.error = tjGetErrorStr2(tj);
    } else {
        image.ok = true;
    }
    tjDestroy(tj);
    return image;
}

}  // namespace kavix::test
