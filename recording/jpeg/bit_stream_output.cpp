#include "recording/jpeg/bit_stream_output.h"

#include "recording/jpeg/jpeg_status.h"

namespace kavix {

CBitStreamOutput::~CBitStreamOutput() = default;

int CBitStreamOutput::Init(int32_t size) {
    if (size <= 0) return kJpegBadParameters;
    if (buffer_.Reserve(static_cast<size_t>(size)) != kJpegOk) {
        size_ = 0;
        return kJpegOutOfMemory;
    }
    size_ = size;
    length_ = 0;
    flushed_ = 0;
    return kJpegOk;
}

int CBitStreamOutput::Flush(int32_t room) {
    if (length_ > size_ || length_ < 0) return kJpegBufferTooSmall;
    if (room != 0 && size_ - length_ > room) return kJpegOk;
    if (length_ == 0) return kJpegOk;
    if (stream_ == nullptr) return kJpegIoError;
    uint32_t written = 0;
    const int status = stream_->Write(buffer_.Data(), static_cast<uint32_t>(length_), &written);
    flushed_ += static_cast<int32_t>(written);
    length_ = 0;
    return status == kJpegOk ? kJpegOk : kJpegIoError;
}

int CBitStreamOutput::WriteByte(uint8_t value) {
    if (length_ >= size_) {
        const int status = Flush(0);
        if (status != kJpegOk) return status;
        if (size_ == 0) return kJpegBufferTooSmall;
    }
    buffer_.Data()[length_++] = value;
    return kJpegOk;
}

int CBitStreamOutput::WriteWord(uint16_t value) {
    int status = WriteByte(static_cast<uint8_t>(value >> 8));
    if (status == kJpegOk) status = WriteByte(static_cast<uint8_t>(value));
    return status;
}

int CBitStreamOutput::WriteDword(uint32_t value) {
    int status = WriteWord(static_cast<uint16_t>(value >> 16));
    if (status == kJpegOk) status = WriteWord(static_cast<uint16_t>(value));
    return status;
}

int CBitStreamOutput::Close() {
    const int status = size_ > 0 ? Flush(0) : kJpegOk;
    stream_ = nullptr;
    return status;
}

}  // namespace kavix
