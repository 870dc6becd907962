#pragma once
// The session record: everything the library keeps for one open camera. Its
// address is the KAVIX_HANDLE an application holds. Fields are kept in
// numbered groups; each subsystem adds its own fields to its group, in place.
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "KavixD.h"
#include "KavixUSBD.h"
#include "display/callback_list.h"
#include "platform/event.h"
#include "platform/thread.h"
#include "sensor/register_table.h"
#include "session/camera_info.h"
#include "session/frame_buffer_pair.h"
#include "session/register_map.h"

namespace kavix {

// 1. Transport.
struct TransportGroup {
    // From KavixUSBD_OpenDevice; set for the whole life of an open session. A
    // null value marks a handle that must not be used.
    KAVIXUSB_HANDLE TransportHandle = nullptr;
    // Where notifications go (Kavix_SetReceiveMsgWindow): a message queue,
    // none by default. Set by the application at any time, read by the
    // capture thread for each message.
    std::atomic<void *> ReceiveWindow{nullptr};
};

// 3. Current mode: the camera's answer to the last scan-state read and the
// sizes that follow from it. All zero until the camera has been read.
struct CurrentMode {
    uint32_t Width = 0;
    uint32_t Height = 0;
    uint32_t OffsetX = 0;
    uint32_t OffsetY = 0;
    uint32_t TransferSize = 0;  // HeaderBytes + RawSize
    uint32_t RawSize = 0;       // payload of one raw frame in bytes
    uint32_t PreviewSizeA = 0;  // Width * Height * PreviewBytesPerPixel
    uint32_t PreviewSizeB = 0;  // the same
    uint16_t PreviewBytesPerPixel = 0;
    uint16_t ScanMode = 0;
    uint32_t TransferBits = 0;  // one KAVIX_TRANSFER_* flag
    uint32_t PreviewPixelFormat = 0;
    uint32_t EnablePreviewFormats = 0;  // 13 on mono cameras, else 12
    uint32_t ClockHz = 0;
    uint32_t ClockMode = 0;
    uint16_t ClocksPerLine = 0;
    uint16_t LinesPerFrame = 0;
    uint32_t ShutterMaxClock = 0;
    uint32_t ShortLimitClock = 0;
    uint32_t ShortLimitLine = 0;
    uint32_t LongLimitClock = 0;
    uint32_t LongLimitLine = 0;
};

struct Rectangle {
    uint32_t x = 0;
    uint32_t y = 0;
    uint32_t width = 0;
    uint32_t height = 0;
};

// 4. Preview window: owned by the display subsystem, which adds the window's
// own state here, but for the frame buffer pairs of the capture loop.
struct PreviewWindowGroup {
    void *PreviewWindow = nullptr;
    uint32_t DisplayInfoMode = 0;
    std::mutex FrameSwapMutex;  // held for an index swap and for a whole paint
    FrameBufferPair StraightPair;  // Width x Height
    FrameBufferPair RotatedPair;   // Height x Width
    // Which pair the last shown frame went to: set by the capture thread,
    // read by painting and pixel reads.
    std::atomic<uint8_t> RotatedPairInUse{0};
    uint8_t DisplayMode = 0;
    uint32_t ColorKey = 0xFF00FF;
    Rectangle DestRect;
    Rectangle MaskRect;
};

// 5. A pending snapshot, raw or preview (capture loop). Everything but Active
// is touched under Mutex; Active is also read bare by the capture thread when
// it decides whether anybody wants a frame.
struct SnapshotRecord {
    std::atomic<uint32_t> Active{0};
    uint32_t Status = 0;
    platform::Event DoneEvent{platform::Event::Reset::manual, false};
    std::mutex Mutex;
    uint8_t *Destination = nullptr;
    uint32_t *FrameNumbers = nullptr;
    uint32_t BufferBytes = 0;
    uint32_t BytesDone = 0;
    uint32_t FramesLeft = 0;
};

// 6. Recorder (recording subsystem). The two mutexes live as long as the
// session.
struct RecorderGroup {
    uint32_t AVIBufferCount = 10;
    uint32_t AVIQuality = 75;
    uint32_t OwnTransfer = 0;
    std::mutex RecorderFrameMutex;  // the recording lock
    uint32_t RecordingMode = 0;
    std::mutex RecorderMutex;  // guards the recorder pointer
};

// 7. The preview bitmap, raw and preview GDI callback lists. Each holds its
// own recursive lock (BitmapCallbackMutex, RawCallbackMutex, GdiCallbackMutex):
// a callback may touch its own list.
struct CallbackListGroup {
    display::PreviewBitmapCallbackList Bitmap;
    display::RawCallbackList Raw;
    display::PreviewGdiCallbackList Gdi;
};

// 8. Thread state.
struct ThreadStateGroup {
    // Plain words across threads: the last writer wins.
    std::atomic<uint32_t> LastError{0};
    uint32_t ReaderStatus = 0;
    uint32_t RequestedUserId = 0;  // the argument of Kavix_Open
    uint8_t USBFunctionAddress = 0;
    uint32_t TransferStarted = 0;  // 1: started by Kavix_StartTransfer, 0: by a snapshot
    uint32_t BuffersReady = 0;  // frame buffers and the group 9 mutexes exist
    // The capture thread: a new object for each thread, like a thread
    // handle, so that whoever waits for one thread's end sees it even when
    // the next one has started. It stays set after the thread has ended by
    // itself, until somebody stops the transfer. CaptureControl guards the
    // pointer and orders starts and stops; CaptureThreadSet mirrors it for
    // readers that take no lock.
    platform::Event StopEvent{platform::Event::Reset::manual, false};
    std::shared_ptr<platform::Thread> CaptureThread;
    std::atomic<bool> CaptureThreadSet{false};
    std::mutex CaptureControl;
    // Kept for the record only: the stream reader's limit is its own constant.
    uint32_t MaxTransferSize = 0x80000;
};

// 9. The callback mutexes are the lists' own (group 7).

// 10. Image processing settings.
struct ProcessingSettings {
    uint8_t InterpolationMethod[2] = {3, 3};  // current, and what a reset restores
    uint8_t MirrorMode = 0;  // low nibble in software, high nibble in the camera
    uint8_t RotationMode = 0;
};

// 11. Embedded processing objects, constructed in declaration order and
// destroyed in reverse: shading, sharpness, colour matrix and hue, noise
// reduction, average pixel value; then the white-balance and luminance
// control objects; then gamma. Each joins with its stage.
struct EmbeddedObjects {};

// 12. Camera defaults read at open.
struct CameraDefaults {
    uint16_t DefaultGain = 0;
    uint16_t MaxGain = 255;
    uint16_t DefaultDigitalGain = 0;
    uint16_t WhiteBalanceGains[4] = {0, 0, 0, 0};
    // Where the camera's register blocks lie; none on cameras without a data
    // space. Built by the second camera read.
    std::unique_ptr<sensor::RegisterTable> RegisterTable;
};

class KAVIX_COMMON_PARAM final : public IMorvaneRegMap {
public:
    KAVIX_COMMON_PARAM() = default;
    ~KAVIX_COMMON_PARAM() = default;

    TransportGroup transport;           // 1
    CameraInfo info;                    // 2
    FunctionBits functions{};           // 2
    CurrentMode mode;                   // 3
    PreviewWindowGroup preview;         // 4
    SnapshotRecord RawSnapshot;         // 5
    SnapshotRecord PreviewSnapshot;     // 5
    RecorderGroup recorder;             // 6
    CallbackListGroup callbacks;        // 7
    ThreadStateGroup thread;            // 8
    ProcessingSettings processing;      // 10
    EmbeddedObjects objects;            // 11
    CameraDefaults defaults;            // 12

    KAVIXUSB_HANDLE usb() const { return transport.TransportHandle; }

    uint32_t last_error() const { return thread.LastError.load(std::memory_order_relaxed); }
    void set_error(uint32_t error) { thread.LastError.store(error, std::memory_order_relaxed); }
    // Sets the error and gives the failed result, for `return s.fail(87);`.
    KAVIX_BOOL fail(uint32_t error) {
        set_error(error);
        return 0;
    }

    // Models without an FPGA are driven by the USB controller alone.
    bool has_fpga() const;
    // The function flag `id`, with the per-model exceptions of the family.
    bool has_function(uint32_t id) const;
    bool is_mono() const { return info.ColorArray == KAVIX_COLOR_MONO; }

    // The register space: the FPGA data space with the register selector,
    // addresses cut to 24 bits. 0 on success, else the session's last error.
    uint32_t read_registers(uint32_t address, void *buffer, uint32_t bytes) override;
    uint32_t write_registers(uint32_t address, const void *buffer, uint32_t bytes) override;
};

using Session = KAVIX_COMMON_PARAM;

}  // namespace kavix
