#pragma once
#include <cstdio>

#include "recording/still_image.h"

namespace kavix::stills {

// A baseline JPEG file of formats 1 (grey) or 4 and 8 (YCbCr 4:2:2). quality
// runs from 0 (finest) to 100, larger values counting as 100: the encoder is
// given 100 - quality, so 50 and 100 both give the standard's tables and 99
// the coarsest. Sizes beyond 65535 are refused (87), memory short gives 8.
// The encoder's write failures go unnoticed.
StillResult WriteJpegFile(std::FILE* file, const StillImage& image, uint32_t quality);

}  // namespace kavix::stills
