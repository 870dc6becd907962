#pragma once
#include <atomic>
#include <mutex>
#include <thread>

namespace kavix::platform {

// A recursive lock: the thread that holds it may take it again and must
// release it as often. Callback lists stay locked while their callbacks run,
// and a callback may call back into the library that takes the same lock.
// Meets the Lockable requirements, so std::lock_guard and std::unique_lock work.
class Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex &) = delete;
    Mutex &operator=(const Mutex &) = delete;

    void lock();
    bool try_lock();
    // Only the holding thread may unlock.
    void unlock();

    // Whether the calling thread holds the lock (for checks in code that
    // must run under it).
    bool held_by_current_thread() const;

private:
    std::recursive_mutex mutex_;
    unsigned depth_ = 0;                 // written only by the holder
    std::atomic<std::thread::id> owner_; // the holder, or no thread
};

}  // namespace kavix::platform
