// The read slots of the bulk stream, shared by both backends: which slot holds
// a pending read, and the result of a completed one, with a wait for it (the
// counterpart of an overlapped record and GetOverlappedResult).
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "KavixUSBD.h"

namespace kavix::transport {

// Windows error numbers of the stream.
constexpr uint32_t kErrorAccessDenied = 5;
constexpr uint32_t kErrorCrc = 23;             // CRC error or overflow on the pipe
constexpr uint32_t kErrorGenFailure = 31;      // the pipe stalled
constexpr uint32_t kErrorInvalidParameter = 87;
constexpr uint32_t kErrorBusy = 170;           // the slot already holds a pending read
constexpr uint32_t kErrorAborted = 995;        // the stream was stopped
constexpr uint32_t kErrorIncomplete = 996;     // the read is still pending
constexpr uint32_t kErrorIoPending = 997;
constexpr uint32_t kErrorDeviceGone = 1167;

class StreamSlots {
 public:
  struct Read {
    uint8_t *buffer = nullptr;
    uint32_t length = 0;
    KAVIXUSBD_STREAM_DONE done = nullptr;
    void *context = nullptr;
  };

  // Takes a slot for a new read. False with 87 for a bad slot, a null buffer or
  // a zero length, and with 170 while the slot's last read is still pending.
  bool claim(uint32_t slot, const Read &read, uint32_t &error);
  // Returns a claimed slot to idle when the read could not be submitted.
  void release(uint32_t slot);
  Read read(uint32_t slot) const;

  // Records the completion of the slot's read and wakes those waiting for it.
  // The caller then calls the read's `done` outside its own locks.
  void complete(uint32_t slot, uint32_t status, uint32_t transferred);

  // The result of the slot's read. Waits for it when `wait` is set. True on
  // success; false with the read's error, with 996 while it is pending and
  // `wait` is clear, with 87 for a bad slot or one that never held a read.
  bool result(uint32_t slot, bool wait, uint32_t *transferred, uint32_t &error);

  bool pending(uint32_t slot) const;
  bool any_pending() const;

 private:
  enum class State { kIdle, kPending, kDone };
  struct Slot {
    State state = State::kIdle;
    Read read;
    uint32_t status = 0;
    uint32_t transferred = 0;
  };

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  Slot slots_[KAVIXUSBD_STREAM_SLOTS];
};

}  // namespace kavix::transport
