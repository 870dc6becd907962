#include "tools/file_pattern.h"

#include <strings.h>

#include <cctype>
#include <cstdio>
#include <vector>

#include "tools/options.h"

namespace kavix::tool {

namespace {

struct Extension {
    const char *text;
    ImageType type;
};
constexpr Extension kExtensions[] = {
    {"raw", ImageType::Raw},  {"bmp", ImageType::Bmp},   {"tif", ImageType::Tiff},
    {"tiff", ImageType::Tiff}, {"jpg", ImageType::Jpeg}, {"jpeg", ImageType::Jpeg},
    {"png", ImageType::Png},
};

// Counts the number conversions; throws on anything but %d (flags 0 and -,
// a width) and %%.
unsigned count_numbers(const std::string &pattern) {
    unsigned numbers = 0;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') continue;
        size_t j = i + 1;
        if (j < pattern.size() && pattern[j] == '%') {
            i = j;
            continue;
        }
        while (j < pattern.size() && (pattern[j] == '0' || pattern[j] == '-')) ++j;
        while (j < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[j]))) ++j;
        if (j >= pattern.size() || pattern[j] != 'd' || j - i > 4)
            throw UsageError("--output: only %d (such as %03d) and %% may stand in the name '" +
                             pattern + "'");
        ++numbers;
        i = j;
    }
    return numbers;
}

}  // namespace

FilePattern::FilePattern(std::string pattern, uint32_t frames) : pattern_(std::move(pattern)) {
    const unsigned numbers = count_numbers(pattern_);
    if (numbers > 1) throw UsageError("--output: the name may hold one %d, not " +
                                      std::to_string(numbers));
    numbered_ = numbers == 1;
    if (!numbered_ && frames > 1)
        throw UsageError("--output: to write " + std::to_string(frames) +
                         " frames the name needs a number, such as shot_%03d.png");
    const size_t dot = pattern_.rfind('.');
    const size_t slash = pattern_.rfind('/');
    const std::string extension =
        dot == std::string::npos || (slash != std::string::npos && dot < slash)
            ? std::string()
            : pattern_.substr(dot + 1);
    for (const Extension &e : kExtensions)
        if (strcasecmp(extension.c_str(), e.text) == 0) {
            type_ = e.type;
            return;
        }
    throw UsageError("--output: the name '" + pattern_ +
                     "' must end in .raw, .bmp, .tif, .jpg or .png to choose the file type");
}

std::string FilePattern::name(uint32_t number) const {
    if (!numbered_) {
        // Without a number, %% still stands for a single %.
        std::string out;
        for (size_t i = 0; i < pattern_.size(); ++i) {
            out += pattern_[i];
            if (pattern_[i] == '%' && i + 1 < pattern_.size() && pattern_[i + 1] == '%') ++i;
        }
        return out;
    }
    const int size = std::snprintf(nullptr, 0, pattern_.c_str(), number);
    std::vector<char> out(static_cast<size_t>(size) + 1);
    std::snprintf(out.data(), out.size(), pattern_.c_str(), number);
    return out.data();
}

const char *type_name(ImageType type) {
    switch (type) {
    case ImageType::Raw: return "raw";
    case ImageType::Bmp: return "bmp";
    case ImageType::Tiff: return "tiff";
    case ImageType::Jpeg: return "jpeg";
    case ImageType::Png: return "png";
    }
    return "?";
}

}  // namespace kavix::tool
