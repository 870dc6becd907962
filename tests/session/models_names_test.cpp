// What the library tells of a model: product names, functions, the second
// model under one id, the colour array, the function address, camera mode.
#include <gtest/gtest.h>

#include <string>

#include "KavixD.h"
#include "KavixUSBD.h"
#include "sensor/camera_fixture.h"

namespace kavix::test {
namespace {

// Every name the family knows, with the rows that share an id told apart by
// function 112 (second = true).
struct NameRow {
    uint16_t product_id;
    bool second;
    const char *name;
};
constexpr NameRow kNames[] = {
    {0x0109, false, "Tovrik-Q3M-D"}, {0x0110, false, "Tovrik-Q1M-A"},
    {0x0110, true, "Tovrik-Q1M-B"},  {0x0111, false, "Tovrik-Q6M-A"},
    {0x0112, false, "Tovrik-Q7M-A"}, {0x0209, false, "Tovrik-Q3C-D"},
    {0x0210, false, "Tovrik-Q1C-A"}, {0x0210, true, "Tovrik-Q1C-B"},
    {0x0211, false, "Tovrik-Q6C-A"}, {0x0212, false, "Tovrik-Q7C-A"},
    {0x0305, false, "Tovrik-Q1C-E"}, {0x0310, false, "Tovrik-Q2M-A"},
    {0x0310, true, "Tovrik-Q2M-B"},  {0x0410, false, "Tovrik-Q2C-A"},
    {0x0410, true, "Tovrik-Q2C-B"},  {0x0509, false, "Tovrik-Q8M-F"},
    {0x0510, false, "Tovrik-Q3M-A"}, {0x0510, true, "Tovrik-Q3M-B"},
    {0x0605, false, "Tovrik-Q2C-E"}, {0x0609, false, "Tovrik-Q8C-F"},
    {0x0610, false, "Tovrik-Q3C-A"}, {0x0610, true, "Tovrik-Q3C-B"},
    {0x0705, false, "Tovrik-Q1M-E"}, {0x0710, false, "Tovrik-Q4M-A"},
    {0x0710, true, "Tovrik-Q4M-B"},  {0x0805, false, "Tovrik-Q2M-E"},
    {0x0810, false, "Tovrik-Q4C-A"}, {0x0810, true, "Tovrik-Q4C-B"},
    {0x0906, false, "Tovrik-Q1M-D"}, {0x0910, false, "Tovrik-Q5M-A"},
    {0x0910, true, "Tovrik-Q5M-B"},  {0x1006, false, "Tovrik-Q1C-D"},
    {0x1010, false, "Tovrik-Q5C-A"}, {0x1010, true, "Tovrik-Q5C-B"},
    {0x1106, false, "Tovrik-Q2M-D"}, {0x1206, false, "Tovrik-Q2C-D"},
    {0x1306, false, "Tovrik-Q4M-D"}, {0x1406, false, "Tovrik-Q4C-D"},
    {0x1506, false, "Tovrik-Q5M-D"}, {0x1606, false, "Tovrik-Q5C-D"},
    // Ids the family doesn't have, and a single-row id whose camera claims
    // a second model all the same.
    {0x0999, false, "UNKNOWN"},      {0x0100, true, "UNKNOWN"},
    {0x0109, true, "Tovrik-Q3M-D"},
};

std::u16string wide(const char *ascii) { return std::u16string(ascii, ascii + std::strlen(ascii)); }

class ModelNamesTest : public VirtualCameraTest {};

TEST_F(ModelNamesTest, ProductNameOfEveryModel) {
    for (const NameRow &row : kNames) {
        SCOPED_TRACE(testing::Message() << std::hex << row.product_id << " " << row.name);
        KavixSimCameraConfig config = config_of(row.product_id, row.second);
        set_function_bit(config, 112, row.second);
        ASSERT_NO_FATAL_FAILURE(open(config));

        char16_t name_w[32];
        std::fill(std::begin(name_w), std::end(name_w), u'#');
        EXPECT_EQ(Kavix_GetProductNameW(handle, name_w, sizeof name_w), 1);
        EXPECT_EQ(std::u16string(name_w), wide(row.name));

        char name_a[32];
        std::memset(name_a, '#', sizeof name_a);
        EXPECT_EQ(Kavix_GetProductNameA(handle, name_a, sizeof name_a), 1);
        EXPECT_STREQ(name_a, row.name);

        // Function 112 counts only on models with an FPGA; the models
        // without one report no functions at all.
        const bool fpga = row.product_id != 0x0305 && row.product_id != 0x0605 &&
                          row.product_id != 0x0705 && row.product_id != 0x0805;
        uint32_t type = 99;
        EXPECT_EQ(Kavix_GetSamePIDCameraType(handle, &type), 1);
        EXPECT_EQ(type, row.second && fpga ? 1u : 0u);
    }
}

TEST_F(ModelNamesTest, WideNameIsCutToTheBuffer) {
    open_model(0x0510);  // "Tovrik-Q3M-A", 12 characters
    char16_t name[16];
    std::fill(std::begin(name), std::end(name), u'#');
    // Four characters fit, and no terminator: the copy is bounded by the size.
    EXPECT_EQ(Kavix_GetProductNameW(handle, name, 8), 1);
    EXPECT_EQ(std::u16string(name, 5), u"Tovr#");
    // The same size as the name: no room for a terminator either.
    std::fill(std::begin(name), std::end(name), u'#');
    EXPECT_EQ(Kavix_GetProductNameW(handle, name, 24), 1);
    EXPECT_EQ(std::u16string(name, 13), u"Tovrik-Q3M-A#");
    // A larger buffer is filled with zeros behind the name.
    std::fill(std::begin(name), std::end(name), u'#');
    EXPECT_EQ(Kavix_GetProductNameW(handle, name, 30), 1);
    EXPECT_EQ(std::u16string(name, 12), u"Tovrik-Q3M-A");
    for (int i = 12; i < 15; ++i) EXPECT_EQ(name[i], 0) << i;
    EXPECT_EQ(name[15], u'#');
    // Nothing at all.
    EXPECT_EQ(Kavix_GetProductNameW(handle, nullptr, 0), 1);
    EXPECT_EQ(Kavix_GetProductNameW(handle, nullptr, 8), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
}

TEST_F(ModelNamesTest, NarrowNameInASmallBuffer) {
    open_model(0x0510);
    char name[16];
    std::memset(name, '#', sizeof name);
    // The characters that fit; no terminator, and the call still succeeds.
    EXPECT_EQ(Kavix_GetProductNameA(handle, name, 6), 1);
    EXPECT_EQ(std::string(name, 7), "Tovrik#");
    std::memset(name, '#', sizeof name);
    EXPECT_EQ(Kavix_GetProductNameA(handle, name, 13), 1);
    EXPECT_STREQ(name, "Tovrik-Q3M-A");
}

TEST_F(ModelNamesTest, BadHandles) {
    char16_t name[16];
    EXPECT_EQ(Kavix_GetProductNameW(nullptr, name, sizeof name), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
    uint32_t has = 77;
    EXPECT_EQ(Kavix_HasFunction(nullptr, 22, &has), 0);
    EXPECT_EQ(has, 0u) << "the answer is cleared before the handle is checked";
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
}

// The rules of Kavix_HasFunction, in the order in which they apply.
TEST_F(ModelNamesTest, HasFunctionRules) {
    struct Case {
        const char *what;
        uint16_t product_id;
        uint16_t fpga_version;
        unsigned id;
        bool bit;      // what the camera reports for the id
        uint32_t has;  // what the library says
    };
    const Case cases[] = {
        {"id 300 is beyond the table", 0x0210, 20, 300, false, 0},
        {"id 255 is the last bit", 0x0210, 20, 255, true, 1},
        {"no FPGA: never", 0x0605, 0, 22, true, 0},
        {"id 0 on 0x0110", 0x0110, 20, 0, true, 1},
        {"id 0 on 0x0210", 0x0210, 20, 0, true, 1},
        {"id 0 on 0x0906", 0x0906, 20, 0, true, 1},
        {"id 0 on 0x1006", 0x1006, 20, 0, true, 1},
        {"id 0 on 0x0310 isn't there", 0x0310, 20, 0, true, 0},
        {"id 0 on 0x1106 isn't there", 0x1106, 20, 0, true, 0},
        {"id 1 on 0x0906 with FPGA 15", 0x0906, 15, 1, false, 1},
        {"id 1 on 0x1606 with FPGA 15", 0x1606, 15, 1, false, 1},
        {"id 1 on 0x1506 with FPGA 16", 0x1506, 16, 1, false, 0},
        {"id 1 on 0x0110 with FPGA 15", 0x0110, 15, 1, false, 0},
        {"id 2 on 0x0906 with FPGA 16", 0x0906, 16, 2, false, 1},
        {"id 6 on 0x0906 with FPGA 16", 0x0906, 16, 6, false, 1},
        {"id 6 on 0x0906 with FPGA 15", 0x0906, 15, 6, false, 0},
        {"id 2 on 0x1006 with FPGA 16", 0x1006, 16, 2, false, 0},
        {"id 57 reported", 0x0810, 20, 57, true, 1},
        {"id 57 not reported", 0x0810, 20, 57, false, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        KavixSimCameraConfig config = config_of(c.product_id);
        config.fpga_version = c.fpga_version;
        if (c.id < 256) set_function_bit(config, c.id, c.bit);
        ASSERT_NO_FATAL_FAILURE(open(config));
        uint32_t has = 77;
        EXPECT_EQ(Kavix_HasFunction(handle, c.id, &has), 1);
        EXPECT_EQ(has, c.has);
    }
    EXPECT_EQ(Kavix_HasFunction(handle, 1, nullptr), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
}

TEST_F(ModelNamesTest, ColorArraySetter) {
    open_model(0x0210);
    uint16_t array = 0;
    for (uint16_t value = 1; value <= 5; ++value) {
        EXPECT_EQ(Kavix_SetColorArray(handle, value), 1);
        EXPECT_EQ(Kavix_GetColorArray(handle, &array), 1);
        EXPECT_EQ(array, value);
    }
    // Anything else is refused without a word: the last error stays.
    session().set_error(0);
    for (uint16_t value : {0, 6, 10, 0xFFFF}) {
        EXPECT_EQ(Kavix_SetColorArray(handle, value), 0) << value;
        EXPECT_EQ(Kavix_GetLastError(handle), 0u);
    }
    EXPECT_EQ(Kavix_GetColorArray(handle, &array), 1);
    EXPECT_EQ(array, 5);
}

TEST_F(ModelNamesTest, FunctionAddressAndVersionsFromTheCamera) {
    open_model(0x0810, [](KavixSimCameraConfig &c) {
        c.fpga_version = 0x0123;
        c.firmware_version = 0x0045;
    });
    uint8_t address = 0;
    EXPECT_EQ(Kavix_GetUSBFunctionAddress(handle, &address), 1);
    uint8_t expected = 0;
    ASSERT_NE(KavixUSBD_GetFunctionAddress(Kavix_GetKavixUSBHandle(handle), &expected), 0);
    EXPECT_EQ(address, expected);
    EXPECT_NE(address, 0);

    uint16_t vendor = 0, product = 0, fpga = 0, firmware = 0;
    EXPECT_EQ(Kavix_GetCameraVersion(handle, &vendor, &product, &fpga, &firmware), 1);
    EXPECT_EQ(vendor, 0x7B3D);
    EXPECT_EQ(product, 0x0810);
    EXPECT_EQ(fpga, 0x0123);
    EXPECT_EQ(firmware, 0x0045);
    EXPECT_EQ(Kavix_GetCameraVersion(handle, &vendor, nullptr, &fpga, &firmware), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
}

// The mode word goes to the camera; its refusal isn't reported.
TEST_F(ModelNamesTest, CameraMode) {
    open_model(0x0410);
    EXPECT_EQ(state().camera_mode, 0) << "open sets mode 0";
    EXPECT_EQ(Kavix_SetCameraMode(handle, 7), 1);
    EXPECT_EQ(state().camera_mode, 7);

    open_model(0x0705);
    const uint32_t before = transfers();
    EXPECT_EQ(Kavix_SetCameraMode(handle, 7), 1);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_NO_FPGA);
    EXPECT_EQ(transfers(), before);
}

}  // namespace
}  // namespace kavix::test
