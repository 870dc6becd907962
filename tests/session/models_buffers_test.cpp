// Format changes and the frame buffers: both formats rebuild the buffer
// pairs for the new sizes, and neither may run beside a capture thread.
#include <gtest/gtest.h>

#include "KavixD.h"
#include "sensor/camera_fixture.h"

namespace kavix::test {
namespace {

class FormatBuffersTest : public VirtualCameraTest {
protected:
    void expect_pairs(uint16_t bit_count) {
        const Session &s = session();
        EXPECT_EQ(s.thread.BuffersReady, 1u);
        for (const FrameBufferPair *pair : {&s.preview.StraightPair, &s.preview.RotatedPair}) {
            ASSERT_TRUE(pair->created());
            EXPECT_EQ(pair->info_bit_count(), bit_count);
            EXPECT_EQ(pair->bitmap_bytes(), size_t{s.mode.PreviewSizeA});
        }
        EXPECT_EQ(s.preview.StraightPair.info_width(), static_cast<int32_t>(s.mode.Width));
        EXPECT_EQ(s.preview.RotatedPair.info_width(), static_cast<int32_t>(s.mode.Height));
    }
};

TEST_F(FormatBuffersTest, PreviewFormatRebuildsThePairs) {
    const struct {
        uint16_t product_id;
        uint32_t format;
        uint16_t bit_count;
    } cases[] = {
        {0x0210, 4, 24}, {0x0210, 8, 32}, {0x0210, 4, 24},
        {0x0110, 1, 8},  {0x0110, 8, 32}, {0x0110, 4, 24}, {0x0110, 1, 8},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.product_id << " format " << c.format);
        if (handle == nullptr || session().info.ProductId != c.product_id) open_model(c.product_id);
        EXPECT_EQ(Kavix_SetPreviewPixelFormat(handle, c.format), 1);
        expect_pairs(c.bit_count);
    }
}

// The open's own choice: mono 8 for mono cameras, BGR24 for colour ones.
TEST_F(FormatBuffersTest, PairsAfterOpen) {
    open_model(0x0310);
    expect_pairs(8);
    open_model(0x0410);
    expect_pairs(24);
}

TEST_F(FormatBuffersTest, TransferFormatRebuildsThePairs) {
    open_model(0x0210);
    ASSERT_EQ(Kavix_SetPreviewPixelFormat(handle, 8), 1);
    const uint8_t *before = session().preview.StraightPair.bits(0);
    ASSERT_NE(before, nullptr);
    EXPECT_NE(Kavix_SetTransferBitsPerPixel(handle, 4), 0);
    expect_pairs(32);
    EXPECT_EQ(session().mode.RawSize, 2 * session().mode.Width * session().mode.Height);
}

// Both format changes wait for the capture thread to be gone, and leave
// everything as it was until then.
TEST_F(FormatBuffersTest, RefusedBesideACaptureThread) {
    open_model(0x0210);
    const CurrentMode before = session().mode;
    ASSERT_NE(Kavix_StartTransfer(handle), 0);
    const uint32_t sent = transfers();
    EXPECT_EQ(Kavix_SetPreviewPixelFormat(handle, 8), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_CAPTURE_RUNNING);
    EXPECT_EQ(Kavix_SetTransferBitsPerPixel(handle, 2), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_CAPTURE_RUNNING);
    // Even a value the camera doesn't have: the thread is checked first.
    EXPECT_EQ(Kavix_SetTransferBitsPerPixel(handle, 1024), 0);
    EXPECT_EQ(Kavix_GetLastError(handle), KAVIX_E_CAPTURE_RUNNING);
    EXPECT_EQ(transfers(), sent);
    EXPECT_EQ(session().mode.PreviewPixelFormat, before.PreviewPixelFormat);
    EXPECT_EQ(session().mode.TransferBits, before.TransferBits);
    EXPECT_EQ(session().preview.StraightPair.info_bit_count(), 24);
    EXPECT_EQ(state().transfer_bits, 1u);

    EXPECT_EQ(Kavix_StopTransfer(handle), 1);
    EXPECT_EQ(Kavix_SetPreviewPixelFormat(handle, 8), 1);
    EXPECT_NE(Kavix_SetTransferBitsPerPixel(handle, 2), 0);
    expect_pairs(32);
    EXPECT_EQ(state().transfer_bits, 2u);
}

}  // namespace
}  // namespace kavix::test
