// Transfer and preview formats, the mirror modes and the colour array the
// application sees while the camera mirrors.
#include <gtest/gtest.h>

#include "KavixD.h"
#include "sensor/camera_fixture.h"

namespace kavix::test {
namespace {

class FormatsTest : public VirtualCameraTest {};

// Bits per pixel of the transfer formats, as the stream carries them.
uint32_t stream_bits(uint32_t format) {
    switch (format) {
        case 1: case 32: return 8;
        case 2: case 4: case 8: case 16: case 64: case 128: case 256: case 512: case 8192: return 16;
        case 1024: case 16384: return 24;
        case 2048: return 32;
        case 4096: return 12;
        default: return 0;
    }
}

TEST_F(FormatsTest, TransferFormatChangeReachesCameraAndSizes) {
    open_model(0x0210);  // colour: raw 8, 10 and 12 bits
    uint32_t mask = 0, bits = 0;
    EXPECT_EQ(Kavix_GetEnableTransferBitsPerPixel(handle, &mask), 1);
    EXPECT_EQ(mask, 0x7u);
    EXPECT_EQ(Kavix_GetTransferBitsPerPixel(handle, &bits), 1);
    EXPECT_EQ(bits, 1u);

    for (uint32_t format : {4u, 2u, 1u}) {
        SCOPED_TRACE(format);
        EXPECT_NE(Kavix_SetTransferBitsPerPixel(handle, format), 0);
        EXPECT_EQ(state().transfer_bits, format);
        EXPECT_EQ(Kavix_GetTransferBitsPerPixel(handle, &bits), 1);
        EXPECT_EQ(bits, format);
        const Session &s = session();
        EXPECT_EQ(s.mode.TransferBits, format);
        EXPECT_EQ(s.mode.RawSize, stream_bits(format) * s.mode.Width * s.mode.Height / 8);
        EXPECT_EQ(s.mode.TransferSize, s.mode.RawSize + s.info.HeaderBytes);
    }
}

TEST_F(FormatsTest, TransferFormatOutsideTheMaskChangesNothing) {
    open_model(0x0110);  // mono: 32, 64, 128
    ASSERT_NE(Kavix_SetTransferBitsPerPixel(handle, 64), 0);
    const CurrentMode before = session().mode;
    const uint32_t sent = transfers();
    for (uint32_t format : {0u, 1u, 2u, 1024u, 0x80000000u}) {
        SCOPED_TRACE(format);
        EXPECT_EQ(Kavix_SetTransferBitsPerPixel(handle, format), 0);
        EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(transfers(), sent);
    EXPECT_EQ(state().transfer_bits, 64u);
    EXPECT_EQ(session().mode.TransferBits, before.TransferBits);
    EXPECT_EQ(session().mode.RawSize, before.RawSize);
    EXPECT_EQ(session().mode.TransferSize, before.TransferSize);
}

// A camera with the one format raw 8 has nothing to ask or tell.
TEST_F(FormatsTest, FixedFormatNeedsNoCamera) {
    open_model(0x0605);
    ASSERT_EQ(session().info.EnableTransferBits, 1u);
    const uint32_t sent = transfers();
    uint32_t bits = 0;
    EXPECT_EQ(Kavix_GetTransferBitsPerPixel(handle, &bits), 1);
    EXPECT_EQ(bits, 1u);
    EXPECT_EQ(Kavix_SetTransferBitsPerPixel(handle, 1), 1);
    EXPECT_EQ(transfers(), sent);
    EXPECT_EQ(Kavix_SetTransferBitsPerPixel(handle, 2), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
}

// A refused request still changes the session's format: the call says so by
// its result.
TEST_F(FormatsTest, FailedTransferFormatRequestStillStores) {
    open_model(0x0210);
    ASSERT_NE(KavixSim_SetRequestFault(camera, 19, KAVIXSIM_FAULT_FAIL, 31, 1), 0);
    EXPECT_EQ(Kavix_SetTransferBitsPerPixel(handle, 4), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(session().mode.TransferBits, 4u);
    EXPECT_EQ(session().mode.RawSize, 2 * session().mode.Width * session().mode.Height);
    EXPECT_EQ(state().transfer_bits, 1u) << "the camera didn't take it";
}

TEST_F(FormatsTest, TransferFormatReadFailure) {
    open_model(0x0210);
    uint32_t bits = 99;
    ASSERT_NE(KavixSim_SetRequestFault(camera, 19, KAVIXSIM_FAULT_SHORT, 4, 1), 0);
    EXPECT_EQ(Kavix_GetTransferBitsPerPixel(handle, &bits), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(bits, 99u);
    EXPECT_EQ(Kavix_GetTransferBitsPerPixel(handle, nullptr), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
}

TEST_F(FormatsTest, PreviewFormatSizes) {
    struct Case {
        uint16_t product_id;
        uint32_t format;
        uint16_t bytes;  // per pixel
    };
    const Case cases[] = {
        {0x0210, 8, 4}, {0x0210, 4, 3}, {0x0110, 1, 1}, {0x0110, 8, 4}, {0x0110, 4, 3},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.product_id << " format " << c.format);
        if (handle == nullptr || session().info.ProductId != c.product_id) open_model(c.product_id);
        EXPECT_EQ(Kavix_SetPreviewPixelFormat(handle, c.format), 1);
        uint32_t format = 0;
        EXPECT_EQ(Kavix_GetPreviewPixelFormat(handle, &format), 1);
        EXPECT_EQ(format, c.format);
        const Session &s = session();
        EXPECT_EQ(s.mode.PreviewBytesPerPixel, c.bytes);
        EXPECT_EQ(s.mode.PreviewSizeA, s.mode.Width * s.mode.Height * c.bytes);
        EXPECT_EQ(s.mode.PreviewSizeB, s.mode.PreviewSizeA);
    }
}

TEST_F(FormatsTest, PreviewFormatsAllowed) {
    open_model(0x0410);
    uint32_t mask = 0;
    EXPECT_EQ(Kavix_GetEnablePreviewPixelFormat(handle, &mask), 1);
    EXPECT_EQ(mask, 12u);
    for (uint32_t format : {0u, 1u, 2u, 12u, 16u}) {
        SCOPED_TRACE(format);
        EXPECT_EQ(Kavix_SetPreviewPixelFormat(handle, format), 0);
        EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
    }
    uint32_t format = 0;
    EXPECT_EQ(Kavix_GetPreviewPixelFormat(handle, &format), 1);
    EXPECT_EQ(format, 4u) << "a colour camera opens with BGR24";

    open_model(0x0310);
    EXPECT_EQ(Kavix_GetEnablePreviewPixelFormat(handle, &mask), 1);
    EXPECT_EQ(mask, 13u);
    EXPECT_EQ(Kavix_GetPreviewPixelFormat(handle, &format), 1);
    EXPECT_EQ(format, 1u) << "a mono camera opens with mono 8";
}

// The mirror the camera offers: software bits 0 and 1 always, 16 and 32
// with functions 22 and 23.
TEST_F(FormatsTest, MirrorModeMasks) {
    const struct {
        bool h, v;
        uint8_t mask;
    } cases[] = {{false, false, 3}, {true, false, 19}, {false, true, 35}, {true, true, 51}};
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.h << c.v);
        open_model(0x0610, [&](KavixSimCameraConfig &config) {
            set_function_bit(config, 22, c.h);
            set_function_bit(config, 23, c.v);
        });
        uint8_t mask = 0;
        EXPECT_EQ(Kavix_GetEnableMirrorMode(handle, &mask), 1);
        EXPECT_EQ(mask, c.mask);
        for (unsigned mode = 0; mode < 256; ++mode) {
            const bool allowed = (mode & ~unsigned{c.mask}) == 0;
            ASSERT_EQ(Kavix_SetMirrorMode(handle, static_cast<uint8_t>(mode)) != 0, allowed) << mode;
        }
    }
}

TEST_F(FormatsTest, MirrorInTheCamera) {
    open_model(0x0610);
    for (uint8_t mode : {0x10, 0x30, 0x21, 0x02, 0x00}) {
        SCOPED_TRACE(int{mode});
        EXPECT_NE(Kavix_SetMirrorMode(handle, mode), 0);
        uint8_t got = 0;
        EXPECT_EQ(Kavix_GetMirrorMode(handle, &got), 1);
        EXPECT_EQ(got, mode);
        EXPECT_EQ(state().mirror, mode >> 4) << "the camera holds the high nibble";
    }
    // The camera's refusal is the call's result; the mode is stored anyway.
    ASSERT_NE(KavixSim_SetRequestFault(camera, 128, KAVIXSIM_FAULT_FAIL, 31, 1), 0);
    EXPECT_EQ(Kavix_SetMirrorMode(handle, 0x20), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(session().processing.MirrorMode, 0x20);
}

TEST_F(FormatsTest, MirrorInSoftwareOnly) {
    open_model(0x0610, [](KavixSimCameraConfig &c) {
        set_function_bit(c, 22, false);
        set_function_bit(c, 23, false);
    });
    const uint32_t sent = transfers();
    EXPECT_EQ(Kavix_SetMirrorMode(handle, 3), 1);
    EXPECT_EQ(transfers(), sent) << "software mirroring needs no camera";
    EXPECT_EQ(Kavix_SetMirrorMode(handle, 0x10), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_ERROR_INVALID_PARAMETER);
    uint8_t got = 0;
    EXPECT_EQ(Kavix_GetMirrorMode(handle, &got), 1);
    EXPECT_EQ(got, 3);
}

// The Bayer phase the application sees when the camera mirrors without
// keeping the phase itself (no function 71). The whole mirror byte counts:
// a software bit next to the camera's leaves the array as it is.
TEST_F(FormatsTest, ColorArrayUnderCameraMirror) {
    // Expected arrays for camera arrays 2..5 under mirror bytes.
    const struct {
        uint8_t mirror;
        uint16_t mapped[4];
    } cases[] = {
        {0x00, {2, 3, 4, 5}}, {0x10, {3, 2, 5, 4}}, {0x20, {4, 5, 2, 3}},
        {0x30, {5, 4, 3, 2}}, {0x11, {2, 3, 4, 5}}, {0x32, {2, 3, 4, 5}},
        {0x01, {2, 3, 4, 5}},
    };
    for (uint16_t array = 2; array <= 5; ++array) {
        open_model(0x0610, [&](KavixSimCameraConfig &c) {
            set_function_bit(c, 71, false);
            c.color_array = array;
        });
        for (const auto &c : cases) {
            SCOPED_TRACE(testing::Message() << "array " << array << " mirror " << int{c.mirror});
            ASSERT_NE(Kavix_SetMirrorMode(handle, c.mirror), 0);
            uint16_t got = 0;
            EXPECT_EQ(Kavix_GetColorArray(handle, &got), 1);
            EXPECT_EQ(got, c.mapped[array - 2]);
        }
    }
}

TEST_F(FormatsTest, ColorArrayWhenThePhaseIsKept) {
    // Function 71: the camera keeps the phase itself.
    open_model(0x0610, [](KavixSimCameraConfig &c) { set_function_bit(c, 71, true); });
    ASSERT_NE(Kavix_SetMirrorMode(handle, 0x30), 0);
    uint16_t got = 0;
    EXPECT_EQ(Kavix_GetColorArray(handle, &got), 1);
    EXPECT_EQ(got, 2);
    // Mono stays mono under any mirror.
    open_model(0x0510, [](KavixSimCameraConfig &c) { set_function_bit(c, 71, false); });
    ASSERT_NE(Kavix_SetMirrorMode(handle, 0x30), 0);
    EXPECT_EQ(Kavix_GetColorArray(handle, &got), 1);
    EXPECT_EQ(got, 1);
}

// What the camera mirrors at open is read into the high nibble.
TEST_F(FormatsTest, CameraMirrorReadAtOpen) {
    KavixSimCameraConfig config = config_of(0x0210);
    set_function_bit(config, 71, false);
    ASSERT_NO_FATAL_FAILURE(open(config));
    ASSERT_NE(Kavix_SetMirrorMode(handle, 0x20), 0);
    Kavix_Close(handle);
    handle = Kavix_Open(config.user_id);
    ASSERT_NE(handle, nullptr);
    uint8_t mode = 0;
    EXPECT_EQ(Kavix_GetMirrorMode(handle, &mode), 1);
    EXPECT_EQ(mode, 0x20);
    uint16_t array = 0;
    EXPECT_EQ(Kavix_GetColorArray(handle, &array), 1);
    EXPECT_EQ(array, 4);
}

}  // namespace
}  // namespace kavix::test
