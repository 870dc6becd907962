#pragma once
// The frame every KavixSim_ call shares: the camera id check, failures as 0 with
// the thread's last error, and no exception across the boundary.
#include <cstdint>
#include <memory>
#include <new>

#include "KavixSim.h"
#include "platform/last_error.h"
#include "transport/sim/sim_bus.h"
#include "transport/windows_errors.h"

namespace kavix::sim {

inline int32_t fail(uint32_t error) {
    platform::set_last_error(error);
    return 0;
}

// Runs `body` on a plugged camera; an unknown id gives 87.
template <typename Body>
int32_t with_camera(KAVIXSIM_CAMERA id, Body body) {
    namespace win = kavix::transport::win;
    try {
        std::shared_ptr<VirtualCamera> camera = SimBus::instance().find(id);
        if (!camera) return fail(win::kInvalidParameter);
        return body(*camera);
    } catch (const std::bad_alloc &) {
        return fail(win::kNotEnoughMemory);
    }
}

}  // namespace kavix::sim
