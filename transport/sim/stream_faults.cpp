#include "transport/sim/stream_faults.h"

#include <algorithm>

namespace kavix::sim {

SendPlan plan_frame(uint64_t frame_bytes, uint32_t header_bytes, bool separate_header,
                    const std::vector<Fault> &faults) {
  SendPlan plan;
  plan.end = frame_bytes;
  const auto at_or_half = [&](uint64_t param) { return param == kFaultDefault ? frame_bytes / 2 : param; };
  for (const Fault &f : faults) {
    switch (f.kind) {
      case FaultKind::kTorn: {
        const uint64_t bytes = f.param == kFaultDefault ? frame_bytes / 2 : f.param;
        plan.end = frame_bytes - std::min(bytes, frame_bytes);
        break;
      }
      case FaultKind::kExtraBytes: plan.end = frame_bytes + (f.param == kFaultDefault ? frame_bytes / 2 : f.param); break;
      default: break;
    }
  }
  for (const Fault &f : faults) {
    switch (f.kind) {
      case FaultKind::kUnplug:
      case FaultKind::kPipeStall:
      case FaultKind::kCrcError:
      case FaultKind::kPause: {
        const uint64_t at = std::min(at_or_half(f.param), plan.end);
        if (!plan.has_event() || at < plan.event_at) {
          plan.event = f.kind;
          plan.event_at = at;
        }
        break;
      }
      case FaultKind::kSplit: {
        const uint64_t at = at_or_half(f.param);
        if (at > 0 && at < plan.end) plan.cuts.push_back(at);
        break;
      }
      default: break;
    }
  }
  if (separate_header && header_bytes > 0 && header_bytes < plan.end) plan.cuts.push_back(header_bytes);
  plan.cuts.push_back(plan.end);
  std::sort(plan.cuts.begin(), plan.cuts.end());
  plan.cuts.erase(std::unique(plan.cuts.begin(), plan.cuts.end()), plan.cuts.end());
  return plan;
}

void RandomFaults::configure(uint32_t kinds_mask, uint32_t per_million, uint64_t seed) {
  kinds_mask_ = kinds_mask & ((1u << kFaultKinds) - 1u);
  per_million_ = std::min<uint32_t>(per_million, 1000000);
  state_ = seed;
}

uint64_t RandomFaults::next() {
  uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

bool RandomFaults::draw(uint32_t frame, uint64_t frame_bytes, Fault &fault) {
  if (kinds_mask_ == 0 || per_million_ == 0) return false;
  if (next() % 1000000 >= per_million_) return false;
  uint32_t kinds[kFaultKinds];
  uint32_t count = 0;
  for (uint32_t k = 0; k < kFaultKinds; ++k)
    if (kinds_mask_ & (1u << k)) kinds[count++] = k + 1;
  fault.kind = static_cast<FaultKind>(kinds[next() % count]);
  fault.frame = frame;
  const uint64_t span = std::max<uint64_t>(frame_bytes, 2);
  fault.param = fault.kind == FaultKind::kExtraBytes ? 1 + next() % 4096 : 1 + next() % (span - 1);
  return true;
}

}  // namespace kavix::sim
