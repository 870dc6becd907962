#pragma once
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

#include "platform/wait.h"

namespace kavix::platform {

// A thread that can be waited for like an event: it counts as signalled while
// no body runs on it, that is before the first start and from the moment its
// body returns. Waiting for it in wait_any is how a loop notices that a helper
// thread has ended.
//
// start, set_priority, join and joinable belong to the owner and must not race
// with each other. Waits, ended() and is_current() may come from any thread,
// the thread itself included.
class Thread : public Waitable {
public:
    // time_critical asks for the real-time FIFO policy and silently keeps the
    // normal one where the system doesn't allow it.
    enum class Priority { normal, time_critical };

    Thread();
    // Waits without limit for a running body, then releases the thread. The
    // body must not destroy its own Thread object.
    ~Thread();

    // Runs body on a new thread. Returns 0, or a Windows error number: 170
    // (busy) while an earlier thread has not been joined, 8 when the system
    // refuses a new thread.
    uint32_t start(std::function<void()> body, Priority priority = Priority::normal);

    // Changes the priority of the running thread; false when there is none or
    // the system kept the normal policy.
    bool set_priority(Priority priority);

    // Waits without limit for the body to return and releases the thread, after
    // which start may be called again. False when there is nothing to join, or
    // when called from the thread itself (which would never return).
    bool join();

    bool joinable() const { return attached_; }
    bool ended() const { return is_signalled(); }
    // Whether the caller is this thread, inside its body.
    bool is_current() const;

private:
    static void *run(void *self);
    static bool apply_priority(pthread_t thread, Priority priority);

    std::function<void()> body_;
    Priority priority_ = Priority::normal;
    pthread_t handle_{};
    bool attached_ = false;
    std::atomic<std::thread::id> runner_;  // set by the thread itself while its body runs
};

}  // namespace kavix::platform
