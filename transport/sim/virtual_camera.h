#pragma once
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "KavixSim.h"
#include "transport/device.h"
#include "transport/sim/camera_stream.h"

namespace kavix::sim {

// Status word spaces: ids 0 to 0x7FFF of selector 0, and the defect table of
// selector 129 (two words per entry).
inline constexpr uint16_t kStatusSelector = 0;
inline constexpr uint16_t kDefectSelector = 129;
inline constexpr uint32_t kStatusIds = 0x8000;

// Status ids with a meaning of their own in the camera.
namespace status {
inline constexpr uint16_t kDigitalGain = 20;
inline constexpr uint16_t kVBlank = 23;
inline constexpr uint16_t kSkipBinning = 33;
inline constexpr uint16_t kTriggerMode = 48;  // two words
inline constexpr uint16_t kMirror = 63;
inline constexpr uint16_t kPulse = 80;
inline constexpr uint16_t kFrameClock = 86;      // two words, read only
inline constexpr uint16_t kExposureLimits = 88;  // six words, read only
inline constexpr uint16_t kCameraMode = 101;
inline constexpr uint16_t kSwitches = 102;       // read only (the camera's inputs)
inline constexpr uint16_t kFunctionBits = 104;   // sixteen words, read only
// The camera's own automatic controls and binning sum, as the frames show them.
inline constexpr uint16_t kBinningSum = 46;
inline constexpr uint16_t kCameraWhiteBalanceGains = 64;  // four words: R, Gr, Gb, B
inline constexpr uint16_t kCameraWhiteBalanceMode = 68;
inline constexpr uint16_t kAutoMaxShutterLine = 69;       // two words
inline constexpr uint16_t kAutoMinShutterLine = 71;       // two words
inline constexpr uint16_t kAutoMode = 73;                 // 1 shutter, 2 gain
inline constexpr uint16_t kAutoTarget = 74;
inline constexpr uint16_t kAutoMaxGain = 75;
inline constexpr uint16_t kAutoMinGain = 76;
}  // namespace status

// Pulse bits of status 80.
namespace pulse {
inline constexpr uint16_t kCommit = 0x0001;
inline constexpr uint16_t kResetCounters = 0x0002;
inline constexpr uint16_t kTriggerReadOut = 0x0004;
inline constexpr uint16_t kSubTrigger = 0x4000;
}  // namespace pulse

// The camera's state as the frame source needs it. Read it only while holding
// VirtualCamera::mutex() (or take a copy with VirtualCamera::snapshot()).
struct SensorState {
    uint16_t firmware_version = 0;  // 8 while the boot-level firmware runs
    uint16_t scan_mode = 0;
    // The window on the sensor, in sensor pixels, and the frame it gives.
    uint32_t window_x = 0, window_y = 0, window_width = 0, window_height = 0;
    uint32_t width = 0, height = 0;  // frame size as reported (after binning)
    uint8_t h_factor = 1, v_factor = 1;  // window pixels per frame pixel
    uint16_t skip_binning = 0;           // applied status 33 word
    uint16_t vblank = 0;                 // applied V-blank for frame rate
    uint16_t clocks_per_line = 0, lines_per_frame = 0;
    uint32_t clock_mode = 0, clock_hz = 0;
    uint32_t transfer_bits = 0;
    uint32_t shutter_line = 0, shutter_clock = 0;
    uint16_t gain = 0;
    uint16_t setting_word = 0;  // address 0 of the setting space
    // Counters of commands that have no state of their own.
    uint32_t soft_triggers = 0, buffer_clears = 0, commits = 0, counter_resets = 0;
    uint32_t read_outs = 0, sub_triggers = 0;

    uint32_t clocks_per_frame() const { return uint32_t{clocks_per_line} * lines_per_frame; }
};

// One virtual camera: the USB controller with its EEPROM, RAM and I2C bus, the
// FPGA with status words and data space, and the sensor state they control.
// It answers control transfers as the camera's firmware does; the stream is
// served by the frame source built on the same state.
//
// Locking: one mutex guards everything (state, memories, presence). Control
// transfers, the frame source and the KavixSim_ calls all take it; none of
// them holds it while calling out.
class VirtualCamera {
public:
    using Clock = std::chrono::steady_clock;

    VirtualCamera(KAVIXSIM_CAMERA id, const KavixSimCameraConfig &config);

    KAVIXSIM_CAMERA id() const { return id_; }
    const KavixSimCameraConfig &config() const { return config_; }

    // ---- Bus side -----------------------------------------------------------
    // Each appearance on the bus is one generation; handles opened on an
    // earlier one fail with 1167.
    bool present(uint32_t *generation = nullptr);
    bool wait_presence(bool present, std::chrono::milliseconds timeout);
    void complete_reenumeration();
    void unplug();
    bool unplugged();
    void set_busy(bool busy);
    void fail_probe(uint32_t recoveries);
    void set_fault(uint8_t request, uint32_t kind, uint32_t param, uint32_t times);

    // ---- Device operations, for one generation ---------------------------------
    uint32_t control(uint32_t generation, const transport::SetupPacket &setup, uint8_t *data,
                     uint32_t &transferred);
    uint32_t config_descriptor(uint32_t generation, std::vector<uint8_t> &out);
    uint32_t function_address(uint32_t generation, uint8_t &address);
    uint32_t probe(uint32_t generation);
    uint32_t recover(uint32_t generation, transport::Recovery kind);
    uint32_t driver_version(uint32_t generation, uint32_t (&words)[4]);
    uint32_t external_clients(uint32_t generation);

    // ---- State for the frame source and the back doors -------------------------
    std::mutex &mutex() const { return mutex_; }
    const SensorState &state() const { return state_; }  // with mutex() held
    uint16_t status_word(uint16_t id) const;             // with mutex() held
    SensorState snapshot() const;
    void get_public_state(KavixSimCameraState &out);
    // The most recent control transfers, oldest first, at most `capacity`.
    uint32_t control_log(KavixSimControlRecord *records, uint32_t capacity) const;
    void clear_control_log();

    bool read_eeprom(uint32_t address, uint8_t *data, uint32_t bytes);
    bool write_eeprom(uint32_t address, const uint8_t *data, uint32_t bytes);
    bool read_ram(uint32_t address, uint8_t *data, uint32_t bytes);
    bool get_status_words(uint16_t selector, uint16_t id, uint16_t count, uint16_t *words);
    bool set_status_words(uint16_t selector, uint16_t id, uint16_t count, const uint16_t *words);

    // ---- The frame stream (virtual_camera_stream.cpp) -------------------------------
    bool stream_restartable(uint32_t generation);
    uint32_t start_stream(uint32_t generation);
    uint32_t stop_stream(uint32_t generation);
    uint32_t post_stream_read(uint32_t generation, uint32_t slot, void *buffer, uint32_t length,
                              KAVIXUSBD_STREAM_DONE done, void *context);
    uint32_t stream_result(uint32_t generation, uint32_t slot, bool wait, uint32_t &transferred);
    // The simulator's program for the stream.
    CameraStream &stream() { return *stream_; }
    void set_scene(const SceneSetup &scene);
    void set_first_frame_number(uint32_t number);
    uint32_t first_frame_number();

    static constexpr uint32_t kEepromBytes = 2048;
    static constexpr uint8_t kEepromI2CAddress = 0x51;
    static constexpr uint8_t kSensorI2CAddress = 0x5D;
    static constexpr uint32_t kSettingSpaceBytes = 256;
    static constexpr uint32_t kDataSpaceBytes = 0x2000;

private:
    struct Fault {
        uint32_t kind = KAVIXSIM_FAULT_NONE;
        uint32_t param = 0;
        uint32_t remaining = 0;  // 0: until cleared
    };

    // All with mutex_ held.
    void settle(Clock::time_point now);
    bool usable(uint32_t generation);
    void power_on();
    void factors(uint16_t mode, uint32_t &hf, uint32_t &vf) const;
    void fit_window(uint16_t mode, uint32_t x, uint32_t y, uint32_t out_width,
                    uint32_t out_height);
    void update_timing();
    uint32_t short_limit_line() const;
    uint32_t long_limit_line() const;
    uint32_t dispatch(const transport::SetupPacket &setup, uint8_t *data, uint32_t &transferred);
    void log_control(const transport::SetupPacket &setup, const uint8_t *data);

    uint32_t camera_info(const transport::SetupPacket &s, uint8_t *data, uint32_t &transferred);
    uint32_t scan_state(const transport::SetupPacket &s, uint8_t *data, uint32_t &transferred);
    uint32_t transfer_format(const transport::SetupPacket &s, uint8_t *data,
                             uint32_t &transferred);
    uint32_t shutter_gain(const transport::SetupPacket &s, uint8_t *data, uint32_t &transferred);
    uint32_t sensor_clock(const transport::SetupPacket &s, uint8_t *data, uint32_t &transferred);
    uint32_t white_balance(const transport::SetupPacket &s, uint8_t *data, uint32_t &transferred);
    uint32_t status_words(const transport::SetupPacket &s, uint8_t *data, uint32_t &transferred);
    uint32_t setting_space(const transport::SetupPacket &s, uint8_t *data, uint32_t &transferred);
    uint32_t data_space(const transport::SetupPacket &s, uint8_t *data, uint32_t &transferred);
    uint32_t controller_ram(const transport::SetupPacket &s, uint8_t *data, uint32_t &transferred);
    uint32_t eeprom(const transport::SetupPacket &s, uint8_t *data, uint32_t &transferred);
    uint32_t i2c(const transport::SetupPacket &s, bool word_address, uint8_t *data,
                 uint32_t &transferred);

    // What the next frame is exposed with; runs the camera's own automatic
    // controls first. Takes mutex_.
    ExposureSettings exposure_settings();
    double exposure_seconds() const;  // with mutex_ held
    void camera_controls(const SensorReadout &readout, double digital);
    double reference_seconds_ = 0;  // the exposure at power-on: a scene's 1.0 fills a sample there
    SceneSetup scene_;
    uint32_t first_frame_number_ = 0;

    uint16_t read_status(uint16_t id) const;
    uint32_t write_status(uint16_t id, const uint16_t *words, uint16_t count);
    void pulse(uint16_t bits);
    void start_cpu();
    uint32_t data_word(uint32_t address) const;

    const KAVIXSIM_CAMERA id_;
    const KavixSimCameraConfig config_;

    mutable std::mutex mutex_;
    std::condition_variable presence_changed_;

    // Presence on the bus.
    bool unplugged_ = false;
    bool on_bus_ = true;
    std::optional<Clock::time_point> return_at_;  // pending re-enumeration
    uint32_t generation_ = 1;
    uint8_t address_ = 0;
    bool busy_ = false;
    uint32_t probe_failures_ = 0;  // recoveries still needed
    uint32_t recoveries_ = 0;
    uint32_t downloads_ = 0;
    uint32_t control_transfers_ = 0;
    bool boot_firmware_ = false;
    std::map<uint8_t, Fault> faults_;
    // Ring of the last KAVIXSIM_CONTROL_LOG_SIZE transfers; log_next_ counts all.
    std::vector<KavixSimControlRecord> control_log_;
    uint64_t log_next_ = 0;

    // Memories.
    std::vector<uint8_t> eeprom_;
    std::vector<uint8_t> ram_;        // program memory
    std::vector<uint8_t> registers_;  // controller registers, kRegisterFirst on
    std::vector<uint8_t> sensor_i2c_;
    std::vector<uint8_t> setting_space_;
    std::vector<uint8_t> data_space_;
    std::vector<uint16_t> status_;       // selector 0, ids 0 to 0x7FFF
    std::vector<uint16_t> defect_table_;  // selector 129

    // Written but not yet committed by status 80.
    uint16_t pending_skip_binning_ = 0;
    uint16_t pending_vblank_ = 0;

    SensorState state_;

    // Last, so that it ends (its worker joined) before the rest of the camera.
    std::unique_ptr<CameraStream> stream_;
};

}  // namespace kavix::sim
