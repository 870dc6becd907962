#include "platform/mutex.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>

namespace kavix::platform {
namespace {

bool other_thread_can_lock(Mutex &mutex) {
    bool locked = false;
    std::thread other([&] {
        locked = mutex.try_lock();
        if (locked) mutex.unlock();
    });
    other.join();
    return locked;
}

TEST(Mutex, TheHolderReentersAndOthersWaitUntilTheLastRelease) {
    Mutex mutex;
    EXPECT_FALSE(mutex.held_by_current_thread());
    mutex.lock();
    ASSERT_TRUE(mutex.try_lock());
    {
        std::lock_guard<Mutex> again(mutex);
        EXPECT_TRUE(mutex.held_by_current_thread());
        EXPECT_FALSE(other_thread_can_lock(mutex));
    }
    mutex.unlock();
    EXPECT_TRUE(mutex.held_by_current_thread());
    EXPECT_FALSE(other_thread_can_lock(mutex));
    mutex.unlock();
    EXPECT_FALSE(mutex.held_by_current_thread());
    EXPECT_TRUE(other_thread_can_lock(mutex));
}

TEST(Mutex, ExcludesOtherThreadsAtAnyDepth) {
    constexpr int kRounds = 100000;
    Mutex mutex;
    long counter = 0;  // deliberately plain: the lock alone protects it
    auto work = [&] {
        for (int i = 0; i < kRounds; ++i) {
            std::lock_guard<Mutex> outer(mutex);
            std::lock_guard<Mutex> inner(mutex);
            ++counter;
        }
    };
    std::thread a(work), b(work);
    a.join();
    b.join();
    EXPECT_EQ(counter, 2L * kRounds);
}

}  // namespace
}  // namespace kavix::platform
