#pragma once
#include <cstdio>

#include "recording/still_image.h"

namespace kavix::stills {

// A PNG file through libpng, 8 bits per sample: grey for format 1, RGB for
// formats 4 and 8 (whose fourth byte is dropped). Only quality's lowest bit
// counts: even writes an Adam7-interlaced file, odd a plain one. A libpng
// failure gives 8.
StillResult WritePngFile(std::FILE* file, const StillImage& image, uint32_t quality);

}  // namespace kavix::stills
