#include "platform/message_queue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <new>

#include "platform/error_numbers.h"
#include "platform/wait.h"

namespace kavix::platform {

namespace {

constexpr size_t kFirstCapacity = 64;

// The descriptor's counter is 1 while messages wait and 0 otherwise; it only
// changes under the queue's lock, at the transitions between empty and not.
void raise_descriptor(int descriptor) {
    const uint64_t one = 1;
    ssize_t written;
    do written = write(descriptor, &one, sizeof one);
    while (written < 0 && errno == EINTR);
}

void lower_descriptor(int descriptor) {
    uint64_t value;
    ssize_t got;
    do got = read(descriptor, &value, sizeof value);
    while (got < 0 && errno == EINTR);
}

}  // namespace

std::unique_ptr<MessageQueue> MessageQueue::create(uint32_t &error) {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0) {
        error = (errno == EMFILE || errno == ENFILE) ? kErrorTooManyOpenFiles : kErrorNotEnoughMemory;
        return nullptr;
    }
    std::unique_ptr<MessageQueue> queue(new (std::nothrow) MessageQueue(descriptor));
    if (queue == nullptr) {
        close(descriptor);
        error = kErrorNotEnoughMemory;
        return nullptr;
    }
    error = 0;
    return queue;
}

MessageQueue::~MessageQueue() { destroy(); }

uint32_t MessageQueue::post(uint32_t number, uintptr_t wparam, intptr_t lparam) {
    std::lock_guard<std::mutex> guard(lock_);
    if (destroyed_) return kErrorInvalidWindowHandle;
    if (count_ == kLimit) return kErrorNotEnoughQuota;
    if (count_ == ring_.size()) {
        try {
            std::vector<Message> grown;
            grown.reserve(ring_.empty() ? kFirstCapacity : std::min(ring_.size() * 2, kLimit));
            for (size_t i = 0; i < count_; ++i) grown.push_back(ring_[(head_ + i) % ring_.size()]);
            grown.resize(grown.capacity());
            ring_.swap(grown);
            head_ = 0;
        } catch (const std::bad_alloc &) {
            return kErrorNotEnoughMemory;
        }
    }
    push(Message{number, wparam, lparam});
    if (count_ == 1) raise_descriptor(descriptor_);
    arrived_.notify_one();
    return 0;
}

uint32_t MessageQueue::get(Message &out, uint32_t timeout_ms) {
    std::unique_lock<std::mutex> guard(lock_);
    auto ready = [&] { return destroyed_ || count_ > 0; };
    if (timeout_ms == kInfinite) {
        arrived_.wait(guard, ready);
    } else {
        arrived_.wait_for(guard, std::chrono::milliseconds(timeout_ms), ready);
    }
    if (destroyed_) return kErrorInvalidWindowHandle;
    if (count_ == 0) return kWaitTimeout;
    out = pop();
    if (count_ == 0) lower_descriptor(descriptor_);
    return 0;
}

int MessageQueue::descriptor() const {
    std::lock_guard<std::mutex> guard(lock_);
    return descriptor_;
}

void MessageQueue::destroy() {
    std::lock_guard<std::mutex> guard(lock_);
    if (destroyed_) return;
    destroyed_ = true;
    close(descriptor_);
    descriptor_ = -1;
    std::vector<Message>().swap(ring_);
    head_ = 0;
    count_ = 0;
    arrived_.notify_all();
}

bool MessageQueue::destroyed() const {
    std::lock_guard<std::mutex> guard(lock_);
    return destroyed_;
}

size_t MessageQueue::size() const {
    std::lock_guard<std::mutex> guard(lock_);
    return count_;
}

void MessageQueue::push(const Message &message) {
    ring_[(head_ + count_) % ring_.size()] = message;
    ++count_;
}

Message MessageQueue::pop() {
    const Message message = ring_[head_];
    head_ = (head_ + 1) % ring_.size();
    --count_;
    return message;
}

}  // namespace kavix::platform
