#include "platform/mutex.h"

namespace kavix::platform {

void Mutex::lock() {
    mutex_.lock();
    if (depth_++ == 0) owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
}

bool Mutex::try_lock() {
    if (!mutex_.try_lock()) return false;
    if (depth_++ == 0) owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    return true;
}

void Mutex::unlock() {
    if (--depth_ == 0) owner_.store(std::thread::id(), std::memory_order_relaxed);
    mutex_.unlock();
}

// Only this thread ever stores its own id, so reading it back means it holds
// the lock; any other value means it doesn't, whatever other threads do.
bool Mutex::held_by_current_thread() const {
    return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
}

}  // namespace kavix::platform
