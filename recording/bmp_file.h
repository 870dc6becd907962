#pragma once
#include <cstdio>

#include "recording/still_image.h"

namespace kavix::stills {

// A BMP file of formats 1 (8 bits with a grey palette), 4 (24 bits) or 8 (32
// bits), rows bottom-up. Rows keep the image's packed stride, without the
// usual padding to four bytes. Memory short: 8. Write failures go unnoticed.
StillResult WriteBmpFile(std::FILE* file, const StillImage& image);

}  // namespace kavix::stills
