#include "platform/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "wait_helpers.h"

namespace kavix::platform {
namespace {

using test::kGenerousMs;
using test::until_blocked;
using Reset = Event::Reset;

struct InitialCase {
    Reset reset;
    bool initially_set;
    uint32_t first_look;   // zero wait right after construction
    uint32_t second_look;  // and once more
};

class EventInitialState : public testing::TestWithParam<InitialCase> {};

TEST_P(EventInitialState, ZeroWaitsSeeTheStateAndAutoResetConsumesIt) {
    const InitialCase &c = GetParam();
    Event event(c.reset, c.initially_set);
    EXPECT_EQ(event.wait(0), c.first_look);
    EXPECT_EQ(event.wait(0), c.second_look);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, EventInitialState,
    testing::Values(InitialCase{Reset::manual, false, kWaitTimeout, kWaitTimeout},
                    InitialCase{Reset::manual, true, kWaitObject0, kWaitObject0},
                    InitialCase{Reset::automatic, false, kWaitTimeout, kWaitTimeout},
                    InitialCase{Reset::automatic, true, kWaitObject0, kWaitTimeout}));

TEST(Event, SetAndResetChangeTheStateAndLookingDoesNotConsume) {
    Event manual(Reset::manual);
    manual.set();
    EXPECT_TRUE(manual.is_signalled());
    EXPECT_EQ(manual.wait(0), kWaitObject0);
    manual.reset();
    EXPECT_FALSE(manual.is_signalled());
    EXPECT_EQ(manual.wait(0), kWaitTimeout);

    Event automatic(Reset::automatic);
    automatic.set();
    automatic.set();  // a second signal before any wait is not counted
    EXPECT_TRUE(automatic.is_signalled());
    EXPECT_TRUE(automatic.is_signalled());
    EXPECT_EQ(automatic.wait(0), kWaitObject0);
    EXPECT_EQ(automatic.wait(0), kWaitTimeout);
    automatic.set();
    automatic.reset();
    EXPECT_EQ(automatic.wait(0), kWaitTimeout);
}

TEST(Event, FiniteWaitTimesOutWithTheTimeOutResultAfterItsTime) {
    for (Reset reset : {Reset::manual, Reset::automatic}) {
        Event event(reset);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(event.wait(40), kWaitTimeout);
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
    }
}

TEST(Event, ManualSetReleasesEveryBlockedWaiter) {
    constexpr int kWaiters = 4;
    Event event(Reset::manual);
    std::vector<uint32_t> results(kWaiters, kWaitFailed);
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.emplace_back([&, i] { results[i] = event.wait(kGenerousMs); });
    }
    ASSERT_TRUE(until_blocked(event, kWaiters));
    event.set();
    for (auto &waiter : waiters) waiter.join();
    for (uint32_t result : results) EXPECT_EQ(result, kWaitObject0);
    EXPECT_TRUE(event.is_signalled());
}

TEST(Event, AutoResetSetWakesExactlyOneOfSeveralBlockedWaiters) {
    constexpr int kWaiters = 5;
    Event event(Reset::automatic);
    Event stop(Reset::manual);
    Event one_woke(Reset::manual);
    std::vector<uint32_t> results(kWaiters, kWaitFailed);
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.emplace_back([&, i] {
            results[i] = wait_any({&event, &stop}, kGenerousMs);
            if (results[i] == kWaitObject0) one_woke.set();
        });
    }
    ASSERT_TRUE(until_blocked(event, kWaiters));
    event.set();
    ASSERT_EQ(one_woke.wait(kGenerousMs), kWaitObject0);
    stop.set();
    for (auto &waiter : waiters) waiter.join();

    int by_event = 0, by_stop = 0;
    for (uint32_t result : results) {
        by_event += result == kWaitObject0;
        by_stop += result == kWaitObject0 + 1;
    }
    EXPECT_EQ(by_event, 1);
    EXPECT_EQ(by_stop, kWaiters - 1);
    EXPECT_FALSE(event.is_signalled());
}

TEST(Event, EachAutoResetSetReleasesOneMoreBlockedWaiter) {
    constexpr int kWaiters = 4;
    Event event(Reset::automatic);
    std::atomic<int> released{0};
    std::vector<uint32_t> results(kWaiters, kWaitFailed);
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.emplace_back([&, i] {
            results[i] = event.wait(kGenerousMs);
            released.fetch_add(1);
        });
    }
    for (int round = 0; round < kWaiters; ++round) {
        ASSERT_TRUE(until_blocked(event, kWaiters - round));
        event.set();
        // The released waiter unregisters before it counts itself, so the
        // next round sees one blocked wait fewer.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kGenerousMs);
        while (released.load() < round + 1 && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        ASSERT_EQ(released.load(), round + 1);
    }
    for (auto &waiter : waiters) waiter.join();
    for (uint32_t result : results) EXPECT_EQ(result, kWaitObject0);
}

TEST(Event, PingPongBetweenTwoThreadsLosesNoSignal) {
    constexpr int kRounds = 20000;
    Event ping(Reset::automatic), pong(Reset::automatic);
    std::atomic<int> failures{0};
    std::thread partner([&] {
        for (int i = 0; i < kRounds; ++i) {
            if (ping.wait(kGenerousMs) != kWaitObject0) {
                failures.fetch_add(1);
                return;
            }
            pong.set();
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        ping.set();
        if (pong.wait(kGenerousMs) != kWaitObject0) {
            failures.fetch_add(1);
            break;
        }
    }
    partner.join();
    EXPECT_EQ(failures.load(), 0);
}

}  // namespace
}  // namespace kavix::platform
