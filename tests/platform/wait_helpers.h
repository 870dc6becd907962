#pragma once
#include <chrono>
#include <thread>

#include "platform/wait.h"

namespace kavix::test {

// Bound for anything a test waits for that should happen at once: generous, so
// a loaded machine never fails a test, and finite, so a fault fails instead of
// hanging.
constexpr uint32_t kGenerousMs = 20000;

// Yields until `count` waits are asleep on the object, so that a test signals
// a blocked waiter rather than racing it. True when they got there in time.
inline bool until_blocked(const platform::Waitable &object, size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kGenerousMs);
    while (object.blocked_waits() < count) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

}  // namespace kavix::test
