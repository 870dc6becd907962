#include "recording/jpeg/jpeg_encoder.h"

#include <algorithm>
#include <cstring>

#include "recording/jpeg/annex_k_tables.h"
#include "recording/jpeg/color_convert.h"

namespace kavix {
namespace {

constexpr uint16_t kSoi = 0xFFD8, kEoi = 0xFFD9, kApp0 = 0xFFE0, kDqt = 0xFFDB;
constexpr uint16_t kSof0 = 0xFFC0, kDht = 0xFFC4, kDri = 0xFFDD, kSos = 0xFFDA, kRst0 = 0xFFD0;
constexpr int kBitStreamSize = 4096;
constexpr int kBlockBytes = 64 * sizeof(int16_t);
// Free room kept in the bit stream's buffer before a block is coded: all
// that one block can produce.
constexpr int kCodingRoom = jpeg::kMaxHuffmanBlockBytes;

int CeilDiv(int a, int b) { return (a + b - 1) / b; }

#define KAVIX_TRY(expression)                      \
    do {                                           \
        const int status_ = (expression);          \
        if (status_ != kJpegOk) return status_;    \
    } while (0)

void LoadHuffmanTable(CJPEGEncoderHuffmanTable& table, int id, int table_class,
                      const jpeg::HuffmanTableDef& def) {
    table.id = id;
    table.table_class = table_class;
    std::memcpy(table.bits, def.bits, sizeof table.bits);
    std::memset(table.values, 0, sizeof table.values);
    std::memcpy(table.values, def.values, static_cast<size_t>(def.count));
    table.count = def.count;
}

}  // namespace

int CJPEGEncoder::SetSource(const uint8_t* pixels, int stride, JpegSize size, int channels,
                            int color, int sampling, int precision) {
    pixels_ = pixels;
    stride_ = stride;
    width_ = size.width;
    height_ = size.height;
    source_channels_ = channels;
    source_color_ = color;
    source_sampling_ = sampling;
    source_precision_ = precision;
    params_set_ = false;
    return pixels == nullptr ? kJpegBadParameters : kJpegOk;
}

int CJPEGEncoder::AttachStream(CBaseStreamOutput* stream) {
    if (stream == nullptr) return kJpegBadParameters;
    stream_ = stream;
    bits_.Open(stream);
    return kJpegOk;
}

bool CJPEGEncoder::SharesChromaTables() const {
    return component_count_ > 1 && (color_ == kJpegYCbCr || color_ == kJpegYcck);
}

int CJPEGEncoder::SetParams(int mode, int color, int sampling, int restart_interval,
                            int optimal_huffman, int quality) {
    params_set_ = false;
    if (color < kJpegGrey || color > kJpegYcck) return kJpegBadParameters;
    if (sampling != kJpegSampling444 && sampling != kJpegSampling422 && sampling != kJpegSampling411)
        return kJpegBadParameters;
    if (restart_interval < 0 || restart_interval > 0xFFFF || quality < 0) return kJpegBadParameters;
    if (mode < kJpegBaseline || mode > kJpegLossless) return kJpegBadParameters;
    // Only what the library asks for is built: baseline, fixed tables, grey
    // or YCbCr files from grey, RGB or BGR sources.
    if (mode != kJpegBaseline || optimal_huffman != 0) return kJpegNotImplemented;
    if (color != kJpegGrey && color != kJpegYCbCr) return kJpegNotImplemented;
    if (source_color_ != kJpegGrey && source_color_ != kJpegRgb && source_color_ != kJpegBgr)
        return kJpegNotImplemented;
    if (pixels_ == nullptr || width_ < 1 || height_ < 1 || width_ > 0xFFFF || height_ > 0xFFFF)
        return kJpegBadParameters;
    if (source_precision_ != 8) return kJpegBadParameters;
    const bool grey_source = source_color_ == kJpegGrey;
    if (grey_source ? source_channels_ != 1 : source_channels_ != 3 && source_channels_ != 4)
        return kJpegBadParameters;
    if (stride_ < width_ * source_channels_) return kJpegBadParameters;

    mode_ = mode;
    color_ = color;
    sampling_ = sampling;
    restart_interval_ = restart_interval;
    quality_ = quality;
    precision_ = source_precision_;

    mcu_width_ = sampling != kJpegSampling444 ? 16 : 8;
    mcu_height_ = sampling == kJpegSampling411 ? 16 : 8;
    mcu_columns_ = CeilDiv(width_, mcu_width_);
    mcu_rows_ = CeilDiv(height_, mcu_height_);
    padded_width_ = mcu_columns_ * mcu_width_;
    padded_height_ = mcu_rows_ * mcu_height_;
    extra_columns_ = padded_width_ - width_;
    extra_rows_ = padded_height_ - height_;
    component_count_ = color == kJpegGrey ? 1 : 3;

    // Quantisation tables, in zig-zag order; quality 0 keeps them as printed.
    const int table_count = SharesChromaTables() ? 2 : 1;
    for (int t = 0; t < 4; ++t) quant_tables_[t].initialized = false;
    for (int t = 0; t < table_count; ++t) {
        CJPEGEncoderQuantTable& table = quant_tables_[t];
        const uint8_t* natural = t == 0 ? jpeg::kLuminanceQuantNatural : jpeg::kChrominanceQuantNatural;
        uint8_t zigzag[64];
        for (int k = 0; k < 64; ++k) zigzag[k] = natural[jpeg::kZigzagToNatural[k]];
        table.id = t;
        table.precision = 0;
        if (quality != 0)
            jpeg::ScaleQuantTable(zigzag, quality, 255, table.raw);
        else
            std::copy(zigzag, zigzag + 64, table.raw);
        jpeg::BuildForwardQuantTable(table.raw, table.derived);
        table.initialized = true;
    }

    LoadHuffmanTable(dc_tables_[0], 0, 0, jpeg::kLuminanceDc);
    LoadHuffmanTable(ac_tables_[0], 0, 1, jpeg::kLuminanceAc);
    if (table_count > 1) {
        LoadHuffmanTable(dc_tables_[1], 1, 0, jpeg::kChrominanceDc);
        LoadHuffmanTable(ac_tables_[1], 1, 1, jpeg::kChrominanceAc);
    }
    for (int t = 0; t < table_count; ++t) {
        if (!jpeg::BuildHuffmanCodeTable(dc_tables_[t].bits, dc_tables_[t].values, dc_tables_[t].derived) ||
            !jpeg::BuildHuffmanCodeTable(ac_tables_[t].bits, ac_tables_[t].values, ac_tables_[t].derived))
            return kJpegInternalError;
    }

    blocks_per_mcu_ = 0;
    for (int c = 0; c < component_count_; ++c) {
        CJPEGColorComponent& component = components_[c];
        const bool full = c == 0 || c == 3;
        component.id = c;
        component.h_sampling = full && sampling != kJpegSampling444 ? 2 : 1;
        component.v_sampling = full && sampling == kJpegSampling411 ? 2 : 1;
        const int selector = SharesChromaTables() && (c == 1 || c == 2) ? 1 : 0;
        component.quant_selector = component.dc_selector = component.ac_selector = selector;
        blocks_per_mcu_ += component.h_sampling * component.v_sampling;
    }
    for (int c = 0; c < component_count_; ++c) {
        CJPEGColorComponent& component = components_[c];
        component.h_factor = components_[0].h_sampling / component.h_sampling;
        component.v_factor = components_[0].v_sampling / component.v_sampling;
    }
    params_set_ = true;
    return kJpegOk;
}

int CJPEGEncoder::AllocateBuffers() {
    for (int c = 0; c < component_count_; ++c) {
        CJPEGColorComponent& component = components_[c];
        component.converted_step = padded_width_;
        KAVIX_TRY(component.converted.Reserve(static_cast<size_t>(padded_width_) * mcu_height_));
        component.subsampled_step = padded_width_ / component.h_factor;
        if (component.h_factor != 1 || component.v_factor != 1)
            KAVIX_TRY(component.subsampled.Reserve(static_cast<size_t>(component.subsampled_step) *
                                                   (mcu_height_ / component.v_factor)));
    }
    const size_t coefficient_bytes = static_cast<size_t>(mcu_columns_) * blocks_per_mcu_ * kBlockBytes;
    if (coefficients_.Size() < coefficient_bytes) {
        KAVIX_TRY(coefficients_.Reserve(coefficient_bytes));
        std::memset(coefficients_.Data(), 0, coefficient_bytes);
    }
    KAVIX_TRY(bits_.Init(kBitStreamSize));
    jpeg::ResetHuffmanState(huffman_state_.coder);
    return kJpegOk;
}

int CJPEGEncoder::WriteApp0() {
    static const uint8_t kJfif[] = {'J', 'F', 'I', 'F', 0};
    KAVIX_TRY(bits_.WriteWord(kApp0));
    KAVIX_TRY(bits_.WriteWord(16));
    for (uint8_t byte : kJfif) KAVIX_TRY(bits_.WriteByte(byte));
    KAVIX_TRY(bits_.WriteWord(0x0102));  // version
    KAVIX_TRY(bits_.WriteByte(0));       // no units: densities give the aspect ratio
    KAVIX_TRY(bits_.WriteWord(1));
    KAVIX_TRY(bits_.WriteWord(1));
    KAVIX_TRY(bits_.WriteByte(0));  // no thumbnail
    return bits_.WriteByte(0);
}

int CJPEGEncoder::WriteQuantTable(const CJPEGEncoderQuantTable& table) {
    KAVIX_TRY(bits_.WriteWord(kDqt));
    KAVIX_TRY(bits_.WriteWord(67));
    KAVIX_TRY(bits_.WriteByte(static_cast<uint8_t>(table.precision << 4 | table.id)));
    for (uint16_t entry : table.raw) KAVIX_TRY(bits_.WriteByte(static_cast<uint8_t>(entry)));
    return kJpegOk;
}

int CJPEGEncoder::WriteFrameHeader() {
    KAVIX_TRY(bits_.WriteWord(kSof0));
    KAVIX_TRY(bits_.WriteWord(static_cast<uint16_t>(component_count_ * 3 + 8)));
    KAVIX_TRY(bits_.WriteByte(static_cast<uint8_t>(precision_)));
    KAVIX_TRY(bits_.WriteWord(static_cast<uint16_t>(height_)));
    KAVIX_TRY(bits_.WriteWord(static_cast<uint16_t>(width_)));
    KAVIX_TRY(bits_.WriteByte(static_cast<uint8_t>(component_count_)));
    for (int c = 0; c < component_count_; ++c) {
        const CJPEGColorComponent& component = components_[c];
        KAVIX_TRY(bits_.WriteByte(static_cast<uint8_t>(component.id)));
        KAVIX_TRY(bits_.WriteByte(static_cast<uint8_t>(component.h_sampling << 4 | component.v_sampling)));
        KAVIX_TRY(bits_.WriteByte(static_cast<uint8_t>(component.quant_selector)));
    }
    return kJpegOk;
}

int CJPEGEncoder::WriteHuffmanTable(const CJPEGEncoderHuffmanTable& table) {
    KAVIX_TRY(bits_.WriteWord(kDht));
    KAVIX_TRY(bits_.WriteWord(static_cast<uint16_t>(table.count + 19)));
    KAVIX_TRY(bits_.WriteByte(static_cast<uint8_t>(table.table_class << 4 | table.id)));
    for (uint8_t count : table.bits) KAVIX_TRY(bits_.WriteByte(count));
    for (int i = 0; i < table.count; ++i) KAVIX_TRY(bits_.WriteByte(table.values[i]));
    return kJpegOk;
}

int CJPEGEncoder::WriteHeader() {
    if (!params_set_ || stream_ == nullptr) return kJpegBadParameters;
    KAVIX_TRY(AllocateBuffers());
    KAVIX_TRY(bits_.WriteWord(kSoi));
    KAVIX_TRY(WriteApp0());
    KAVIX_TRY(WriteQuantTable(quant_tables_[0]));
    if (SharesChromaTables()) KAVIX_TRY(WriteQuantTable(quant_tables_[1]));
    KAVIX_TRY(WriteFrameHeader());
    KAVIX_TRY(WriteHuffmanTable(dc_tables_[0]));
    KAVIX_TRY(WriteHuffmanTable(ac_tables_[0]));
    if (SharesChromaTables()) {
        KAVIX_TRY(WriteHuffmanTable(dc_tables_[1]));
        KAVIX_TRY(WriteHuffmanTable(ac_tables_[1]));
    }
    if (restart_interval_ != 0) {
        KAVIX_TRY(bits_.WriteWord(kDri));
        KAVIX_TRY(bits_.WriteWord(4));
        KAVIX_TRY(bits_.WriteWord(static_cast<uint16_t>(restart_interval_)));
    }
    return bits_.Flush(0);
}

int CJPEGEncoder::WriteScanHeader() {
    KAVIX_TRY(bits_.WriteWord(kSos));
    KAVIX_TRY(bits_.WriteWord(static_cast<uint16_t>(component_count_ * 2 + 6)));
    KAVIX_TRY(bits_.WriteByte(static_cast<uint8_t>(component_count_)));
    for (int c = 0; c < component_count_; ++c) {
        const CJPEGColorComponent& component = components_[c];
        KAVIX_TRY(bits_.WriteByte(static_cast<uint8_t>(component.id)));
        KAVIX_TRY(bits_.WriteByte(static_cast<uint8_t>(component.dc_selector << 4 | component.ac_selector)));
    }
    KAVIX_TRY(bits_.WriteByte(0));   // Ss
    KAVIX_TRY(bits_.WriteByte(63));  // Se
    return bits_.WriteByte(0);       // Ah, Al
}

// Fills row i of every component's full-resolution plane from the source,
// repeating the last true sample across the extra columns and, in the last
// MCU row, the last true row across the extra rows.
void CJPEGEncoder::ConvertMcuRow(int mcu_row) {
    const int first_row = mcu_row * mcu_height_;
    const int true_rows = std::min(mcu_height_, height_ - first_row);
    const bool grey_source = source_color_ == kJpegGrey;
    const jpeg::PixelLayout layout =
        source_color_ == kJpegRgb ? (source_channels_ == 4 ? jpeg::kRgb32 : jpeg::kRgb24)
                                  : (source_channels_ == 4 ? jpeg::kBgr32 : jpeg::kBgr24);
    for (int i = 0; i < mcu_height_; ++i) {
        uint8_t* rows[3];
        for (int c = 0; c < component_count_; ++c)
            rows[c] = components_[c].converted.Data() + static_cast<size_t>(i) * components_[c].converted_step;
        if (i >= true_rows) {
            for (int c = 0; c < component_count_; ++c)
                std::memcpy(rows[c], rows[c] - components_[c].converted_step, static_cast<size_t>(padded_width_));
            continue;
        }
        const uint8_t* source = pixels_ + static_cast<ptrdiff_t>(first_row + i) * stride_;
        if (grey_source) {
            std::memcpy(rows[0], source, static_cast<size_t>(width_));
            for (int c = 1; c < component_count_; ++c) std::memset(rows[c], 128, static_cast<size_t>(padded_width_));
        } else if (component_count_ == 1) {
            jpeg::ConvertToGrey(source, layout, width_, rows[0], simd_);
        } else {
            jpeg::ConvertToYCbCr(source, layout, width_, rows[0], rows[1], rows[2], simd_);
        }
        if (extra_columns_ > 0)
            for (int c = 0; c < component_count_; ++c)
                std::memset(rows[c] + width_, rows[c][width_ - 1], static_cast<size_t>(extra_columns_));
    }
}

void CJPEGEncoder::DownsampleMcuRow() {
    for (int c = 0; c < component_count_; ++c) {
        CJPEGColorComponent& component = components_[c];
        if (component.h_factor == 1 && component.v_factor == 1) continue;
        const int out_width = padded_width_ / component.h_factor;
        const uint8_t* in = component.converted.Data();
        uint8_t* out = component.subsampled.Data();
        const int in_step = component.converted_step, out_step = component.subsampled_step;
        if (component.v_factor == 1) {
            for (int i = 0; i < mcu_height_; ++i)
                jpeg::DownsampleH2(in + i * in_step, out_width, out + i * out_step, simd_);
        } else {
            for (int i = 0; i < mcu_height_ / 2; ++i)
                jpeg::DownsampleH2V2(in + 2 * i * in_step, in + (2 * i + 1) * in_step, out_width,
                                     out + i * out_step, simd_);
        }
    }
}

// Blocks of one component within the coefficient buffer: its block rows of
// the MCU row one after another, each mcu_columns * h_sampling blocks long.
int16_t* CJPEGEncoder::ComponentBlocks(int component) const {
    int16_t* blocks = reinterpret_cast<int16_t*>(coefficients_.Data());
    for (int c = 0; c < component; ++c)
        blocks += static_cast<size_t>(mcu_columns_) * components_[c].h_sampling * components_[c].v_sampling * 64;
    return blocks;
}

void CJPEGEncoder::TransformMcuRow() {
    for (int c = 0; c < component_count_; ++c) {
        const CJPEGColorComponent& component = components_[c];
        const jpeg::ForwardQuantTable& table = quant_tables_[component.quant_selector].derived;
        const uint8_t* plane = component.Plane();
        const int step = component.PlaneStep();
        const int blocks_across = mcu_columns_ * component.h_sampling;
        int16_t* out = ComponentBlocks(c);
        for (int by = 0; by < component.v_sampling; ++by)
            for (int bx = 0; bx < blocks_across; ++bx, out += 64)
                jpeg::ForwardDctQuantize(plane + static_cast<size_t>(by) * 8 * step + bx * 8, step, table, out, simd_);
    }
}

// A coding unit is what a restart interval counts: an MCU of an interleaved
// scan, a single block of a one-component scan.
int CJPEGEncoder::BeginCodingUnit() {
    if (restart_interval_ == 0 || restarts_to_go_ != 0) return kJpegOk;
    KAVIX_TRY(bits_.Flush(kCodingRoom));
    int32_t position = bits_.Length();
    if (!jpeg::FlushHuffman(bits_.Buffer(), bits_.Size(), &position, huffman_state_.coder))
        return kJpegInternalError;
    bits_.SetLength(position);
    KAVIX_TRY(bits_.WriteWord(static_cast<uint16_t>(kRst0 + next_restart_)));
    next_restart_ = (next_restart_ + 1) & 7;
    for (int c = 0; c < component_count_; ++c) components_[c].last_dc = 0;
    jpeg::ResetHuffmanState(huffman_state_.coder);
    restarts_to_go_ = restart_interval_;
    return kJpegOk;
}

void CJPEGEncoder::EndCodingUnit() {
    if (restart_interval_ == 0) return;
    if (restarts_to_go_ == 0) restarts_to_go_ = restart_interval_;
    --restarts_to_go_;
}

int CJPEGEncoder::CodeBlock(CJPEGColorComponent& component, const int16_t* block) {
    KAVIX_TRY(bits_.Flush(kCodingRoom));
    int32_t position = bits_.Length();
    if (!jpeg::EncodeHuffmanBlock(block, bits_.Buffer(), bits_.Size(), &position, &component.last_dc,
                                  dc_tables_[component.dc_selector].derived,
                                  ac_tables_[component.ac_selector].derived, huffman_state_.coder, simd_))
        return kJpegInternalError;
    bits_.SetLength(position);
    return kJpegOk;
}

int CJPEGEncoder::CodeMcuRow(int mcu_row) {
    if (component_count_ == 1) {
        // A scan of one component is not interleaved: its blocks go in rows
        // across the component, as many per row as its true width needs,
        // so a half-filled last MCU contributes only its first block.
        CJPEGColorComponent& component = components_[0];
        const int blocks_across = mcu_columns_ * component.h_sampling;
        const int blocks_needed = CeilDiv(width_, 8);
        const int block_rows = CeilDiv(height_, 8);
        const int16_t* blocks = ComponentBlocks(0);
        for (int by = 0; by < component.v_sampling; ++by) {
            if (mcu_row * component.v_sampling + by >= block_rows) break;
            for (int bx = 0; bx < blocks_needed; ++bx) {
                KAVIX_TRY(BeginCodingUnit());
                KAVIX_TRY(CodeBlock(component, blocks + (static_cast<size_t>(by) * blocks_across + bx) * 64));
                EndCodingUnit();
            }
        }
        return kJpegOk;
    }
    int16_t* first[4];
    for (int c = 0; c < component_count_; ++c) first[c] = ComponentBlocks(c);
    for (int x = 0; x < mcu_columns_; ++x) {
        KAVIX_TRY(BeginCodingUnit());
        for (int c = 0; c < component_count_; ++c) {
            CJPEGColorComponent& component = components_[c];
            const int blocks_across = mcu_columns_ * component.h_sampling;
            for (int by = 0; by < component.v_sampling; ++by)
                for (int bh = 0; bh < component.h_sampling; ++bh) {
                    const size_t index = static_cast<size_t>(by) * blocks_across + x * component.h_sampling + bh;
                    KAVIX_TRY(CodeBlock(component, first[c] + index * 64));
                }
        }
        EndCodingUnit();
    }
    return kJpegOk;
}

int CJPEGEncoder::WriteData() {
    if (!params_set_ || stream_ == nullptr || bits_.Size() == 0) return kJpegBadParameters;
    for (int c = 0; c < component_count_; ++c) components_[c].last_dc = 0;
    restarts_to_go_ = restart_interval_;
    next_restart_ = 0;
    jpeg::ResetHuffmanState(huffman_state_.coder);
    KAVIX_TRY(WriteScanHeader());

    for (int mcu_row = 0; mcu_row < mcu_rows_; ++mcu_row) {
        ConvertMcuRow(mcu_row);
        DownsampleMcuRow();
        TransformMcuRow();
        KAVIX_TRY(CodeMcuRow(mcu_row));
    }

    KAVIX_TRY(bits_.Flush(kCodingRoom));
    int32_t position = bits_.Length();
    if (!jpeg::FlushHuffman(bits_.Buffer(), bits_.Size(), &position, huffman_state_.coder))
        return kJpegInternalError;
    bits_.SetLength(position);
    KAVIX_TRY(bits_.WriteWord(kEoi));
    return bits_.Flush(0);
}

}  // namespace kavix
