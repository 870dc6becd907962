#pragma once
#include <cstdio>

#include "recording/still_image.h"

namespace kavix::stills {

// An uncompressed little-endian TIFF file with one directory and one strip.
// Grey formats 1 (8 bits) and 2, 16, 32, 64 (16 bits, samples shifted up so
// that their top bit is bit 15, on the copy only); colour formats 4 (RGB)
// and 8 (RGB and an extra sample of 0), channels swapped to red first.
// Memory short: 8. Write failures go unnoticed.
StillResult WriteTiffFile(std::FILE* file, const StillImage& image);

}  // namespace kavix::stills
