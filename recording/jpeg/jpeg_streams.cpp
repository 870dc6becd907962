#include "recording/jpeg/jpeg_streams.h"

#include "recording/jpeg/jpeg_status.h"

namespace kavix {

int CStdFileOutput2::Close() {
    file_ = nullptr;
    return kJpegOk;
}

int CStdFileOutput2::Write(const void* data, uint32_t size, uint32_t* written) {
    const size_t count = file_ != nullptr ? std::fwrite(data, 1, size, file_) : 0;
    *written = static_cast<uint32_t>(count);
    return count == size ? kJpegOk : kJpegIoError;
}

}  // namespace kavix
