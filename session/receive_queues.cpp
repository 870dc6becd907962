#include "session/receive_queues.h"

#include <mutex>
#include <new>
#include <unordered_map>

#include "platform/error_numbers.h"

namespace kavix {

namespace {

// Live queues by handle. Lookups copy the owning pointer under the lock, so a
// queue destroyed meanwhile stays a valid (and refusing) object until the
// last user lets go.
struct Registry {
    std::mutex lock;
    std::unordered_map<void *, std::shared_ptr<platform::MessageQueue>> queues;
};

Registry &registry() {
    static Registry *instance = new Registry;  // lives until the process ends
    return *instance;
}

}  // namespace

platform::MessageQueue *create_receive_queue(uint32_t &error) {
    error = 0;
    try {
        std::shared_ptr<platform::MessageQueue> queue = platform::MessageQueue::create(error);
        if (!queue) return nullptr;
        Registry &r = registry();
        std::lock_guard<std::mutex> guard(r.lock);
        r.queues.emplace(queue.get(), queue);
        return queue.get();
    } catch (const std::bad_alloc &) {
        error = platform::kErrorNotEnoughMemory;
        return nullptr;
    }
}

bool destroy_receive_queue(void *handle) {
    std::shared_ptr<platform::MessageQueue> queue;
    {
        Registry &r = registry();
        std::lock_guard<std::mutex> guard(r.lock);
        auto found = r.queues.find(handle);
        if (found == r.queues.end()) return false;
        queue = std::move(found->second);
        r.queues.erase(found);
    }
    queue->destroy();
    return true;
}

std::shared_ptr<platform::MessageQueue> find_receive_queue(void *handle) {
    if (handle == nullptr) return nullptr;
    Registry &r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    auto found = r.queues.find(handle);
    return found == r.queues.end() ? nullptr : found->second;
}

uint32_t post_message(void *window, uint32_t number, uintptr_t wparam, intptr_t lparam) {
    std::shared_ptr<platform::MessageQueue> queue = find_receive_queue(window);
    if (!queue) return platform::kErrorInvalidWindowHandle;
    return queue->post(number, wparam, lparam);
}

}  // namespace kavix
