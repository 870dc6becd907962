#include "transport/sim/model_catalog.h"

#include <bit>
#include <cstring>
#include <initializer_list>

namespace kavix::sim {

namespace {

// Families Q1 to Q5 have the sizes the camera library falls back to; Q6 to Q8
// always report theirs, so their sensors here are simply plausible ones.
constexpr ModelRow kModels[] = {
    {0x0109, false, 1280, 964, true, false, "Tovrik-Q3M-D", nullptr},
    {0x0110, false, 640, 492, true, false, "Tovrik-Q1M-A", "Tovrik-Q1M-B"},
    {0x0111, false, 2048, 1536, true, false, "Tovrik-Q6M-A", nullptr},
    {0x0112, false, 2592, 1944, true, false, "Tovrik-Q7M-A", nullptr},
    {0x0209, true, 1280, 964, true, false, "Tovrik-Q3C-D", nullptr},
    {0x0210, true, 640, 492, true, false, "Tovrik-Q1C-A", "Tovrik-Q1C-B"},
    {0x0211, true, 2048, 1536, true, false, "Tovrik-Q6C-A", nullptr},
    {0x0212, true, 2592, 1944, true, false, "Tovrik-Q7C-A", nullptr},
    {0x0305, true, 640, 480, false, false, "Tovrik-Q1C-E", nullptr},
    {0x0310, false, 1024, 776, true, false, "Tovrik-Q2M-A", "Tovrik-Q2M-B"},
    {0x0410, true, 1024, 776, true, false, "Tovrik-Q2C-A", "Tovrik-Q2C-B"},
    {0x0509, false, 1280, 1024, true, true, "Tovrik-Q8M-F", nullptr},
    {0x0510, false, 1280, 964, true, false, "Tovrik-Q3M-A", "Tovrik-Q3M-B"},
    {0x0605, true, 1024, 768, false, false, "Tovrik-Q2C-E", nullptr},
    {0x0609, true, 1280, 1024, true, true, "Tovrik-Q8C-F", nullptr},
    {0x0610, true, 1280, 964, true, false, "Tovrik-Q3C-A", "Tovrik-Q3C-B"},
    {0x0705, false, 640, 480, false, false, "Tovrik-Q1M-E", nullptr},
    {0x0710, false, 1360, 1040, true, false, "Tovrik-Q4M-A", "Tovrik-Q4M-B"},
    {0x0805, false, 1024, 768, false, false, "Tovrik-Q2M-E", nullptr},
    {0x0810, true, 1360, 1040, true, false, "Tovrik-Q4C-A", "Tovrik-Q4C-B"},
    {0x0906, false, 640, 492, true, false, "Tovrik-Q1M-D", nullptr},
    {0x0910, false, 1600, 1236, true, false, "Tovrik-Q5M-A", "Tovrik-Q5M-B"},
    {0x1006, true, 640, 492, true, false, "Tovrik-Q1C-D", nullptr},
    {0x1010, true, 1600, 1236, true, false, "Tovrik-Q5C-A", "Tovrik-Q5C-B"},
    {0x1106, false, 1024, 776, true, false, "Tovrik-Q2M-D", nullptr},
    {0x1206, true, 1024, 776, true, false, "Tovrik-Q2C-D", nullptr},
    {0x1306, false, 1360, 1040, true, false, "Tovrik-Q4M-D", nullptr},
    {0x1406, true, 1360, 1040, true, false, "Tovrik-Q4C-D", nullptr},
    {0x1506, false, 1600, 1236, true, false, "Tovrik-Q5M-D", nullptr},
    {0x1606, true, 1600, 1236, true, false, "Tovrik-Q5C-D", nullptr},
};

constexpr ModelRow kGeneric = {0, false, 1280, 1024, true, false, nullptr, nullptr};

void set_function(KavixSimCameraConfig &c, unsigned id) {
    c.function_bits[id / 16] = static_cast<uint16_t>(c.function_bits[id / 16] | (1u << (id % 16)));
}

}  // namespace

const ModelRow *find_model(uint16_t product_id) {
    for (const ModelRow &row : kModels)
        if (row.product_id == product_id) return &row;
    return nullptr;
}

bool catalog_model(uint32_t index, KavixSimModel &model) {
    for (const ModelRow &row : kModels) {
        const uint32_t models = row.second_name ? 2 : 1;
        if (index >= models) {
            index -= models;
            continue;
        }
        std::memset(&model, 0, sizeof model);
        model.product_id = row.product_id;
        model.second_model = static_cast<uint8_t>(index);
        model.colour = row.colour ? 1 : 0;
        model.has_fpga = row.fpga ? 1 : 0;
        model.sensor_width = row.width;
        model.sensor_height = row.height;
        const char *name = index ? row.second_name : row.name;
        std::strncpy(model.name, name, sizeof model.name - 1);
        return true;
    }
    return false;
}

void default_config(KavixSimCameraConfig &c, uint16_t product_id, bool second_model) {
    std::memset(&c, 0, sizeof c);
    const ModelRow *found = find_model(product_id);
    const ModelRow &row = found ? *found : kGeneric;

    c.product_id = product_id;
    c.has_fpga = row.fpga ? 1 : 0;
    c.fpga_version = row.fpga ? 20 : 0;
    c.firmware_version = row.fpga ? 5 : 2;
    c.color_array = row.colour ? 2 : 1;
    c.header_bytes = 64;
    // The series without FPGA predates the vendor id at the head of the record.
    c.info_form = row.fpga ? KAVIXSIM_INFO_NEW : KAVIXSIM_INFO_OLD;
    c.info_reports_max_size = 1;
    c.has_register_table = row.fpga ? 1 : 0;

    c.enable_image_size_flags = 1;
    if (row.fpga) {
        c.enable_transfer_bits = row.colour ? (0x0001 | 0x0002 | 0x0004) : (0x0020 | 0x0040 | 0x0080);
        c.transfer_bits = row.colour ? 0x0001 : 0x0020;
        c.enable_scan_modes = 0x8000 | 0x0001 | 0x0004 | 0x0010;
    } else {
        c.enable_transfer_bits = 1;
        c.transfer_bits = 1;
        c.enable_scan_modes = 0x0001;
    }
    c.clock_max = 48000000;
    c.clock_min = 6000000;
    c.clock_default = 24545455;
    c.enable_clock_modes = row.fpga ? 0x3 : 0;
    c.shutter_flags = row.fpga ? 1 : 0;
    c.enable_trigger_version = row.fpga ? 2 : 0;

    if (row.fpga) {
        for (unsigned id : {9u, 10u, 20u, 21u, 22u, 23u, 48u, 55u, 57u, 59u, 61u, 66u, 71u, 133u})
            set_function(c, id);
        if (c.has_register_table) set_function(c, 64);
        if (row.led_series) set_function(c, 5);
        if (second_model) set_function(c, 112);
        c.function_bits[5] = 64;      // defect table entries
        c.function_bits[6] = 0x000F;  // four I/O pins
    }

    c.sensor_width = row.width;
    c.sensor_height = row.height;
    c.width_step = 8;
    c.height_step = 2;
    c.offset_step = 2;
    c.min_width = 64;
    c.min_height = 16;
    c.h_blank = 160;
    c.v_blank = 20;
    c.max_vblank = 4000;

    c.max_gain = 255;
    c.default_gain = 16;
    c.default_digital_gain = 64;
    c.white_balance_defaults[0] = 150;
    c.white_balance_defaults[1] = 128;
    c.white_balance_defaults[2] = 128;
    c.white_balance_defaults[3] = 170;

    c.defect_table_size = row.fpga ? 64 : 0;

    c.usb_speed = KAVIXSIM_SPEED_HIGH;
    c.reenumeration_delay_ms = 100;
    c.driver_version[0] = 0x30000;
    c.driver_version[1] = 10;
}

bool config_is_valid(const KavixSimCameraConfig &c) {
    if (c.sensor_width == 0 || c.sensor_height == 0) return false;
    if (c.sensor_width + c.h_blank > 0xFFFFu ||
        c.sensor_height + c.v_blank + c.max_vblank > 0xFFFFu)
        return false;
    // The texts are zero-terminated within their fields.
    if (!std::memchr(c.user_text, 0, sizeof c.user_text) ||
        !std::memchr(c.serial_text, 0, sizeof c.serial_text))
        return false;
    if (c.width_step == 0 || c.height_step == 0 || c.offset_step == 0) return false;
    if (c.min_width == 0 || c.min_height == 0 || c.min_width > c.sensor_width ||
        c.min_height > c.sensor_height)
        return false;
    if (c.color_array < 1 || c.color_array > 5) return false;
    if (c.enable_transfer_bits == 0 || std::popcount(c.transfer_bits) != 1 ||
        (c.transfer_bits & c.enable_transfer_bits) == 0)
        return false;
    if (c.clock_min == 0 || c.clock_min > c.clock_max || c.clock_default < c.clock_min ||
        c.clock_default > c.clock_max)
        return false;
    if (c.info_form != KAVIXSIM_INFO_NEW && c.info_form != KAVIXSIM_INFO_OLD) return false;
    if (c.usb_speed > KAVIXSIM_SPEED_SUPER) return false;
    if (c.boot_firmware && c.has_fpga) return false;
    // After a download the camera must come back running real firmware.
    if (c.boot_firmware && (c.firmware_version == 0 || c.firmware_version == 8)) return false;
    if (c.default_gain > c.max_gain) return false;
    if (c.has_register_table && !c.has_fpga) return false;
    if (c.defect_table_size > 0x4000) return false;
    return true;
}

}  // namespace kavix::sim
