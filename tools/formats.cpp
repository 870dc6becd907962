#include "tools/formats.h"

#include "KavixD.h"

namespace kavix::tool {

namespace {

struct Named {
    uint32_t value;
    const char *name;
};

constexpr Named kTransferFormats[] = {
    {KAVIX_TRANSFER_RAW8, "raw8"},     {KAVIX_TRANSFER_RAW10, "raw10"},
    {KAVIX_TRANSFER_RAW12, "raw12"},   {KAVIX_TRANSFER_RAW14, "raw14"},
    {KAVIX_TRANSFER_RAW16, "raw16"},   {KAVIX_TRANSFER_MONO8, "mono8"},
    {KAVIX_TRANSFER_MONO10, "mono10"}, {KAVIX_TRANSFER_MONO12, "mono12"},
    {KAVIX_TRANSFER_MONO14, "mono14"}, {KAVIX_TRANSFER_MONO16, "mono16"},
    {KAVIX_TRANSFER_BGR24, "bgr24"},   {KAVIX_TRANSFER_BGR30, "bgr30"},
    {KAVIX_TRANSFER_YUV411, "yuv411"}, {KAVIX_TRANSFER_YUV422, "yuv422"},
    {KAVIX_TRANSFER_YUV444, "yuv444"},
};

}  // namespace

std::string transfer_format_name(uint32_t bits) {
    for (const Named &f : kTransferFormats)
        if (f.value == bits) return f.name;
    return "0x" + std::to_string(bits);
}

std::optional<uint32_t> transfer_format_by_name(std::string_view name) {
    for (const Named &f : kTransferFormats)
        if (name == f.name) return f.value;
    return std::nullopt;
}

std::string transfer_format_list(uint32_t mask, uint32_t current) {
    std::string out;
    for (const Named &f : kTransferFormats) {
        if (!(mask & f.value)) continue;
        if (!out.empty()) out += ' ';
        out += f.name;
        if (f.value == current) out += '*';
    }
    return out;
}

std::string transfer_format_names() {
    std::string out;
    for (const Named &f : kTransferFormats) out += (out.empty() ? "" : ", ") + std::string(f.name);
    return out;
}

std::string color_array_name(uint16_t color_array) {
    switch (color_array) {
    case KAVIX_COLOR_MONO: return "mono";
    case KAVIX_COLOR_RG_GB: return "Bayer R Gr / Gb B";
    case KAVIX_COLOR_GR_BG: return "Bayer Gr R / B Gb";
    case KAVIX_COLOR_GB_RG: return "Bayer Gb B / R Gr";
    case KAVIX_COLOR_BG_GR: return "Bayer B Gb / Gr R";
    case KAVIX_COLOR_YUYV: return "YUYV";
    default: return "unknown (" + std::to_string(color_array) + ")";
    }
}

std::string preview_format_name(uint32_t format) {
    switch (format) {
    case KAVIX_PREVIEW_MONO8: return "mono8";
    case KAVIX_PREVIEW_BGR24: return "bgr24";
    case KAVIX_PREVIEW_BGR32: return "bgr32";
    default: return "unknown (" + std::to_string(format) + ")";
    }
}

}  // namespace kavix::tool
