#include "tools/sim_cameras.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

#include "tools/failure.h"
#include "tools/options.h"

namespace kavix::tool {

namespace {

constexpr std::string_view kFamilyPrefix = "Tovrik-";

bool same_name(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::optional<uint32_t> as_number(std::string_view text) {
    try {
        return parse_uint("--sim", text, 0, 0xFFFF);
    } catch (const UsageError &) {
        return std::nullopt;
    }
}

std::string hex_id(uint16_t id) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", id);
    return text;
}

}  // namespace

std::vector<KavixSimModel> sim_models() {
    std::vector<KavixSimModel> models;
    KavixSimModel model;
    while (KavixSim_GetModel(static_cast<uint32_t>(models.size()), &model)) models.push_back(model);
    return models;
}

KavixSimModel find_sim_model(std::string_view name_or_id) {
    const std::vector<KavixSimModel> models = sim_models();
    std::string_view short_name = name_or_id;
    if (short_name.size() > kFamilyPrefix.size() &&
        same_name(short_name.substr(0, kFamilyPrefix.size()), kFamilyPrefix))
        short_name.remove_prefix(kFamilyPrefix.size());
    for (const KavixSimModel &m : models) {
        std::string_view name = m.name;
        if (name.starts_with(kFamilyPrefix)) name.remove_prefix(kFamilyPrefix.size());
        if (same_name(name, short_name)) return m;
    }
    if (const std::optional<uint32_t> id = as_number(name_or_id))
        for (const KavixSimModel &m : models)
            if (m.product_id == *id) return m;
    throw UsageError("--sim: unknown camera model '" + std::string(name_or_id) +
                     "'. Known models (give the name or the product id):\n" + sim_model_list());
}

std::string sim_model_list() {
    std::string out;
    for (const KavixSimModel &m : sim_models()) {
        char line[96];
        std::snprintf(line, sizeof line, "  %-14s %s  %-6s %ux%u%s\n", m.name,
                      hex_id(m.product_id).c_str(), m.colour ? "colour" : "mono", m.sensor_width,
                      m.sensor_height, m.has_fpga ? "" : "  (no FPGA)");
        out += line;
    }
    return out;
}

void plug_sim_cameras(const std::vector<SimCameraRequest> &requests) {
    for (size_t i = 0; i < requests.size(); ++i) {
        const KavixSimModel model = find_sim_model(requests[i].model);
        KavixSimCameraConfig config;
        if (!KavixSim_InitConfig(&config, model.product_id, model.second_model))
            throw RuntimeError("the simulator has no defaults for " + std::string(model.name));
        config.user_id = requests[i].user_id.value_or(static_cast<uint32_t>(i));
        config.serial_id = static_cast<uint32_t>(i + 1);
        std::snprintf(config.serial_text, sizeof config.serial_text, "SIM-%04zu", i + 1);
        if (KavixSim_Plug(&config) == 0)
            throw RuntimeError("the simulator refused a camera of model " + std::string(model.name) +
                               ": error " + std::to_string(KavixUSBD_GetLastError()));
    }
}

}  // namespace kavix::tool
