#include "platform/event.h"

namespace kavix::platform {

Event::Event(Reset reset, bool initially_set)
    : Waitable(reset == Reset::automatic, initially_set) {}

void Event::set() { signal(); }

void Event::reset() { unsignal(); }

uint32_t Event::wait(uint32_t timeout_ms) { return wait_one(*this, timeout_ms); }

}  // namespace kavix::platform
