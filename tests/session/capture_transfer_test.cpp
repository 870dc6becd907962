// The capture thread's life: start and stop, messages and their order,
// snapshots, and the end of a thread from everywhere.
#include <thread>

#include "capture_fixture.h"

namespace kavix::test {
namespace {

using Transfer = CaptureTest;

TEST_F(Transfer, WithoutConsumersFramesAreReadAndDropped) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    EXPECT_TRUE(capture_thread_exists(session()));
    // Frames keep being read although nobody wants them.
    ASSERT_TRUE(wait_counter(KAVIXSIM_COUNTER_DELIVERED, 20));
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    EXPECT_FALSE(capture_thread_exists(session()));

    const std::vector<KAVIX_MESSAGE> got = messages_now();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].number, KAVIX_MSG_TRANSFER_STARTED);
    EXPECT_EQ(got[0].wparam, reinterpret_cast<uintptr_t>(camera));
    EXPECT_EQ(got[0].lparam, 0);
    EXPECT_EQ(got[1].number, KAVIX_MSG_TRANSFER_ENDED);
    EXPECT_EQ(got[1].wparam, reinterpret_cast<uintptr_t>(camera));
    EXPECT_EQ(got[1].lparam, 0);
    EXPECT_EQ(count_of(got, KAVIX_MSG_FRAME_READY), 0u);
    // Stopping what is stopped still succeeds.
    EXPECT_EQ(Kavix_StopTransfer(camera), 1);
}

TEST_F(Transfer, StartWhileRunningStopsTheFirstThread) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    const std::vector<KAVIX_MESSAGE> got = messages_now();
    ASSERT_EQ(got.size(), 4u);
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i].number, i % 2 == 0 ? KAVIX_MSG_TRANSFER_STARTED : KAVIX_MSG_TRANSFER_ENDED) << i;
    }
}

TEST_F(Transfer, ExportsCheckTheHandle) {
    uint8_t buffer[16];
    uint32_t taken = 0, value = 0;
    EXPECT_EQ(Kavix_StartTransfer(nullptr), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
    EXPECT_EQ(Kavix_StopTransfer(nullptr), 0);
    EXPECT_EQ(Kavix_TakeRawSnapShot(nullptr, buffer, sizeof buffer, &taken, nullptr, 0), 0);
    EXPECT_EQ(Kavix_TakePreviewSnapShot(nullptr, buffer, sizeof buffer, &taken, nullptr, 0), 0);
    EXPECT_EQ(Kavix_GetPreviewImagePixelValue(nullptr, 0, 0, &value), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
}

TEST_F(Transfer, RawSnapshotTakesWholeFramesWithTheirNumbers) {
    CameraSetup setup;
    setup.first_frame_number = 500;
    ASSERT_NO_FATAL_FAILURE(open(setup));
    ASSERT_NO_FATAL_FAILURE(supply_numbered_frames(5));
    const uint32_t frame = raw_size();
    // Room for three frames and a bit: three are taken.
    std::vector<uint8_t> buffer(frame * 3 + frame / 2, 0xCD);
    uint32_t numbers[4] = {0, 0, 0, 0xDEAD};
    uint32_t taken = 0;
    ASSERT_EQ(Kavix_TakeRawSnapShot(camera, buffer.data(), uint32_t(buffer.size()), &taken, numbers, 0), 1);
    EXPECT_EQ(taken, frame * 3);
    // The camera's own numbers, not places in the buffer.
    EXPECT_GE(numbers[0], 500u);
    EXPECT_EQ(numbers[1], numbers[0] + 1);
    EXPECT_EQ(numbers[2], numbers[1] + 1);
    EXPECT_EQ(numbers[3], 0xDEADu);
    for (uint32_t k = 0; k < 3; ++k) {
        const uint8_t *f = &buffer[size_t(k) * frame];
        EXPECT_TRUE(std::all_of(f, f + frame, [&](uint8_t b) { return b == f[0]; })) << "frame " << k << " is torn";
        // The camera sends its five pictures in turn from frame 500 on: each
        // number belongs to the picture beside it.
        EXPECT_EQ(f[0], (numbers[k] - 500) % 5 + 1) << "frame " << k << " and its number disagree";
        if (k > 0) {
            EXPECT_EQ(f[0], f[-1] % 5 + 1) << "frames out of order";
        }
    }
    EXPECT_EQ(buffer[frame * 3], 0xCD);  // nothing beyond the whole frames
}

TEST_F(Transfer, SnapshotTooSmallForOneFrameFails) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    std::vector<uint8_t> buffer(raw_size() - 1);
    uint32_t taken = 77;
    EXPECT_EQ(Kavix_TakeRawSnapShot(camera, buffer.data(), uint32_t(buffer.size()), &taken, nullptr, 0), 0);
    EXPECT_EQ(Kavix_GetLastError(camera), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Kavix_TakeRawSnapShot(camera, nullptr, raw_size(), &taken, nullptr, 0), 0);
    EXPECT_EQ(Kavix_GetLastError(camera), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(taken, 77u);
    EXPECT_FALSE(capture_thread_exists(session()));
    EXPECT_TRUE(messages_now().empty());  // no thread was started
}

TEST_F(Transfer, SnapshotOnlyThreadEndsItselfAndTheCallStopsIt) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    std::vector<uint8_t> buffer(raw_size() * 2);
    uint32_t taken = 0;
    ASSERT_EQ(Kavix_TakeRawSnapShot(camera, buffer.data(), uint32_t(buffer.size()), &taken, nullptr, 0), 1);
    EXPECT_EQ(taken, raw_size() * 2);
    EXPECT_FALSE(capture_thread_exists(session()));
    const std::vector<KAVIX_MESSAGE> got = messages_now();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].number, KAVIX_MSG_TRANSFER_STARTED);
    EXPECT_EQ(got[1].number, KAVIX_MSG_TRANSFER_ENDED);
    EXPECT_EQ(got[1].lparam, 0);
}

TEST_F(Transfer, SnapshotUsesARunningTransferAndLeavesItRunning) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    std::vector<uint8_t> buffer(raw_size());
    uint32_t taken = 0;
    ASSERT_EQ(Kavix_TakeRawSnapShot(camera, buffer.data(), uint32_t(buffer.size()), &taken, nullptr, 0), 1);
    EXPECT_TRUE(capture_thread_exists(session()));
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    const std::vector<KAVIX_MESSAGE> got = messages_now();
    EXPECT_EQ(count_of(got, KAVIX_MSG_TRANSFER_STARTED), 1u);
    EXPECT_EQ(count_of(got, KAVIX_MSG_TRANSFER_ENDED), 1u);
}

TEST_F(Transfer, SnapshotTimesOutWhenNoFrameComes) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    // The camera stops sending inside its first frame.
    ASSERT_EQ(KavixSim_AddStreamFault(sim, KAVIXSIM_STREAM_STALL, 1, 10), 1);
    std::vector<uint8_t> buffer(raw_size());
    uint32_t taken = 0;
    EXPECT_EQ(Kavix_TakeRawSnapShot(camera, buffer.data(), uint32_t(buffer.size()), &taken, nullptr, 50), 0);
    EXPECT_EQ(Kavix_GetLastError(camera), KAVIX_ERROR_WAIT_TIMEOUT);
    EXPECT_FALSE(capture_thread_exists(session()));  // the call stopped its own thread
    EXPECT_EQ(session().RawSnapshot.Active.load(), 0u);
}

// A thread that ended by itself stays set: the next snapshot starts nothing,
// sees the ended thread at once and fails, until the transfer is stopped.
TEST_F(Transfer, SelfEndedThreadFailsSnapshotsUntilStopped) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    // 45057 can't be posted to a destroyed queue: the thread ends at once.
    KAVIX_MESSAGE_QUEUE dead = Kavix_CreateMessageQueue();
    ASSERT_EQ(Kavix_DestroyMessageQueue(dead), 1);
    ASSERT_EQ(Kavix_SetReceiveMsgWindow(camera, dead), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    ASSERT_TRUE(wait_thread_end());
    EXPECT_TRUE(capture_thread_exists(session()));

    ASSERT_EQ(Kavix_SetReceiveMsgWindow(camera, queue), 1);
    std::vector<uint8_t> buffer(raw_size());
    uint32_t taken = 0;
    for (uint32_t timeout : {0u, 1000u}) {  // even without a limit
        EXPECT_EQ(Kavix_TakeRawSnapShot(camera, buffer.data(), raw_size(), &taken, nullptr, timeout), 0);
        EXPECT_EQ(Kavix_GetLastError(camera), KAVIX_ERROR_WAIT_TIMEOUT);
        EXPECT_EQ(Kavix_TakePreviewSnapShot(camera, buffer.data(), raw_size(), &taken, nullptr, timeout), 0);
        EXPECT_EQ(Kavix_GetLastError(camera), KAVIX_ERROR_WAIT_TIMEOUT);
    }
    EXPECT_TRUE(capture_thread_exists(session()));
    EXPECT_TRUE(messages_now().empty());  // no new thread ran

    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    EXPECT_FALSE(capture_thread_exists(session()));
    EXPECT_EQ(Kavix_TakeRawSnapShot(camera, buffer.data(), raw_size(), &taken, nullptr, 0), 1);
    EXPECT_EQ(taken, raw_size());
}

TEST_F(Transfer, UnplugEndsTheThreadWithError5) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    FrameLog log;
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddRawCallback(camera, FrameLog::raw, &log, &id), 1);
    ASSERT_EQ(KavixSim_AddStreamFault(sim, KAVIXSIM_STREAM_UNPLUG, 6, KAVIXSIM_AT_HALF), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    const std::vector<KAVIX_MESSAGE> got = messages_until(KAVIX_MSG_TRANSFER_ENDED);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].number, KAVIX_MSG_TRANSFER_STARTED);
    EXPECT_EQ(got[1].lparam, 5);
    EXPECT_EQ(session().thread.ReaderStatus, 5u);
    // Frames before the unplug came through, the broken one did not.
    const std::vector<uint32_t> seen = log.seen();
    EXPECT_LE(seen.size(), 5u);
    for (uint32_t n : seen) {
        EXPECT_LT(n, 6u);
    }
    ASSERT_TRUE(wait_thread_end());
    EXPECT_TRUE(capture_thread_exists(session()));  // kept until stopped
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    EXPECT_FALSE(capture_thread_exists(session()));
    EXPECT_EQ(session().thread.ReaderStatus, 5u);  // not cleared
}

TEST_F(Transfer, CloseStopsARunningThreadAndLeavesNoCallbacks) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    FrameLog log;
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddRawCallback(camera, FrameLog::raw, &log, &id), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    ASSERT_TRUE(log.wait_frames(3));
    Kavix_Close(camera);
    camera = nullptr;
    const std::vector<KAVIX_MESSAGE> got = messages_now();
    ASSERT_FALSE(got.empty());
    EXPECT_EQ(got.back().number, KAVIX_MSG_TRANSFER_ENDED);
}

}  // namespace
}  // namespace kavix::test
