#pragma once
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <span>

namespace kavix::platform {

// Time-outs are in milliseconds; kInfinite waits without limit.
constexpr uint32_t kInfinite = 0xFFFFFFFFu;

// Results of a wait: kWaitObject0 + i for the object at index i, kWaitTimeout
// (the Windows number 258) when the time ran out, kWaitFailed for a call that
// could not wait at all (no objects, too many, or a null one).
constexpr uint32_t kWaitObject0 = 0;
constexpr uint32_t kWaitTimeout = 258;
constexpr uint32_t kWaitFailed = 0xFFFFFFFFu;

// The most objects one wait takes, as on the system whose threading the
// library was written against.
constexpr size_t kMaxWaitObjects = 64;

struct WaitLink;

// Something a thread can wait for: an event or a thread. It is signalled or
// not; an auto-reset object is consumed (made unsignalled) by the one wait that
// returns it, so a single signal releases exactly one waiter.
//
// Each object keeps a list of the waits blocked on it. A wait registers with
// every object it waits for and sleeps on its own condition variable; a signal
// wakes only the waits registered with that object. Nothing polls.
//
// An object must outlive every wait on it.
class Waitable {
public:
    Waitable(const Waitable &) = delete;
    Waitable &operator=(const Waitable &) = delete;

    // The state as it is now, without consuming an auto-reset signal (the
    // counterpart of a zero wait on a manual-reset object).
    bool is_signalled() const;

    // Waits currently blocked on this object; for diagnostics and for tests
    // that must know a waiter is asleep before they signal.
    size_t blocked_waits() const;

protected:
    Waitable(bool auto_reset, bool signalled) : signalled_(signalled), auto_reset_(auto_reset) {}
    ~Waitable() = default;

    void signal();    // set the state and wake the waits registered here
    void unsignal();  // clear the state

private:
    friend uint32_t wait_any(std::span<Waitable *const> objects, uint32_t timeout_ms);

    mutable std::mutex lock_;
    bool signalled_;
    const bool auto_reset_;
    WaitLink *waits_ = nullptr;  // intrusive list of blocked waits
};

// Waits until one of the objects is signalled or the time-out passes. If
// several are signalled, the first in argument order is returned, and only it
// is consumed if it resets automatically. The state of all objects is examined
// at one instant (their locks are all held), as one atomic look.
// A time-out of 0 only looks. The same object may appear more than once.
uint32_t wait_any(std::span<Waitable *const> objects, uint32_t timeout_ms);

inline uint32_t wait_any(std::initializer_list<Waitable *> objects, uint32_t timeout_ms) {
    return wait_any(std::span<Waitable *const>(objects.begin(), objects.size()), timeout_ms);
}

inline uint32_t wait_one(Waitable &object, uint32_t timeout_ms) {
    return wait_any({&object}, timeout_ms);
}

}  // namespace kavix::platform
