#pragma once
#include <cstdint>
#include <span>

namespace kavix {

// What the library itself knows of a model, keyed by product id: its name,
// the size to assume when old firmware doesn't report one, and whether an
// FPGA stands between the USB controller and the sensor. Two rows may share
// an id; function 112 of the camera tells them apart.
struct ModelRow {
    uint16_t product_id;
    const char16_t *name;
    bool mono;
    uint32_t fallback_width;   // 0: the model always reports its size
    uint32_t fallback_height;
    int8_t function_112;       // -1 for an id with one row, else 0 or 1
    bool fpga;
    uint16_t firmware_resource;  // 0 for models that bring their own firmware
};

std::span<const ModelRow> model_table();

// Size used when the camera reports none and the table has no size either.
inline constexpr uint32_t kUnknownModelSize = 4092;

// The four models without FPGA.
bool model_has_fpga(uint16_t product_id);

struct ModelSize {
    uint32_t width;
    uint32_t height;
};
// The fallback maximum size of a model; 4092 x 4092 when the table has none.
ModelSize model_fallback_size(uint16_t product_id);

// The product name of a model; for an id with two rows, `second_model`
// (function 112) picks the second. "UNKNOWN" for an id the table lacks.
const char16_t *model_product_name(uint16_t product_id, bool second_model);

}  // namespace kavix
