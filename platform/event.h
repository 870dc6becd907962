#pragma once
#include <cstdint>

#include "platform/wait.h"

namespace kavix::platform {

// An event, signalled or not. A manual-reset event stays signalled until it is
// reset and releases every waiter; an auto-reset event releases exactly one
// wait per signal and is cleared by it.
class Event : public Waitable {
public:
    enum class Reset { manual, automatic };

    explicit Event(Reset reset, bool initially_set = false);

    void set();
    void reset();

    // kWaitObject0 once signalled, kWaitTimeout when the time ran out.
    uint32_t wait(uint32_t timeout_ms = kInfinite);
};

}  // namespace kavix::platform
