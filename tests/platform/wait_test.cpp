#include "platform/wait.h"

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <thread>
#include <vector>

#include "platform/event.h"
#include "wait_helpers.h"

namespace kavix::platform {
namespace {

using test::kGenerousMs;
using test::until_blocked;
using Reset = Event::Reset;

// Every combination of signalled objects among four, alternately auto-reset
// and manual-reset: the wait returns the lowest signalled index, consumes that
// object if it resets automatically, and leaves every other object as it was.
TEST(WaitAny, ReturnsTheFirstSignalledObjectInArgumentOrderAndConsumesOnlyIt) {
    const Reset kinds[4] = {Reset::automatic, Reset::manual, Reset::automatic, Reset::manual};
    for (unsigned mask = 0; mask < 16; ++mask) {
        SCOPED_TRACE(testing::Message() << "signalled mask " << mask);
        std::deque<Event> events;
        for (unsigned i = 0; i < 4; ++i) events.emplace_back(kinds[i], (mask >> i) & 1);
        const uint32_t result = wait_any({&events[0], &events[1], &events[2], &events[3]}, 0);

        if (mask == 0) {
            EXPECT_EQ(result, kWaitTimeout);
            continue;
        }
        const unsigned first = static_cast<unsigned>(__builtin_ctz(mask));
        EXPECT_EQ(result, kWaitObject0 + first);
        for (unsigned i = 0; i < 4; ++i) {
            const bool was_set = (mask >> i) & 1;
            const bool consumed = i == first && kinds[i] == Reset::automatic;
            EXPECT_EQ(events[i].is_signalled(), was_set && !consumed) << "object " << i;
        }
    }
}

TEST(WaitAny, ArgumentOrderNotCreationOrderDecides) {
    Event a(Reset::manual, true), b(Reset::manual, true);
    EXPECT_EQ(wait_any({&b, &a}, 0), kWaitObject0);
    Event never(Reset::manual);
    EXPECT_EQ(wait_any({&never, &b, &a}, 0), kWaitObject0 + 1);
}

TEST(WaitAny, FiniteWaitTimesOutWithTheTimeOutResultAfterItsTime) {
    Event a(Reset::automatic), b(Reset::manual);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(wait_any({&a, &b}, 30), kWaitTimeout);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
    EXPECT_EQ(a.blocked_waits(), 0u);
    EXPECT_EQ(b.blocked_waits(), 0u);
}

TEST(WaitAny, RefusesCallsItCannotServe) {
    Event a(Reset::manual, true);
    EXPECT_EQ(wait_any(std::span<Waitable *const>(), 0), kWaitFailed);
    EXPECT_EQ(wait_any({&a, nullptr}, 0), kWaitFailed);

    std::deque<Event> many;
    std::vector<Waitable *> objects;
    for (size_t i = 0; i <= kMaxWaitObjects; ++i) objects.push_back(&many.emplace_back(Reset::manual));
    EXPECT_EQ(wait_any(objects, 0), kWaitFailed);
    objects.pop_back();
    many[kMaxWaitObjects - 1].set();
    EXPECT_EQ(wait_any(objects, 0), kWaitObject0 + kMaxWaitObjects - 1);
}

TEST(WaitAny, TheSameObjectTwiceIsTakenOnceAtItsFirstPlace) {
    Event a(Reset::automatic, true), b(Reset::manual);
    EXPECT_EQ(wait_any({&b, &a, &a}, 0), kWaitObject0 + 1);
    EXPECT_FALSE(a.is_signalled());
    EXPECT_EQ(wait_any({&a, &b, &a}, 20), kWaitTimeout);
}

TEST(WaitAny, ABlockedWaitWakesForTheObjectThatIsSignalledAndUnregisters) {
    for (size_t which = 0; which < 3; ++which) {
        SCOPED_TRACE(testing::Message() << "signalled object " << which);
        Event a(Reset::automatic), b(Reset::manual), c(Reset::automatic);
        Event *objects[3] = {&a, &b, &c};
        uint32_t result = kWaitFailed;
        std::thread waiter([&] { result = wait_any({&a, &b, &c}, kGenerousMs); });
        ASSERT_TRUE(until_blocked(*objects[which], 1));
        objects[which]->set();
        waiter.join();
        EXPECT_EQ(result, kWaitObject0 + which);
        for (Event *e : objects) EXPECT_EQ(e->blocked_waits(), 0u);
    }
}

// The shape of the capture loop: one thread waits for "stop or data" round
// after round while another feeds data and finally stops it. Every block fed
// is seen once; stop ends the loop even with data pending behind it.
TEST(WaitAny, StopOrDataLoopSeesEveryBlockAndThenTheStop) {
    constexpr int kBlocks = 5000;
    Event stop(Reset::manual), full(Reset::automatic), free(Reset::automatic, true);
    int seen = 0;
    uint32_t last = kWaitFailed;
    std::thread consumer([&] {
        for (;;) {
            last = wait_any({&stop, &full}, kGenerousMs);
            if (last != kWaitObject0 + 1) return;
            ++seen;
            free.set();
        }
    });
    for (int i = 0; i < kBlocks; ++i) {
        ASSERT_EQ(free.wait(kGenerousMs), kWaitObject0);
        full.set();
    }
    ASSERT_EQ(free.wait(kGenerousMs), kWaitObject0);
    full.set();  // a block may still lie ready when stop comes: stop wins over it
    stop.set();
    consumer.join();
    EXPECT_EQ(last, kWaitObject0);
    EXPECT_GE(seen, kBlocks);
    EXPECT_LE(seen, kBlocks + 1);
}

}  // namespace
}  // namespace kavix::platform
