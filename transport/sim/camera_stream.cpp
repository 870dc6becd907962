#include "transport/sim/camera_stream.h"

#include <algorithm>

namespace kavix::sim {

namespace {

// Bytes rendered between two looks at the stream's state, so that a stop or a
// due frame is not held up by a large read.
constexpr uint64_t kChunk = 1u << 20;

// Frames exposed at most in one catch-up after the worker fell behind.
constexpr uint64_t kMaxCatchUp = 100000;

}  // namespace

CameraStream::CameraStream(SettingsSource settings, UnplugHandler on_unplug)
    : settings_(std::move(settings)), on_unplug_(std::move(on_unplug)) {}

CameraStream::~CameraStream() {
  {
    std::lock_guard lock(mutex_);
    quit_ = true;
    kick();
  }
  if (worker_.joinable()) worker_.join();
}

// ---- Transport operations ---------------------------------------------------

bool CameraStream::query_restart() const {
  std::lock_guard lock(mutex_);
  return options_.can_restart;
}

bool CameraStream::start(uint32_t &error) {
  std::lock_guard lock(mutex_);
  if (gone_) {
    error = transport::kErrorDeviceGone;
    return false;
  }
  ensure_worker();
  if (!started_) {
    started_ = true;
    started_at_ = Clock::now();
    next_due_.reset();
    ++counters_.starts;
    progress_.notify_all();
  }
  halted_ = false;  // starting clears a halted pipe
  settings_dirty_ = true;
  kick();
  return true;
}

bool CameraStream::stop(uint32_t &error) {
  std::unique_lock lock(mutex_);
  started_ = false;
  next_due_.reset();
  if (worker_.joinable()) {
    const uint64_t generation = ++stop_generation_;
    kick();
    // From inside a completion callback the worker can't be waited for; it
    // completes the reads once the callback returns.
    if (std::this_thread::get_id() != worker_id_)
      progress_.wait(lock, [&] { return stops_done_ >= generation && !delivering_; });
  }
  if (gone_) {
    error = transport::kErrorDeviceGone;
    return false;
  }
  return true;
}

bool CameraStream::post(uint32_t slot, void *buffer, uint32_t length, KAVIXUSBD_STREAM_DONE done,
                        void *context, uint32_t &error) {
  std::lock_guard lock(mutex_);
  if (gone_) {
    error = transport::kErrorDeviceGone;
    return false;
  }
  const transport::StreamSlots::Read read{static_cast<uint8_t *>(buffer), length, done, context};
  if (!slots_.claim(slot, read, error)) return false;
  ensure_worker();
  pending_.push_back(Pending{slot, read, 0});
  kick();
  return true;
}

bool CameraStream::result(uint32_t slot, bool wait, uint32_t *transferred, uint32_t &error) {
  return slots_.result(slot, wait, transferred, error);
}

// ---- Camera events ----------------------------------------------------------

void CameraStream::soft_trigger() {
  std::lock_guard lock(mutex_);
  if (!started_) return;
  ++triggers_;
  settings_dirty_ = true;
  kick();
}

void CameraStream::clear_buffer() {
  std::lock_guard lock(mutex_);
  counters_.lost += buffer_.size();
  buffer_.clear();
  progress_.notify_all();
}

void CameraStream::set_frame_number(uint32_t next) {
  std::lock_guard lock(mutex_);
  next_number_ = next;
}

void CameraStream::settings_changed() {
  std::lock_guard lock(mutex_);
  settings_dirty_ = true;
  kick();
}

void CameraStream::unplug() {
  std::lock_guard lock(mutex_);
  gone_ = true;
  started_ = false;
  kick();
}

// ---- The simulator's program -----------------------------------------------

void CameraStream::set_options(const StreamOptions &options) {
  std::lock_guard lock(mutex_);
  options_ = options;
  options_.buffer_frames = std::max<uint32_t>(options_.buffer_frames, 1);
  kick();
}

StreamOptions CameraStream::options() const {
  std::lock_guard lock(mutex_);
  return options_;
}

void CameraStream::add_fault(const Fault &fault) {
  std::lock_guard lock(mutex_);
  faults_.push_back(fault);
}

void CameraStream::set_random_faults(uint32_t kinds_mask, uint32_t per_million, uint64_t seed) {
  std::lock_guard lock(mutex_);
  random_.configure(kinds_mask, per_million, seed);
}

void CameraStream::clear_faults() {
  std::lock_guard lock(mutex_);
  faults_.clear();
  random_.configure(0, 0, 0);
}

void CameraStream::resume() {
  std::lock_guard lock(mutex_);
  paused_ = false;
  kick();
}

void CameraStream::supply(std::vector<std::vector<uint8_t>> frames) {
  std::lock_guard lock(mutex_);
  supply_ = std::move(frames);
  settings_dirty_ = true;
  kick();
}

StreamCounters CameraStream::counters() const {
  std::lock_guard lock(mutex_);
  return counters_;
}

uint64_t CameraStream::counter(StreamCounter which) const {
  switch (which) {
    case StreamCounter::kProduced: return counters_.produced;
    case StreamCounter::kDelivered: return counters_.delivered;
    case StreamCounter::kLost: return counters_.lost;
    case StreamCounter::kBytes: return counters_.bytes;
    case StreamCounter::kFaults: return counters_.faults;
    case StreamCounter::kReads: return counters_.reads;
    case StreamCounter::kStarts: return counters_.starts;
  }
  return 0;
}

bool CameraStream::wait_for(StreamCounter which, uint64_t value, std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return progress_.wait_for(lock, timeout, [&] { return counter(which) >= value; });
}

bool CameraStream::wait_idle(std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  if (!worker_.joinable()) return true;
  return progress_.wait_for(lock, timeout, [&] { return idle_ && !kick_; });
}

// ---- The worker -------------------------------------------------------------

void CameraStream::ensure_worker() {
  if (worker_.joinable()) return;
  worker_ = std::thread([this] { run(); });
  worker_id_ = worker_.get_id();
}

void CameraStream::kick() {
  kick_ = true;
  wake_.notify_all();
}

void CameraStream::run() {
  std::unique_lock lock(mutex_);
  while (true) {
    kick_ = false;
    if (quit_) {
      complete_all(transport::kErrorAborted);
      deliver(lock);
      return;
    }
    if (stops_done_ != stop_generation_) {
      // A stop aborts the pipe: every pending read ends with 995, and what
      // was left of the frame on its way out is gone.
      complete_all(transport::kErrorAborted);
      sending_.reset();
      zero_length_due_ = false;
      paused_ = false;
      stops_done_ = stop_generation_;
      deliver(lock);
      progress_.notify_all();
      continue;
    }
    if (gone_) {
      complete_all(transport::kErrorDeviceGone);
      sending_.reset();
      deliver(lock);
      if (unplug_struck_) {
        unplug_struck_ = false;
        lock.unlock();
        if (on_unplug_) on_unplug_();
        lock.lock();
        continue;
      }
      idle_ = true;
      progress_.notify_all();
      wake_.wait(lock, [&] { return kick_ || quit_; });
      idle_ = false;
      continue;
    }
    if (settings_dirty_) {
      refresh_settings(lock);
      continue;
    }

    const uint32_t count = frames_to_expose(Clock::now());
    if (count > 0) {
      expose(lock, count);
      continue;
    }

    bool progressed = false;
    while (serve_one(lock)) {
      progressed = true;
      if (!completed_.empty() || kick_) break;
    }
    deliver(lock);
    if (progressed || kick_) continue;

    const bool timed = started_ && !current_.trigger_mode && !options_.as_fast_as_read &&
                       current_.frame_period.count() > 0 && next_due_;
    if (fast_frame_wanted_) continue;
    idle_ = true;
    progress_.notify_all();
    if (timed)
      wake_.wait_until(lock, *next_due_, [&] { return kick_ || quit_; });
    else
      wake_.wait(lock, [&] { return kick_ || quit_; });
    idle_ = false;
  }
}

void CameraStream::refresh_settings(std::unique_lock<std::mutex> &lock) {
  settings_dirty_ = false;
  lock.unlock();
  ExposureSettings s = settings_();
  lock.lock();
  current_ = std::move(s);
}

uint32_t CameraStream::frames_to_expose(Clock::time_point now) {
  if (!started_) {
    triggers_ = 0;
    fast_frame_wanted_ = false;
    return 0;
  }
  if (current_.trigger_mode) {
    const uint32_t n = triggers_;
    triggers_ = 0;
    fast_frame_wanted_ = false;
    return n;
  }
  triggers_ = 0;
  if (options_.as_fast_as_read) {
    const bool wanted = fast_frame_wanted_;
    fast_frame_wanted_ = false;
    return wanted ? 1 : 0;
  }
  fast_frame_wanted_ = false;
  const auto period = current_.frame_period;
  if (period.count() <= 0) return 0;
  // A frame takes a whole period to expose: the first is due one period after the start.
  if (!next_due_) next_due_ = now + period;
  if (now < *next_due_) return 0;
  const uint64_t due = std::min<uint64_t>(1 + (now - *next_due_) / period, kMaxCatchUp);
  *next_due_ += period * static_cast<int64_t>(due);
  if (*next_due_ <= now) next_due_ = now + period;
  return static_cast<uint32_t>(due);
}

void CameraStream::expose(std::unique_lock<std::mutex> &lock, uint32_t count) {
  lock.unlock();
  ExposureSettings s = settings_();
  lock.lock();
  current_ = s;
  if (!started_) return;
  if (supply_) {
    source_.supply(s.readout, *supply_);
    supply_.reset();
  }
  const uint64_t generation = stop_generation_;
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t number = next_number_++;
    ++counters_.produced;
    std::vector<Fault> faults;
    for (auto it = faults_.begin(); it != faults_.end();) {
      if (it->frame == number) {
        faults.push_back(*it);
        it = faults_.erase(it);
      } else {
        ++it;
      }
    }
    if (buffer_.size() + (sending_ ? 1 : 0) >= options_.buffer_frames) {
      ++counters_.lost;  // the camera's buffer is full: this frame is never sent
      continue;
    }
    const uint64_t time =
        static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - started_at_).count());
    // A new picture may take a while to render; reads and stops go on meanwhile.
    lock.unlock();
    Buffered b{source_.expose(number, time, s.readout, s.scene, s.response), s.header_bytes, std::move(faults)};
    lock.lock();
    if (stop_generation_ != generation || !started_) {
      // The stream stopped while the picture was read out: the exposure is
      // cut short, so it is neither sent nor counted, and its number goes to
      // the next frame unless someone set a new one meanwhile. A later start
      // must not see it ahead of its own frames.
      --counters_.produced;
      if (next_number_ == number + 1) {
        next_number_ = number;
        faults_.insert(faults_.end(), b.faults.begin(), b.faults.end());
      }
      break;
    }
    Fault drawn;
    if (random_.draw(number, frame_bytes(b.job, b.header_bytes), drawn)) b.faults.push_back(drawn);
    buffer_.push_back(std::move(b));
  }
  progress_.notify_all();
}

bool CameraStream::serve_one(std::unique_lock<std::mutex> &lock) {
  if (pending_.empty()) return false;
  if (halted_) {
    complete_head(transport::kErrorGenFailure);
    return true;
  }
  if (zero_length_due_) {
    zero_length_due_ = false;
    complete_head(0);
    return true;
  }
  if (paused_) return false;
  if (!sending_) {
    if (buffer_.empty()) {
      if (started_ && options_.as_fast_as_read && !current_.trigger_mode) fast_frame_wanted_ = true;
      return false;
    }
    Buffered b = std::move(buffer_.front());
    buffer_.pop_front();
    Sending s;
    s.plan = plan_frame(frame_bytes(b.job, b.header_bytes), b.header_bytes, options_.separate_header, b.faults);
    s.job = std::move(b.job);
    s.header_bytes = b.header_bytes;
    sending_ = std::move(s);
  }

  Pending &head = pending_.front();
  Sending &s = *sending_;
  const uint64_t cut = s.plan.cuts[s.next_cut];
  uint64_t limit = cut;
  if (s.plan.has_event()) limit = std::min(limit, s.plan.event_at);
  const uint64_t n = std::min({limit - s.offset, uint64_t{head.read.length - head.filled}, kChunk});
  if (n > 0) {
    const FrameJob job = s.job;
    const uint32_t header = s.header_bytes;
    const uint64_t offset = s.offset;
    uint8_t *dst = head.read.buffer + head.filled;
    // The worker alone removes reads and frames, so both stay put meanwhile.
    lock.unlock();
    render_frame_range(job, header, offset, dst, static_cast<size_t>(n), scratch_);
    lock.lock();
    head.filled += static_cast<uint32_t>(n);
    s.offset += n;
    counters_.bytes += n;
  }

  if (s.plan.has_event() && s.offset == s.plan.event_at) {
    strike(s.plan.event);
    return true;
  }
  if (s.offset == cut) {
    // The transfer ends here with a short packet; one that filled its read
    // exactly is closed by a zero-length packet in the next read.
    const bool frame_end = cut == s.plan.end;
    if (head.filled == head.read.length) zero_length_due_ = true;
    ++s.next_cut;
    if (frame_end) {
      ++counters_.delivered;
      sending_.reset();
    }
    complete_head(0);
    return true;
  }
  if (head.filled == head.read.length) complete_head(0);
  return true;
}

void CameraStream::strike(FaultKind kind) {
  ++counters_.faults;
  Sending &s = *sending_;
  s.plan.event_at = ~uint64_t{0};
  switch (kind) {
    case FaultKind::kUnplug:
      gone_ = true;
      started_ = false;
      unplug_struck_ = true;
      complete_head(transport::kErrorDeviceGone);
      sending_.reset();
      break;
    case FaultKind::kPipeStall:
      halted_ = true;
      complete_head(transport::kErrorGenFailure);
      sending_.reset();
      break;
    case FaultKind::kCrcError:
      complete_head(transport::kErrorCrc);
      sending_.reset();
      break;
    case FaultKind::kPause:
      paused_ = true;
      break;
    default: break;
  }
  progress_.notify_all();
}

void CameraStream::complete_head(uint32_t status) {
  const Pending p = pending_.front();
  pending_.pop_front();
  slots_.complete(p.slot, status, p.filled);
  completed_.push_back(Completion{p.slot, p.read.done, p.read.context});
  ++counters_.reads;
  progress_.notify_all();
}

void CameraStream::complete_all(uint32_t status) {
  while (!pending_.empty()) complete_head(status);
}

void CameraStream::deliver(std::unique_lock<std::mutex> &lock) {
  if (completed_.empty()) return;
  std::vector<Completion> batch;
  batch.swap(completed_);
  delivering_ = true;
  lock.unlock();
  for (const Completion &c : batch)
    if (c.done) c.done(c.context, c.slot);
  lock.lock();
  delivering_ = false;
  progress_.notify_all();
  // Keep the batch's capacity for the next round: no allocation per read.
  batch.clear();
  if (completed_.empty()) completed_.swap(batch);
}

}  // namespace kavix::sim
