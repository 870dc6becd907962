#include "pipeline/adjusted_color_array.h"

#include <atomic>

namespace kavix::pipeline {

uint16_t AdjustedColorArray(const Session &session) {
  // The mirror mode changes between frames without a lock; read it once.
  const uint8_t mirror = std::atomic_ref<uint8_t>(const_cast<uint8_t &>(session.processing.MirrorMode))
                             .load(std::memory_order_relaxed);
  const bool map = !session.has_function(71) || !session.has_fpga();
  return MirroredColorArray(session.info.ColorArray, mirror, map);
}

}  // namespace kavix::pipeline
