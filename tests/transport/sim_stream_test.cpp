// The bulk stream of a simulated camera as a stream reader sees it: reads in
// flight completed in order, a frame ending in a short transfer, the header
// apart or with the pixels, frames larger than a read, trigger mode, the
// camera's buffer overflowing, every fault class, stop and unplug with reads
// in flight. Threads: the camera's worker; waits are on conditions, bounded.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <vector>

#include "transport/sim/camera_stream.h"

namespace kavix::sim {
namespace {

using namespace std::chrono_literals;
constexpr auto kBound = 20s;  // generous: only a broken stream takes this long

uint32_t le32(const uint8_t *p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t{p[3]} << 24; }

// A camera's settings as a test fixes them.
struct Settings {
  std::mutex mutex;
  ExposureSettings value;

  ExposureSettings get() {
    std::lock_guard lock(mutex);
    return value;
  }
  void set(const std::function<void(ExposureSettings &)> &change) {
    std::lock_guard lock(mutex);
    change(value);
  }
};

ExposureSettings make_settings(uint32_t width, uint32_t height, uint32_t bits, uint32_t header) {
  ExposureSettings s;
  s.readout.sensor_width = width;
  s.readout.sensor_height = height;
  s.readout.width = width;
  s.readout.height = height;
  s.readout.transfer_bits = bits;
  s.readout.color_array = 2;
  s.header_bytes = header;
  s.scene.kind = SceneKind::kFlatField;
  return s;
}

// Counts completion callbacks, as a reader's events would.
struct Done {
  std::mutex mutex;
  std::condition_variable cv;
  std::vector<uint32_t> order;

  static void callback(void *context, uint32_t slot) {
    auto *self = static_cast<Done *>(context);
    std::lock_guard lock(self->mutex);
    self->order.push_back(slot);
    self->cv.notify_all();
  }
  bool wait_count(size_t n) {
    std::unique_lock lock(mutex);
    return cv.wait_for(lock, kBound, [&] { return order.size() >= n; });
  }
};

struct Transfer {
  bool posted = true;  // false: the reader could not post this slot's read
  bool ok = false;
  uint32_t error = 0;
  uint32_t bytes = 0;
  std::vector<uint8_t> data;
};

// Reads like the stream reader: `depth` reads in flight over the slots, each
// collected in order with a waiting result.
class Reader {
 public:
  Reader(CameraStream &stream, uint32_t read_bytes, uint32_t depth = 4)
      : stream_(stream), read_bytes_(read_bytes), depth_(depth), buffers_(KAVIXUSBD_STREAM_SLOTS) {
    for (auto &b : buffers_) b.assign(read_bytes, 0);
  }
  // The buffers and the callback's context must outlive the reads: a stop
  // completes them all before it returns.
  ~Reader() {
    uint32_t error = 0;
    stream_.stop(error);
  }

  void post_initial() {
    for (uint32_t i = 0; i < depth_; ++i) post(i);
    next_post_ = depth_ % KAVIXUSBD_STREAM_SLOTS;
  }

  // The next completed read; posts one more to keep the depth.
  Transfer next() {
    const uint32_t slot = next_collect_;
    Transfer t;
    t.posted = posted_[slot];
    if (t.posted) {
      t.ok = stream_.result(slot, true, &t.bytes, t.error);
      t.data.assign(buffers_[slot].begin(), buffers_[slot].begin() + t.bytes);
    }
    next_collect_ = (next_collect_ + 1) % KAVIXUSBD_STREAM_SLOTS;
    post(next_post_);
    next_post_ = (next_post_ + 1) % KAVIXUSBD_STREAM_SLOTS;
    return t;
  }

  bool post(uint32_t slot) {
    uint32_t error = 0;
    posted_[slot] = stream_.post(slot, buffers_[slot].data(), read_bytes_, &Done::callback, &done_, error);
    return posted_[slot];
  }

  Done &done() { return done_; }
  uint32_t next_collect() const { return next_collect_; }

 private:
  CameraStream &stream_;
  uint32_t read_bytes_, depth_;
  std::vector<std::vector<uint8_t>> buffers_;
  bool posted_[KAVIXUSBD_STREAM_SLOTS] = {};
  uint32_t next_post_ = 0, next_collect_ = 0;
  Done done_;
};

uint32_t reader_read_size(uint64_t total) {
  return static_cast<uint32_t>((total + 512) & ~uint64_t{511});  // more than a frame, as the reader asks
}

struct StreamRig {
  Settings settings;
  std::atomic<int> unplugs{0};
  CameraStream stream{[this] { return settings.get(); }, [this] { ++unplugs; }};

  explicit StreamRig(const ExposureSettings &s, StreamOptions options = fast()) {
    settings.value = s;
    stream.set_options(options);
  }
  static StreamOptions fast() {
    StreamOptions o;
    o.as_fast_as_read = true;
    return o;
  }
  void start() {
    uint32_t error = 0;
    ASSERT_TRUE(stream.start(error));
  }
};

// Every transfer format, header with the pixels or apart, several header sizes:
// each frame arrives as the right transfers with consecutive numbers.
TEST(SimStream, EveryFormatArrivesWithTheRightSizeAndNumbering) {
  for (uint32_t bits = 1; bits <= 16384; bits <<= 1) {
    for (bool apart : {false, true}) {
      const uint32_t header = 64;
      StreamOptions o = StreamRig::fast();
      o.separate_header = apart;
      StreamRig rig(make_settings(40, 6, bits, header), o);
      rig.stream.set_frame_number(1000);
      rig.start();
      const uint64_t raw = pixel_bytes(bits, 40, 6);
      Reader reader(rig.stream, reader_read_size(header + raw));
      reader.post_initial();
      for (uint32_t f = 0; f < 3; ++f) {
        Transfer t = reader.next();
        ASSERT_TRUE(t.ok) << bits << " error " << t.error;
        if (apart) {
          ASSERT_EQ(t.bytes, header) << bits;
          EXPECT_EQ(le32(&t.data[12]), 1000 + f);
          t = reader.next();
          ASSERT_TRUE(t.ok);
          ASSERT_EQ(t.bytes, raw) << bits;
        } else {
          ASSERT_EQ(t.bytes, header + raw) << bits;
          EXPECT_EQ(le32(&t.data[12]), 1000 + f) << bits;
        }
      }
    }
  }
}

TEST(SimStream, HeaderlessCameraSendsPixelsOnly) {
  StreamRig rig(make_settings(32, 4, kTransferRaw8, 0));
  rig.start();
  Reader reader(rig.stream, 1024);
  reader.post_initial();
  for (int f = 0; f < 3; ++f) {
    const Transfer t = reader.next();
    ASSERT_TRUE(t.ok);
    EXPECT_EQ(t.bytes, 128u);
  }
}

// A frame larger than a read takes full reads, then the short one.
TEST(SimStream, LargeFrameTakesFullReadsThenAShortOne) {
  StreamRig rig(make_settings(100, 100, kTransferRaw8, 16));  // 10016 bytes
  rig.start();
  Reader reader(rig.stream, 4096);
  reader.post_initial();
  for (int f = 0; f < 2; ++f) {
    const uint32_t want[] = {4096, 4096, 10016 - 8192};
    for (uint32_t w : want) {
      const Transfer t = reader.next();
      ASSERT_TRUE(t.ok);
      ASSERT_EQ(t.bytes, w);
    }
  }
}

// A frame that ends exactly at the end of a read is closed by a zero-length transfer.
TEST(SimStream, FrameEndingOnAReadBoundaryIsFollowedByAZeroLengthTransfer) {
  StreamRig rig(make_settings(64, 64, kTransferRaw8, 0));  // 4096 bytes
  rig.start();
  Reader reader(rig.stream, 2048);
  reader.post_initial();
  for (uint32_t w : {2048u, 2048u, 0u, 2048u, 2048u, 0u}) {
    const Transfer t = reader.next();
    ASSERT_TRUE(t.ok);
    ASSERT_EQ(t.bytes, w);
  }
}

TEST(SimStream, ReadsCompleteInTheOrderPostedAndCallbacksFollowThatOrder) {
  StreamRig rig(make_settings(16, 4, kTransferRaw8, 16));
  rig.start();
  Reader reader(rig.stream, 1024, 6);
  reader.post_initial();
  ASSERT_TRUE(reader.done().wait_count(6));
  std::lock_guard lock(reader.done().mutex);
  EXPECT_EQ(reader.done().order, (std::vector<uint32_t>{0, 1, 2, 3, 4, 5}));
}

TEST(SimStream, TriggerModeSendsExactlyOneFramePerSoftTrigger) {
  ExposureSettings s = make_settings(32, 8, kTransferRaw8, 32);
  s.trigger_mode = true;
  s.frame_period = 1ms;  // ignored under trigger
  StreamOptions o;
  StreamRig rig(s, o);
  rig.stream.set_frame_number(7);
  rig.start();
  Reader reader(rig.stream, 1024);
  reader.post_initial();
  ASSERT_TRUE(rig.stream.wait_idle(kBound));
  uint32_t bytes = 0, error = 0;
  EXPECT_FALSE(rig.stream.result(0, false, &bytes, error));
  EXPECT_EQ(error, transport::kErrorIncomplete);
  EXPECT_EQ(rig.stream.counters().produced, 0u);

  for (uint32_t n = 0; n < 5; ++n) {
    rig.stream.soft_trigger();
    const Transfer t = reader.next();
    ASSERT_TRUE(t.ok);
    ASSERT_EQ(t.bytes, 32u + 256u);
    EXPECT_EQ(le32(&t.data[12]), 7 + n);
    ASSERT_TRUE(rig.stream.wait_idle(kBound));
    EXPECT_EQ(rig.stream.counters().produced, n + 1);
    EXPECT_FALSE(rig.stream.result(reader.next_collect(), false, &bytes, error));
    EXPECT_EQ(error, transport::kErrorIncomplete) << "no frame without a trigger";
  }
  // Three triggers, three frames.
  for (int i = 0; i < 3; ++i) rig.stream.soft_trigger();
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(reader.next().ok);
  ASSERT_TRUE(rig.stream.wait_idle(kBound));
  EXPECT_EQ(rig.stream.counters().produced, 8u);
  EXPECT_EQ(rig.stream.counters().delivered, 8u);
}

// Frames come at the rate of the camera's timing: the tenth frame is not due
// before ten periods have passed.
TEST(SimStream, TimedFramesFollowTheFramePeriod) {
  ExposureSettings s = make_settings(16, 4, kTransferRaw8, 16);
  s.frame_period = 5ms;
  StreamRig rig(s, StreamOptions{});
  Reader reader(rig.stream, 1024);
  reader.post_initial();
  const auto begin = std::chrono::steady_clock::now();
  rig.start();
  // A loaded machine may keep the reader away long enough for the camera's
  // buffer to overflow, so losses are allowed; what must hold is that no frame
  // comes before its time and the numbers only go up.
  uint32_t previous = 0;
  for (int i = 0; i < 10; ++i) {
    const auto frame = reader.next();
    ASSERT_TRUE(frame.ok);
    const uint32_t number = le32(&frame.data[12]);
    if (i > 0) {
      EXPECT_GT(number, previous);
    }
    previous = number;
  }
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 50ms);
}

// Nobody reads: the camera's buffer fills, later frames are lost, and the
// numbers of what arrives show the gap.
TEST(SimStream, FullCameraBufferLosesFramesAndNumbersShowTheGap) {
  ExposureSettings s = make_settings(16, 4, kTransferRaw8, 16);
  s.trigger_mode = true;
  StreamOptions o;
  o.buffer_frames = 2;
  StreamRig rig(s, o);
  rig.start();
  for (int i = 0; i < 5; ++i) rig.stream.soft_trigger();
  ASSERT_TRUE(rig.stream.wait_for(StreamCounter::kProduced, 5, kBound));
  EXPECT_EQ(rig.stream.counters().lost, 3u);
  Reader reader(rig.stream, 1024);
  reader.post_initial();
  EXPECT_EQ(le32(&reader.next().data[12]), 0u);
  EXPECT_EQ(le32(&reader.next().data[12]), 1u);
  rig.stream.soft_trigger();
  EXPECT_EQ(le32(&reader.next().data[12]), 5u);

  // The same with the clock running and nobody reading for a while.
  ExposureSettings timed = make_settings(16, 4, kTransferRaw8, 16);
  timed.frame_period = 1ms;
  StreamRig clocked(timed, o);
  clocked.start();
  ASSERT_TRUE(clocked.stream.wait_for(StreamCounter::kLost, 3, kBound));
  Reader late(clocked.stream, 1024);
  late.post_initial();
  const uint32_t a = le32(&late.next().data[12]);
  const uint32_t b = le32(&late.next().data[12]);
  const uint32_t c = le32(&late.next().data[12]);
  EXPECT_EQ(a, 0u);
  EXPECT_EQ(b, 1u);
  EXPECT_GE(c, 5u) << "frames 2 to 4 at least were lost";
}

TEST(SimStream, ClearingTheBufferDropsWhatItHolds) {
  ExposureSettings s = make_settings(16, 4, kTransferRaw8, 16);
  s.trigger_mode = true;
  StreamRig rig(s, StreamOptions{});
  rig.start();
  rig.stream.soft_trigger();
  rig.stream.soft_trigger();
  ASSERT_TRUE(rig.stream.wait_for(StreamCounter::kProduced, 2, kBound));
  rig.stream.clear_buffer();
  EXPECT_EQ(rig.stream.counters().lost, 2u);
  Reader reader(rig.stream, 1024);
  reader.post_initial();
  rig.stream.soft_trigger();
  EXPECT_EQ(le32(&reader.next().data[12]), 2u);
}

// ---- Faults, each as the reader sees it -------------------------------------

struct FaultRig : StreamRig {
  static constexpr uint32_t kHeader = 32;
  static constexpr uint32_t kTotal = kHeader + 64 * 16;  // 1056
  Reader reader{stream, 2048};

  FaultRig() : StreamRig(make_settings(64, 16, kTransferRaw8, kHeader)) {}
  void go() {
    start();
    reader.post_initial();
  }
};

TEST(SimStreamFault, TornFrameEndsEarlyWithAShortTransfer) {
  FaultRig rig;
  rig.stream.add_fault({FaultKind::kTorn, 1, 100});
  rig.go();
  EXPECT_EQ(rig.reader.next().bytes, FaultRig::kTotal);
  const Transfer torn = rig.reader.next();
  EXPECT_TRUE(torn.ok);
  EXPECT_EQ(torn.bytes, FaultRig::kTotal - 100);
  EXPECT_EQ(le32(&torn.data[12]), 1u);
  EXPECT_EQ(rig.reader.next().bytes, FaultRig::kTotal);
}

TEST(SimStreamFault, ExtraBytesFollowTheFrame) {
  FaultRig rig;
  rig.stream.add_fault({FaultKind::kExtraBytes, 0, 50});
  rig.go();
  const Transfer t = rig.reader.next();
  ASSERT_EQ(t.bytes, FaultRig::kTotal + 50);
  for (uint32_t i = FaultRig::kTotal; i < t.bytes; ++i) ASSERT_EQ(t.data[i], kExtraByte);
  EXPECT_EQ(rig.reader.next().bytes, FaultRig::kTotal);
}

TEST(SimStreamFault, SplitFrameComesAsTwoTransfers) {
  FaultRig rig;
  rig.stream.add_fault({FaultKind::kSplit, 0, 300});
  rig.go();
  const Transfer a = rig.reader.next();
  const Transfer b = rig.reader.next();
  EXPECT_EQ(a.bytes, 300u);
  EXPECT_EQ(b.bytes, FaultRig::kTotal - 300);
  EXPECT_EQ(le32(&a.data[12]), 0u);
  EXPECT_EQ(rig.reader.next().bytes, FaultRig::kTotal);
}

TEST(SimStreamFault, CrcErrorEndsTheReadWith23AndTheStreamGoesOn) {
  FaultRig rig;
  rig.stream.add_fault({FaultKind::kCrcError, 1, 500});
  rig.go();
  EXPECT_TRUE(rig.reader.next().ok);
  const Transfer bad = rig.reader.next();
  EXPECT_FALSE(bad.ok);
  EXPECT_EQ(bad.error, transport::kErrorCrc);
  EXPECT_EQ(bad.bytes, 500u);
  const Transfer next = rig.reader.next();
  EXPECT_TRUE(next.ok);
  EXPECT_EQ(next.bytes, FaultRig::kTotal);
  EXPECT_EQ(le32(&next.data[12]), 2u);
}

// Error 31 halts the pipe: reads fail until the stream is restarted, in place
// when the camera allows it; either way the stream goes on after a restart.
TEST(SimStreamFault, PipeStallHaltsUntilTheStreamRestarts) {
  for (bool can_restart : {true, false}) {
    FaultRig rig;
    StreamOptions o = StreamRig::fast();
    o.can_restart = can_restart;
    rig.stream.set_options(o);
    EXPECT_EQ(rig.stream.query_restart(), can_restart);
    rig.stream.add_fault({FaultKind::kPipeStall, 0, 200});
    rig.go();
    const Transfer stall = rig.reader.next();
    EXPECT_FALSE(stall.ok);
    EXPECT_EQ(stall.error, transport::kErrorGenFailure);
    EXPECT_EQ(stall.bytes, 200u);
    const Transfer halted = rig.reader.next();
    EXPECT_FALSE(halted.ok);
    EXPECT_EQ(halted.error, transport::kErrorGenFailure);
    EXPECT_EQ(halted.bytes, 0u);
    // The reader's answer: stop (pending reads end with 995), start, post anew.
    uint32_t error = 0;
    EXPECT_TRUE(rig.stream.stop(error));
    EXPECT_TRUE(rig.stream.start(error));
    Reader fresh(rig.stream, 2048);
    // The old reader's slots have all completed; a new round of reads follows.
    for (uint32_t slot = 0; slot < KAVIXUSBD_STREAM_SLOTS; ++slot) {
      uint32_t bytes = 0;
      if (!rig.stream.result(slot, false, &bytes, error)) {
        EXPECT_NE(error, transport::kErrorIncomplete) << slot;
      }
    }
    fresh.post_initial();
    const Transfer after = fresh.next();
    EXPECT_TRUE(after.ok);
    EXPECT_EQ(after.bytes, FaultRig::kTotal);
    EXPECT_EQ(le32(&after.data[12]), 1u);
  }
}

// A stall in the camera: reads stay pending until it sends again, and a stop
// ends them with 995 meanwhile.
TEST(SimStreamFault, PausedCameraLeavesReadsPendingUntilResumedOrStopped) {
  FaultRig rig;
  rig.stream.add_fault({FaultKind::kPause, 1, 100});
  rig.go();
  EXPECT_TRUE(rig.reader.next().ok);
  ASSERT_TRUE(rig.stream.wait_for(StreamCounter::kFaults, 1, kBound));
  ASSERT_TRUE(rig.stream.wait_idle(kBound));
  uint32_t bytes = 0, error = 0;
  EXPECT_FALSE(rig.stream.result(rig.reader.next_collect(), false, &bytes, error));
  EXPECT_EQ(error, transport::kErrorIncomplete);
  rig.stream.resume();
  const Transfer t = rig.reader.next();
  EXPECT_TRUE(t.ok);
  EXPECT_EQ(t.bytes, FaultRig::kTotal);

  FaultRig stopped;
  stopped.stream.add_fault({FaultKind::kPause, 0, 100});
  stopped.go();
  ASSERT_TRUE(stopped.stream.wait_for(StreamCounter::kFaults, 1, kBound));
  EXPECT_TRUE(stopped.stream.stop(error));
  for (int i = 0; i < 4; ++i) {
    uint32_t slot_bytes = 0;
    EXPECT_FALSE(stopped.stream.result(i, false, &slot_bytes, error));
    EXPECT_EQ(error, transport::kErrorAborted);
    EXPECT_EQ(slot_bytes, i == 0 ? 100u : 0u);
  }
}

TEST(SimStreamFault, UnplugMidFrameEndsEveryReadWithDeviceGone) {
  // Under trigger all four reads are posted before the frames come.
  ExposureSettings s = make_settings(64, 16, kTransferRaw8, FaultRig::kHeader);
  s.trigger_mode = true;
  StreamRig rig(s, StreamOptions{});
  rig.stream.add_fault({FaultKind::kUnplug, 1, 400});
  rig.start();
  Reader reader(rig.stream, 2048);
  reader.post_initial();
  rig.stream.soft_trigger();
  rig.stream.soft_trigger();
  EXPECT_TRUE(reader.next().ok);
  const Transfer cut = reader.next();
  EXPECT_FALSE(cut.ok);
  EXPECT_EQ(cut.error, transport::kErrorDeviceGone);
  EXPECT_EQ(cut.bytes, 400u);
  // The reads still in flight end with the device gone as well.
  for (int i = 0; i < 2; ++i) {
    const Transfer t = reader.next();
    ASSERT_TRUE(t.posted);
    EXPECT_FALSE(t.ok);
    EXPECT_EQ(t.error, transport::kErrorDeviceGone);
    EXPECT_EQ(t.bytes, 0u);
  }
  uint32_t error = 0;
  std::vector<uint8_t> buffer(64);
  EXPECT_FALSE(rig.stream.post(0, buffer.data(), 64, nullptr, nullptr, error));
  EXPECT_EQ(error, transport::kErrorDeviceGone);
  EXPECT_FALSE(rig.stream.start(error));
  EXPECT_EQ(error, transport::kErrorDeviceGone);
  ASSERT_TRUE(rig.stream.wait_idle(kBound));
  EXPECT_EQ(rig.unplugs.load(), 1);
  EXPECT_EQ(rig.stream.counters().faults, 1u);
}

TEST(SimStreamFault, UnplugWithFourReadsInFlightCompletesThemAllAndNothingHangs) {
  ExposureSettings s = make_settings(64, 16, kTransferRaw8, 32);
  s.trigger_mode = true;  // nothing arrives: all four reads stay in flight
  StreamRig rig(s, StreamOptions{});
  rig.start();
  Reader reader(rig.stream, 2048);
  reader.post_initial();
  ASSERT_TRUE(rig.stream.wait_idle(kBound));
  rig.stream.unplug();
  ASSERT_TRUE(reader.done().wait_count(4));
  for (uint32_t slot = 0; slot < 4; ++slot) {
    uint32_t bytes = 7, error = 0;
    EXPECT_FALSE(rig.stream.result(slot, true, &bytes, error));
    EXPECT_EQ(error, transport::kErrorDeviceGone);
    EXPECT_EQ(bytes, 0u);
  }
  uint32_t error = 0;
  EXPECT_FALSE(rig.stream.stop(error));
  EXPECT_EQ(error, transport::kErrorDeviceGone);
}

TEST(SimStreamFault, RandomFaultsRepeatWithTheirSeed) {
  auto run = [](uint64_t seed) {
    FaultRig rig;
    rig.stream.set_random_faults((1u << (uint32_t(FaultKind::kTorn) - 1)) | (1u << (uint32_t(FaultKind::kCrcError) - 1)) |
                                     (1u << (uint32_t(FaultKind::kSplit) - 1)) |
                                     (1u << (uint32_t(FaultKind::kExtraBytes) - 1)),
                                 300000, seed);
    rig.go();
    std::vector<std::pair<uint32_t, uint32_t>> seen;
    for (int i = 0; i < 60; ++i) {
      const Transfer t = rig.reader.next();
      seen.emplace_back(t.ok ? 0 : t.error, t.bytes);
    }
    return std::pair{seen, rig.stream.counters()};
  };
  const auto [a, ca] = run(42);
  const auto [b, cb] = run(42);
  const auto [c, cc] = run(43);
  EXPECT_EQ(a, b);
  EXPECT_NE(a, c);
  const size_t odd = std::count_if(a.begin(), a.end(), [](auto &p) { return p != std::pair<uint32_t, uint32_t>{0, FaultRig::kTotal}; });
  EXPECT_GT(odd, 5u);
  EXPECT_LT(odd, 60u);
}

// ---- Stop, slots and supplied frames -----------------------------------------

TEST(SimStream, StopCompletesEveryPendingReadWith995BeforeItReturns) {
  ExposureSettings s = make_settings(16, 4, kTransferRaw8, 16);
  s.trigger_mode = true;
  StreamRig rig(s, StreamOptions{});
  rig.start();
  Reader reader(rig.stream, 1024, 5);
  reader.post_initial();
  uint32_t error = 0;
  EXPECT_TRUE(rig.stream.stop(error));
  {
    std::lock_guard lock(reader.done().mutex);
    EXPECT_EQ(reader.done().order.size(), 5u) << "callbacks ran before stop returned";
  }
  for (uint32_t slot = 0; slot < 5; ++slot) {
    uint32_t bytes = 0;
    EXPECT_FALSE(rig.stream.result(slot, false, &bytes, error));
    EXPECT_EQ(error, transport::kErrorAborted);
  }
}

TEST(SimStream, SlotMisuseIsRefused) {
  StreamRig rig(make_settings(16, 4, kTransferRaw8, 16), StreamOptions{});
  std::vector<uint8_t> buffer(1024);
  uint32_t error = 0, bytes = 0;
  EXPECT_FALSE(rig.stream.post(KAVIXUSBD_STREAM_SLOTS, buffer.data(), 1024, nullptr, nullptr, error));
  EXPECT_EQ(error, transport::kErrorInvalidParameter);
  EXPECT_FALSE(rig.stream.post(0, nullptr, 1024, nullptr, nullptr, error));
  EXPECT_EQ(error, transport::kErrorInvalidParameter);
  EXPECT_FALSE(rig.stream.post(0, buffer.data(), 0, nullptr, nullptr, error));
  EXPECT_EQ(error, transport::kErrorInvalidParameter);
  EXPECT_FALSE(rig.stream.result(3, false, &bytes, error));
  EXPECT_EQ(error, transport::kErrorInvalidParameter) << "never posted";
  EXPECT_FALSE(rig.stream.result(KAVIXUSBD_STREAM_SLOTS, false, &bytes, error));
  EXPECT_EQ(error, transport::kErrorInvalidParameter);
  EXPECT_TRUE(rig.stream.post(0, buffer.data(), 1024, nullptr, nullptr, error));
  EXPECT_FALSE(rig.stream.post(0, buffer.data(), 1024, nullptr, nullptr, error));
  EXPECT_EQ(error, transport::kErrorBusy);
  EXPECT_TRUE(rig.stream.stop(error));
}

TEST(SimStream, SuppliedFramesReplaceTheScene) {
  StreamRig rig(make_settings(4, 2, kTransferRaw8, 16));
  rig.stream.supply({{1, 2, 3, 4, 5, 6, 7, 8}, {8, 7, 6, 5, 4, 3, 2, 1}});
  rig.start();
  Reader reader(rig.stream, 1024);
  reader.post_initial();
  for (int f = 0; f < 4; ++f) {
    const Transfer t = reader.next();
    ASSERT_EQ(t.bytes, 24u);
    EXPECT_EQ(t.data[16], f % 2 ? 8 : 1);
    EXPECT_EQ(t.data[23], f % 2 ? 1 : 8);
  }
}

}  // namespace
}  // namespace kavix::sim
