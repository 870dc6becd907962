#include "platform/message_queue.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

#include "platform/error_numbers.h"
#include "platform/wait.h"
#include "wait_helpers.h"

namespace kavix::platform {
namespace {

using test::kGenerousMs;

std::unique_ptr<MessageQueue> make_queue() {
    uint32_t error = 99;
    auto queue = MessageQueue::create(error);
    EXPECT_NE(queue, nullptr);
    EXPECT_EQ(error, 0u);
    return queue;
}

// The descriptor's poll state, without waiting.
bool readable(int descriptor) {
    pollfd entry{descriptor, POLLIN, 0};
    const int ready = poll(&entry, 1, 0);
    return ready == 1 && (entry.revents & POLLIN) != 0;
}

TEST(MessageQueue, DescriptorIsReadableExactlyWhileAMessageWaits) {
    auto queue = make_queue();
    const int fd = queue->descriptor();
    ASSERT_GE(fd, 0);
    Message message;
    EXPECT_FALSE(readable(fd));
    // Go up to three held messages and back down twice, checking each step.
    for (int cycle = 0; cycle < 2; ++cycle) {
        for (size_t held = 1; held <= 3; ++held) {
            ASSERT_EQ(queue->post(0xB00B, held, 0), 0u);
            EXPECT_TRUE(readable(fd)) << "holding " << held;
            EXPECT_EQ(queue->size(), held);
        }
        for (size_t held = 3; held-- > 0;) {
            ASSERT_EQ(queue->get(message, 0), 0u);
            EXPECT_EQ(readable(fd), held > 0) << "holding " << held;
        }
        EXPECT_EQ(queue->get(message, 0), kWaitTimeout);
        EXPECT_FALSE(readable(fd));
    }
}

TEST(MessageQueue, KeepsNumbersAndPointerSizedArgumentsWhole) {
    auto queue = make_queue();
    const Message sent[] = {
        {0xB001, UINTPTR_MAX, INTPTR_MIN},
        {0xB002, 0, -1},
        {0xB00B, uintptr_t(0x123456789ABCDEF0ull), INTPTR_MAX},
    };
    for (const Message &m : sent) ASSERT_EQ(queue->post(m.number, m.wparam, m.lparam), 0u);
    for (const Message &m : sent) {
        Message got;
        ASSERT_EQ(queue->get(got, 0), 0u);
        EXPECT_EQ(got.number, m.number);
        EXPECT_EQ(got.wparam, m.wparam);
        EXPECT_EQ(got.lparam, m.lparam);
    }
}

// Several posting threads: the reader sees each thread's messages complete and
// in the order that thread posted them, while the ring grows under it.
TEST(MessageQueue, KeepsEachPostersOrderAcrossThreads) {
    constexpr unsigned kPosters = 4;
    constexpr unsigned kEach = 2000;
    auto queue = make_queue();
    std::vector<std::thread> posters;
    for (unsigned p = 0; p < kPosters; ++p) {
        posters.emplace_back([&, p] {
            for (unsigned i = 0; i < kEach; ++i) {
                while (queue->post(0xB000 + p, p, intptr_t(i)) == kErrorNotEnoughQuota) std::this_thread::yield();
            }
        });
    }
    std::vector<intptr_t> next(kPosters, 0);
    for (unsigned n = 0; n < kPosters * kEach; ++n) {
        Message got;
        ASSERT_EQ(queue->get(got, kGenerousMs), 0u) << "message " << n;
        ASSERT_LT(got.wparam, kPosters);
        EXPECT_EQ(got.number, 0xB000 + got.wparam);
        EXPECT_EQ(got.lparam, next[got.wparam]) << "poster " << got.wparam;
        next[got.wparam] = got.lparam + 1;
    }
    for (auto &poster : posters) poster.join();
    for (intptr_t count : next) EXPECT_EQ(count, intptr_t(kEach));
    EXPECT_EQ(queue->size(), 0u);
    EXPECT_FALSE(readable(queue->descriptor()));
}

TEST(MessageQueue, ABlockedGetWakesForAPostFromAnotherThread) {
    auto queue = make_queue();
    Message got;
    uint32_t result = kWaitFailed;
    std::thread reader([&] { result = queue->get(got, kGenerousMs); });
    // The reader may or may not be asleep yet: either way it must get it.
    ASSERT_EQ(queue->post(0xB009, 7, 42), 0u);
    reader.join();
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(got.number, 0xB009u);
    EXPECT_EQ(got.lparam, 42);
}

TEST(MessageQueue, FiniteGetOnAnEmptyQueueTimesOutAfterItsTime) {
    auto queue = make_queue();
    Message got;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(queue->get(got, 30), kWaitTimeout);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST(MessageQueue, RefusesPostsBeyondItsLimitUntilOneIsTaken) {
    auto queue = make_queue();
    for (size_t i = 0; i < MessageQueue::kLimit; ++i) ASSERT_EQ(queue->post(1, i, 0), 0u);
    EXPECT_EQ(queue->post(1, 0, 0), kErrorNotEnoughQuota);
    Message got;
    ASSERT_EQ(queue->get(got, 0), 0u);
    EXPECT_EQ(got.wparam, 0u);
    EXPECT_EQ(queue->post(1, 0, 0), 0u);
    EXPECT_EQ(queue->size(), MessageQueue::kLimit);
}

TEST(MessageQueue, ADestroyedQueueRefusesPostAndGetAndDropsItsMessages) {
    auto queue = make_queue();
    ASSERT_EQ(queue->post(1, 0, 0), 0u);
    queue->destroy();
    EXPECT_TRUE(queue->destroyed());
    EXPECT_EQ(queue->descriptor(), -1);
    EXPECT_EQ(queue->size(), 0u);
    EXPECT_EQ(queue->post(1, 0, 0), kErrorInvalidWindowHandle);
    Message got;
    EXPECT_EQ(queue->get(got, 0), kErrorInvalidWindowHandle);
    queue->destroy();  // twice is harmless
}

TEST(MessageQueue, DestroyWakesABlockedGet) {
    auto queue = make_queue();
    Message got;
    uint32_t result = kWaitFailed;
    std::thread reader([&] { result = queue->get(got, kGenerousMs); });
    queue->destroy();
    reader.join();
    EXPECT_EQ(result, kErrorInvalidWindowHandle);
}

}  // namespace
}  // namespace kavix::platform
