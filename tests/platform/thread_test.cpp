#include "platform/thread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <optional>
#include <thread>

#include "platform/error_numbers.h"
#include "platform/event.h"
#include "wait_helpers.h"

namespace kavix::platform {
namespace {

using test::kGenerousMs;
using test::until_blocked;
using Reset = Event::Reset;

TEST(Thread, WithoutABodyItCountsAsEndedAndHasNothingToJoin) {
    Thread thread;
    EXPECT_TRUE(thread.ended());
    EXPECT_EQ(wait_one(thread, 0), kWaitObject0);
    EXPECT_FALSE(thread.joinable());
    EXPECT_FALSE(thread.join());
    EXPECT_FALSE(thread.is_current());
}

TEST(Thread, IsSignalledExactlyFromTheEndOfItsBody) {
    Thread thread;
    Event gate(Reset::manual);
    std::atomic<bool> body_done{false};
    ASSERT_EQ(thread.start([&] {
        gate.wait(kGenerousMs);
        body_done = true;
    }), 0u);
    EXPECT_TRUE(thread.joinable());
    EXPECT_EQ(wait_one(thread, 0), kWaitTimeout);
    EXPECT_FALSE(thread.ended());

    gate.set();
    EXPECT_EQ(wait_one(thread, kGenerousMs), kWaitObject0);
    EXPECT_TRUE(body_done.load());
    EXPECT_TRUE(thread.ended());
    // Ending is a lasting state: every later wait sees it.
    EXPECT_EQ(wait_one(thread, 0), kWaitObject0);
    EXPECT_TRUE(thread.join());
    EXPECT_FALSE(thread.joinable());
}

TEST(Thread, WaitAnyWakesWhenAWaitedThreadEnds) {
    Event stop(Reset::manual), gate(Reset::manual);
    Thread worker;
    ASSERT_EQ(worker.start([&] { gate.wait(kGenerousMs); }), 0u);
    // Release the worker only once the main thread sleeps on it.
    std::thread releaser([&] {
        if (until_blocked(worker, 1)) gate.set();
    });
    EXPECT_EQ(wait_any({&stop, &worker}, kGenerousMs), kWaitObject0 + 1);
    releaser.join();
    EXPECT_TRUE(worker.join());
}

TEST(Thread, StartRefusesWhileAThreadIsAttachedAndWorksAgainAfterJoin) {
    Thread thread;
    Event gate(Reset::manual);
    std::atomic<int> runs{0};
    auto body = [&] {
        gate.wait(kGenerousMs);
        runs.fetch_add(1);
    };
    ASSERT_EQ(thread.start(body), 0u);
    EXPECT_EQ(thread.start(body), kErrorBusy);
    gate.set();
    ASSERT_TRUE(thread.join());
    EXPECT_EQ(runs.load(), 1);

    gate.reset();
    ASSERT_EQ(thread.start(body), 0u);
    EXPECT_EQ(wait_one(thread, 0), kWaitTimeout);  // re-armed by the new start
    gate.set();
    EXPECT_EQ(wait_one(thread, kGenerousMs), kWaitObject0);
    ASSERT_TRUE(thread.join());
    EXPECT_EQ(runs.load(), 2);
}

TEST(Thread, KnowsWhetherTheCallerIsItselfAndRefusesToJoinItself) {
    Thread thread;
    std::optional<bool> inside_current, inside_join;
    ASSERT_EQ(thread.start([&] {
        inside_current = thread.is_current();
        inside_join = thread.join();
    }), 0u);
    ASSERT_EQ(wait_one(thread, kGenerousMs), kWaitObject0);
    EXPECT_FALSE(thread.is_current());
    EXPECT_TRUE(thread.join());
    EXPECT_EQ(inside_current, std::optional<bool>(true));
    EXPECT_EQ(inside_join, std::optional<bool>(false));
}

TEST(Thread, DestructorWaitsForTheBody) {
    Event gate(Reset::manual);
    std::atomic<bool> body_done{false};
    std::thread releaser;
    {
        Thread thread;
        ASSERT_EQ(thread.start([&] {
            gate.wait(kGenerousMs);
            body_done = true;
        }), 0u);
        releaser = std::thread([&] {
            if (until_blocked(gate, 1)) gate.set();
        });
    }
    EXPECT_TRUE(body_done.load());
    releaser.join();
}

// Whether this process may use the real-time FIFO policy at all.
bool fifo_permitted() {
    bool permitted = false;
    std::thread probe([&] {
        sched_param param{};
        param.sched_priority = sched_get_priority_min(SCHED_FIFO);
        permitted = pthread_setschedparam(pthread_self(), SCHED_FIFO, &param) == 0;
    });
    probe.join();
    return permitted;
}

int policy_of_body(Thread::Priority priority) {
    Thread thread;
    int policy = -1;
    EXPECT_EQ(thread.start([&] {
        sched_param param{};
        pthread_getschedparam(pthread_self(), &policy, &param);
    }, priority), 0u);
    thread.join();
    return policy;
}

TEST(Thread, TimeCriticalRunsUnderFifoWhenPermittedAndNormallyOtherwise) {
    EXPECT_EQ(policy_of_body(Thread::Priority::normal), SCHED_OTHER);
    EXPECT_EQ(policy_of_body(Thread::Priority::time_critical), fifo_permitted() ? SCHED_FIFO : SCHED_OTHER);
}

}  // namespace
}  // namespace kavix::platform
