#include "platform/thread.h"

#include <sched.h>

#include <cstdlib>
#include <utility>

#include "platform/error_numbers.h"

namespace kavix::platform {

Thread::Thread() : Waitable(false, true) {}

Thread::~Thread() {
    if (!attached_) return;
    // The body still runs in this object after it returns: a thread may not
    // destroy its own object.
    if (is_current()) std::abort();
    pthread_join(handle_, nullptr);
}

uint32_t Thread::start(std::function<void()> body, Priority priority) {
    if (attached_) return kErrorBusy;
    body_ = std::move(body);
    priority_ = priority;
    unsignal();
    if (pthread_create(&handle_, nullptr, &Thread::run, this) != 0) {
        body_ = nullptr;
        signal();
        return kErrorNotEnoughMemory;
    }
    attached_ = true;
    return 0;
}

void *Thread::run(void *self) {
    auto *thread = static_cast<Thread *>(self);
    if (thread->priority_ != Priority::normal) apply_priority(pthread_self(), thread->priority_);
    thread->runner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    thread->body_();
    thread->body_ = nullptr;  // what the body captured goes with it, on this thread
    thread->runner_.store(std::thread::id(), std::memory_order_relaxed);
    thread->signal();
    return nullptr;
}

bool Thread::set_priority(Priority priority) {
    if (!attached_) return false;
    return apply_priority(handle_, priority);
}

bool Thread::apply_priority(pthread_t thread, Priority priority) {
    sched_param param{};
    if (priority == Priority::normal) {
        return pthread_setschedparam(thread, SCHED_OTHER, &param) == 0;
    }
    // The middle of the real-time range: above ordinary real-time helpers of
    // the desktop, below the system's own watchdogs and interrupt threads.
    const int low = sched_get_priority_min(SCHED_FIFO);
    const int high = sched_get_priority_max(SCHED_FIFO);
    param.sched_priority = low + (high - low) / 2;
    return pthread_setschedparam(thread, SCHED_FIFO, &param) == 0;
}

bool Thread::join() {
    if (is_current() || !attached_) return false;
    pthread_join(handle_, nullptr);
    attached_ = false;
    return true;
}

// Only the thread itself stores its own id there, so a match can't be stale.
bool Thread::is_current() const {
    return runner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
}

}  // namespace kavix::platform
