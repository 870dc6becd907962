#pragma once
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "transport/device.h"

namespace kavix::transport {

// A device found on a bus, not yet opened. `key` names the physical device
// (and, for devices that re-enumerate, its appearance): handles with the same
// key share one Device and count as its clients.
struct FoundDevice {
    std::string key;
    std::function<std::shared_ptr<Device>(uint32_t &error)> open;
};

}  // namespace kavix::transport
