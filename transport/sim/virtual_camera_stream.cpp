// The stream side of a virtual camera: what each frame is exposed with (the
// camera's state turned into a readout, a response and a frame period), the
// camera's own automatic exposure and white balance, and the transport's
// stream operations for one appearance on the bus.
#include <algorithm>
#include <cmath>

#include "transport/sim/sensor_response.h"
#include "transport/sim/virtual_camera.h"
#include "transport/windows_errors.h"

namespace kavix::sim {

namespace win = transport::win;

namespace {

constexpr uint16_t kFreeRegion = 0x8000;
constexpr uint16_t kLongExposureModes = 4 | 32;
constexpr uint16_t kNeutralGain = 128;  // camera white-balance gains: 128 is 1.0
constexpr uint16_t kMaxCameraGain = 1023;

bool function(const KavixSimCameraConfig &c, uint32_t id) {
  return c.has_fpga && (c.function_bits[id / 16] >> (id % 16)) & 1u;
}

// The models without FPGA status words have the plain gain curve.
uint32_t gain_kind(const KavixSimCameraConfig &c) {
  switch (c.product_id) {
    case 0x0305:
    case 0x0605:
    case 0x0705:
    case 0x0805: return 0;
    default: return (c.function_bits[0] & 1u) | ((c.function_bits[2] >> 1) & 1u) << 1;
  }
}

uint32_t two_words(const uint16_t *w) { return w[0] | uint32_t{w[1]} << 16; }

}  // namespace

double VirtualCamera::exposure_seconds() const {
  if (state_.clock_hz == 0) return 0;
  const uint64_t clocks = exposure_clocks(state_.shutter_line, state_.shutter_clock, state_.clocks_per_line,
                                          short_limit_line(), config_.shutter_flags & 1u);
  return static_cast<double>(clocks) / state_.clock_hz;
}

ExposureSettings VirtualCamera::exposure_settings() {
  std::lock_guard lock(mutex_);
  const KavixSimCameraConfig &c = config_;
  ExposureSettings s;
  s.header_bytes = c.header_bytes;
  s.scene = scene_;

  SensorReadout &r = s.readout;
  r.sensor_width = c.sensor_width;
  r.sensor_height = c.sensor_height;
  r.width = state_.width;
  r.height = state_.height;
  r.offset_x = state_.window_x;
  r.offset_y = state_.window_y;
  // Window pixels per frame pixel, split as status 33 asks in the free
  // region, binning two by two in the binning modes.
  uint32_t hs = state_.h_factor - 1u, hb = 0, vs = state_.v_factor - 1u, vb = 0;
  if (state_.scan_mode == kFreeRegion) {
    const uint16_t sb = state_.skip_binning;
    if ((1u + ((sb >> 8) & 0xF)) * (1u + (sb & 0xF)) == state_.h_factor) hs = (sb >> 8) & 0xF, hb = sb & 0xF;
    if ((1u + (sb >> 12)) * (1u + ((sb >> 4) & 0xF)) == state_.v_factor) vs = sb >> 12, vb = (sb >> 4) & 0xF;
  } else {
    std::swap(hs, hb);
    std::swap(vs, vb);
  }
  r.h_skip = static_cast<uint8_t>(hs);
  r.h_bin = static_cast<uint8_t>(hb);
  r.v_skip = static_cast<uint8_t>(vs);
  r.v_bin = static_cast<uint8_t>(vb);
  r.bin_sum = c.has_fpga && status_[status::kBinningSum] != 0;
  const uint16_t mirror = c.has_fpga ? status_[status::kMirror] : 0;
  r.mirror_h = mirror & 1u;
  r.mirror_v = mirror & 2u;
  r.mirror_keeps_phase = function(c, 71);
  r.color_array = c.color_array;
  r.transfer_bits = state_.transfer_bits;

  const double digital = c.has_fpga && c.default_digital_gain
                             ? static_cast<double>(status_[status::kDigitalGain]) / c.default_digital_gain
                             : 1.0;
  camera_controls(r, digital);

  const uint32_t kind = gain_kind(c);
  const double gain = gain_linear(kind, state_.gain) / gain_linear(kind, c.default_gain);
  const double exposure = reference_seconds_ > 0 ? exposure_seconds() / reference_seconds_ : 1.0;
  s.response.scale = exposure * gain * digital;
  if (function(c, 8) && status_[status::kCameraWhiteBalanceMode] != 0)
    for (int i = 0; i < 4; ++i) s.response.wb[i] = status_[status::kCameraWhiteBalanceGains + i] / 128.0;

  // A frame lasts its lines, or the exposure where that may outrun the frame.
  uint64_t lines = state_.lines_per_frame;
  if ((state_.scan_mode & kLongExposureModes) && state_.scan_mode != kFreeRegion)
    lines = std::max<uint64_t>(lines, state_.shutter_line);
  if (state_.clock_hz)
    s.frame_period = std::chrono::nanoseconds(lines * state_.clocks_per_line * 1000000000ull / state_.clock_hz);
  s.trigger_mode = c.has_fpga && (two_words(&status_[status::kTriggerMode]) & 0x3u) != 0;
  return s;
}

// The camera's own controls act on the frame about to be exposed: white
// balance (modes 2 and 3 measure, 3 then holds) and automatic shutter and
// gain towards the target, metered on the scene the window sees. They settle
// at once, and what they chose reads back through the camera's records.
void VirtualCamera::camera_controls(const SensorReadout &readout, double digital) {
  const KavixSimCameraConfig &c = config_;
  const bool camera_balance = function(c, 8);
  const uint16_t wb_mode = status_[status::kCameraWhiteBalanceMode];
  const uint16_t auto_mode = status_[status::kAutoMode];
  const bool auto_shutter = function(c, 10) && (auto_mode & 1u);
  const bool auto_gain = function(c, 9) && (auto_mode & 2u);
  const bool balance = camera_balance && (wb_mode == 2 || wb_mode == 3) && c.color_array != 1;
  if (!balance && !auto_shutter && !auto_gain) return;

  double mean[3];
  scene_mean(readout, scene_, mean);
  if (balance) {
    const auto gain_for = [&](double m) {
      return m > 0 ? static_cast<uint16_t>(std::clamp(std::lround(kNeutralGain * mean[1] / m), 0l, long{kMaxCameraGain}))
                   : kNeutralGain;
    };
    status_[status::kCameraWhiteBalanceGains + 0] = gain_for(mean[0]);
    status_[status::kCameraWhiteBalanceGains + 1] = kNeutralGain;
    status_[status::kCameraWhiteBalanceGains + 2] = kNeutralGain;
    status_[status::kCameraWhiteBalanceGains + 3] = gain_for(mean[2]);
    if (wb_mode == 3) status_[status::kCameraWhiteBalanceMode] = 1;
  }
  if (!auto_shutter && !auto_gain) return;

  double wb[3] = {1, 1, 1};
  if (camera_balance && status_[status::kCameraWhiteBalanceMode] != 0) {
    wb[0] = status_[status::kCameraWhiteBalanceGains] / 128.0;
    wb[1] = (status_[status::kCameraWhiteBalanceGains + 1] + status_[status::kCameraWhiteBalanceGains + 2]) / 256.0;
    wb[2] = status_[status::kCameraWhiteBalanceGains + 3] / 128.0;
  }
  const double level = 0.299 * mean[0] * wb[0] + 0.587 * mean[1] * wb[1] + 0.114 * mean[2] * wb[2];
  if (!(level > 0) || reference_seconds_ <= 0 || state_.clock_hz == 0) return;
  const uint16_t target = (status_[status::kAutoTarget] & 0xFF) ? (status_[status::kAutoTarget] & 0xFF) : 128;
  const double wanted = target / 255.0 / level;  // the response that meets the target
  const uint32_t kind = gain_kind(c);
  const double unity = gain_linear(kind, c.default_gain);
  const uint16_t max_gain = std::min(status_[status::kAutoMaxGain] ? status_[status::kAutoMaxGain] : c.max_gain, c.max_gain);
  const uint16_t min_gain = std::min(status_[status::kAutoMinGain], max_gain);

  if (auto_shutter) {
    // The shutter carries the exposure; gain helps only beyond its range.
    if (auto_gain) state_.gain = min_gain;
    const bool fine = c.shutter_flags & 1u;
    const uint64_t line = std::max<uint16_t>(state_.clocks_per_line, 1);
    const uint32_t max_line = two_words(&status_[status::kAutoMaxShutterLine]);
    const uint32_t min_line = two_words(&status_[status::kAutoMinShutterLine]);
    const uint64_t hi = line * std::min(max_line ? max_line : short_limit_line(), long_limit_line());
    const uint64_t lo = std::min(hi, fine ? std::max<uint64_t>(line * min_line, 1) : line * std::max<uint32_t>(min_line, 1));
    const double gain = gain_linear(kind, state_.gain) / unity;
    const double seconds = wanted / (gain * digital) * reference_seconds_;
    const uint64_t clocks = std::clamp<uint64_t>(static_cast<uint64_t>(std::llround(seconds * state_.clock_hz)), lo, hi);
    if (fine) {
      state_.shutter_line = static_cast<uint32_t>(clocks / line);
      state_.shutter_clock = static_cast<uint32_t>(clocks % line);
    } else {
      state_.shutter_line = static_cast<uint32_t>(std::max<uint64_t>((clocks + line / 2) / line, 1));
      state_.shutter_clock = 0;
    }
  }
  if (auto_gain) {
    const double exposure = exposure_seconds() / reference_seconds_;
    if (exposure > 0) state_.gain = gain_setting_for(kind, wanted / (exposure * digital) * unity, min_gain, max_gain);
  }
}

// ---- Stream operations of one appearance -----------------------------------------

bool VirtualCamera::stream_restartable(uint32_t generation) {
  {
    std::lock_guard lock(mutex_);
    if (!usable(generation)) return false;
  }
  return stream_->query_restart();
}

uint32_t VirtualCamera::start_stream(uint32_t generation) {
  {
    std::lock_guard lock(mutex_);
    if (!usable(generation)) return win::kDeviceNotConnected;
  }
  uint32_t error = win::kSuccess;
  return stream_->start(error) ? win::kSuccess : error;
}

// Stopping and collecting results work after the camera left: reads it ended
// are told with their device-gone status.
uint32_t VirtualCamera::stop_stream(uint32_t) {
  uint32_t error = win::kSuccess;
  return stream_->stop(error) ? win::kSuccess : error;
}

uint32_t VirtualCamera::post_stream_read(uint32_t generation, uint32_t slot, void *buffer, uint32_t length,
                                         KAVIXUSBD_STREAM_DONE done, void *context) {
  {
    std::lock_guard lock(mutex_);
    if (!usable(generation)) return win::kDeviceNotConnected;
  }
  uint32_t error = win::kSuccess;
  return stream_->post(slot, buffer, length, done, context, error) ? win::kSuccess : error;
}

uint32_t VirtualCamera::stream_result(uint32_t, uint32_t slot, bool wait, uint32_t &transferred) {
  uint32_t error = win::kSuccess;
  return stream_->result(slot, wait, &transferred, error) ? win::kSuccess : error;
}

void VirtualCamera::set_scene(const SceneSetup &scene) {
  {
    std::lock_guard lock(mutex_);
    scene_ = scene;
  }
  stream_->settings_changed();
}

void VirtualCamera::set_first_frame_number(uint32_t number) {
  {
    std::lock_guard lock(mutex_);
    first_frame_number_ = number;
  }
  stream_->set_frame_number(number);
}

uint32_t VirtualCamera::first_frame_number() {
  std::lock_guard lock(mutex_);
  return first_frame_number_;
}

}  // namespace kavix::sim
