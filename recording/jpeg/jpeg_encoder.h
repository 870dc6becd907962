#pragma once
#include <cstdint>

#include "recording/jpeg/bit_stream_output.h"
#include "recording/jpeg/cpu_dispatch.h"
#include "recording/jpeg/forward_dct.h"
#include "recording/jpeg/huffman_coder.h"
#include "recording/jpeg/jpeg_status.h"
#include "recording/jpeg/jpeg_streams.h"
#include "recording/jpeg/memory_buffer.h"

namespace kavix {

struct JpegSize {
    int width;
    int height;
};

// Colour codes, for the source and the file alike.
enum JpegColor : int {
    kJpegGrey = 1,
    kJpegRgb = 2,
    kJpegBgr = 3,
    kJpegYCbCr = 4,
    kJpegCmyk = 5,
    kJpegYcck = 6,
};

enum JpegMode : int {
    kJpegBaseline = 1,
    kJpegExtendedSequential = 2,
    kJpegProgressive = 3,
    kJpegLossless = 4,
};

// Sampling codes: the first component (and a fourth) takes twice the
// resolution of the others horizontally (4:2:2) or both ways (4:1:1).
enum JpegSampling : int {
    kJpegSampling444 = 0,  // MCU 8 x 8
    kJpegSampling422 = 1,  // MCU 16 x 8
    kJpegSampling411 = 3,  // MCU 16 x 16
};

// One component of the file, with the planes of the MCU row being coded.
struct CJPEGColorComponent {
    int id = 0;
    int quant_selector = 0;
    int dc_selector = 0;
    int ac_selector = 0;
    int h_sampling = 1;
    int v_sampling = 1;
    int h_factor = 1;  // largest horizontal sampling factor / h_sampling
    int v_factor = 1;
    int16_t last_dc = 0;
    CMemoryBuffer converted;   // full resolution, one MCU row
    CMemoryBuffer subsampled;  // after downsampling by the factors
    int converted_step = 0;    // bytes per row of each plane
    int subsampled_step = 0;

    const uint8_t* Plane() const {
        return h_factor == 1 && v_factor == 1 ? converted.Data() : subsampled.Data();
    }
    int PlaneStep() const { return h_factor == 1 && v_factor == 1 ? converted_step : subsampled_step; }
};

struct CJPEGEncoderQuantTable {
    int id = 0;
    int precision = 0;  // 0: 8-bit entries
    bool initialized = false;
    uint16_t raw[64] = {};  // zig-zag order, as the DQT segment holds it
    jpeg::ForwardQuantTable derived;
};

struct CJPEGEncoderHuffmanTable {
    int id = 0;
    int table_class = 0;  // 0 DC, 1 AC
    uint8_t bits[16] = {};
    uint8_t values[256] = {};
    int count = 0;
    jpeg::HuffmanCodeTable derived;
};

struct CJPEGEncoderHuffmanState {
    jpeg::HuffmanCoderState coder;
};

// Encodes one 8-bit image held in memory as a baseline JFIF stream. Call
// SetSource, AttachStream and SetParams, then WriteHeader and WriteData; the
// object may then encode the next image with its buffers kept. Every call
// returns 0 or a negative JpegStatus.
class CJPEGEncoder {
public:
    CJPEGEncoder() = default;
    CJPEGEncoder(const CJPEGEncoder&) = delete;
    CJPEGEncoder& operator=(const CJPEGEncoder&) = delete;

    int SetSource(const uint8_t* pixels, int stride, JpegSize size, int channels, int color,
                  int sampling, int precision);
    int AttachStream(CBaseStreamOutput* stream);
    int SetParams(int mode, int color, int sampling, int restart_interval, int optimal_huffman,
                  int quality);
    int WriteHeader();
    int WriteData();

    // Chooses the kernels' code path; the output is the same on every path.
    void SetSimdLevel(jpeg::SimdLevel level) { simd_ = level; }

private:
    int AllocateBuffers();
    int WriteApp0();
    int WriteQuantTable(const CJPEGEncoderQuantTable& table);
    int WriteFrameHeader();
    int WriteHuffmanTable(const CJPEGEncoderHuffmanTable& table);
    int WriteScanHeader();
    void ConvertMcuRow(int mcu_row);
    void DownsampleMcuRow();
    void TransformMcuRow();
    int CodeMcuRow(int mcu_row);
    int BeginCodingUnit();
    void EndCodingUnit();
    int CodeBlock(CJPEGColorComponent& component, const int16_t* block);
    int16_t* ComponentBlocks(int component) const;
    bool SharesChromaTables() const;

    // Source.
    const uint8_t* pixels_ = nullptr;
    int stride_ = 0;
    int width_ = 0;
    int height_ = 0;
    int source_precision_ = 8;
    int source_channels_ = 0;
    int source_color_ = 0;
    int source_sampling_ = 4;

    CBaseStreamOutput* stream_ = nullptr;
    CBitStreamOutput bits_;

    // Parameters.
    bool params_set_ = false;
    int component_count_ = 0;
    int precision_ = 8;
    int sampling_ = kJpegSampling444;
    int color_ = 0;
    int quality_ = 100;
    int restart_interval_ = 0;
    int mode_ = kJpegBaseline;

    // Geometry.
    int mcu_columns_ = 0;
    int mcu_rows_ = 0;
    int mcu_width_ = 0;
    int mcu_height_ = 0;
    int padded_width_ = 0;
    int padded_height_ = 0;
    int extra_columns_ = 0;
    int extra_rows_ = 0;
    int blocks_per_mcu_ = 0;

    // Restarts.
    int restarts_to_go_ = 0;
    int next_restart_ = 0;

    CJPEGColorComponent components_[4];
    CJPEGEncoderQuantTable quant_tables_[4];
    CJPEGEncoderHuffmanTable dc_tables_[4];
    CJPEGEncoderHuffmanTable ac_tables_[4];
    CJPEGEncoderHuffmanState huffman_state_;
    CMemoryBuffer coefficients_;  // one MCU row of quantised blocks

    jpeg::SimdLevel simd_ = jpeg::DetectedSimdLevel();
};

}  // namespace kavix
