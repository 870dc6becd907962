#include "transport/sim/virtual_camera.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>

#include "platform/text.h"
#include "transport/controller_protocol.h"
#include "transport/sim/descriptors.h"
#include "transport/windows_errors.h"
#include "transport/wire.h"

namespace kavix::sim {

using transport::get_u16;
using transport::get_u32;
using transport::put_u16;
using transport::put_u32;
using transport::SetupPacket;
namespace win = transport::win;
namespace request = transport::request;
namespace controller = transport::controller;

namespace {

// The firmware answers an unknown or malformed request by stalling endpoint 0.
constexpr uint32_t kStall = win::kGenFailure;

constexpr uint16_t kBootFirmwareVersion = 8;
constexpr uint16_t kFreeRegion = 0x8000;
constexpr uint32_t kClockArbitrary = 0x80000000u;
// Scan modes that bin two by two, and those that allow exposures beyond the frame.
constexpr uint16_t kBinningModes = 16 | 32 | 64 | 128 | 256;
constexpr uint16_t kLongExposureModes = 4 | 32;
constexpr uint32_t kLongExposureLines = 4090;

// The register table: a directory of 23 block addresses at data address 4,
// each block starting with its size.
constexpr uint32_t kBlockCount = 23;
constexpr uint32_t kDirectory = 4;
constexpr uint32_t kFirstBlock = 0x100;
constexpr uint32_t kBlockStride = 0x100;
constexpr uint32_t kTimingBlock = 21;
constexpr uint32_t kTimingBlockSize = 92;
constexpr uint32_t kTimingFrameClock = 20;
constexpr uint32_t kTimingClocksPerFrame = 84;
constexpr uint32_t kTimingMaxVBlank = 88;

// Bus addresses are handed out as a hub would, one per appearance.
std::atomic<uint32_t> g_next_address{0};
uint8_t next_address() { return static_cast<uint8_t>(1 + g_next_address++ % 127); }

uint32_t align_down(uint32_t v, uint32_t step) { return v - v % step; }
uint32_t align_up(uint32_t v, uint32_t step) { return align_down(v + step - 1, step); }

// Answers a read with a record of `size` bytes: the device sends no more than
// the host asked for.
uint32_t reply(const uint8_t *record, uint32_t size, const SetupPacket &s, uint8_t *data,
               uint32_t &transferred) {
    transferred = std::min<uint32_t>(size, s.length);
    if (transferred) std::memcpy(data, record, transferred);
    return win::kSuccess;
}

// An ID block as the camera library writes one: number, text kind, length with
// the terminator, text.
void write_id_block(uint8_t *block, uint32_t id, const char *text, bool wide) {
    std::memset(block, 0, 256);
    put_u32(block, id);
    std::vector<uint8_t> bytes;
    if (wide) {
        // UTF-16LE, whole characters up to 124 units and the terminator.
        std::u16string wide_text = platform::to_utf16(text);
        size_t units = std::min<size_t>(wide_text.size(), 124);
        if (units && units < wide_text.size() && (wide_text[units - 1] & 0xFC00) == 0xD800) --units;
        for (size_t i = 0; i < units; ++i) {
            bytes.push_back(static_cast<uint8_t>(wide_text[i]));
            bytes.push_back(static_cast<uint8_t>(wide_text[i] >> 8));
        }
        bytes.push_back(0);
        bytes.push_back(0);
    } else {
        bytes.assign(text, text + strnlen(text, KAVIXSIM_ID_TEXT_BYTES - 1));
        bytes.push_back(0);
    }
    block[4] = wide ? 0x80 : 0;
    block[5] = static_cast<uint8_t>(bytes.size());
    std::memcpy(block + 6, bytes.data(), bytes.size());
}

}  // namespace

VirtualCamera::VirtualCamera(KAVIXSIM_CAMERA id, const KavixSimCameraConfig &config)
    : id_(id),
      config_(config),
      address_(next_address()),
      boot_firmware_(config.boot_firmware != 0),
      eeprom_(kEepromBytes, 0xFF),
      ram_(controller::kProgramMemory, 0),
      registers_(controller::kRegisterLast - controller::kRegisterFirst + 1, 0),
      sensor_i2c_(0x10000, 0),
      setting_space_(kSettingSpaceBytes, 0),
      data_space_(kDataSpaceBytes, 0),
      status_(kStatusIds, 0),
      defect_table_(2u * config.defect_table_size, 0xFFFF) {
    if (!config.blank_eeprom) {
        write_id_block(eeprom_.data(), config.serial_id, config.serial_text, config.id_text_wide);
        write_id_block(eeprom_.data() + 256, config.user_id, config.user_text,
                       config.id_text_wide);
        std::fill(eeprom_.begin() + 512, eeprom_.begin() + 1536, 0);
    }
    if (config.has_register_table) {
        for (uint32_t i = 0; i < kBlockCount; ++i) {
            const uint32_t base = kFirstBlock + i * kBlockStride;
            put_u32(data_space_.data() + kDirectory + 4 * i, base);
            put_u32(data_space_.data() + base, i == kTimingBlock ? kTimingBlockSize : kBlockStride);
        }
    }
    power_on();
    reference_seconds_ = exposure_seconds();
    stream_ = std::make_unique<CameraStream>([this] { return exposure_settings(); },
                                             [this] { unplug(); });
}

// ---- Power-on state ------------------------------------------------------------

void VirtualCamera::power_on() {
    state_ = SensorState{};
    state_.firmware_version = boot_firmware_ ? kBootFirmwareVersion : config_.firmware_version;
    state_.transfer_bits = config_.transfer_bits;
    state_.clock_mode = 0;
    state_.clock_hz = config_.clock_default;
    state_.gain = config_.default_gain;
    std::fill(status_.begin(), status_.end(), 0);
    std::fill(defect_table_.begin(), defect_table_.end(), 0xFFFF);
    pending_skip_binning_ = 0;
    pending_vblank_ = 0;
    status_[status::kDigitalGain] = config_.default_digital_gain;
    status_[status::kCameraMode] = 1;
    registers_[controller::kCpuControl - controller::kRegisterFirst] = 0;

    uint16_t mode = 0;
    if (config_.enable_scan_modes & kFreeRegion)
        mode = kFreeRegion;
    else if (config_.enable_scan_modes)
        mode = static_cast<uint16_t>(1u << std::countr_zero(config_.enable_scan_modes));
    state_.scan_mode = mode;
    fit_window(mode, 0, 0, config_.sensor_width, config_.sensor_height);
    state_.shutter_line = state_.lines_per_frame / 2;
}

// Window pixels per frame pixel: skipping and binning of status 33 in the free
// region, two by two in the binning modes.
void VirtualCamera::factors(uint16_t mode, uint32_t &hf, uint32_t &vf) const {
    hf = vf = 1;
    if (mode == kFreeRegion) {
        const uint16_t sb = state_.skip_binning;
        hf = (1u + ((sb >> 8) & 0xF)) * (1u + (sb & 0xF));
        vf = (1u + ((sb >> 12) & 0xF)) * (1u + ((sb >> 4) & 0xF));
    } else if (mode & kBinningModes) {
        hf = vf = 2;
    }
    // A factor the sensor can't give at its minimum size is cut back.
    while (hf > 1 && config_.sensor_width / hf < config_.width_step) --hf;
    while (vf > 1 && config_.sensor_height / vf < config_.height_step) --vf;
}

// The camera decides what it can do: a scan mode it doesn't offer keeps the
// current one, and the window is cut to the sensor, its steps and minimum.
void VirtualCamera::fit_window(uint16_t mode, uint32_t x, uint32_t y, uint32_t out_width,
                               uint32_t out_height) {
    const bool offered = mode == 0 || (std::popcount(mode) == 1 && (mode & config_.enable_scan_modes));
    if (!offered) mode = state_.scan_mode;
    state_.scan_mode = mode;

    uint32_t hf = 1, vf = 1;
    factors(mode, hf, vf);

    const uint32_t max_w = std::max<uint32_t>(align_down(config_.sensor_width / hf, config_.width_step), config_.width_step);
    const uint32_t max_h = std::max<uint32_t>(align_down(config_.sensor_height / vf, config_.height_step), config_.height_step);
    const uint32_t min_w = std::min(max_w, align_up((config_.min_width + hf - 1) / hf, config_.width_step));
    const uint32_t min_h = std::min(max_h, align_up((config_.min_height + vf - 1) / vf, config_.height_step));

    // Modes other than the free region fix the width and the X offset.
    if (mode != kFreeRegion) {
        out_width = max_w;
        x = 0;
    }
    const uint32_t w = std::clamp(align_down(out_width, config_.width_step), min_w, max_w);
    const uint32_t h = std::clamp(align_down(out_height, config_.height_step), min_h, max_h);
    const uint32_t window_w = w * hf, window_h = h * vf;
    x = align_down(std::min(x, config_.sensor_width - window_w), config_.offset_step);
    y = align_down(std::min(y, config_.sensor_height - window_h), config_.offset_step);

    state_.h_factor = static_cast<uint8_t>(hf);
    state_.v_factor = static_cast<uint8_t>(vf);
    state_.width = w;
    state_.height = h;
    state_.window_width = window_w;
    state_.window_height = window_h;
    state_.window_x = x;
    state_.window_y = y;
    update_timing();
}

void VirtualCamera::update_timing() {
    state_.clocks_per_line = static_cast<uint16_t>(state_.width + config_.h_blank);
    state_.lines_per_frame = static_cast<uint16_t>(state_.height + config_.v_blank + state_.vblank);
    // The shutter keeps within what the new timing allows.
    const uint32_t long_line = long_limit_line();
    if (state_.shutter_line > long_line) state_.shutter_line = long_line;
    if (state_.shutter_clock >= state_.clocks_per_line)
        state_.shutter_clock = state_.clocks_per_line - 1u;
}

uint32_t VirtualCamera::short_limit_line() const { return state_.lines_per_frame; }

uint32_t VirtualCamera::long_limit_line() const {
    return (state_.scan_mode & kLongExposureModes) && state_.scan_mode != kFreeRegion
               ? kLongExposureLines
               : state_.lines_per_frame;
}

// ---- Presence --------------------------------------------------------------------

// Ends a re-enumeration whose delay has run out: the controller comes back
// running the downloaded firmware, at a new address, as a new device.
void VirtualCamera::settle(Clock::time_point now) {
    if (on_bus_ || unplugged_ || !return_at_ || now < *return_at_) return;
    return_at_.reset();
    on_bus_ = true;
    boot_firmware_ = false;
    address_ = next_address();
    power_on();
    presence_changed_.notify_all();
}

bool VirtualCamera::present(uint32_t *generation) {
    std::lock_guard lock(mutex_);
    settle(Clock::now());
    if (generation) *generation = generation_;
    return on_bus_ && !unplugged_;
}

bool VirtualCamera::wait_presence(bool wanted, std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        const auto now = Clock::now();
        settle(now);
        if ((on_bus_ && !unplugged_) == wanted) return true;
        if (now >= deadline) return false;
        auto until = deadline;
        if (return_at_ && *return_at_ < until) until = *return_at_;
        presence_changed_.wait_until(lock, until);
    }
}

void VirtualCamera::complete_reenumeration() {
    std::lock_guard lock(mutex_);
    if (return_at_) {
        return_at_ = Clock::time_point::min();
        settle(Clock::now());
    }
}

void VirtualCamera::unplug() {
    std::lock_guard lock(mutex_);
    unplugged_ = true;
    ++generation_;
    presence_changed_.notify_all();
    stream_->unplug();  // reads in flight end with the device gone
}

bool VirtualCamera::unplugged() {
    std::lock_guard lock(mutex_);
    return unplugged_;
}

void VirtualCamera::set_busy(bool busy) {
    std::lock_guard lock(mutex_);
    busy_ = busy;
}

void VirtualCamera::fail_probe(uint32_t recoveries) {
    std::lock_guard lock(mutex_);
    probe_failures_ = recoveries;
}

void VirtualCamera::set_fault(uint8_t req, uint32_t kind, uint32_t param, uint32_t times) {
    std::lock_guard lock(mutex_);
    if (kind == KAVIXSIM_FAULT_NONE)
        faults_.erase(req);
    else
        faults_[req] = Fault{kind, param, times};
}

bool VirtualCamera::usable(uint32_t generation) {
    settle(Clock::now());
    return !unplugged_ && on_bus_ && generation == generation_;
}

// ---- Device operations -----------------------------------------------------------

uint32_t VirtualCamera::control(uint32_t generation, const SetupPacket &setup, uint8_t *data,
                                uint32_t &transferred) {
    std::lock_guard lock(mutex_);
    transferred = 0;
    if (!usable(generation)) return win::kDeviceNotConnected;
    ++control_transfers_;
    log_control(setup, data);

    std::optional<Fault> fault;
    if (auto it = faults_.find(setup.request); it != faults_.end()) {
        fault = it->second;
        if (it->second.remaining && --it->second.remaining == 0) faults_.erase(it);
    }
    if (fault && fault->kind == KAVIXSIM_FAULT_FAIL)
        return fault->param ? fault->param : win::kGenFailure;
    if (fault && fault->kind == KAVIXSIM_FAULT_SHORT) {
        // The data stage ends early. A write never reaches the firmware whole,
        // so it does nothing; a read is answered and cut.
        if (!setup.is_in()) {
            transferred = std::min<uint32_t>(fault->param, setup.length);
            return win::kSuccess;
        }
        const uint32_t result = dispatch(setup, data, transferred);
        transferred = std::min(transferred, fault->param);
        return result;
    }
    const uint32_t result = dispatch(setup, data, transferred);
    // A command may change what the next frame looks like, or when it comes.
    if (!setup.is_in() && result == win::kSuccess) stream_->settings_changed();
    return result;
}

uint32_t VirtualCamera::dispatch(const SetupPacket &s, uint8_t *data, uint32_t &transferred) {
    if ((s.request_type & 0x60) != 0x40) return kStall;  // vendor requests only
    switch (s.request) {
        case request::kCameraInfo: return camera_info(s, data, transferred);
        case request::kScanState: return scan_state(s, data, transferred);
        case request::kTransferFormat: return transfer_format(s, data, transferred);
        case request::kClearBuffer:
            if (s.is_in()) return kStall;
            ++state_.buffer_clears;
            stream_->clear_buffer();
            return win::kSuccess;
        case request::kShutterGain: return shutter_gain(s, data, transferred);
        case request::kClock: return sensor_clock(s, data, transferred);
        case request::kWhiteBalanceDefaults: return white_balance(s, data, transferred);
        case request::kSoftTrigger:
            if (s.is_in()) return kStall;
            ++state_.soft_triggers;
            stream_->soft_trigger();
            return win::kSuccess;
        case request::kStatusWords: return status_words(s, data, transferred);
        case request::kSettingSpace: return setting_space(s, data, transferred);
        case request::kDataSpace: return data_space(s, data, transferred);
        case controller::kRequestRam: return controller_ram(s, data, transferred);
        case controller::kRequestEeprom: return eeprom(s, data, transferred);
        case controller::kRequestI2CByte: return i2c(s, false, data, transferred);
        case controller::kRequestI2CWord: return i2c(s, true, data, transferred);
        default: return kStall;
    }
}

uint32_t VirtualCamera::config_descriptor(uint32_t generation, std::vector<uint8_t> &out) {
    std::lock_guard lock(mutex_);
    if (!usable(generation)) return win::kDeviceNotConnected;
    out = sim::config_descriptor(config_.usb_speed, config_.interrupt_endpoint_first != 0);
    return win::kSuccess;
}

uint32_t VirtualCamera::function_address(uint32_t generation, uint8_t &address) {
    std::lock_guard lock(mutex_);
    if (!usable(generation)) return win::kDeviceNotConnected;
    address = address_;
    return win::kSuccess;
}

uint32_t VirtualCamera::probe(uint32_t generation) {
    std::lock_guard lock(mutex_);
    if (!usable(generation)) return win::kDeviceNotConnected;
    return probe_failures_ ? win::kGenFailure : win::kSuccess;
}

uint32_t VirtualCamera::recover(uint32_t generation, transport::Recovery) {
    std::lock_guard lock(mutex_);
    if (!usable(generation)) return win::kDeviceNotConnected;
    ++recoveries_;
    if (probe_failures_) --probe_failures_;
    return win::kSuccess;
}

uint32_t VirtualCamera::driver_version(uint32_t generation, uint32_t (&words)[4]) {
    std::lock_guard lock(mutex_);
    if (!usable(generation)) return win::kDeviceNotConnected;
    std::copy(std::begin(config_.driver_version), std::end(config_.driver_version), words);
    return win::kSuccess;
}

uint32_t VirtualCamera::external_clients(uint32_t generation) {
    std::lock_guard lock(mutex_);
    if (!usable(generation)) return 0;
    return busy_ ? 1 : 0;
}

// ---- Camera records --------------------------------------------------------------

uint32_t VirtualCamera::camera_info(const SetupPacket &s, uint8_t *data, uint32_t &transferred) {
    if (!s.is_in()) return kStall;
    uint8_t r[64] = {64, request::kCameraInfo};
    const KavixSimCameraConfig &c = config_;
    if (c.info_form == KAVIXSIM_INFO_NEW) {
        put_u16(r + 2, transport::kVendorId);
        put_u16(r + 4, c.product_id);
        put_u16(r + 6, c.fpga_version);
        put_u16(r + 8, state_.firmware_version);
        put_u16(r + 10, c.color_array);
        put_u16(r + 12, c.header_bytes);
        put_u32(r + 14, c.enable_image_size_flags);
        put_u32(r + 18, c.enable_transfer_bits);
        put_u16(r + 26, c.enable_scan_modes);
        put_u32(r + 28, c.clock_max);
        put_u32(r + 32, c.clock_min);
        put_u32(r + 36, c.clock_default);
        put_u32(r + 40, c.enable_clock_modes);
        put_u16(r + 44, c.shutter_flags);
        put_u32(r + 52, c.enable_trigger_version);
        if (c.info_reports_max_size) {
            put_u32(r + 56, c.sensor_width);
            put_u32(r + 60, c.sensor_height);
        }
    } else {
        put_u16(r + 2, c.product_id);
        put_u16(r + 4, c.fpga_version);
        put_u16(r + 6, state_.firmware_version);
        put_u16(r + 8, c.color_array);
        put_u16(r + 10, c.header_bytes);
        put_u32(r + 12, c.enable_image_size_flags);
        put_u32(r + 16, c.enable_transfer_bits);
        put_u16(r + 24, c.enable_scan_modes);
    }
    return reply(r, sizeof r, s, data, transferred);
}

uint32_t VirtualCamera::scan_state(const SetupPacket &s, uint8_t *data, uint32_t &transferred) {
    if (!s.is_in()) {
        // Only the window and the mode of a written record mean anything.
        if (s.length < 24) return kStall;
        fit_window(get_u16(data + 22), get_u32(data + 14), get_u32(data + 18), get_u32(data + 6),
                   get_u32(data + 10));
        transferred = s.length;
        return win::kSuccess;
    }
    uint8_t r[64] = {64, request::kScanState};
    put_u32(r + 6, state_.width);
    put_u32(r + 10, state_.height);
    put_u32(r + 14, state_.window_x);
    put_u32(r + 18, state_.window_y);
    put_u16(r + 22, state_.scan_mode);
    put_u16(r + 26, state_.lines_per_frame);
    put_u16(r + 28, state_.clocks_per_line);
    put_u16(r + 30, config_.max_gain);
    put_u16(r + 32, config_.default_gain);
    put_u16(r + 34, config_.default_digital_gain);
    if (config_.function_bits[3] & 1u) {  // function 48: the limit words
        put_u32(r + 36, state_.clocks_per_line - 1u);
        put_u32(r + 40, 0);
        put_u32(r + 44, short_limit_line());
        put_u32(r + 48, 0);
        put_u32(r + 52, long_limit_line());
    }
    return reply(r, sizeof r, s, data, transferred);
}

uint32_t VirtualCamera::transfer_format(const SetupPacket &s, uint8_t *data,
                                        uint32_t &transferred) {
    if (!s.is_in()) {
        if (s.length < 6) return kStall;
        const uint32_t bits = get_u32(data + 2);
        if (std::popcount(bits) != 1 || !(bits & config_.enable_transfer_bits)) return kStall;
        state_.transfer_bits = bits;
        transferred = s.length;
        return win::kSuccess;
    }
    uint8_t r[6] = {6, request::kTransferFormat};
    put_u32(r + 2, state_.transfer_bits);
    return reply(r, sizeof r, s, data, transferred);
}

uint32_t VirtualCamera::shutter_gain(const SetupPacket &s, uint8_t *data, uint32_t &transferred) {
    if (!s.is_in()) {
        if (s.length < 12) return kStall;
        // The camera keeps the exposure within its limits and the gain below its maximum.
        const uint32_t line = get_u16(data + 2) | (uint32_t{get_u16(data + 10)} << 16);
        state_.shutter_line = std::min(line, long_limit_line());
        state_.shutter_clock = std::min<uint32_t>(get_u16(data + 4), state_.clocks_per_line - 1u);
        state_.gain = std::min(get_u16(data + 6), config_.max_gain);
        transferred = s.length;
        return win::kSuccess;
    }
    uint8_t r[64] = {64, request::kShutterGain};
    put_u16(r + 2, static_cast<uint16_t>(state_.shutter_line));
    put_u16(r + 4, static_cast<uint16_t>(state_.shutter_clock));
    put_u16(r + 6, state_.gain);
    put_u16(r + 10, static_cast<uint16_t>(state_.shutter_line >> 16));
    return reply(r, sizeof r, s, data, transferred);
}

// Firmware 3 and later carries the clock mode; older firmware has a 6-byte
// record with the frequency alone.
uint32_t VirtualCamera::sensor_clock(const SetupPacket &s, uint8_t *data, uint32_t &transferred) {
    const bool long_form = state_.firmware_version >= 3;
    if (!s.is_in()) {
        if (s.length != (long_form ? 10 : 6)) return kStall;
        uint32_t mode = long_form ? get_u32(data + 2) : kClockArbitrary;
        uint32_t hz = get_u32(data + (long_form ? 6 : 2));
        if (mode == 0) {
            hz = config_.clock_default;
        } else if (mode == kClockArbitrary) {
            hz = std::clamp(hz, config_.clock_min, config_.clock_max);
        } else if (std::popcount(mode) == 1 && (mode & config_.enable_clock_modes)) {
            hz = std::clamp(config_.clock_default >> (std::countr_zero(mode) + 1), config_.clock_min,
                            config_.clock_max);
        } else {
            return kStall;
        }
        state_.clock_mode = mode;
        state_.clock_hz = hz;
        transferred = s.length;
        return win::kSuccess;
    }
    uint8_t r[10] = {static_cast<uint8_t>(long_form ? 10 : 6), request::kClock};
    if (long_form) {
        put_u32(r + 2, state_.clock_mode);
        put_u32(r + 6, state_.clock_hz);
    } else {
        put_u32(r + 2, state_.clock_hz);
    }
    return reply(r, long_form ? 10 : 6, s, data, transferred);
}

uint32_t VirtualCamera::white_balance(const SetupPacket &s, uint8_t *data, uint32_t &transferred) {
    if (!s.is_in()) return kStall;
    uint8_t r[64] = {64, request::kWhiteBalanceDefaults};
    for (int i = 0; i < 4; ++i) put_u16(r + 2 + 2 * i, config_.white_balance_defaults[i]);
    return reply(r, sizeof r, s, data, transferred);
}

// ---- FPGA status words --------------------------------------------------------------

uint16_t VirtualCamera::read_status(uint16_t id) const {
    const uint32_t frame_clock = state_.clock_hz;
    const uint32_t line = state_.clocks_per_line;
    switch (id) {
        case status::kFrameClock: return static_cast<uint16_t>(frame_clock);
        case status::kFrameClock + 1: return static_cast<uint16_t>(frame_clock >> 16);
        default: break;
    }
    if (id >= status::kExposureLimits && id < status::kExposureLimits + 6) {
        // Shortest exposure, longest within a frame, longest at all; in clocks.
        const uint32_t limits[3] = {1, short_limit_line() * line, long_limit_line() * line};
        const uint32_t v = limits[(id - status::kExposureLimits) / 2];
        return static_cast<uint16_t>((id - status::kExposureLimits) % 2 ? v >> 16 : v);
    }
    if (id >= status::kFunctionBits && id < status::kFunctionBits + 16)
        return config_.function_bits[id - status::kFunctionBits];
    return status_[id];
}

uint16_t VirtualCamera::status_word(uint16_t id) const {
    return id < kStatusIds ? read_status(id) : 0;
}

uint32_t VirtualCamera::write_status(uint16_t id, const uint16_t *words, uint16_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t target = id + i;
        const bool read_only =
            (target >= status::kFrameClock && target < status::kFrameClock + 2) ||
            (target >= status::kExposureLimits && target < status::kExposureLimits + 6) ||
            target == status::kSwitches ||
            (target >= status::kFunctionBits && target < status::kFunctionBits + 16);
        if (read_only) return kStall;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const uint16_t target = static_cast<uint16_t>(id + i);
        const uint16_t w = words[i];
        switch (target) {
            case status::kPulse: pulse(w); break;
            case status::kSkipBinning: pending_skip_binning_ = w; status_[target] = w; break;
            case status::kVBlank:
                pending_vblank_ = std::min(w, config_.max_vblank);
                status_[target] = pending_vblank_;
                break;
            case status::kMirror: status_[target] = w & 0xF; break;
            default: status_[target] = w; break;
        }
    }
    return win::kSuccess;
}

// Status 80: commit applies skipping, binning and V-blank; the other pulses
// go to the frame source through the counters.
void VirtualCamera::pulse(uint16_t bits) {
    if (bits & pulse::kCommit) {
        ++state_.commits;
        state_.skip_binning = pending_skip_binning_;
        state_.vblank = pending_vblank_;
        // The window on the sensor stays; the frame shrinks or grows with it.
        uint32_t hf = 1, vf = 1;
        factors(state_.scan_mode, hf, vf);
        fit_window(state_.scan_mode, state_.window_x, state_.window_y, state_.window_width / hf,
                   state_.window_height / vf);
    }
    if (bits & pulse::kResetCounters) {
        ++state_.counter_resets;
        stream_->set_frame_number(first_frame_number_);
    }
    if (bits & pulse::kTriggerReadOut) ++state_.read_outs;
    if (bits & pulse::kSubTrigger) ++state_.sub_triggers;
}

uint32_t VirtualCamera::status_words(const SetupPacket &s, uint8_t *data, uint32_t &transferred) {
    if (!config_.has_fpga || (s.length & 1)) return kStall;
    const uint16_t id = s.value & 0x7FFF;  // bit 15 marks the write form
    const uint16_t count = s.length / 2;
    std::vector<uint16_t> words(count);

    if (s.index == kStatusSelector) {
        if (uint32_t{id} + count > kStatusIds) return kStall;
        if (s.is_in()) {
            for (uint16_t i = 0; i < count; ++i) put_u16(data + 2 * i, read_status(id + i));
        } else {
            for (uint16_t i = 0; i < count; ++i) words[i] = get_u16(data + 2 * i);
            if (uint32_t r = write_status(id, words.data(), count)) return r;
        }
    } else if (s.index == kDefectSelector) {
        if (uint32_t{id} + count > defect_table_.size()) return kStall;
        for (uint16_t i = 0; i < count; ++i) {
            if (s.is_in())
                put_u16(data + 2 * i, defect_table_[id + i]);
            else
                defect_table_[id + i] = get_u16(data + 2 * i);
        }
    } else {
        return kStall;
    }
    transferred = s.length;
    return win::kSuccess;
}

// ---- Setting space and data space -----------------------------------------------------

uint32_t VirtualCamera::setting_space(const SetupPacket &s, uint8_t *data, uint32_t &transferred) {
    const uint32_t address = s.value | (uint32_t{s.index} << 16);
    if (address >= kSettingSpaceBytes || s.length > kSettingSpaceBytes - address) return kStall;
    if (s.is_in()) {
        std::memcpy(data, setting_space_.data() + address, s.length);
    } else {
        std::memcpy(setting_space_.data() + address, data, s.length);
        // The setting word at address 0: bit 15 restores the power-on timing and
        // exposure, bit 12 the power-on window.
        if (address < 2) {
            const uint16_t word = get_u16(setting_space_.data());
            state_.setting_word = word;
            if (word & 0x8000) {
                state_.clock_mode = 0;
                state_.clock_hz = config_.clock_default;
                state_.gain = config_.default_gain;
                state_.skip_binning = pending_skip_binning_ = 0;
                state_.vblank = pending_vblank_ = 0;
            }
            if (word & 0x9000) {
                fit_window(state_.scan_mode, 0, 0, config_.sensor_width, config_.sensor_height);
                state_.shutter_line = state_.lines_per_frame / 2;
            }
        }
    }
    transferred = s.length;
    return win::kSuccess;
}

uint32_t VirtualCamera::data_word(uint32_t address) const {
    const uint32_t base = kFirstBlock + kTimingBlock * kBlockStride;
    switch (address) {
        case base + kTimingFrameClock: return state_.clock_hz;
        case base + kTimingClocksPerFrame: return state_.clocks_per_frame();
        case base + kTimingMaxVBlank: return config_.max_vblank;
        default: return get_u32(data_space_.data() + address);
    }
}

uint32_t VirtualCamera::data_space(const SetupPacket &s, uint8_t *data, uint32_t &transferred) {
    if (!config_.has_fpga || !config_.has_register_table) return kStall;
    const uint8_t selector = static_cast<uint8_t>(s.value);
    const uint32_t address = (s.value >> 8) | (uint32_t{s.index} << 8);
    if (selector != 1 || (s.length & 3) || (address & 3)) return kStall;
    if (address >= kDataSpaceBytes || s.length > kDataSpaceBytes - address) return kStall;
    if (s.is_in()) {
        for (uint32_t i = 0; i < s.length; i += 4) put_u32(data + i, data_word(address + i));
    } else {
        // The directory and the block sizes are the FPGA's own.
        if (address < kFirstBlock) return kStall;
        for (uint32_t i = 0; i < s.length; i += 4) {
            const uint32_t a = address + i;
            if ((a - kFirstBlock) % kBlockStride == 0) return kStall;
        }
        std::memcpy(data_space_.data() + address, data, s.length);
    }
    transferred = s.length;
    return win::kSuccess;
}

// ---- Controller: RAM, EEPROM, I2C -------------------------------------------------------

void VirtualCamera::start_cpu() {
    // The new code takes over the controller: the device leaves the bus and
    // enumerates anew once it has started.
    ++downloads_;
    on_bus_ = false;
    ++generation_;
    if (config_.reenumeration_delay_ms == KAVIXSIM_DELAY_MANUAL)
        return_at_ = Clock::time_point::max();
    else
        return_at_ = Clock::now() + std::chrono::milliseconds(config_.reenumeration_delay_ms);
    presence_changed_.notify_all();
}

uint32_t VirtualCamera::controller_ram(const SetupPacket &s, uint8_t *data, uint32_t &transferred) {
    const uint32_t first = s.value, end = first + s.length;
    uint8_t *memory = nullptr;
    if (end <= controller::kProgramMemory)
        memory = ram_.data() + first;
    else if (first >= controller::kRegisterFirst && end <= controller::kRegisterLast + 1)
        memory = registers_.data() + (first - controller::kRegisterFirst);
    else
        return kStall;

    uint8_t &cpu = registers_[controller::kCpuControl - controller::kRegisterFirst];
    if (s.is_in()) {
        std::memcpy(data, memory, s.length);
    } else {
        // Program memory may only change while the CPU is held in reset.
        const bool touches_cpu = first <= controller::kCpuControl && end > controller::kCpuControl;
        if (end <= controller::kProgramMemory && !(cpu & 1)) return kStall;
        const bool was_held = cpu & 1;
        std::memcpy(memory, data, s.length);
        if (touches_cpu && was_held && !(cpu & 1)) {
            transferred = s.length;
            start_cpu();
            return win::kSuccess;
        }
    }
    transferred = s.length;
    return win::kSuccess;
}

uint32_t VirtualCamera::eeprom(const SetupPacket &s, uint8_t *data, uint32_t &transferred) {
    if (s.index != 0 || s.length > controller::kChunk) return kStall;
    if (s.value >= kEepromBytes || s.length > kEepromBytes - s.value) return kStall;
    if (s.is_in())
        std::memcpy(data, eeprom_.data() + s.value, s.length);
    else
        std::memcpy(eeprom_.data() + s.value, data, s.length);
    transferred = s.length;
    return win::kSuccess;
}

// Bus 0 carries the EEPROM and the sensor's control port; any other device
// doesn't acknowledge its address.
uint32_t VirtualCamera::i2c(const SetupPacket &s, bool word_address, uint8_t *data,
                            uint32_t &transferred) {
    const uint8_t bus = static_cast<uint8_t>(s.index >> 8);
    const uint8_t device = static_cast<uint8_t>(s.index);
    if (bus != 0 || s.length > controller::kChunk) return kStall;
    if (!word_address && s.value > 0xFF) return kStall;
    if (device == kEepromI2CAddress) {
        if (s.value >= kEepromBytes || s.length > kEepromBytes - s.value) return kStall;
        if (s.is_in())
            std::memcpy(data, eeprom_.data() + s.value, s.length);
        else
            std::memcpy(eeprom_.data() + s.value, data, s.length);
    } else if (device == kSensorI2CAddress) {
        // Register addresses wrap within the sub-address width.
        const uint32_t mask = word_address ? 0xFFFF : 0xFF;
        for (uint32_t i = 0; i < s.length; ++i) {
            uint8_t &reg = sensor_i2c_[(s.value + i) & mask];
            if (s.is_in())
                data[i] = reg;
            else
                reg = data[i];
        }
    } else {
        return kStall;
    }
    transferred = s.length;
    return win::kSuccess;
}

// ---- State and back doors ---------------------------------------------------------------

void VirtualCamera::log_control(const SetupPacket &setup, const uint8_t *data) {
    if (control_log_.empty()) control_log_.resize(KAVIXSIM_CONTROL_LOG_SIZE);
    KavixSimControlRecord &r = control_log_[log_next_++ % KAVIXSIM_CONTROL_LOG_SIZE];
    r = KavixSimControlRecord{};
    r.request_type = setup.request_type;
    r.request = setup.request;
    r.value = setup.value;
    r.index = setup.index;
    r.length = setup.length;
    if (!setup.is_in() && data != nullptr)
        std::memcpy(r.data, data, std::min<size_t>(setup.length, sizeof r.data));
}

uint32_t VirtualCamera::control_log(KavixSimControlRecord *records, uint32_t capacity) const {
    std::lock_guard lock(mutex_);
    const uint64_t kept = std::min<uint64_t>(log_next_, KAVIXSIM_CONTROL_LOG_SIZE);
    const uint64_t n = std::min<uint64_t>(kept, capacity);
    for (uint64_t i = 0; i < n; ++i)
        records[i] = control_log_[(log_next_ - n + i) % KAVIXSIM_CONTROL_LOG_SIZE];
    return static_cast<uint32_t>(n);
}

void VirtualCamera::clear_control_log() {
    std::lock_guard lock(mutex_);
    log_next_ = 0;
}

SensorState VirtualCamera::snapshot() const {
    std::lock_guard lock(mutex_);
    return state_;
}

void VirtualCamera::get_public_state(KavixSimCameraState &out) {
    std::lock_guard lock(mutex_);
    settle(Clock::now());
    out = KavixSimCameraState{};
    out.present = on_bus_ && !unplugged_;
    out.firmware_version = state_.firmware_version;
    out.scan_mode = state_.scan_mode;
    out.width = state_.width;
    out.height = state_.height;
    out.offset_x = state_.window_x;
    out.offset_y = state_.window_y;
    out.clocks_per_line = state_.clocks_per_line;
    out.lines_per_frame = state_.lines_per_frame;
    out.clock_mode = state_.clock_mode;
    out.clock_hz = state_.clock_hz;
    out.transfer_bits = state_.transfer_bits;
    out.shutter_line = state_.shutter_line;
    out.shutter_clock = state_.shutter_clock;
    out.gain = state_.gain;
    out.digital_gain = status_[status::kDigitalGain];
    out.trigger_mode = status_[status::kTriggerMode] | (uint32_t{status_[status::kTriggerMode + 1]} << 16);
    out.mirror = status_[status::kMirror];
    out.camera_mode = status_[status::kCameraMode];
    out.soft_triggers = state_.soft_triggers;
    out.buffer_clears = state_.buffer_clears;
    out.commits = state_.commits;
    out.counter_resets = state_.counter_resets;
    out.downloads = downloads_;
    out.recoveries = recoveries_;
    out.control_transfers = control_transfers_;
}

bool VirtualCamera::read_eeprom(uint32_t address, uint8_t *data, uint32_t bytes) {
    std::lock_guard lock(mutex_);
    if (address >= kEepromBytes || bytes > kEepromBytes - address) return false;
    std::memcpy(data, eeprom_.data() + address, bytes);
    return true;
}

bool VirtualCamera::write_eeprom(uint32_t address, const uint8_t *data, uint32_t bytes) {
    std::lock_guard lock(mutex_);
    if (address >= kEepromBytes || bytes > kEepromBytes - address) return false;
    std::memcpy(eeprom_.data() + address, data, bytes);
    return true;
}

bool VirtualCamera::read_ram(uint32_t address, uint8_t *data, uint32_t bytes) {
    std::lock_guard lock(mutex_);
    if (address >= ram_.size() || bytes > ram_.size() - address) return false;
    std::memcpy(data, ram_.data() + address, bytes);
    return true;
}

bool VirtualCamera::get_status_words(uint16_t selector, uint16_t id, uint16_t count,
                                     uint16_t *words) {
    std::lock_guard lock(mutex_);
    if (selector == kStatusSelector) {
        if (uint32_t{id} + count > kStatusIds) return false;
        for (uint16_t i = 0; i < count; ++i) words[i] = read_status(id + i);
        return true;
    }
    if (selector == kDefectSelector) {
        if (uint32_t{id} + count > defect_table_.size()) return false;
        std::copy_n(defect_table_.begin() + id, count, words);
        return true;
    }
    return false;
}

bool VirtualCamera::set_status_words(uint16_t selector, uint16_t id, uint16_t count,
                                     const uint16_t *words) {
    std::lock_guard lock(mutex_);
    if (selector == kStatusSelector) {
        if (uint32_t{id} + count > kStatusIds) return false;
        std::copy_n(words, count, status_.begin() + id);
        stream_->settings_changed();  // e.g. the trigger mode, for the next frame
        return true;
    }
    if (selector == kDefectSelector) {
        if (uint32_t{id} + count > defect_table_.size()) return false;
        std::copy_n(words, count, defect_table_.begin() + id);
        return true;
    }
    return false;
}

}  // namespace kavix::sim
