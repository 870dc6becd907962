#pragma once
#include <cstddef>
#include <cstdint>

namespace kavix {

// BMP file head and info header, as they lie in the header block (packed,
// little-endian). The block is what an image writer can put in front of the
// pixels of either bitmap to make a BMP file.
constexpr uint32_t kBmpFileHeaderBytes = 14;
constexpr uint32_t kBmpInfoHeaderBytes = 40;
constexpr uint32_t kBmpPaletteBytes = 256 * 4;

// The double buffer of the preview image: two top-down bitmaps, one being
// written by the capture thread while the other is shown. One pair is built
// for the straight image, one with width and height exchanged for rotation.
class FrameBufferPair {
public:
    FrameBufferPair() = default;
    ~FrameBufferPair() { release(); }
    FrameBufferPair(const FrameBufferPair &) = delete;
    FrameBufferPair &operator=(const FrameBufferPair &) = delete;

    // Builds the header block and both bitmaps, cleared, for this size and
    // preview pixel format (1 mono 8, 4 BGR24, anything else 32 bits).
    // False when memory runs out; nothing is then held.
    bool create(uint32_t width, uint32_t height, uint32_t preview_format);
    void release();
    bool created() const { return bits_[0] != nullptr; }

    // The pixels of bitmap 0 or 1, rows packed from the top.
    uint8_t *bits(uint32_t index) const { return bits_[index & 1]; }
    size_t bitmap_bytes() const { return bitmap_bytes_; }

    // The header block as an image writer wants it.
    const uint8_t *header_block() const { return block_; }
    uint32_t header_block_size() const { return block_size_; }
    uint32_t pixel_offset() const { return pixel_offset_; }
    const uint8_t *info_header() const { return block_ == nullptr ? nullptr : block_ + kBmpFileHeaderBytes; }

    // What the info header says; the height there is negative (top down).
    int32_t info_width() const;
    int32_t info_height() const;
    uint16_t info_bit_count() const;

    // Which bitmap is shown and which one is written. The capture thread
    // writes only the bitmap at write_index; the swap and every reader of the
    // shown bitmap hold FrameSwapMutex.
    uint32_t read_index = 1;
    uint32_t write_index = 0;
    uint32_t frame_numbers[2] = {0, 0};

    // Makes the written bitmap the shown one. Call under FrameSwapMutex.
    void swap() {
        read_index = write_index;
        write_index = !write_index;
    }

private:
    // A BMP file image of one frame: heads filled, pixel room left zero. It is
    // mapped lazily, so the unused pixel room costs address space only.
    uint8_t *block_ = nullptr;
    uint32_t block_size_ = 0;
    uint32_t pixel_offset_ = 0;    // 54, or 1078 with the grey palette
    uint8_t *bits_[2] = {nullptr, nullptr};
    size_t bitmap_bytes_ = 0;
};

}  // namespace kavix
