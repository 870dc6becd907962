// The transport's stream operations against virtual cameras, through the
// public interface as the stream reader uses it: frames of every transfer
// format with the header apart or with the pixels, numbering, trigger mode,
// exposure and gain acting on the picture, the camera's own automatic
// controls and mirror, the camera's buffer overflowing, faults and unplug
// with reads in flight, and argument checks. Waits are bounded conditions.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <numeric>

#include "sim_fixture.h"

namespace kavix::test {
namespace {

constexpr uint32_t kBoundMs = 20000;
constexpr uint32_t kHeader = 64;
constexpr uint32_t kAllFormats = 0x7FFF;

// Completion callbacks, counted.
struct Completions {
  std::mutex mutex;
  std::condition_variable cv;
  std::vector<uint32_t> slots;

  static void done(void *context, uint32_t slot) {
    auto *self = static_cast<Completions *>(context);
    std::lock_guard lock(self->mutex);
    self->slots.push_back(slot);
    self->cv.notify_all();
  }
  bool wait_count(size_t n) {
    std::unique_lock lock(mutex);
    return cv.wait_for(lock, std::chrono::milliseconds(kBoundMs), [&] { return slots.size() >= n; });
  }
};

struct Read {
  int32_t ok = 0;
  uint32_t error = 0;
  uint32_t bytes = 0;
  std::vector<uint8_t> data;
};

// Keeps `depth` reads in flight over the slots and collects them in order,
// as the stream reader does.
class StreamReader {
 public:
  StreamReader(KAVIXUSB_HANDLE h, uint32_t read_bytes, uint32_t depth = 4)
      : h_(h), read_bytes_(read_bytes), buffers_(KAVIXUSBD_STREAM_SLOTS, std::vector<uint8_t>(read_bytes)) {
    for (uint32_t i = 0; i < depth; ++i) post();
  }
  ~StreamReader() { KavixUSBD_StopStream(h_); }

  Read next() {
    Read r;
    const uint32_t slot = collect_;
    collect_ = (collect_ + 1) % KAVIXUSBD_STREAM_SLOTS;
    KavixUSBD_SetLastError(0);
    r.ok = KavixUSBD_GetStreamResult(h_, slot, 1, &r.bytes);
    r.error = KavixUSBD_GetLastError();
    r.data.assign(buffers_[slot].begin(), buffers_[slot].begin() + std::min(r.bytes, read_bytes_));
    post();
    return r;
  }
  // The frame number of a header block.
  static uint32_t number(const Read &r) { return u32(r.data, 12); }

  Completions &completions() { return completions_; }

 private:
  void post() {
    const uint32_t slot = post_;
    post_ = (post_ + 1) % KAVIXUSBD_STREAM_SLOTS;
    KavixUSBD_PostStreamRead(h_, slot, buffers_[slot].data(), read_bytes_, &Completions::done, &completions_);
  }

  KAVIXUSB_HANDLE h_;
  uint32_t read_bytes_;
  std::vector<std::vector<uint8_t>> buffers_;
  uint32_t post_ = 0, collect_ = 0;
  Completions completions_;
};

// A small colour camera that can send every format: frames stay small.
class StreamTest : public SimBusTest {
 protected:
  void SetUp() override {
    camera_ = plug(0x7F7F, [](KavixSimCameraConfig &c) {
      c.enable_transfer_bits = kAllFormats;
      c.transfer_bits = 1;  // raw 8
      c.sensor_width = 256;
      c.sensor_height = 64;
      c.v_blank = 16;
      c.header_bytes = kHeader;
      c.color_array = 2;
    });
    h_ = open(0);
    ASSERT_NE(h_, nullptr);
  }

  void options(bool separate_header, bool fast, uint32_t buffer_frames = 4, uint32_t first = 0,
               bool can_restart = true) {
    KavixSimStreamOptions o{};
    o.separate_header = separate_header;
    o.as_fast_as_read = fast;
    o.can_restart = can_restart;
    o.buffer_frames = buffer_frames;
    o.first_frame_number = first;
    ASSERT_EQ(KavixSim_SetStreamOptions(camera_, &o), 1);
  }
  void scene(uint32_t kind, float r, float g, float b) {
    KavixSimScene s{};
    s.kind = kind;
    s.level[0] = r;
    s.level[1] = g;
    s.level[2] = b;
    ASSERT_EQ(KavixSim_SetScene(camera_, &s), 1);
  }
  void format(uint32_t bits) {
    std::vector<uint8_t> r(6, 0);
    r[0] = 6;
    r[1] = 19;
    put32(r, 2, bits);
    ASSERT_EQ(vendor_out(h_, 19, r).ok, 1) << bits;
  }
  void window(uint32_t x, uint32_t y, uint32_t w, uint32_t hgt) {
    std::vector<uint8_t> r(64, 0);
    r[0] = 64;
    r[1] = 18;
    put32(r, 6, w);
    put32(r, 10, hgt);
    put32(r, 14, x);
    put32(r, 18, y);
    put16(r, 22, 0x8000);
    ASSERT_EQ(vendor_out(h_, 18, r).ok, 1);
  }
  void status(uint16_t id, std::vector<uint16_t> words) {
    std::vector<uint8_t> d(words.size() * 2);
    for (size_t i = 0; i < words.size(); ++i) put16(d, 2 * i, words[i]);
    ASSERT_EQ(vendor_out(h_, 128, d, static_cast<uint16_t>(id | 0x8000)).ok, 1) << id;
  }
  void shutter(uint32_t line, uint16_t clock, uint16_t gain) {
    std::vector<uint8_t> r(64, 0);
    r[0] = 0x40;
    r[1] = 0x21;
    put16(r, 2, static_cast<uint16_t>(line));
    put16(r, 4, clock);
    put16(r, 6, gain);
    put16(r, 10, static_cast<uint16_t>(line >> 16));
    ASSERT_EQ(vendor_out(h_, 33, r).ok, 1);
  }
  KavixSimCameraState state() {
    KavixSimCameraState s{};
    EXPECT_EQ(KavixSim_GetState(camera_, &s), 1);
    return s;
  }
  void start() { ASSERT_EQ(KavixUSBD_StartStream(h_), 1) << KavixUSBD_GetLastError(); }
  // More than a frame, in whole 512-byte units, as the reader asks.
  static uint32_t read_size(uint32_t total) { return (total + 512) & ~511u; }
  static uint32_t wire_bits(uint32_t bits) {
    if (bits == 1 || bits == 32) return 8;
    if (bits == 1024 || bits == 16384) return 24;
    if (bits == 2048) return 32;
    if (bits == 4096) return 12;
    return 16;
  }

  KAVIXSIM_CAMERA camera_ = 0;
  KAVIXUSB_HANDLE h_ = nullptr;
};

TEST_F(StreamTest, EveryFormatAndHeaderPlacementGivesRightSizesAndNumbers) {
  window(0, 0, 64, 16);
  uint32_t first = 500;
  for (uint32_t bits = 1; bits <= 16384; bits <<= 1) {
    for (bool apart : {false, true}) {
      options(apart, true, 4, first);
      format(bits);
      const uint32_t raw = wire_bits(bits) * 64 * 16 / 8;
      start();
      StreamReader reader(h_, read_size(kHeader + raw));
      for (uint32_t f = 0; f < 3; ++f) {
        Read r = reader.next();
        ASSERT_EQ(r.ok, 1) << bits << " error " << r.error;
        EXPECT_EQ(StreamReader::number(r), first + f) << bits;
        if (apart) {
          EXPECT_EQ(r.bytes, kHeader) << bits;
          r = reader.next();
          ASSERT_EQ(r.ok, 1);
          EXPECT_EQ(r.bytes, raw) << bits;
        } else {
          EXPECT_EQ(r.bytes, kHeader + raw) << bits;
        }
      }
      first += 1000;
    }
  }
}

TEST_F(StreamTest, LargeFramesTakeSeveralReads) {
  options(false, true);
  start();
  const uint32_t total = kHeader + 256 * 64;  // 16448
  StreamReader reader(h_, 4096);
  for (int f = 0; f < 2; ++f) {
    for (uint32_t want : {4096u, 4096u, 4096u, 4096u, total - 4 * 4096u}) {
      const Read r = reader.next();
      ASSERT_EQ(r.ok, 1);
      ASSERT_EQ(r.bytes, want);
    }
  }
}

TEST_F(StreamTest, TriggerModeSendsExactlyOneFramePerSoftTrigger) {
  window(0, 0, 64, 16);
  options(false, false);
  status(48, {1, 0});  // trigger mode on
  start();
  StreamReader reader(h_, read_size(kHeader + 1024));
  ASSERT_EQ(KavixSim_WaitStreamIdle(camera_, kBoundMs), 1);
  KavixSimStreamCounters n{};
  ASSERT_EQ(KavixSim_GetStreamCounters(camera_, &n), 1);
  EXPECT_EQ(n.produced, 0u);
  uint32_t bytes = 0;
  EXPECT_EQ(KavixUSBD_GetStreamResult(h_, 0, 0, &bytes), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 996u);
  for (uint32_t t = 0; t < 4; ++t) {
    ASSERT_EQ(vendor_out(h_, 48, {}).ok, 1);
    const Read r = reader.next();
    ASSERT_EQ(r.ok, 1);
    EXPECT_EQ(r.bytes, kHeader + 1024);
    EXPECT_EQ(StreamReader::number(r), t);
    ASSERT_EQ(KavixSim_WaitStreamIdle(camera_, kBoundMs), 1);
    ASSERT_EQ(KavixSim_GetStreamCounters(camera_, &n), 1);
    EXPECT_EQ(n.produced, t + 1) << "one frame per trigger";
    EXPECT_EQ(KavixUSBD_GetStreamResult(h_, (t + 1) % KAVIXUSBD_STREAM_SLOTS, 0, &bytes), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 996u);
  }
  // Back to the clock: frames come by themselves.
  status(48, {0, 0});
  EXPECT_EQ(reader.next().ok, 1);
}

// Frames come at the camera's rate: clocks per line times lines per frame
// over the clock; ten frames take at least ten periods.
TEST_F(StreamTest, TimedFramesComeAtTheCameraRate) {
  window(0, 0, 64, 16);
  options(false, false);
  const KavixSimCameraState s = state();
  const double period = static_cast<double>(s.clocks_per_line) * s.lines_per_frame / s.clock_hz;
  StreamReader reader(h_, read_size(kHeader + 1024));
  const auto begin = std::chrono::steady_clock::now();
  start();
  for (int i = 0; i < 10; ++i) ASSERT_EQ(reader.next().ok, 1);
  const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  EXPECT_GE(took, 10 * period);
}

// Nobody reads: the camera's buffer overflows, frames are lost and the
// numbers of those that arrive show the gap.
TEST_F(StreamTest, OverflowingCameraBufferLosesFramesWithAGapInNumbers) {
  window(0, 0, 64, 16);
  options(false, false, 2);
  start();
  ASSERT_EQ(KavixSim_WaitStreamCounter(camera_, KAVIXSIM_COUNTER_LOST, 3, kBoundMs), 1);
  StreamReader reader(h_, read_size(kHeader + 1024));
  EXPECT_EQ(StreamReader::number(reader.next()), 0u);
  EXPECT_EQ(StreamReader::number(reader.next()), 1u);
  EXPECT_GE(StreamReader::number(reader.next()), 5u);
}

double mean_of_pixels(const Read &r) {
  return std::accumulate(r.data.begin() + kHeader, r.data.end(), 0.0) / (r.data.size() - kHeader);
}

// Exposure doubles the mean of a mid-grey scene until the samples saturate.
TEST_F(StreamTest, ExposureDoublesTheMeanOfMidGreyUntilSaturation) {
  scene(KAVIXSIM_SCENE_FLAT_FIELD, 0.5f, 0.5f, 0.5f);
  options(false, false);
  status(48, {1, 0});
  const KavixSimCameraState s0 = state();
  const uint32_t base = s0.shutter_line;  // the power-on exposure: scene level 1.0 is full scale there
  ASSERT_EQ(base % 4, 0u);
  start();
  StreamReader reader(h_, read_size(kHeader + 256 * 64));
  double last = 0;
  for (uint32_t line : {base / 4, base / 2, base, 2 * base}) {
    shutter(line, 0, s0.gain);
    ASSERT_EQ(vendor_out(h_, 48, {}).ok, 1);
    const Read r = reader.next();
    ASSERT_EQ(r.ok, 1);
    const double mean = mean_of_pixels(r);
    const double want = std::min(255.0, 127.5 * line / base);
    EXPECT_NEAR(mean, want, 0.6) << "line " << line;
    if (last > 0 && line <= base) {
      EXPECT_NEAR(mean / last, 2.0, 0.05);
    }
    last = mean;
  }
  EXPECT_EQ(last, 255.0) << "saturated";
}

TEST_F(StreamTest, GainBrightensThePicture) {
  scene(KAVIXSIM_SCENE_FLAT_FIELD, 0.25f, 0.25f, 0.25f);
  options(false, false);
  status(48, {1, 0});
  const KavixSimCameraState s0 = state();
  start();
  StreamReader reader(h_, read_size(kHeader + 256 * 64));
  ASSERT_EQ(vendor_out(h_, 48, {}).ok, 1);
  const double at_default = mean_of_pixels(reader.next());
  // Gain kind 0: 0.132 dB per step; 46 steps more is about 6 dB.
  shutter(s0.shutter_line, 0, static_cast<uint16_t>(s0.gain + 46));
  ASSERT_EQ(vendor_out(h_, 48, {}).ok, 1);
  const double more = mean_of_pixels(reader.next());
  EXPECT_NEAR(more / at_default, std::pow(10.0, 46 * 0.132 / 20), 0.03);
  // Digital gain (status 20) relative to its default.
  status(20, {128});
  ASSERT_EQ(vendor_out(h_, 48, {}).ok, 1);
  EXPECT_NEAR(mean_of_pixels(reader.next()) / more, 2.0, 0.03);
}

// The camera's own automatic exposure brings a flat scene to its target.
TEST_F(StreamTest, CameraAutomaticExposureMeetsItsTarget) {
  scene(KAVIXSIM_SCENE_FLAT_FIELD, 0.3f, 0.3f, 0.3f);
  options(false, false);
  status(48, {1, 0});
  status(74, {100});  // target
  status(73, {1});    // automatic shutter
  start();
  StreamReader reader(h_, read_size(kHeader + 256 * 64));
  ASSERT_EQ(vendor_out(h_, 48, {}).ok, 1);
  EXPECT_NEAR(mean_of_pixels(reader.next()), 100.0, 1.5);
  // What it chose reads back through the shutter record: 0.3 at the power-on
  // exposure gives 76, so the exposure grew.
  const Reply r = vendor_in(h_, 33, 64);
  ASSERT_EQ(r.ok, 1);
  EXPECT_GT(u16(r.data, 2), state().lines_per_frame / 2);

  // Too dark for the shutter alone: the longest exposure, then gain as well.
  scene(KAVIXSIM_SCENE_FLAT_FIELD, 0.1f, 0.1f, 0.1f);
  ASSERT_EQ(vendor_out(h_, 48, {}).ok, 1);
  EXPECT_NEAR(mean_of_pixels(reader.next()), 51.0, 1.0) << "shutter at the frame, no gain";
  status(73, {3});  // shutter and gain
  ASSERT_EQ(vendor_out(h_, 48, {}).ok, 1);
  EXPECT_NEAR(mean_of_pixels(reader.next()), 100.0, 3.0);
  EXPECT_GT(state().gain, 16) << "above the default gain";
}

TEST_F(StreamTest, CameraWhiteBalanceEvensTheChannels) {
  SimBusTest::TearDown();
  camera_ = plug(0x7F7F, [](KavixSimCameraConfig &c) {
    c.sensor_width = 256;
    c.sensor_height = 64;
    c.header_bytes = kHeader;
    c.color_array = 2;
    c.enable_transfer_bits = 1;
    c.transfer_bits = 1;
    c.function_bits[0] |= 0x0100;  // white balance in the camera
  });
  h_ = open(0);
  scene(KAVIXSIM_SCENE_FLAT_FIELD, 0.4f, 0.2f, 0.1f);
  options(false, false);
  status(48, {1, 0});
  status(68, {2});  // automatic, continuous
  start();
  StreamReader reader(h_, read_size(kHeader + 256 * 64));
  ASSERT_EQ(vendor_out(h_, 48, {}).ok, 1);
  const Read r = reader.next();
  ASSERT_EQ(r.ok, 1);
  const uint8_t *px = r.data.data() + kHeader;
  EXPECT_NEAR(px[0], px[1], 1) << "R against Gr";
  EXPECT_NEAR(px[256 + 1], px[1], 1) << "B against Gr";
  EXPECT_NEAR(px[1], 51, 1);  // green untouched: 0.2 of 255
  uint16_t gains[4];
  ASSERT_EQ(KavixSim_GetStatusWords(camera_, 0, 64, 4, gains), 1);
  EXPECT_EQ(gains[0], 64);
  EXPECT_EQ(gains[3], 256);
}

// A camera without function 71 mirrors with its readout: the Bayer phase
// changes as the library expects.
TEST_F(StreamTest, MirrorInTheCameraChangesThePhaseUnlessTheCameraKeepsIt) {
  for (bool keeps : {false, true}) {
    SimBusTest::TearDown();
    camera_ = plug(0x7F7F, [&](KavixSimCameraConfig &c) {
      c.sensor_width = 256;
      c.sensor_height = 64;
      c.header_bytes = kHeader;
      c.color_array = 2;
      c.enable_transfer_bits = 1;
      c.transfer_bits = 1;
      if (!keeps) c.function_bits[71 / 16] &= static_cast<uint16_t>(~(1u << (71 % 16)));
      else c.function_bits[71 / 16] |= static_cast<uint16_t>(1u << (71 % 16));
    });
    h_ = open(0);
    scene(KAVIXSIM_SCENE_FLAT_FIELD, 1.0f, 0.0f, 0.0f);  // red only
    options(false, true);
    status(63, {1});  // horizontal mirror in the camera
    start();
    {
      StreamReader reader(h_, read_size(kHeader + 256 * 64));
      const Read r = reader.next();
      ASSERT_EQ(r.ok, 1);
      const uint8_t *px = r.data.data() + kHeader;
      // RGGB mirrored becomes GRBG: red at x 1 of row 0; kept, red stays at x 0.
      EXPECT_EQ(px[0], keeps ? 255 : 0);
      EXPECT_EQ(px[1], keeps ? 0 : 255);
    }
  }
}

// ---- Faults, as the reader sees them --------------------------------------------

TEST_F(StreamTest, TornExtraAndSplitFramesArriveAsTheirTransfers) {
  window(0, 0, 64, 16);
  options(false, true);
  const uint32_t total = kHeader + 1024;
  ASSERT_EQ(KavixSim_AddStreamFault(camera_, KAVIXSIM_STREAM_TORN, 1, 300), 1);
  ASSERT_EQ(KavixSim_AddStreamFault(camera_, KAVIXSIM_STREAM_EXTRA, 2, 40), 1);
  ASSERT_EQ(KavixSim_AddStreamFault(camera_, KAVIXSIM_STREAM_SPLIT, 3, KAVIXSIM_AT_HALF), 1);
  start();
  StreamReader reader(h_, read_size(total + 40));
  for (uint32_t want : {total, total - 300, total + 40, total / 2, total - total / 2, total}) {
    const Read r = reader.next();
    ASSERT_EQ(r.ok, 1);
    EXPECT_EQ(r.bytes, want);
  }
}

TEST_F(StreamTest, Error23FailsOneReadAndTheStreamGoesOn) {
  window(0, 0, 64, 16);
  options(false, true);
  ASSERT_EQ(KavixSim_AddStreamFault(camera_, KAVIXSIM_STREAM_ERR23, 0, 100), 1);
  start();
  StreamReader reader(h_, read_size(kHeader + 1024));
  const Read bad = reader.next();
  EXPECT_EQ(bad.ok, 0);
  EXPECT_EQ(bad.error, 23u);
  EXPECT_EQ(bad.bytes, 100u);
  const Read good = reader.next();
  EXPECT_EQ(good.ok, 1);
  EXPECT_EQ(StreamReader::number(good), 1u);
}

TEST_F(StreamTest, Error31HaltsThePipeUntilTheStreamStartsAgain) {
  window(0, 0, 64, 16);
  for (bool can_restart : {true, false}) {
    options(false, true, 4, 0, can_restart);
    KavixUSBD_SetLastError(0);
    EXPECT_EQ(KavixUSBD_QueryStreamRestart(h_) != 0, can_restart);
    if (!can_restart) {
      EXPECT_EQ(KavixUSBD_GetLastError(), 50u);
    }
    ASSERT_EQ(KavixSim_AddStreamFault(camera_, KAVIXSIM_STREAM_ERR31, 0, 10), 1);
    start();
    {
      StreamReader reader(h_, read_size(kHeader + 1024));
      const Read stalled = reader.next();
      EXPECT_EQ(stalled.ok, 0);
      EXPECT_EQ(stalled.error, 31u);
      EXPECT_EQ(stalled.bytes, 10u);
      const Read halted = reader.next();
      EXPECT_EQ(halted.ok, 0);
      EXPECT_EQ(halted.error, 31u);
    }
    // Stopped by the reader going out of scope; a new start clears the halt.
    start();
    StreamReader fresh(h_, read_size(kHeader + 1024));
    const Read r = fresh.next();
    EXPECT_EQ(r.ok, 1);
    EXPECT_EQ(r.bytes, kHeader + 1024);
    KavixUSBD_StopStream(h_);
  }
}

TEST_F(StreamTest, StalledCameraHoldsReadsUntilStopped) {
  window(0, 0, 64, 16);
  options(false, true);
  ASSERT_EQ(KavixSim_AddStreamFault(camera_, KAVIXSIM_STREAM_STALL, 0, 0), 1);
  start();
  std::vector<uint8_t> buffer(4096);
  Completions done;
  ASSERT_EQ(KavixUSBD_PostStreamRead(h_, 0, buffer.data(), 4096, &Completions::done, &done), 1);
  ASSERT_EQ(KavixSim_WaitStreamCounter(camera_, KAVIXSIM_COUNTER_FAULTS, 1, kBoundMs), 1);
  ASSERT_EQ(KavixSim_WaitStreamIdle(camera_, kBoundMs), 1);
  uint32_t bytes = 0;
  EXPECT_EQ(KavixUSBD_GetStreamResult(h_, 0, 0, &bytes), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 996u);
  ASSERT_EQ(KavixUSBD_StopStream(h_), 1);
  EXPECT_EQ(done.slots.size(), 1u);
  EXPECT_EQ(KavixUSBD_GetStreamResult(h_, 0, 1, &bytes), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 995u);
}

TEST_F(StreamTest, UnplugMidFrameTakesTheCameraOffTheBus) {
  window(0, 0, 64, 16);
  options(false, false);
  status(48, {1, 0});
  ASSERT_EQ(KavixSim_AddStreamFault(camera_, KAVIXSIM_STREAM_UNPLUG, 0, 500), 1);
  start();
  StreamReader reader(h_, read_size(kHeader + 1024));
  ASSERT_EQ(vendor_out(h_, 48, {}).ok, 1);
  const Read cut = reader.next();
  EXPECT_EQ(cut.ok, 0);
  EXPECT_EQ(cut.error, 1167u);
  EXPECT_EQ(cut.bytes, 500u);
  for (int i = 0; i < 3; ++i) {
    const Read r = reader.next();
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.error, 1167u);
  }
  ASSERT_EQ(KavixSim_WaitPresence(camera_, 0, kBoundMs), 1);
  EXPECT_EQ(vendor_in(h_, 17, 64).error, 1167u);
}

TEST_F(StreamTest, UnplugWithFourReadsInFlightCompletesThemAllAndNothingHangs) {
  window(0, 0, 64, 16);
  options(false, false);
  status(48, {1, 0});  // nothing comes: all four reads stay in flight
  start();
  std::vector<std::vector<uint8_t>> buffers(4, std::vector<uint8_t>(2048));
  Completions done;
  for (uint32_t slot = 0; slot < 4; ++slot)
    ASSERT_EQ(KavixUSBD_PostStreamRead(h_, slot, buffers[slot].data(), 2048, &Completions::done, &done), 1);
  ASSERT_EQ(KavixSim_WaitStreamIdle(camera_, kBoundMs), 1);
  ASSERT_EQ(KavixSim_Unplug(camera_), 1);
  ASSERT_TRUE(done.wait_count(4));
  for (uint32_t slot = 0; slot < 4; ++slot) {
    uint32_t bytes = 99;
    EXPECT_EQ(KavixUSBD_GetStreamResult(h_, slot, 1, &bytes), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 1167u);
    EXPECT_EQ(bytes, 0u);
  }
  EXPECT_EQ(KavixUSBD_PostStreamRead(h_, 0, buffers[0].data(), 2048, nullptr, nullptr), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 1167u);
  EXPECT_EQ(KavixUSBD_StartStream(h_), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 1167u);
  KavixUSBD_StopStream(h_);
}

TEST_F(StreamTest, SuppliedFramesReplaceTheScene) {
  window(0, 0, 64, 16);
  options(false, true);
  std::vector<uint8_t> frames(2 * 1024);
  for (size_t i = 0; i < frames.size(); ++i) frames[i] = static_cast<uint8_t>(i * 7);
  ASSERT_EQ(KavixSim_SupplyFrames(camera_, frames.data(), 1024, 2), 1);
  start();
  StreamReader reader(h_, read_size(kHeader + 1024));
  for (int f = 0; f < 4; ++f) {
    const Read r = reader.next();
    ASSERT_EQ(r.bytes, kHeader + 1024);
    EXPECT_TRUE(std::equal(r.data.begin() + kHeader, r.data.end(), frames.begin() + (f % 2) * 1024));
  }
}

TEST_F(StreamTest, ArgumentsAreChecked) {
  std::vector<uint8_t> buffer(64);
  uint32_t bytes = 0;
  EXPECT_EQ(KavixUSBD_PostStreamRead(h_, KAVIXUSBD_STREAM_SLOTS, buffer.data(), 64, nullptr, nullptr), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
  EXPECT_EQ(KavixUSBD_PostStreamRead(h_, 0, nullptr, 64, nullptr, nullptr), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
  EXPECT_EQ(KavixUSBD_PostStreamRead(h_, 0, buffer.data(), 0, nullptr, nullptr), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
  EXPECT_EQ(KavixUSBD_GetStreamResult(h_, 0, 0, nullptr), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
  EXPECT_EQ(KavixUSBD_GetStreamResult(h_, 2, 0, &bytes), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 87u) << "a slot that never held a read";
  auto *bogus = reinterpret_cast<KAVIXUSB_HANDLE>(buffer.data());
  EXPECT_EQ(KavixUSBD_StartStream(bogus), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 6u);
  EXPECT_EQ(KavixUSBD_StopStream(nullptr), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 6u);
  EXPECT_EQ(KavixUSBD_QueryStreamRestart(nullptr), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 6u);

  KavixSimScene s{};
  s.kind = 9;
  EXPECT_EQ(KavixSim_SetScene(camera_, &s), 0);
  s.kind = KAVIXSIM_SCENE_FLAT_FIELD;
  s.noise = -1;
  EXPECT_EQ(KavixSim_SetScene(camera_, &s), 0);
  EXPECT_EQ(KavixSim_AddStreamFault(camera_, 0, 0, 0), 0);
  EXPECT_EQ(KavixSim_AddStreamFault(camera_, 8, 0, 0), 0);
  EXPECT_EQ(KavixSim_AddStreamFault(999, KAVIXSIM_STREAM_TORN, 0, 0), 0);
  KavixSimStreamOptions o{};
  EXPECT_EQ(KavixSim_SetStreamOptions(camera_, &o), 0) << "a buffer of no frames";
  EXPECT_EQ(KavixSim_WaitStreamCounter(camera_, KAVIXSIM_COUNTER_STARTS + 1, 0, 0), 0);
  EXPECT_EQ(KavixSim_WaitStreamCounter(camera_, KAVIXSIM_COUNTER_PRODUCED, 1, 0), 0);
  EXPECT_EQ(KavixUSBD_GetLastError(), 258u);
}

}  // namespace
}  // namespace kavix::test
