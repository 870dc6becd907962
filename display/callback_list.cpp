#include "display/callback_list.h"

#include <new>

namespace kavix::display {

CallbackListBase::~CallbackListBase() { free_all(); }

bool CallbackListBase::add(Function function, void *context, uint32_t *id) {
    Record *record = new (std::nothrow) Record{nullptr, 0, function, context, nullptr};
    if (record == nullptr) return false;
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    // Ids come from the largest live id, so an id returns once every higher
    // holder has gone, and a list emptied completely starts again at 1.
    uint32_t largest = 0;
    Record **link = &head_;
    for (; *link != nullptr; link = &(*link)->next) {
        if ((*link)->id > largest) largest = (*link)->id;
    }
    record->id = largest + 1;
    *link = record;
    size_.fetch_add(1, std::memory_order_release);
    *id = record->id;
    return true;
}

void CallbackListBase::remove(uint32_t id) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    for (Record **link = &head_; *link != nullptr; link = &(*link)->next) {
        if ((*link)->id == id) {
            Record *record = *link;
            *link = record->next;
            delete record;
            size_.fetch_sub(1, std::memory_order_release);
            return;
        }
    }
}

void CallbackListBase::remove_all() {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    free_all();
}

void CallbackListBase::free_all() {
    while (head_ != nullptr) {
        Record *record = head_;
        head_ = record->next;
        delete record;
    }
    size_.store(0, std::memory_order_release);
}

uint32_t CallbackListBase::count() {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    return size_.load(std::memory_order_relaxed);
}

void CallbackListBase::get(uint32_t index, Function *function, uint32_t *id) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    *function = nullptr;
    *id = 0;
    uint32_t position = 0;
    for (Record *record = head_; record != nullptr; record = record->next, ++position) {
        if (position == index) {
            *function = record->function;
            *id = record->id;
            return;
        }
    }
}

}  // namespace kavix::display
