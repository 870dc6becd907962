#include "transport/stream_slots.h"

namespace kavix::transport {

bool StreamSlots::claim(uint32_t slot, const Read &read, uint32_t &error) {
  if (slot >= KAVIXUSBD_STREAM_SLOTS || read.buffer == nullptr || read.length == 0) {
    error = kErrorInvalidParameter;
    return false;
  }
  std::lock_guard lock(mutex_);
  Slot &s = slots_[slot];
  if (s.state == State::kPending) {
    error = kErrorBusy;
    return false;
  }
  s.state = State::kPending;
  s.read = read;
  s.status = 0;
  s.transferred = 0;
  return true;
}

void StreamSlots::release(uint32_t slot) {
  std::lock_guard lock(mutex_);
  slots_[slot].state = State::kIdle;
  changed_.notify_all();
}

StreamSlots::Read StreamSlots::read(uint32_t slot) const {
  std::lock_guard lock(mutex_);
  return slots_[slot].read;
}

void StreamSlots::complete(uint32_t slot, uint32_t status, uint32_t transferred) {
  std::lock_guard lock(mutex_);
  Slot &s = slots_[slot];
  s.state = State::kDone;
  s.status = status;
  s.transferred = transferred;
  changed_.notify_all();
}

bool StreamSlots::result(uint32_t slot, bool wait, uint32_t *transferred, uint32_t &error) {
  if (slot >= KAVIXUSBD_STREAM_SLOTS) {
    error = kErrorInvalidParameter;
    return false;
  }
  std::unique_lock lock(mutex_);
  Slot &s = slots_[slot];
  if (wait) changed_.wait(lock, [&] { return s.state != State::kPending; });
  if (transferred) *transferred = s.state == State::kDone ? s.transferred : 0;
  switch (s.state) {
    case State::kIdle: error = kErrorInvalidParameter; return false;
    case State::kPending: error = kErrorIncomplete; return false;
    case State::kDone: break;
  }
  if (s.status != 0) {
    error = s.status;
    return false;
  }
  return true;
}

bool StreamSlots::pending(uint32_t slot) const {
  std::lock_guard lock(mutex_);
  return slot < KAVIXUSBD_STREAM_SLOTS && slots_[slot].state == State::kPending;
}

bool StreamSlots::any_pending() const {
  std::lock_guard lock(mutex_);
  for (const Slot &s : slots_)
    if (s.state == State::kPending) return true;
  return false;
}

}  // namespace kavix::transport
