// The bulk IN pipe of a virtual camera: the camera's own frame buffer, the
// timing that fills it, and the reads that empty it.
//
// One worker thread per streaming camera does all of it: it exposes frames at
// the rate of the camera's timing (or on a soft trigger, or whenever a read
// wants one in the as-fast-as-read mode), keeps them in the camera's buffer,
// losing those that find it full, and fills the posted reads in the order
// they were posted. A read completes when it is full or when the frame (or
// its header, sent apart) ends: a frame ends in a short transfer, and a frame
// that ends exactly at the end of a read is followed by a zero-length one.
// Completions are told from the worker, in order.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "transport/sim/frame_source.h"
#include "transport/sim/stream_faults.h"
#include "transport/stream_slots.h"

namespace kavix::sim {

// What the camera's state says at the moment a frame is exposed.
struct ExposureSettings {
  SensorReadout readout;
  SceneSetup scene;
  Response response;
  uint32_t header_bytes = 0;
  std::chrono::nanoseconds frame_period{0};  // from clock, line and frame lengths; 0 stops the timed stream
  bool trigger_mode = false;                 // frames only on a soft trigger
};

// Options of the camera's stream, set by the program that plugs it in.
struct StreamOptions {
  bool separate_header = false;  // the header is a transfer of its own
  bool can_restart = true;       // the answer of KavixUSBD_QueryStreamRestart
  bool as_fast_as_read = false;  // frames when reads want them, not by the clock
  uint32_t buffer_frames = 4;    // the camera's own buffer, in frames (at least 1)
};

struct StreamCounters {
  uint64_t produced = 0;   // frames exposed, lost ones included
  uint64_t delivered = 0;  // frames whose last byte went out
  uint64_t lost = 0;       // frames that found the camera's buffer full, or were cleared from it
  uint64_t bytes = 0;      // bytes that went into reads
  uint64_t faults = 0;     // fault events that struck
  uint64_t reads = 0;      // reads completed, with or without error
  uint64_t starts = 0;     // starts of a stopped stream
};

enum class StreamCounter { kProduced, kDelivered, kLost, kBytes, kFaults, kReads, kStarts };

class CameraStream {
 public:
  using SettingsSource = std::function<ExposureSettings()>;
  using UnplugHandler = std::function<void()>;

  // `settings` is asked at each exposure, from the worker and without any
  // lock of the stream held. `on_unplug` is called from the worker when an
  // unplug fault strikes, also without the stream's lock.
  explicit CameraStream(SettingsSource settings, UnplugHandler on_unplug = {});
  ~CameraStream();
  CameraStream(const CameraStream &) = delete;
  CameraStream &operator=(const CameraStream &) = delete;

  // ---- Transport operations; false with the Windows error in `error`.
  bool query_restart() const;
  bool start(uint32_t &error);
  bool stop(uint32_t &error);
  bool post(uint32_t slot, void *buffer, uint32_t length, KAVIXUSBD_STREAM_DONE done, void *context,
            uint32_t &error);
  bool result(uint32_t slot, bool wait, uint32_t *transferred, uint32_t &error);

  // ---- Events of the camera's control plane.
  void soft_trigger();
  void clear_buffer();                    // request 32: buffered frames are dropped
  void set_frame_number(uint32_t next);   // the number of the next frame exposed
  void settings_changed();                // timing or trigger mode may have changed
  void unplug();                          // the camera left the bus: pending reads end with 1167

  // ---- The simulator's program.
  void set_options(const StreamOptions &options);
  StreamOptions options() const;
  void add_fault(const Fault &fault);
  void set_random_faults(uint32_t kinds_mask, uint32_t per_million, uint64_t seed);
  void clear_faults();
  void resume();  // ends a pause
  void supply(std::vector<std::vector<uint8_t>> frames);
  StreamCounters counters() const;
  // Waits until the counter reaches `value`; false after `timeout`.
  bool wait_for(StreamCounter counter, uint64_t value, std::chrono::milliseconds timeout) const;
  // Waits until the worker has done all it can and waits for something new
  // (a read, a trigger, the next frame time); false after `timeout`.
  bool wait_idle(std::chrono::milliseconds timeout) const;

 private:
  struct Buffered {
    FrameJob job;
    uint32_t header_bytes = 0;
    std::vector<Fault> faults;
  };
  struct Sending {
    FrameJob job;
    uint32_t header_bytes = 0;
    SendPlan plan;
    uint64_t offset = 0;
    size_t next_cut = 0;
  };
  struct Completion {
    uint32_t slot;
    KAVIXUSBD_STREAM_DONE done;
    void *context;
  };
  using Clock = std::chrono::steady_clock;

  // All with mutex_ held; those given the lock may release it for a while.
  void ensure_worker();
  void kick();
  void run();
  void refresh_settings(std::unique_lock<std::mutex> &lock);
  uint32_t frames_to_expose(Clock::time_point now);
  void expose(std::unique_lock<std::mutex> &lock, uint32_t count);
  bool serve_one(std::unique_lock<std::mutex> &lock);
  void strike(FaultKind kind);
  void complete_head(uint32_t status);
  void complete_all(uint32_t status);
  void deliver(std::unique_lock<std::mutex> &lock);
  uint64_t counter(StreamCounter which) const;

  SettingsSource settings_;
  UnplugHandler on_unplug_;

  mutable std::mutex mutex_;
  mutable std::condition_variable wake_;      // the worker's
  mutable std::condition_variable progress_;  // counters and the end of callbacks

  transport::StreamSlots slots_;
  struct Pending {
    uint32_t slot;
    transport::StreamSlots::Read read;
    uint32_t filled = 0;
  };
  std::deque<Pending> pending_;  // in the order posted
  std::vector<Completion> completed_;
  uint64_t stop_generation_ = 0;
  uint64_t stops_done_ = 0;

  StreamOptions options_;
  bool started_ = false;
  bool gone_ = false;
  bool halted_ = false;  // after error 31, until the next start
  bool paused_ = false;
  bool zero_length_due_ = false;
  bool quit_ = false;
  bool unplug_struck_ = false;
  bool delivering_ = false;
  bool idle_ = false;

  bool kick_ = false;  // something changed since the worker last looked
  bool settings_dirty_ = true;
  ExposureSettings current_;  // as of the last exposure or change

  uint32_t next_number_ = 0;
  uint32_t triggers_ = 0;
  bool fast_frame_wanted_ = false;
  std::optional<Clock::time_point> next_due_;
  Clock::time_point started_at_;
  std::deque<Buffered> buffer_;
  std::optional<Sending> sending_;
  std::vector<Fault> faults_;
  RandomFaults random_;
  std::optional<std::vector<std::vector<uint8_t>>> supply_;
  StreamCounters counters_;

  FrameSource source_;              // the worker's alone
  std::vector<uint8_t> scratch_;    // likewise
  std::thread worker_;
  std::thread::id worker_id_;
};

}  // namespace kavix::sim
