#pragma once
// Output file names of grabbed frames: a pattern with one printf number
// ("shot_%03d.png"), numbered from 1, and the image type its extension names.
#include <cstdint>
#include <string>

namespace kavix::tool {

enum class ImageType { Raw, Bmp, Tiff, Jpeg, Png };

class FilePattern {
public:
    // Checks the pattern for `frames` frames. Throws UsageError: more than
    // one frame without a number in the name, an unknown extension, a
    // conversion other than one %d (with flags and width) or %%.
    FilePattern(std::string pattern, uint32_t frames);

    std::string name(uint32_t number) const;  // number from 1
    ImageType type() const { return type_; }

private:
    std::string pattern_;
    bool numbered_ = false;
    ImageType type_ = ImageType::Png;
};

const char *type_name(ImageType type);

}  // namespace kavix::tool
