#pragma once
#include <cstdint>

#include "recording/jpeg/jpeg_streams.h"
#include "recording/jpeg/memory_buffer.h"

namespace kavix {

// A byte buffer in front of an output stream. Markers are written through it
// a byte or a big-endian word at a time, and the Huffman coder appends to
// its free space directly (Buffer, Length, SetLength).
class CBitStreamOutput {
public:
    CBitStreamOutput() = default;
    ~CBitStreamOutput();
    CBitStreamOutput(const CBitStreamOutput&) = delete;
    CBitStreamOutput& operator=(const CBitStreamOutput&) = delete;

    void Open(CBaseStreamOutput* stream) { stream_ = stream; }
    // Makes a buffer of `size` bytes (kept if it already has that size) and
    // empties it. Returns -6 when memory is short.
    int Init(int32_t size);
    // With room 0 writes out the buffer; otherwise only when at most `room`
    // bytes are left free. Returns -4 for a length beyond the buffer, -5 for
    // a short stream write.
    int Flush(int32_t room = 0);
    int WriteByte(uint8_t value);
    int WriteWord(uint16_t value);
    int WriteDword(uint32_t value);
    // Writes out what is buffered and lets go of the stream.
    int Close();

    uint8_t* Buffer() const { return buffer_.Data(); }
    int32_t Size() const { return size_; }
    int32_t Length() const { return length_; }
    void SetLength(int32_t length) { length_ = length; }
    int32_t Flushed() const { return flushed_; }

private:
    CBaseStreamOutput* stream_ = nullptr;
    CMemoryBuffer buffer_;
    int32_t size_ = 0;
    int32_t length_ = 0;
    int32_t flushed_ = 0;
};

}  // namespace kavix
