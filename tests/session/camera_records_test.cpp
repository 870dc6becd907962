#include <gtest/gtest.h>

#include <cstring>

#include "session/camera_functions.h"
#include "session/camera_info.h"
#include "session/model_table.h"

namespace kavix {
namespace {

TEST(ModelTable, FpgaByProductId) {
    for (uint16_t pid : {0x0305, 0x0605, 0x0705, 0x0805}) EXPECT_FALSE(model_has_fpga(pid)) << pid;
    for (uint16_t pid : {0x0109, 0x0110, 0x1606, 0x0000, 0xFFFF}) EXPECT_TRUE(model_has_fpga(pid)) << pid;
    for (const ModelRow &row : model_table()) EXPECT_EQ(row.fpga, model_has_fpga(row.product_id));
}

TEST(ModelTable, FallbackSizes) {
    struct Case {
        uint16_t pid;
        uint32_t w, h;
    };
    const Case cases[] = {{0x0110, 640, 492},  {0x0305, 640, 480},   {0x0605, 1024, 768},
                          {0x0410, 1024, 776}, {0x0109, 1280, 964},  {0x0810, 1360, 1040},
                          {0x1606, 1600, 1236}, {0x0111, 4092, 4092}, {0x0609, 4092, 4092},
                          {0x4242, 4092, 4092}};
    for (const Case &c : cases) {
        ModelSize size = model_fallback_size(c.pid);
        EXPECT_EQ(size.width, c.w) << c.pid;
        EXPECT_EQ(size.height, c.h) << c.pid;
    }
}

TEST(CameraFunctions, RulesInOrder) {
    CameraInfo info;
    FunctionBits bits{};
    bits.fill(0xFFFF);
    info.ProductId = 0x0305;  // no FPGA: nothing, whatever the bits say
    EXPECT_FALSE(camera_has_function(info, bits, 48));
    info.ProductId = 0x0109;
    EXPECT_FALSE(camera_has_function(info, bits, 256));
    EXPECT_FALSE(camera_has_function(info, bits, 300));
    EXPECT_FALSE(camera_has_function(info, bits, 0));  // id 0 only on four models
    info.ProductId = 0x0906;
    EXPECT_TRUE(camera_has_function(info, bits, 0));
    bits.fill(0);
    EXPECT_FALSE(camera_has_function(info, bits, 1));
    info.FpgaVersion = 15;
    EXPECT_TRUE(camera_has_function(info, bits, 1));
    EXPECT_FALSE(camera_has_function(info, bits, 2));
    info.FpgaVersion = 16;
    EXPECT_TRUE(camera_has_function(info, bits, 2));
    EXPECT_TRUE(camera_has_function(info, bits, 6));
    EXPECT_FALSE(camera_has_function(info, bits, 1));
    info.ProductId = 0x1106;
    EXPECT_FALSE(camera_has_function(info, bits, 2));
    bits[3] = 1u << 0;  // function 48
    bits[15] = 1u << 15;  // function 255
    EXPECT_TRUE(camera_has_function(info, bits, 48));
    EXPECT_FALSE(camera_has_function(info, bits, 49));
    EXPECT_TRUE(camera_has_function(info, bits, 255));
}

// Records laid out by hand from the wire description, field by field.
TEST(CameraInfoRecord, NewForm) {
    uint8_t r[64] = {64, 17, 0x3D, 0x7B, 0x10, 0x02, 15, 0, 3, 1, 2, 0, 32, 0,
                     0x0F, 0, 0, 0,         // image size flags 15
                     0x05, 0x04, 0, 0,      // transfer bits 0x405
                     1, 2, 3, 4,            // reserved0
                     0x21, 0x80,            // scan modes 0x8021
                     0x00, 0x5A, 0x62, 0x02,  // clock max 40000000
                     0x40, 0x42, 0x0F, 0x00,  // clock min 1000000
                     0x80, 0x96, 0x98, 0x00,  // clock default 10000000
                     7, 0, 0, 0,            // clock modes
                     1, 0, 9, 9,            // shutter flags, reserved1
                     8, 8, 8, 8,            // reserved2
                     3, 0, 0, 0,            // trigger version
                     0x80, 0x07, 0, 0,      // width 1920
                     0x38, 0x04, 0, 0};     // height 1080
    CameraInfo info;
    EXPECT_TRUE(decode_camera_info(r, info));
    EXPECT_EQ(info.VendorId, 0x7B3D);
    EXPECT_EQ(info.ProductId, 0x0210);
    EXPECT_EQ(info.FpgaVersion, 15);
    EXPECT_EQ(info.FirmwareVersion, 259);
    EXPECT_EQ(info.ColorArray, 2);
    EXPECT_EQ(info.HeaderBytes, 32);
    EXPECT_EQ(info.EnableImageSizeFlags, 15u);
    EXPECT_EQ(info.EnableTransferBits, 0x405u);
    EXPECT_EQ(info.Reserved0, 0x04030201u);
    EXPECT_EQ(info.EnableScanModes, 0x8021);
    EXPECT_EQ(info.ClockMax, 40000000u);
    EXPECT_EQ(info.ClockMin, 1000000u);
    EXPECT_EQ(info.ClockDefault, 10000000u);
    EXPECT_EQ(info.EnableClockModes, 7u);
    EXPECT_EQ(info.ShutterFlags, 1);
    EXPECT_EQ(info.Reserved1, 0x0909);
    EXPECT_EQ(info.Reserved2, 0x08080808u);
    EXPECT_EQ(info.EnableTriggerVersion, 3u);
    EXPECT_EQ(info.Reserved3, 130u);
    EXPECT_EQ(info.MaxWidth, 1920u);
    EXPECT_EQ(info.MaxHeight, 1080u);
}

TEST(CameraInfoRecord, OldFormKeepsDefaultsBehindTheScanModes) {
    uint8_t r[64];
    std::memset(r, 0xAA, sizeof r);  // junk where the old form has nothing
    const uint8_t head[] = {64, 17, 0x10, 0x01, 4, 0, 2, 0, 1, 0, 0, 0,
                            1, 0, 0, 0, 0x21, 0, 0, 0, 0, 0, 0, 0, 3, 0};
    std::memcpy(r, head, sizeof head);
    CameraInfo info;
    EXPECT_FALSE(decode_camera_info(r, info));
    EXPECT_EQ(info.VendorId, 0x7B3D);
    EXPECT_EQ(info.ProductId, 0x0110);
    EXPECT_EQ(info.FpgaVersion, 4);
    EXPECT_EQ(info.FirmwareVersion, 2);
    EXPECT_EQ(info.ColorArray, 1);
    EXPECT_EQ(info.HeaderBytes, 0);
    EXPECT_EQ(info.EnableImageSizeFlags, 1u);
    EXPECT_EQ(info.EnableTransferBits, 0x21u);
    EXPECT_EQ(info.EnableScanModes, 3);
    EXPECT_EQ(info.ClockMax, 24545455u);
    EXPECT_EQ(info.ClockMin, 24545455u);
    EXPECT_EQ(info.ClockDefault, 24545455u);
    EXPECT_EQ(info.EnableClockModes, 0u);
    EXPECT_EQ(info.EnableTriggerVersion, 0u);
    EXPECT_EQ(info.Reserved3, 130u);
    EXPECT_EQ(info.MaxWidth, 0u);
    EXPECT_EQ(info.MaxHeight, 0u);
}

}  // namespace
}  // namespace kavix
