#include "tests/recording/jpeg_test_support.h"

#include <turbojpeg.h>

#include <csetjmp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
// jpeglib.h needs FILE and size_t declared first.
#include <jpeglib.h>

namespace kavix::test {

EncodeResult Encode(const EncodeRequest& request, CJPEGEncoder* encoder) {
    EncodeResult result;
    char* data = nullptr;
    size_t size = 0;
    FILE* file = open_memstream(&data, &size);
    {
        CStdFileOutput2 stream(file);
        CJPEGEncoder local;
        CJPEGEncoder& e = encoder ? *encoder : local;
        e.AttachStream(&stream);
        const int stride = request.stride ? request.stride : request.width * request.channels;
        e.SetSource(request.pixels, stride, JpegSize{request.width, request.height}, request.channels,
                    request.source_color, 0, 8);
        result.set_params = e.SetParams(1, request.color, request.sampling, request.restart_interval, 0,
                                        request.quality);
        if (result.set_params == 0) result.header = e.WriteHeader();
        if (result.set_params == 0 && result.header == 0) result.data = e.WriteData();
    }
    std::fclose(file);
    result.bytes.assign(reinterpret_cast<uint8_t*>(data), reinterpret_cast<uint8_t*>(data) + size);
    std::free(data);
    return result;
}

Decoded DecodeTurbo(const std::vector<uint8_t>& jpeg, int channels) {
    Decoded out;
    tjhandle handle = tjInitDecompress();
    int subsampling = 0, colorspace = 0;
    if (tjDecompressHeader3(handle, jpeg.data(), jpeg.size(), &out.width, &out.height, &subsampling,
                            &colorspace) != 0) {
        out.error = tjGetErrorStr2(handle);
        tjDestroy(handle);
        return out;
    }
    out.subsampling = subsampling;
    out.pixels.resize(static_cast<size_t>(out.width) * out.height * channels);
    const int format = channels == 1 ? TJPF_GRAY : TJPF_BGR;
    if (tjDecompress2(handle, jpeg.data(), jpeg.size(), out.pixels.data(), out.width, 0, out.height,
                      format, TJFLAG_STOPONWARNING | TJFLAG_ACCURATEDCT) != 0) {
        out.error = tjGetErrorStr2(handle);
    } else {
        out.ok = true;
    }
    tjDestroy(handle);
    return out;
}

std::vector<uint8_t> CompressTurbo(const uint8_t* pixels, int width, int height, int channels,
                                   int subsampling, int quality) {
    tjhandle handle = tjInitCompress();
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    const int format = channels == 1 ? TJPF_GRAY : channels == 3 ? TJPF_BGR : TJPF_BGRX;
    std::vector<uint8_t> bytes;
    if (tjCompress2(handle, pixels, width, 0, height, format, &buffer, &size, subsampling, quality,
                    TJFLAG_ACCURATEDCT) == 0)
        bytes.assign(buffer, buffer + size);
    tjFree(buffer);
    tjDestroy(handle);
    return bytes;
}

double Psnr(const uint8_t* a, const uint8_t* b, size_t count) {
    double squared = 0;
    for (size_t i = 0; i < count; ++i) {
        const double d = static_cast<double>(a[i]) - b[i];
        squared += d * d;
    }
    if (squared == 0) return 99.0;
    return 10.0 * std::log10(255.0 * 255.0 / (squared / static_cast<double>(count)));
}

namespace {

struct ErrorManager {
    jpeg_error_mgr manager;
    jmp_buf jump;
};

void ExitByJump(j_common_ptr cinfo) {
    longjmp(reinterpret_cast<ErrorManager*>(cinfo->err)->jump, 1);
}
void Silent(j_common_ptr) {}

}  // namespace

std::vector<int> LibjpegQuantTable(int quality, int which) {
    std::vector<int> table(64);
    jpeg_compress_struct cinfo;
    ErrorManager error;
    cinfo.err = jpeg_std_error(&error.manager);
    error.manager.error_exit = ExitByJump;
    if (setjmp(error.jump)) {
        jpeg_destroy_compress(&cinfo);
        return {};
    }
    jpeg_create_compress(&cinfo);
    cinfo.in_color_space = JCS_RGB;
    cinfo.input_components = 3;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, quality, TRUE);
    for (int i = 0; i < 64; ++i) table[i] = cinfo.quant_tbl_ptrs[which]->quantval[i];
    jpeg_destroy_compress(&cinfo);
    return table;
}

HuffmanTableBytes LibjpegHuffmanTable(bool ac, int which) {
    HuffmanTableBytes out;
    jpeg_compress_struct cinfo;
    ErrorManager error;
    cinfo.err = jpeg_std_error(&error.manager);
    error.manager.error_exit = ExitByJump;
    if (setjmp(error.jump)) {
        jpeg_destroy_compress(&cinfo);
        return out;
    }
    jpeg_create_compress(&cinfo);
    cinfo.in_color_space = JCS_RGB;
    cinfo.input_components = 3;
    jpeg_set_defaults(&cinfo);
    const JHUFF_TBL* table = ac ? cinfo.ac_huff_tbl_ptrs[which] : cinfo.dc_huff_tbl_ptrs[which];
    int count = 0;
    for (int i = 1; i <= 16; ++i) {
        out.bits.push_back(table->bits[i]);
        count += table->bits[i];
    }
    out.values.assign(table->huffval, table->huffval + count);
    jpeg_destroy_compress(&cinfo);
    return out;
}

ComponentCoefficients ReadCoefficients(const std::vector<uint8_t>& jpeg, int component) {
    ComponentCoefficients out;
    jpeg_decompress_struct cinfo;
    ErrorManager error;
    cinfo.err = jpeg_std_error(&error.manager);
    error.manager.error_exit = ExitByJump;
    error.manager.output_message = Silent;
    if (setjmp(error.jump)) {
        jpeg_destroy_decompress(&cinfo);
        out.ok = false;
        return out;
    }
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, jpeg.data(), jpeg.size());
    jpeg_read_header(&cinfo, TRUE);
    jvirt_barray_ptr* arrays = jpeg_read_coefficients(&cinfo);
    const jpeg_component_info& info = cinfo.comp_info[component];
    out.width_in_blocks = static_cast<int>(info.width_in_blocks);
    out.height_in_blocks = static_cast<int>(info.height_in_blocks);
    out.h_samp = info.h_samp_factor;
    out.v_samp = info.v_samp_factor;
    out.component_id = info.component_id;
    for (int i = 0; i < 64; ++i) out.quant_natural.push_back(info.quant_table->quantval[i]);
    out.blocks.resize(out.height_in_blocks);
    for (int by = 0; by < out.height_in_blocks; ++by) {
        JBLOCKARRAY row = (*cinfo.mem->access_virt_barray)(reinterpret_cast<j_common_ptr>(&cinfo),
                                                           arrays[component], by, 1, FALSE);
        for (int bx = 0; bx < out.width_in_blocks; ++bx)
            out.blocks[by].emplace_back(row[0][bx], row[0][bx] + 64);
    }
    jpeg_finish_decompress(&cinfo);
    out.ok = cinfo.err->num_warnings == 0;
    jpeg_destroy_decompress(&cinfo);
    return out;
}

JpegLayout ParseJpeg(const std::vector<uint8_t>& jpeg) {
    JpegLayout layout;
    size_t at = 0;
    if (jpeg.size() < 4 || jpeg[0] != 0xFF || jpeg[1] != 0xD8) return layout;
    layout.segments.push_back(Segment{0xD8, 0, {}});
    at = 2;
    while (at + 4 <= jpeg.size()) {
        if (jpeg[at] != 0xFF) return layout;
        Segment segment;
        segment.marker = jpeg[at + 1];
        segment.offset = at;
        const size_t length = static_cast<size_t>(jpeg[at + 2]) << 8 | jpeg[at + 3];
        if (length < 2 || at + 2 + length > jpeg.size()) return layout;
        segment.payload.assign(jpeg.begin() + static_cast<long>(at + 4),
                               jpeg.begin() + static_cast<long>(at + 2 + length));
        layout.segments.push_back(segment);
        at += 2 + length;
        if (segment.marker == 0xDA) break;
    }
    layout.scan_begin = at;
    // Entropy-coded data: 0xFF 0x00 is a stuffed byte, 0xFF 0xD0-D7 a restart.
    for (size_t i = at; i + 1 < jpeg.size(); ++i) {
        if (jpeg[i] != 0xFF) continue;
        const uint8_t next = jpeg[i + 1];
        if (next == 0x00) {
            ++i;
        } else if (next >= 0xD0 && next <= 0xD7) {
            layout.restarts.push_back(static_cast<uint8_t>(next - 0xD0));
            ++i;
        } else if (next == 0xD9) {
            layout.ends_with_eoi = i + 2 == jpeg.size();
            layout.ok = true;
            return layout;
        } else {
            return layout;  // any other marker inside the scan is an error
        }
    }
    return layout;
}

void ReferenceDct(const uint8_t* p, int stride, const int* quant_natural, double* out) {
    for (int v = 0; v < 8; ++v)
        for (int u = 0; u < 8; ++u) {
            double sum = 0;
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x)
                    sum += (p[y * stride + x] - 128.0) * std::cos((2 * x + 1) * u * M_PI / 16) *
                           std::cos((2 * y + 1) * v * M_PI / 16);
            const double cu = u == 0 ? std::sqrt(0.5) : 1.0, cv = v == 0 ? std::sqrt(0.5) : 1.0;
            const double coefficient = 0.25 * cu * cv * sum;
            out[v * 8 + u] = coefficient / quant_natural[v * 8 + u];
        }
}

bool RoundsCorrectly(int got, double exact, double tie) {
    const double floor = std::floor(exact);
    const double fraction = exact - floor;
    if (std::abs(fraction - 0.5) < tie) return got == floor || got == floor + 1;
    return got == std::lround(exact);
}

}  // namespace kavix::test
