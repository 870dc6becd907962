#pragma once
#include <cstdint>

#include "KavixSim.h"

namespace kavix::sim {

// The simulator's catalogue of the family: per product id, whether the model
// is colour, its sensor size and whether it has an FPGA. Models of the same id
// differ only in function 112 ("second model").
struct ModelRow {
    uint16_t product_id;
    bool colour;
    uint32_t width;
    uint32_t height;
    bool fpga;
    bool led_series;
    const char *name;         // product name; of the first model where two share the id
    const char *second_name;  // the model with function 112, or null
};

// The row of a product id, or null for an id outside the family.
const ModelRow *find_model(uint16_t product_id);

// One model of the catalogue for listing: the `index`th, counting the two
// models of a shared id apart. False past the last.
bool catalog_model(uint32_t index, KavixSimModel &model);

// Fills a configuration with the defaults of a model.
void default_config(KavixSimCameraConfig &config, uint16_t product_id, bool second_model);

// Checks that a configuration describes a camera that could exist.
bool config_is_valid(const KavixSimCameraConfig &config);

}  // namespace kavix::sim
