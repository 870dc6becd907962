#include "display/callback_list.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace kavix::display {
namespace {

// A callback of the raw kind whose context is a vector of calls.
struct Calls {
    std::vector<int> order;
};

template <int Tag>
void record_call(const uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t, uint16_t, uint32_t,
                 void *context, void *reserved) {
    EXPECT_EQ(reserved, nullptr);
    static_cast<Calls *>(context)->order.push_back(Tag);
}

TEST(CallbackList, IdsComeFromTheLargestLiveId) {
    RawCallbackList list;
    Calls calls;
    uint32_t a = 0, b = 0, c = 0, d = 0;
    ASSERT_TRUE(list.add(record_call<1>, &calls, &a));
    ASSERT_TRUE(list.add(record_call<2>, &calls, &b));
    EXPECT_EQ(a, 1u);
    EXPECT_EQ(b, 2u);
    list.remove(1);
    ASSERT_TRUE(list.add(record_call<3>, &calls, &c));
    EXPECT_EQ(c, 3u);  // 2 still lives, so 2 + 1
    list.remove(3);
    ASSERT_TRUE(list.add(record_call<3>, &calls, &c));
    EXPECT_EQ(c, 3u);  // an id returns once its higher holders are gone
    list.remove_all();
    EXPECT_TRUE(list.empty());
    ASSERT_TRUE(list.add(record_call<4>, &calls, &d));
    EXPECT_EQ(d, 1u);
}

TEST(CallbackList, UnknownIdChangesNothing) {
    RawCallbackList list;
    Calls calls;
    uint32_t id = 0;
    ASSERT_TRUE(list.add(record_call<1>, &calls, &id));
    list.remove(7);
    EXPECT_EQ(list.count(), 1u);
}

TEST(CallbackList, GetAndListFollowRegistrationOrder) {
    RawCallbackList list;
    Calls calls;
    uint32_t id = 0;
    list.add(record_call<1>, &calls, &id);
    list.add(record_call<2>, &calls, &id);
    list.add(record_call<3>, &calls, &id);
    list.remove(2);

    KAVIX_RAW_CALLBACK function = nullptr;
    list.get(1, &function, &id);
    EXPECT_EQ(function, &record_call<3>);
    EXPECT_EQ(id, 3u);
    list.get(2, &function, &id);  // past the end
    EXPECT_EQ(function, nullptr);
    EXPECT_EQ(id, 0u);

    KAVIX_RAW_CALLBACK functions[4] = {};
    uint32_t ids[4] = {9, 9, 9, 9};
    EXPECT_EQ(list.list(0, functions, ids), 2u);  // capacity 0 fills nothing
    EXPECT_EQ(ids[0], 9u);
    EXPECT_EQ(list.list(1, functions, ids), 2u);
    EXPECT_EQ(ids[0], 1u);
    EXPECT_EQ(ids[1], 9u);
    EXPECT_EQ(list.list(4, functions, ids), 2u);
    EXPECT_EQ(functions[0], &record_call<1>);
    EXPECT_EQ(functions[1], &record_call<3>);
    EXPECT_EQ(ids[1], 3u);

    list.call_each(nullptr, 0u, 0u, 0u, 0u, uint16_t(0), 0u);
    EXPECT_EQ(calls.order, (std::vector<int>{1, 3}));
}

TEST(CallbackList, ArgumentsReachTheCallbackInOrder) {
    struct Seen {
        const uint8_t *pixels;
        uint32_t size, width, height, frame;
        uint16_t array;
        uint32_t bits;
    };
    RawCallbackList list;
    Seen seen{};
    uint32_t id = 0;
    list.add(
        [](const uint8_t *p, uint32_t s, uint32_t w, uint32_t h, uint32_t f, uint16_t a, uint32_t b,
           void *context, void *) { *static_cast<Seen *>(context) = Seen{p, s, w, h, f, a, b}; },
        &seen, &id);
    const uint8_t pixels[1] = {0};
    list.call_each(pixels, 11u, 22u, 33u, 44u, uint16_t(5), 1024u);
    EXPECT_EQ(seen.pixels, pixels);
    EXPECT_EQ(seen.size, 11u);
    EXPECT_EQ(seen.width, 22u);
    EXPECT_EQ(seen.height, 33u);
    EXPECT_EQ(seen.frame, 44u);
    EXPECT_EQ(seen.array, 5u);
    EXPECT_EQ(seen.bits, 1024u);
}

// A callback that registers another one on its own list during the walk: the
// lock re-enters, and the same walk reaches the new record.
struct SelfAdding {
    RawCallbackList *list;
    int first_calls = 0;
    int added_calls = 0;
};

void added_callback(const uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t, uint16_t, uint32_t,
                    void *context, void *) {
    static_cast<SelfAdding *>(context)->added_calls++;
}

void adding_callback(const uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t, uint16_t, uint32_t,
                     void *context, void *) {
    auto *state = static_cast<SelfAdding *>(context);
    if (state->first_calls++ == 0) {
        uint32_t id = 0;
        ASSERT_TRUE(state->list->add(added_callback, state, &id));
        EXPECT_EQ(id, 2u);
    }
}

TEST(CallbackList, CallbackAddingToItsOwnListIsReachedInTheSameWalk) {
    RawCallbackList list;
    SelfAdding state{&list};
    uint32_t id = 0;
    list.add(adding_callback, &state, &id);
    list.call_each(nullptr, 0u, 0u, 0u, 0u, uint16_t(0), 0u);
    EXPECT_EQ(state.first_calls, 1);
    EXPECT_EQ(state.added_calls, 1);
    list.call_each(nullptr, 0u, 0u, 0u, 0u, uint16_t(0), 0u);
    EXPECT_EQ(state.first_calls, 2);
    EXPECT_EQ(state.added_calls, 2);
}

// Remove on another thread while the callback runs must not return before the
// callback has: the application frees the context right after Remove.
struct Blocking {
    std::mutex m;
    std::condition_variable cv;
    bool entered = false;
    bool release = false;
    bool running = false;
    bool remove_returned = false;
    bool remove_returned_while_running = false;
    int calls = 0;
};

void blocking_callback(const uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t, uint16_t, uint32_t,
                       void *context, void *) {
    auto *b = static_cast<Blocking *>(context);
    std::unique_lock<std::mutex> lock(b->m);
    b->calls++;
    b->running = true;
    b->entered = true;
    b->cv.notify_all();
    ASSERT_TRUE(b->cv.wait_for(lock, std::chrono::seconds(30), [&] { return b->release; }));
    // A window in which a Remove that does not wait would be seen returning.
    b->cv.wait_for(lock, std::chrono::milliseconds(100), [&] { return b->remove_returned; });
    b->remove_returned_while_running = b->remove_returned;
    b->running = false;
}

TEST(CallbackList, RemoveFromAnotherThreadWaitsForTheRunningCallback) {
    RawCallbackList list;
    Blocking b;
    uint32_t id = 0;
    list.add(blocking_callback, &b, &id);

    std::thread capture([&] { list.call_each(nullptr, 0u, 0u, 0u, 0u, uint16_t(0), 0u); });
    {
        std::unique_lock<std::mutex> lock(b.m);
        ASSERT_TRUE(b.cv.wait_for(lock, std::chrono::seconds(30), [&] { return b.entered; }));
    }
    // The walk holds the lock: nobody else can take it now.
    std::atomic<bool> could_lock{true};
    std::thread([&] {
        could_lock = list.mutex().try_lock();
        if (could_lock) list.mutex().unlock();
    }).join();
    EXPECT_FALSE(could_lock);

    bool running_at_return = true;
    std::thread remover([&] {
        {
            std::lock_guard<std::mutex> lock(b.m);
            b.release = true;
            b.cv.notify_all();
        }
        list.remove(id);
        std::lock_guard<std::mutex> lock(b.m);
        running_at_return = b.running;
        b.remove_returned = true;
        b.cv.notify_all();
    });
    remover.join();
    capture.join();
    EXPECT_FALSE(running_at_return);
    EXPECT_FALSE(b.remove_returned_while_running);
    EXPECT_EQ(list.count(), 0u);
    list.call_each(nullptr, 0u, 0u, 0u, 0u, uint16_t(0), 0u);
    EXPECT_EQ(b.calls, 1);  // never called again after Remove
}

}  // namespace
}  // namespace kavix::display
