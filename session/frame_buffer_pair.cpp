#include "session/frame_buffer_pair.h"

#include <cstring>

#include "platform/page_memory.h"

namespace kavix {

namespace {

void put_u16(uint8_t *at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}

void put_u32(uint8_t *at, uint32_t value) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

uint32_t get_u32(const uint8_t *at) {
    return uint32_t(at[0]) | uint32_t(at[1]) << 8 | uint32_t(at[2]) << 16 | uint32_t(at[3]) << 24;
}

}  // namespace

bool FrameBufferPair::create(uint32_t width, uint32_t height, uint32_t preview_format) {
    release();
    uint16_t bit_count = 32;
    uint32_t offset = kBmpFileHeaderBytes + kBmpInfoHeaderBytes;
    if (preview_format == 1) {
        bit_count = 8;
        offset += kBmpPaletteBytes;
    } else if (preview_format == 4) {
        bit_count = 24;
    }
    const uint64_t image_bytes = uint64_t(bit_count / 8) * width * height;
    const uint64_t file_bytes = image_bytes + offset;
    if (file_bytes > UINT32_MAX) return false;

    block_ = static_cast<uint8_t *>(platform::allocate_pages(file_bytes));
    // An empty image still gets distinct, valid bitmaps.
    const size_t bitmap_bytes = image_bytes == 0 ? 1 : size_t(image_bytes);
    bits_[0] = static_cast<uint8_t *>(platform::allocate_pages(bitmap_bytes));
    bits_[1] = static_cast<uint8_t *>(platform::allocate_pages(bitmap_bytes));
    bitmap_bytes_ = bitmap_bytes;
    block_size_ = static_cast<uint32_t>(file_bytes);
    pixel_offset_ = offset;
    if (block_ == nullptr || bits_[0] == nullptr || bits_[1] == nullptr) {
        release();
        return false;
    }

    // Fresh pages are zero, so only the non-zero fields are written.
    uint8_t *file = block_;
    file[0] = 'B';
    file[1] = 'M';
    put_u32(file + 2, block_size_);
    put_u32(file + 10, offset);
    uint8_t *info = file + kBmpFileHeaderBytes;
    put_u32(info + 0, kBmpInfoHeaderBytes);
    put_u32(info + 4, width);
    put_u32(info + 8, static_cast<uint32_t>(-static_cast<int64_t>(height)));  // top-down rows
    put_u16(info + 12, 1);
    put_u16(info + 14, bit_count);
    put_u32(info + 20, static_cast<uint32_t>(image_bytes));
    if (bit_count == 8) {
        put_u32(info + 32, 256);
        put_u32(info + 36, 256);
        uint8_t *palette = info + kBmpInfoHeaderBytes;
        for (uint32_t grey = 0; grey < 256; ++grey) {
            palette[grey * 4 + 0] = static_cast<uint8_t>(grey);
            palette[grey * 4 + 1] = static_cast<uint8_t>(grey);
            palette[grey * 4 + 2] = static_cast<uint8_t>(grey);
        }
    }
    read_index = 1;
    write_index = 0;
    frame_numbers[0] = frame_numbers[1] = 0;
    return true;
}

void FrameBufferPair::release() {
    platform::free_pages(block_, block_size_);
    platform::free_pages(bits_[0], bitmap_bytes_);
    platform::free_pages(bits_[1], bitmap_bytes_);
    block_ = nullptr;
    bits_[0] = bits_[1] = nullptr;
    block_size_ = 0;
    bitmap_bytes_ = 0;
    pixel_offset_ = 0;
}

int32_t FrameBufferPair::info_width() const {
    return block_ == nullptr ? 0 : static_cast<int32_t>(get_u32(info_header() + 4));
}

int32_t FrameBufferPair::info_height() const {
    return block_ == nullptr ? 0 : static_cast<int32_t>(get_u32(info_header() + 8));
}

uint16_t FrameBufferPair::info_bit_count() const {
    return block_ == nullptr ? 0 : static_cast<uint16_t>(info_header()[14] | info_header()[15] << 8);
}

}  // namespace kavix
