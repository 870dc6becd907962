#include "session/model_table.h"

#include <array>

namespace kavix {

namespace {

constexpr std::array<ModelRow, 40> kModels{{
    {0x0109, u"Tovrik-Q3M-D", true, 1280, 964, -1, true, 0},
    {0x0110, u"Tovrik-Q1M-A", true, 640, 492, 0, true, 0},
    {0x0110, u"Tovrik-Q1M-B", true, 640, 492, 1, true, 0},
    {0x0111, u"Tovrik-Q6M-A", true, 0, 0, -1, true, 0},
    {0x0112, u"Tovrik-Q7M-A", true, 0, 0, -1, true, 0},
    {0x0209, u"Tovrik-Q3C-D", false, 1280, 964, -1, true, 0},
    {0x0210, u"Tovrik-Q1C-A", false, 640, 492, 0, true, 0},
    {0x0210, u"Tovrik-Q1C-B", false, 640, 492, 1, true, 0},
    {0x0211, u"Tovrik-Q6C-A", false, 0, 0, -1, true, 0},
    {0x0212, u"Tovrik-Q7C-A", false, 0, 0, -1, true, 0},
    {0x0305, u"Tovrik-Q1C-E", false, 640, 480, -1, false, 133},
    {0x0310, u"Tovrik-Q2M-A", true, 1024, 776, 0, true, 0},
    {0x0310, u"Tovrik-Q2M-B", true, 1024, 776, 1, true, 0},
    {0x0410, u"Tovrik-Q2C-A", false, 1024, 776, 0, true, 0},
    {0x0410, u"Tovrik-Q2C-B", false, 1024, 776, 1, true, 0},
    {0x0509, u"Tovrik-Q8M-F", true, 0, 0, -1, true, 0},
    {0x0510, u"Tovrik-Q3M-A", true, 1280, 964, 0, true, 0},
    {0x0510, u"Tovrik-Q3M-B", true, 1280, 964, 1, true, 0},
    {0x0605, u"Tovrik-Q2C-E", false, 1024, 768, -1, false, 128},
    {0x0609, u"Tovrik-Q8C-F", false, 0, 0, -1, true, 0},
    {0x0610, u"Tovrik-Q3C-A", false, 1280, 964, 0, true, 0},
    {0x0610, u"Tovrik-Q3C-B", false, 1280, 964, 1, true, 0},
    {0x0705, u"Tovrik-Q1M-E", true, 640, 480, -1, false, 131},
    {0x0710, u"Tovrik-Q4M-A", true, 1360, 1040, 0, true, 0},
    {0x0710, u"Tovrik-Q4M-B", true, 1360, 1040, 1, true, 0},
    {0x0805, u"Tovrik-Q2M-E", true, 1024, 768, -1, false, 130},
    {0x0810, u"Tovrik-Q4C-A", false, 1360, 1040, 0, true, 0},
    {0x0810, u"Tovrik-Q4C-B", false, 1360, 1040, 1, true, 0},
    {0x0906, u"Tovrik-Q1M-D", true, 640, 492, -1, true, 0},
    {0x0910, u"Tovrik-Q5M-A", true, 1600, 1236, 0, true, 0},
    {0x0910, u"Tovrik-Q5M-B", true, 1600, 1236, 1, true, 0},
    {0x1006, u"Tovrik-Q1C-D", false, 640, 492, -1, true, 0},
    {0x1010, u"Tovrik-Q5C-A", false, 1600, 1236, 0, true, 0},
    {0x1010, u"Tovrik-Q5C-B", false, 1600, 1236, 1, true, 0},
    {0x1106, u"Tovrik-Q2M-D", true, 1024, 776, -1, true, 0},
    {0x1206, u"Tovrik-Q2C-D", false, 1024, 776, -1, true, 0},
    {0x1306, u"Tovrik-Q4M-D", true, 1360, 1040, -1, true, 0},
    {0x1406, u"Tovrik-Q4C-D", false, 1360, 1040, -1, true, 0},
    {0x1506, u"Tovrik-Q5M-D", true, 1600, 1236, -1, true, 0},
    {0x1606, u"Tovrik-Q5C-D", false, 1600, 1236, -1, true, 0},
}};

}  // namespace

std::span<const ModelRow> model_table() { return kModels; }

bool model_has_fpga(uint16_t product_id) {
    // Decided by id alone, so that an id the table doesn't know counts as a
    // model with an FPGA.
    return product_id != 0x0305 && product_id != 0x0605 && product_id != 0x0705 &&
           product_id != 0x0805;
}

ModelSize model_fallback_size(uint16_t product_id) {
    for (const ModelRow &row : kModels) {
        if (row.product_id == product_id && row.fallback_width != 0) {
            return {row.fallback_width, row.fallback_height};
        }
    }
    return {kUnknownModelSize, kUnknownModelSize};
}

const char16_t *model_product_name(uint16_t product_id, bool second_model) {
    for (const ModelRow &row : kModels) {
        if (row.product_id != product_id) continue;
        if (row.function_112 < 0 || (row.function_112 != 0) == second_model) return row.name;
    }
    return u"UNKNOWN";
}

}  // namespace kavix
