// Settings of this subsystem seen in the frames that arrive: a triggered
// camera delivers one frame per soft trigger, and after a change of size the
// next transfer delivers frames of the new size while a frame of the old
// size is dropped. Frames are taken with raw snapshots.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "sensor/sensor_fixture.h"
#include "session/session.h"

namespace kavix::test {
namespace {

constexpr uint16_t kColourModel = 0x0810;
constexpr uint32_t kWaitMs = 10000;  // generous: the machine may be busy
constexpr uint32_t kTriggerFreeRun = 0;
constexpr uint32_t kTriggerOn = 1;

class SensorStream : public SensorCameraTest {
protected:
    void SetUp() override {
        SensorCameraTest::SetUp();
        open_model(kColourModel);
        queue = Kavix_CreateMessageQueue();
        ASSERT_NE(queue, nullptr);
        ASSERT_NE(Kavix_SetReceiveMsgWindow(handle, queue), 0);
    }
    void TearDown() override {
        if (snapshot_thread.joinable()) snapshot_thread.join();
        if (handle != nullptr) Kavix_Close(handle);
        handle = nullptr;
        if (queue != nullptr) Kavix_DestroyMessageQueue(queue);
        SensorCameraTest::TearDown();
    }

    KavixSimStreamCounters counters() const {
        KavixSimStreamCounters c{};
        EXPECT_NE(KavixSim_GetStreamCounters(camera, &c), 0);
        return c;
    }

    // Waits for message `number`, passing over others.
    bool wait_message(uint32_t number) {
        KAVIX_MESSAGE m{};
        while (Kavix_GetMessage(queue, &m, kWaitMs) != 0) {
            if (m.number == number) return true;
        }
        return false;
    }

    // A raw snapshot of `frames` frames on a thread of its own; returns once
    // the capture thread it starts has the camera's stream running.
    struct Snapshot {
        std::vector<uint8_t> buffer;
        std::vector<uint32_t> numbers;
        uint32_t taken = 0;
        KAVIX_BOOL result = 0;
        uint32_t error = 0;
    };
    void start_snapshot(uint32_t frames) {
        // Messages of earlier threads, all posted by the time their calls returned.
        KAVIX_MESSAGE old{};
        while (Kavix_GetMessage(queue, &old, 0) != 0) {
        }
        const uint64_t starts = counters().starts;
        const uint32_t raw = session().mode.RawSize;
        snap.buffer.assign(size_t{raw} * frames, 0);
        snap.numbers.assign(frames, 0);
        snapshot_thread = std::thread([this] {
            snap.result = Kavix_TakeRawSnapShot(handle, snap.buffer.data(),
                                                static_cast<uint32_t>(snap.buffer.size()), &snap.taken,
                                                snap.numbers.data(), kWaitMs);
            snap.error = Kavix_GetLastError(handle);
        });
        ASSERT_TRUE(wait_message(KAVIX_MSG_TRANSFER_STARTED)) << "the capture thread never started";
        // The stream reader starts the camera's stream on a thread of its
        // own; a soft trigger counts only once it runs.
        ASSERT_NE(KavixSim_WaitStreamCounter(camera, KAVIXSIM_COUNTER_STARTS, starts + 1, kWaitMs), 0);
    }
    void finish_snapshot() { snapshot_thread.join(); }

    // One exposure on the camera's trigger, and the wait until it is taken.
    void trigger_one() {
        const uint64_t produced = counters().produced;
        ASSERT_NE(Kavix_SoftTrigger(handle), 0);
        ASSERT_NE(KavixSim_WaitStreamCounter(camera, KAVIXSIM_COUNTER_PRODUCED, produced + 1, kWaitMs), 0);
    }

    KAVIX_MESSAGE_QUEUE queue = nullptr;
    std::thread snapshot_thread;
    Snapshot snap;
};

TEST_F(SensorStream, ATriggeredCameraDeliversOneFramePerTrigger) {
    ASSERT_NE(Kavix_SetImageSize(handle, 0, KAVIX_SCAN_MODE_FREE_REGION, 0, 0, 160, 120), 0);
    ASSERT_NE(Kavix_SetTriggerMode(handle, kTriggerOn), 0);
    const uint32_t raw = session().mode.RawSize;
    ASSERT_EQ(raw, 160u * 120u);

    ASSERT_NO_FATAL_FAILURE(start_snapshot(3));
    for (int i = 0; i < 3; ++i) ASSERT_NO_FATAL_FAILURE(trigger_one());
    finish_snapshot();

    ASSERT_NE(snap.result, 0) << "error " << std::hex << snap.error;
    EXPECT_EQ(snap.taken, 3 * raw);
    EXPECT_EQ(snap.numbers[1], snap.numbers[0] + 1);
    EXPECT_EQ(snap.numbers[2], snap.numbers[1] + 1);
    const KavixSimStreamCounters c = counters();
    EXPECT_EQ(c.produced, 3u) << "exactly one exposure per trigger";
    EXPECT_EQ(c.lost, 0u);
    EXPECT_EQ(state().soft_triggers, 3u);
}

TEST_F(SensorStream, AfterASmallerRegionTheNextTransferDeliversTheNewSize) {
    // The old size, as frames come by themselves.
    ASSERT_NE(Kavix_SetImageSize(handle, 0, KAVIX_SCAN_MODE_FREE_REGION, 0, 0, 320, 240), 0);
    const uint32_t old_raw = session().mode.RawSize;
    ASSERT_EQ(old_raw, 320u * 240u);
    std::vector<uint8_t> frame(old_raw);
    uint32_t taken = 0;
    ASSERT_NE(Kavix_TakeRawSnapShot(handle, frame.data(), old_raw, &taken, nullptr, kWaitMs), 0);
    EXPECT_EQ(taken, old_raw);

    // A smaller region, and a camera that still sends one frame of the old
    // size before its first frame of the new one.
    ASSERT_NE(Kavix_SetImageSize(handle, 0, KAVIX_SCAN_MODE_FREE_REGION, 16, 8, 160, 120), 0);
    const uint32_t new_raw = session().mode.RawSize;
    ASSERT_EQ(new_raw, 160u * 120u);
    EXPECT_EQ(session().mode.TransferSize, session().info.HeaderBytes + new_raw);
    ASSERT_NE(Kavix_SetTriggerMode(handle, kTriggerOn), 0);
    const std::vector<uint8_t> stale(old_raw, 0xA5);
    ASSERT_NE(KavixSim_SupplyFrames(camera, stale.data(), old_raw, 1), 0);

    const KavixSimStreamCounters before = counters();
    ASSERT_NO_FATAL_FAILURE(start_snapshot(1));
    ASSERT_NO_FATAL_FAILURE(trigger_one());  // the stale frame
    ASSERT_NE(KavixSim_SupplyFrames(camera, nullptr, 0, 0), 0);
    ASSERT_NO_FATAL_FAILURE(trigger_one());  // a frame of the new size
    finish_snapshot();

    ASSERT_NE(snap.result, 0) << "error " << std::hex << snap.error;
    EXPECT_EQ(snap.taken, new_raw);
    const KavixSimStreamCounters c = counters();
    EXPECT_EQ(c.produced - before.produced, 2u);
    EXPECT_EQ(c.delivered - before.delivered, 2u) << "both frames went over the wire";
    // The snapshot holds the second frame, the picture of the scene.
    bool all_stale = true;
    for (uint8_t v : snap.buffer) all_stale = all_stale && v == 0xA5;
    EXPECT_FALSE(all_stale) << "the frame of the old size must have been dropped";
}

TEST_F(SensorStream, SizeCallsAreRefusedBesideACaptureThreadUntilItIsStopped) {
    ASSERT_NE(Kavix_SetImageSize(handle, 0, KAVIX_SCAN_MODE_FREE_REGION, 0, 0, 160, 120), 0);
    ASSERT_NE(Kavix_StartTransfer(handle), 0);
    ASSERT_TRUE(wait_message(KAVIX_MSG_TRANSFER_STARTED));
    const Size before = session_size();
    clear_wire();
    EXPECT_EQ(Kavix_SetImageSize(handle, 0, KAVIX_SCAN_MODE_FREE_REGION, 0, 0, 320, 240), 0);
    EXPECT_EQ(last_error(), KAVIX_E_CAPTURE_RUNNING);
    EXPECT_EQ(Kavix_SetSkippingAndBinning(handle, 0, 1, 0, 1), 0);
    EXPECT_EQ(last_error(), KAVIX_E_CAPTURE_RUNNING);
    EXPECT_TRUE(transfers(kRequestScanState, kRequestOut).empty());
    // The clock, trigger and I/O are allowed beside the thread.
    EXPECT_NE(Kavix_SetClock(handle, 0, 0), 0);
    EXPECT_NE(Kavix_SetTriggerTiming(handle, 1, 5), 0);
    EXPECT_EQ(session_size(), before);
    ASSERT_NE(Kavix_StopTransfer(handle), 0);
    EXPECT_NE(Kavix_SetImageSize(handle, 0, KAVIX_SCAN_MODE_FREE_REGION, 0, 0, 320, 240), 0);
    EXPECT_EQ(session_size().width, 320u);
}

}  // namespace
}  // namespace kavix::test
