#pragma once
#include <atomic>
#include <cstdint>
#include <mutex>

#include "KavixD.h"

namespace kavix::display {

// One list of application callbacks of one kind. Records keep the order of
// registration; a walk calls them from the head while holding the list's lock,
// so that a Remove on another thread waits for the running callback and the
// application may free its context as soon as Remove returns. The lock is
// recursive: a callback may call the exports of its own list on the capture
// thread, and a record added during a walk is reached by that same walk.
class CallbackListBase {
public:
    using Function = void (*)();

    CallbackListBase() = default;
    ~CallbackListBase();
    CallbackListBase(const CallbackListBase &) = delete;
    CallbackListBase &operator=(const CallbackListBase &) = delete;

    // Appends a record and hands out its id: the largest id in the list plus
    // one, 1 for an empty list. False only when memory runs out.
    bool add(Function function, void *context, uint32_t *id);
    // Unlinks and frees the first record with this id; an unknown id is no fault.
    void remove(uint32_t id);
    void remove_all();
    uint32_t count();
    // The record at this position from the head; both outputs 0 past the end.
    void get(uint32_t index, Function *function, uint32_t *id);

    // Cheap test for the capture thread's decision whether anybody wants a
    // frame; it takes no lock, so a record being added may be seen a frame late.
    bool empty() const { return size_.load(std::memory_order_acquire) == 0; }

    std::recursive_mutex &mutex() { return mutex_; }

protected:
    struct Record {
        Record *next;
        uint32_t id;
        Function function;
        void *context;
        void *reserved;  // always 0, handed to the callback as its last argument
    };

    // Walks the list under its lock. The next link is read after the call, so a
    // record appended by the running callback is reached.
    template <typename Call>
    void walk(Call &&call) {
        std::lock_guard<std::recursive_mutex> lock(mutex_);
        for (Record *record = head_; record != nullptr; record = record->next) call(*record);
    }

private:
    void free_all();

    std::recursive_mutex mutex_;
    Record *head_ = nullptr;
    std::atomic<uint32_t> size_{0};
};

// The typed list of one callback kind.
template <typename Fn>
class CallbackList : public CallbackListBase {
public:
    bool add(Fn function, void *context, uint32_t *id) {
        return CallbackListBase::add(reinterpret_cast<Function>(function), context, id);
    }
    void get(uint32_t index, Fn *function, uint32_t *id) {
        Function generic = nullptr;
        CallbackListBase::get(index, &generic, id);
        *function = reinterpret_cast<Fn>(generic);
    }
    // Fills up to capacity entries of both arrays in list order; gives the
    // full number of records.
    uint32_t list(uint32_t capacity, Fn *functions, uint32_t *ids) {
        uint32_t total = 0;
        walk([&](Record &record) {
            if (total < capacity) {
                functions[total] = reinterpret_cast<Fn>(record.function);
                ids[total] = record.id;
            }
            ++total;
        });
        return total;
    }

    // Calls every record with the frame's arguments, then its context and its
    // reserved value.
    template <typename... Args>
    void call_each(Args... args) {
        walk([&](Record &record) {
            reinterpret_cast<Fn>(record.function)(args..., record.context, record.reserved);
        });
    }
};

using RawCallbackList = CallbackList<KAVIX_RAW_CALLBACK>;
using PreviewBitmapCallbackList = CallbackList<KAVIX_PREVIEW_BITMAP_CALLBACK>;
using PreviewGdiCallbackList = CallbackList<KAVIX_PREVIEW_GDI_CALLBACK>;

}  // namespace kavix::display
