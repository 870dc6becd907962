#include "platform/wait.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>

namespace kavix::platform {

// One blocked wait. It lives on the waiting thread's stack; a signalling thread
// reaches it only through a link, under the lock of the object it signals, and
// the wait unlinks itself under that same lock before it returns.
struct Waiter {
    std::mutex lock;
    std::condition_variable wake_up;
    bool woken = false;

    void wake() {
        {
            std::lock_guard<std::mutex> guard(lock);
            woken = true;
        }
        wake_up.notify_one();
    }
};

// The registration of one wait with one object.
struct WaitLink {
    WaitLink *prev;
    WaitLink *next;
    Waiter *waiter;
};

bool Waitable::is_signalled() const {
    std::lock_guard<std::mutex> guard(lock_);
    return signalled_;
}

size_t Waitable::blocked_waits() const {
    std::lock_guard<std::mutex> guard(lock_);
    size_t count = 0;
    for (const WaitLink *link = waits_; link != nullptr; link = link->next) ++count;
    return count;
}

void Waitable::signal() {
    std::lock_guard<std::mutex> guard(lock_);
    signalled_ = true;
    // Every registered wait looks again; for an auto-reset object the first to
    // take the locks consumes the signal and the others go back to sleep.
    for (WaitLink *link = waits_; link != nullptr; link = link->next) link->waiter->wake();
}

void Waitable::unsignal() {
    std::lock_guard<std::mutex> guard(lock_);
    signalled_ = false;
}

namespace {

// The distinct objects of a wait in address order: the order in which every
// wait takes their locks, so that two waits over the same objects can't
// deadlock.
class LockSet {
public:
    explicit LockSet(std::span<Waitable *const> objects)
        : count_(objects.size()) {
        std::copy(objects.begin(), objects.end(), objects_);
        std::sort(objects_, objects_ + count_);
        count_ = static_cast<size_t>(std::unique(objects_, objects_ + count_) - objects_);
    }

    size_t size() const { return count_; }
    Waitable *operator[](size_t i) const { return objects_[i]; }

private:
    Waitable *objects_[kMaxWaitObjects];
    size_t count_;
};

}  // namespace

uint32_t wait_any(std::span<Waitable *const> objects, uint32_t timeout_ms) {
    if (objects.empty() || objects.size() > kMaxWaitObjects) return kWaitFailed;
    if (std::find(objects.begin(), objects.end(), nullptr) != objects.end()) return kWaitFailed;

    const LockSet set(objects);
    auto lock_all = [&] {
        for (size_t i = 0; i < set.size(); ++i) set[i]->lock_.lock();
    };
    auto unlock_all = [&] {
        for (size_t i = set.size(); i-- > 0;) set[i]->lock_.unlock();
    };
    // Under all locks: the first signalled object in argument order, consumed
    // if it resets automatically.
    auto take_first = [&]() -> uint32_t {
        for (size_t i = 0; i < objects.size(); ++i) {
            Waitable *object = objects[i];
            if (!object->signalled_) continue;
            if (object->auto_reset_) object->signalled_ = false;
            return kWaitObject0 + static_cast<uint32_t>(i);
        }
        return kWaitTimeout;
    };

    lock_all();
    uint32_t result = take_first();
    if (result != kWaitTimeout || timeout_ms == 0) {
        unlock_all();
        return result;
    }

    // Register with every object while still holding all locks, so that no
    // signal can fall between the look above and the sleep below.
    Waiter waiter;
    WaitLink links[kMaxWaitObjects];
    for (size_t i = 0; i < set.size(); ++i) {
        Waitable *object = set[i];
        WaitLink &link = links[i];
        link.waiter = &waiter;
        link.prev = nullptr;
        link.next = object->waits_;
        if (object->waits_ != nullptr) object->waits_->prev = &link;
        object->waits_ = &link;
    }
    unlock_all();

    const bool infinite = timeout_ms == kInfinite;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    bool timed_out = false;
    for (;;) {
        {
            std::unique_lock<std::mutex> guard(waiter.lock);
            auto woken = [&] { return waiter.woken; };
            if (infinite) {
                waiter.wake_up.wait(guard, woken);
            } else if (!waiter.wake_up.wait_until(guard, deadline, woken)) {
                timed_out = true;
            }
            // A signal after this point sets it again; the look below comes
            // later, so none is lost.
            waiter.woken = false;
        }
        lock_all();
        result = take_first();
        if (result != kWaitTimeout || timed_out) break;
        unlock_all();
    }

    for (size_t i = 0; i < set.size(); ++i) {
        Waitable *object = set[i];
        WaitLink &link = links[i];
        if (link.prev != nullptr) link.prev->next = link.next;
        else object->waits_ = link.next;
        if (link.next != nullptr) link.next->prev = link.prev;
    }
    unlock_all();
    return result;
}

}  // namespace kavix::platform
