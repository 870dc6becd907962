// The simulator's model catalogue as KavixSim_GetModel lists it, and the
// cameras KavixSim_InitConfig makes of each entry.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "KavixSim.h"
#include "KavixUSBD.h"

namespace kavix::test {
namespace {

std::vector<KavixSimModel> all_models() {
    std::vector<KavixSimModel> models;
    KavixSimModel m;
    while (KavixSim_GetModel(static_cast<uint32_t>(models.size()), &m)) models.push_back(m);
    return models;
}

bool function_set(const KavixSimCameraConfig &c, unsigned id) {
    return (c.function_bits[id / 16] >> (id % 16)) & 1u;
}

TEST(SimModels, FortyModelsWithDistinctWellFormedNames) {
    const std::vector<KavixSimModel> models = all_models();
    ASSERT_EQ(models.size(), 40u);
    std::set<std::string> names;
    for (const KavixSimModel &m : models) {
        ASSERT_NE(std::memchr(m.name, 0, sizeof m.name), nullptr);
        const std::string name = m.name;
        EXPECT_TRUE(names.insert(name).second) << name;
        // "Tovrik-Q<family><M|C>-<series>": the letter tells the colour.
        ASSERT_EQ(name.size(), 12u) << name;
        EXPECT_EQ(name.substr(0, 8), "Tovrik-Q") << name;
        EXPECT_EQ(name[9] == 'C', m.colour == 1) << name;
        // Series E is the one without FPGA.
        EXPECT_EQ(name[11] == 'E', m.has_fpga == 0) << name;
    }
}

TEST(SimModels, SharedIdsListFirstThenSecondModel) {
    const std::vector<KavixSimModel> models = all_models();
    unsigned shared = 0;
    for (size_t i = 0; i < models.size(); ++i) {
        if (!models[i].second_model) continue;
        ++shared;
        ASSERT_GT(i, 0u);
        const KavixSimModel &first = models[i - 1];
        EXPECT_EQ(first.product_id, models[i].product_id);
        EXPECT_EQ(first.second_model, 0);
        EXPECT_EQ(std::string(first.name).back(), 'A');
        EXPECT_EQ(std::string(models[i].name).back(), 'B');
    }
    EXPECT_EQ(shared, 10u);
}

TEST(SimModels, KnownRows) {
    struct Row {
        const char *name;
        uint16_t id;
        uint8_t second;
        uint8_t colour;
        uint8_t fpga;
        uint32_t width, height;
    };
    const Row rows[] = {
        {"Tovrik-Q3M-D", 0x0109, 0, 0, 1, 1280, 964},
        {"Tovrik-Q1C-E", 0x0305, 0, 1, 0, 640, 480},
        {"Tovrik-Q4C-A", 0x0810, 0, 1, 1, 1360, 1040},
        {"Tovrik-Q4C-B", 0x0810, 1, 1, 1, 1360, 1040},
        {"Tovrik-Q2M-E", 0x0805, 0, 0, 0, 1024, 768},
        {"Tovrik-Q5C-D", 0x1606, 0, 1, 1, 1600, 1236},
    };
    const std::vector<KavixSimModel> models = all_models();
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        const KavixSimModel *found = nullptr;
        for (const KavixSimModel &m : models)
            if (std::strcmp(m.name, r.name) == 0) found = &m;
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(found->product_id, r.id);
        EXPECT_EQ(found->second_model, r.second);
        EXPECT_EQ(found->colour, r.colour);
        EXPECT_EQ(found->has_fpga, r.fpga);
        EXPECT_EQ(found->sensor_width, r.width);
        EXPECT_EQ(found->sensor_height, r.height);
    }
}

TEST(SimModels, EachEntryMakesTheCameraItDescribes) {
    for (const KavixSimModel &m : all_models()) {
        SCOPED_TRACE(m.name);
        KavixSimCameraConfig c;
        ASSERT_EQ(KavixSim_InitConfig(&c, m.product_id, m.second_model), 1);
        EXPECT_EQ(c.product_id, m.product_id);
        EXPECT_EQ(c.color_array != 1, m.colour == 1);
        EXPECT_EQ(c.has_fpga, m.has_fpga);
        EXPECT_EQ(c.sensor_width, m.sensor_width);
        EXPECT_EQ(c.sensor_height, m.sensor_height);
        EXPECT_EQ(function_set(c, 112), m.second_model == 1);
    }
}

TEST(SimModels, PastTheEndAndNullFailWith87) {
    KavixSimModel m;
    KavixUSBD_SetLastError(0);
    EXPECT_EQ(KavixSim_GetModel(40, &m), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    KavixUSBD_SetLastError(0);
    EXPECT_EQ(KavixSim_GetModel(0xFFFFFFFFu, &m), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
    KavixUSBD_SetLastError(0);
    EXPECT_EQ(KavixSim_GetModel(0, nullptr), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
}

}  // namespace
}  // namespace kavix::test
