#pragma once
#include <cstddef>
#include <cstdint>

namespace kavix {

// An owned block of memory aligned for vector loads. Growing it loses the
// contents; it never shrinks, so a buffer reused for frames of one size is
// allocated once.
class CMemoryBuffer {
public:
    CMemoryBuffer() = default;
    virtual ~CMemoryBuffer();
    CMemoryBuffer(const CMemoryBuffer&) = delete;
    CMemoryBuffer& operator=(const CMemoryBuffer&) = delete;

    // Makes the block at least `size` bytes. Returns 0, or -6 when memory is
    // short (the old block is then gone).
    int Reserve(size_t size);

    uint8_t* Data() const { return data_; }
    size_t Size() const { return size_; }

private:
    static constexpr size_t kAlignment = 64;
    uint8_t* data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace kavix
