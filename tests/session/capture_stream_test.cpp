// Frames from the stream: how the reader and the capture thread tell whole
// frames from everything else.
#include <numeric>
#include <thread>

#include "capture_fixture.h"
#include "session/stream_reader.h"

namespace kavix::test {
namespace {

using Stream = CaptureTest;

// ---- Sizes -------------------------------------------------------------------

struct SizeCase {
    uint32_t transfer_size;
    uint8_t speed;
    uint32_t max_read;
};

TEST(StreamSizes, MaxReadIsTheNextStepAboveTheTransferAndAtMost512KiB) {
    const SizeCase cases[] = {
        {1024, 1, 1536},          // a multiple of 512 still grows by 512
        {1000, 1, 1024},          {1023, 2, 1024},
        {1024, 2, 2048},          // SuperSpeed steps by 1024
        {0x7FE00, 1, 0x80000},    {0x7FF00, 1, 0x80000},
        {0x80000, 1, 0x80000},    {5000000, 2, 0x80000},
    };
    for (const SizeCase &c : cases) {
        EXPECT_EQ(stream_max_read(c.transfer_size, c.speed), c.max_read) << c.transfer_size << " " << int(c.speed);
    }
}

TEST(StreamSizes, ReaderAsksForAWholeFramePlusRoomOrAtMostMaxRead) {
    // TransferSize 1024: FrameBytes 1536, and each read asks for that much.
    StreamReader small(nullptr, stream_max_read(1024, 1), 0, 1024);
    EXPECT_EQ(small.frame_bytes(), 1536u);
    EXPECT_EQ(small.read_bytes(), 1536u);
    StreamReader superspeed(nullptr, stream_max_read(1024, 2), 0, 1024);
    EXPECT_EQ(superspeed.read_bytes(), 1536u);
    // Above 512 KiB the frame takes several reads of 0x80000.
    StreamReader large(nullptr, stream_max_read(64 + 1024 * 768, 1), 64, 1024 * 768);
    EXPECT_EQ(large.frame_bytes(), (64u + 1024 * 768 + 512) & ~511u);
    EXPECT_EQ(large.read_bytes(), 0x80000u);
    EXPECT_TRUE(large.allocated());
    // Four blocks of FrameBytes for the ring.
    EXPECT_EQ(large.ring().Count, 4u);
    for (StreamBlock *block : large.ring().Blocks) {
        EXPECT_EQ(block->Capacity, large.frame_bytes());
        EXPECT_TRUE(block->FreeEvent.is_signalled());
        EXPECT_FALSE(block->FullEvent.is_signalled());
    }
}

// ---- Whole frames and everything else ----------------------------------------

struct PlacementCase {
    const char *name;
    uint16_t header_bytes;
    bool separate_header;
    uint32_t width, height;
};

void PrintTo(const PlacementCase &c, std::ostream *os) { *os << c.name; }

class FramePlacement : public CaptureTest, public testing::WithParamInterface<PlacementCase> {};

// Frames in one transfer or two, in one read or several: every frame arrives
// whole with its number, in order.
TEST_P(FramePlacement, FramesArriveWholeAndInOrder) {
    const PlacementCase c = GetParam();
    CameraSetup setup;
    setup.header_bytes = c.header_bytes;
    setup.separate_header = c.separate_header;
    setup.width = c.width;
    setup.height = c.height;
    setup.first_frame_number = 40;
    ASSERT_NO_FATAL_FAILURE(open(setup));
    ASSERT_NO_FATAL_FAILURE(supply_numbered_frames(3));
    FrameLog log;
    ASSERT_NO_FATAL_FAILURE(log_transfer(camera, log, 6));
    std::lock_guard<std::mutex> lock(log.m);
    EXPECT_TRUE(log.whole);
    for (size_t i = 0; i < log.numbers.size(); ++i) {
        EXPECT_EQ(log.sizes[i], raw_size());
        // A camera without a header gives frame number 0 for every frame.
        EXPECT_EQ(log.numbers[i], c.header_bytes == 0 ? 0u : 40u + uint32_t(i)) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Placements, FramePlacement,
    testing::Values(PlacementCase{"OneTransfer", 64, false, 64, 48},
                    PlacementCase{"HeaderApart", 64, true, 64, 48},
                    PlacementCase{"NoHeader", 0, false, 64, 48},
                    // 1024 x 768: a frame above 0x80000 bytes takes two reads.
                    PlacementCase{"SeveralReads", 64, false, 1024, 768},
                    PlacementCase{"SeveralReadsHeaderApart", 64, true, 1024, 768},
                    // 1024 x 1024 with no header: exactly two full reads, then
                    // the empty transfer that ends the frame.
                    PlacementCase{"SeveralReadsExactMultiple", 0, false, 1024, 1024}),
    [](const testing::TestParamInfo<PlacementCase> &info) { return std::string(info.param.name); });

TEST_F(Stream, TransferSize1024FramesFlow) {
    CameraSetup setup;
    setup.header_bytes = 0;
    setup.width = 64;
    setup.height = 16;  // 1024 bytes: FrameBytes 1536
    ASSERT_NO_FATAL_FAILURE(open(setup));
    ASSERT_EQ(session().mode.TransferSize, 1024u);
    // Enough frames that one read per frame and two per frame can't be mistaken.
    constexpr uint32_t kFrames = 32;
    std::vector<uint8_t> buffer(1024 * kFrames);
    uint32_t taken = 0;
    ASSERT_EQ(Kavix_TakeRawSnapShot(camera, buffer.data(), uint32_t(buffer.size()), &taken, nullptr, 0), 1);
    EXPECT_EQ(taken, 1024u * kFrames);

    // Reads of 1536 bytes: each 1024-byte frame ends its read early, in a
    // single transfer. Reads of 1024 would be filled to the brim and need a
    // zero-length transfer after every frame, two reads per frame.
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    const KavixSimStreamCounters c = counters();
    ASSERT_GE(c.delivered, kFrames);
    EXPECT_EQ(c.bytes, c.delivered * 1024);
    // Besides one read per frame, only those still queued when the thread
    // stopped, which end with 995.
    EXPECT_LE(c.reads, c.delivered + 8);
}

struct FaultCase {
    const char *name;
    uint32_t kind;
    uint64_t param;
    bool separate_header;
    uint32_t width, height;
};

void PrintTo(const FaultCase &c, std::ostream *os) { *os << c.name; }

class DroppedFrames : public CaptureTest, public testing::WithParamInterface<FaultCase> {};

// Torn, short, oversized and broken frames are dropped without a word; the
// frames after them are handled.
TEST_P(DroppedFrames, BrokenFrameIsDroppedAndTheNextIsHandled) {
    const FaultCase c = GetParam();
    CameraSetup setup;
    setup.separate_header = c.separate_header;
    setup.width = c.width;
    setup.height = c.height;
    setup.first_frame_number = 1;
    ASSERT_NO_FATAL_FAILURE(open(setup));
    ASSERT_NO_FATAL_FAILURE(supply_numbered_frames(4));
    ASSERT_EQ(KavixSim_AddStreamFault(sim, c.kind, 3, c.param), 1);
    ASSERT_EQ(KavixSim_AddStreamFault(sim, c.kind, 4, c.param), 1);
    FrameLog log;
    ASSERT_NO_FATAL_FAILURE(log_transfer(camera, log, 5));

    const std::vector<KAVIX_MESSAGE> got = messages_now();
    ASSERT_GE(got.size(), 2u);
    EXPECT_EQ(got.back().number, KAVIX_MSG_TRANSFER_ENDED);
    EXPECT_EQ(got.back().lparam, 0);  // nothing of it reached the application
    std::lock_guard<std::mutex> lock(log.m);
    EXPECT_TRUE(log.whole);
    ASSERT_GE(log.numbers.size(), 5u);
    EXPECT_EQ(log.numbers[0], 1u);
    EXPECT_EQ(log.numbers[1], 2u);
    // Frames 3 and 4 are gone; a frame may go with them when the pipe had to
    // restart, but 5 on come through in order.
    for (size_t i = 2; i < log.numbers.size(); ++i) {
        EXPECT_GE(log.numbers[i], 5u);
        if (i > 2) {
            EXPECT_EQ(log.numbers[i], log.numbers[i - 1] + 1);
        }
    }
    for (uint32_t size : log.sizes) {
        EXPECT_EQ(size, raw_size());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Faults, DroppedFrames,
    testing::Values(FaultCase{"Torn", KAVIXSIM_STREAM_TORN, 100, false, 64, 48},
                    FaultCase{"TornToTheHeader", KAVIXSIM_STREAM_TORN, 64 * 48, false, 64, 48},
                    FaultCase{"Oversized", KAVIXSIM_STREAM_EXTRA, 100, false, 64, 48},
                    FaultCase{"Crc23", KAVIXSIM_STREAM_ERR23, KAVIXSIM_AT_HALF, false, 64, 48},
                    FaultCase{"Stall31Restarted", KAVIXSIM_STREAM_ERR31, KAVIXSIM_AT_HALF, false, 64, 48},
                    FaultCase{"TornHeaderApart", KAVIXSIM_STREAM_TORN, 100, true, 64, 48},
                    FaultCase{"TornSeveralReads", KAVIXSIM_STREAM_TORN, 1000, false, 1024, 768},
                    FaultCase{"TornSeveralReadsHeaderApart", KAVIXSIM_STREAM_TORN, 1000, true, 1024, 768},
                    FaultCase{"OversizedSeveralReads", KAVIXSIM_STREAM_EXTRA, 100, false, 1024, 768},
                    FaultCase{"Crc23SeveralReads", KAVIXSIM_STREAM_ERR23, 600000, false, 1024, 768}),
    [](const testing::TestParamInfo<FaultCase> &info) { return std::string(info.param.name); });

// Without restart in place, error 31 reaches the capture thread as a block
// status, and the capture thread restarts its reader.
TEST_F(Stream, Error31WithoutRestartInPlaceRestartsTheReader) {
    CameraSetup setup;
    setup.can_restart = false;
    ASSERT_NO_FATAL_FAILURE(open(setup));
    ASSERT_EQ(KavixSim_AddStreamFault(sim, KAVIXSIM_STREAM_ERR31, 3, KAVIXSIM_AT_HALF), 1);
    FrameLog log;
    ASSERT_NO_FATAL_FAILURE(log_transfer(camera, log, 6));
    const std::vector<KAVIX_MESSAGE> got = messages_now();
    EXPECT_EQ(count_of(got, KAVIX_MSG_TRANSFER_STARTED), 1u);
    EXPECT_EQ(got.back().lparam, 0);
    const std::vector<uint32_t> seen = log.seen();
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 3u), 0);
    EXPECT_GT(seen.back(), 3u);
}

// ---- The ring backs up -------------------------------------------------------

// A raw callback that stalls holds its block; the reader fills the other three
// and waits with its reads queued, without error. When the callback returns,
// capture goes on without a frame missing.
TEST_F(Stream, StalledCallbackFillsTheRingAndTheReaderHolds) {
    ASSERT_NO_FATAL_FAILURE(open(CameraSetup{}));
    struct Stalling {
        Gate gate;
        FrameLog log;
        static void raw(const uint8_t *p, uint32_t size, uint32_t w, uint32_t h, uint32_t frame, uint16_t a,
                        uint32_t b, void *context, void *reserved) {
            auto *self = static_cast<Stalling *>(context);
            FrameLog::raw(p, size, w, h, frame, a, b, &self->log, reserved);
            self->gate.pass();
        }
    } stalling;
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddRawCallback(camera, Stalling::raw, &stalling, &id), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    ASSERT_TRUE(stalling.gate.wait_arrived(1));
    // One frame in the callback, three in the ring, one being handed over
    // and four in the queued reads; then the camera has nothing to send into.
    ASSERT_TRUE(wait_counter(KAVIXSIM_COUNTER_DELIVERED, 9));
    ASSERT_EQ(KavixSim_WaitStreamIdle(sim, kBound), 1);
    const KavixSimStreamCounters held = counters();
    EXPECT_EQ(held.delivered, 9u);
    EXPECT_EQ(messages_now().size(), 1u);  // 45057 only: no error, no end

    stalling.gate.release();
    ASSERT_TRUE(stalling.log.wait_frames(held.delivered + 10));
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    const std::vector<KAVIX_MESSAGE> got = messages_now();
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].lparam, 0);
    const std::vector<uint32_t> seen = stalling.log.seen();
    for (size_t i = 1; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i], seen[i - 1] + 1) << i;
    }
}

// With the camera's own timing, the camera's buffer is what overflows while
// the ring is full: its lost frames show as a gap in the numbers, and nothing
// else goes wrong.
TEST_F(Stream, StalledCallbackLetsTheCameraBufferOverflow) {
    CameraSetup setup;
    setup.as_fast_as_read = false;
    setup.buffer_frames = 2;
    ASSERT_NO_FATAL_FAILURE(open(setup));
    struct Stalling {
        Gate gate;
        FrameLog log;
        static void raw(const uint8_t *p, uint32_t size, uint32_t w, uint32_t h, uint32_t frame, uint16_t a,
                        uint32_t b, void *context, void *reserved) {
            auto *self = static_cast<Stalling *>(context);
            FrameLog::raw(p, size, w, h, frame, a, b, &self->log, reserved);
            self->gate.pass();
        }
    } stalling;
    uint32_t id = 0;
    ASSERT_EQ(Kavix_AddRawCallback(camera, Stalling::raw, &stalling, &id), 1);
    ASSERT_EQ(Kavix_StartTransfer(camera), 1);
    ASSERT_TRUE(stalling.gate.wait_arrived(1));
    ASSERT_TRUE(wait_counter(KAVIXSIM_COUNTER_LOST, 5));
    stalling.gate.release();
    ASSERT_TRUE(stalling.log.wait_frames(20));
    ASSERT_EQ(Kavix_StopTransfer(camera), 1);
    const std::vector<uint32_t> seen = stalling.log.seen();
    bool gap = false;
    for (size_t i = 1; i < seen.size(); ++i) {
        EXPECT_GT(seen[i], seen[i - 1]);
        gap = gap || seen[i] != seen[i - 1] + 1;
    }
    EXPECT_TRUE(gap);
    EXPECT_EQ(messages_now().back().lparam, 0);
}

}  // namespace
}  // namespace kavix::test
