#include "recording/jpeg/memory_buffer.h"

#include <cstdlib>

#include "recording/jpeg/jpeg_status.h"

namespace kavix {

CMemoryBuffer::~CMemoryBuffer() { std::free(data_); }

int CMemoryBuffer::Reserve(size_t size) {
    if (size <= size_ && data_ != nullptr) return kJpegOk;
    std::free(data_);
    data_ = nullptr;
    size_ = 0;
    // Room for one vector read past the end keeps the kernels' loads simple.
    const size_t rounded = (size + kAlignment + kAlignment - 1) / kAlignment * kAlignment;
    void* block = nullptr;
    if (posix_memalign(&block, kAlignment, rounded) != 0) return kJpegOutOfMemory;
    data_ = static_cast<uint8_t*>(block);
    size_ = size;
    return kJpegOk;
}

}  // namespace kavix
