#pragma once
#include <cstdint>
#include <vector>

namespace kavix::sim {

// The endpoint of the frame stream.
inline constexpr uint8_t kBulkInEndpoint = 0x82;
inline constexpr uint8_t kInterruptInEndpoint = 0x81;

// The configuration descriptor of a virtual camera: one vendor interface with
// the bulk IN endpoint of the stream, sized for the speed (64, 512 or 1024
// bytes, SuperSpeed with endpoint companions), optionally behind an interrupt
// IN endpoint of 64 bytes that says nothing about the speed.
std::vector<uint8_t> config_descriptor(uint8_t speed, bool interrupt_endpoint_first);

}  // namespace kavix::sim
