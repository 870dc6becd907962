#pragma once

// Results of the JPEG encoder and its streams: 0 or a negative code.
namespace kavix {

enum JpegStatus : int {
    kJpegOk = 0,
    kJpegNotImplemented = -1,
    kJpegInternalError = -2,  // a coding operation failed
    kJpegBadParameters = -3,
    kJpegBufferTooSmall = -4,
    kJpegIoError = -5,        // a stream write fell short
    kJpegOutOfMemory = -6,
    kJpegBadSegment = -7,
    kJpegBadHuffmanTable = -8,
    kJpegBadQuantTable = -9,
    kJpegBadScan = -10,
    kJpegBadFrame = -11,
    kJpegBadRestartMarker = -12,
};

// The text of a code: "no error" for 0, "unknown code" for none of the above.
const char* JpegStatusText(int status);

}  // namespace kavix
