// Faults a virtual camera can put into its bulk stream, on a chosen frame or
// at random, and how one frame is sent once its faults are known.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

namespace kavix::sim {

enum class FaultKind : uint32_t {
  kUnplug = 1,      // the camera leaves the bus at byte `at` of the frame
  kTorn = 2,        // the frame ends `bytes` bytes early, with a short transfer
  kExtraBytes = 3,  // `bytes` more bytes follow the frame before its short transfer
  kPipeStall = 4,   // error 31 at byte `at`; the pipe stays halted until the stream is restarted
  kCrcError = 5,    // error 23 at byte `at`; the rest of the frame is lost
  kPause = 6,       // the camera stops sending at byte `at` until released or the stream stops
  kSplit = 7,       // the frame goes as two transfers, cut after byte `at`
};
constexpr uint32_t kFaultKinds = 7;

// A parameter of kFaultDefault means half the frame.
constexpr uint64_t kFaultDefault = ~uint64_t{0};

struct Fault {
  FaultKind kind = FaultKind::kTorn;
  uint32_t frame = 0;             // frame number it strikes
  uint64_t param = kFaultDefault; // `at` or `bytes`, as the kind says
};

// How one frame goes on the wire: how many bytes, where transfers end, and the
// one event (if any) that interrupts it.
struct SendPlan {
  uint64_t end = 0;                 // bytes sent in all
  std::vector<uint64_t> cuts;       // ascending offsets after which a transfer ends, `end` last
  FaultKind event = FaultKind::kTorn;
  uint64_t event_at = ~uint64_t{0}; // offset of the event, none if beyond `end`

  bool has_event() const { return event_at != ~uint64_t{0}; }
};

// Builds the plan of a frame of `frame_bytes` bytes (header and pixels) from
// its faults; `header_bytes` ends a transfer of its own when `separate_header`.
SendPlan plan_frame(uint64_t frame_bytes, uint32_t header_bytes, bool separate_header,
                    const std::vector<Fault> &faults);

// Random faults: each frame draws whether it has one, and which, from a seeded
// generator, so that a seed gives the same faults on every run.
class RandomFaults {
 public:
  void configure(uint32_t kinds_mask, uint32_t per_million, uint64_t seed);
  // The fault of this frame, if it draws one; frame_bytes picks the offsets.
  bool draw(uint32_t frame, uint64_t frame_bytes, Fault &fault);

 private:
  uint64_t next();

  uint32_t kinds_mask_ = 0;  // bit (kind - 1) per FaultKind
  uint32_t per_million_ = 0;
  uint64_t state_ = 0;
};

}  // namespace kavix::sim
