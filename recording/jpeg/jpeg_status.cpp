#include "recording/jpeg/jpeg_status.h"

namespace kavix {

const char* JpegStatusText(int status) {
    static const char* const kTexts[] = {
        "no error",
        "requested feature is not implemented",
        "internal error",
        "wrong parameters",
        "buffer too small",
        "file io operation failed",
        "memory allocation failed",
        "bad segment data",
        "bad huffman table segment",
        "bad quant table segment",
        "bad scan segment",
        "bad frame segment",
        "wrong restart marker",
    };
    constexpr int kCount = static_cast<int>(sizeof kTexts / sizeof kTexts[0]);
    if (status > 0 || status <= -kCount) return "unknown code";
    return kTexts[-status];
}

}  // namespace kavix
