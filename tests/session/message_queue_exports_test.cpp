#include <gtest/gtest.h>
#include <poll.h>

#include <thread>

#include "KavixD.h"
#include "session/receive_queues.h"

namespace {

bool readable(int fd) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, 0) == 1 && (p.revents & POLLIN) != 0;
}

TEST(MessageQueueExports, PostedMessagesComeOutInOrderWithTheirArguments) {
    KAVIX_MESSAGE_QUEUE queue = Kavix_CreateMessageQueue();
    ASSERT_NE(queue, nullptr);
    const int fd = Kavix_GetMessageQueueFd(queue);
    ASSERT_GE(fd, 0);
    EXPECT_FALSE(readable(fd));

    EXPECT_EQ(kavix::post_message(queue, KAVIX_MSG_TRANSFER_STARTED, 0x1234, 0), 0u);
    EXPECT_EQ(kavix::post_message(queue, KAVIX_MSG_FRAME_READY, 0x1234, 77), 0u);
    EXPECT_TRUE(readable(fd));

    KAVIX_MESSAGE m{};
    ASSERT_EQ(Kavix_GetMessage(queue, &m, 0), 1);
    EXPECT_EQ(m.number, KAVIX_MSG_TRANSFER_STARTED);
    EXPECT_EQ(m.wparam, 0x1234u);
    EXPECT_EQ(m.lparam, 0);
    ASSERT_EQ(Kavix_GetMessage(queue, &m, KAVIX_INFINITE), 1);
    EXPECT_EQ(m.number, KAVIX_MSG_FRAME_READY);
    EXPECT_EQ(m.lparam, 77);
    EXPECT_FALSE(readable(fd));

    EXPECT_EQ(Kavix_GetMessage(queue, &m, 0), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_ERROR_WAIT_TIMEOUT);
    EXPECT_EQ(Kavix_GetMessage(queue, nullptr, 0), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Kavix_DestroyMessageQueue(queue), 1);
}

TEST(MessageQueueExports, ADestroyedQueueRefusesEverythingHarmlessly) {
    KAVIX_MESSAGE_QUEUE queue = Kavix_CreateMessageQueue();
    ASSERT_NE(queue, nullptr);
    ASSERT_EQ(Kavix_DestroyMessageQueue(queue), 1);
    EXPECT_EQ(kavix::post_message(queue, KAVIX_MSG_FRAME_READY, 0, 0), 1400u);
    KAVIX_MESSAGE m{};
    EXPECT_EQ(Kavix_GetMessage(queue, &m, 0), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), 1400u);
    EXPECT_EQ(Kavix_GetMessageQueueFd(queue), -1);
    EXPECT_EQ(Kavix_DestroyMessageQueue(queue), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), 1400u);
    // Not a queue at all.
    int not_a_queue = 0;
    EXPECT_EQ(kavix::post_message(&not_a_queue, KAVIX_MSG_FRAME_READY, 0, 0), 1400u);
    EXPECT_EQ(kavix::post_message(nullptr, KAVIX_MSG_FRAME_READY, 0, 0), 1400u);
}

TEST(MessageQueueExports, DestroyWakesABlockedGet) {
    KAVIX_MESSAGE_QUEUE queue = Kavix_CreateMessageQueue();
    ASSERT_NE(queue, nullptr);
    KAVIX_BOOL got = 1;
    std::shared_ptr<kavix::platform::MessageQueue> live = kavix::find_receive_queue(queue);
    std::thread reader([&] {
        KAVIX_MESSAGE m{};
        got = Kavix_GetMessage(queue, &m, KAVIX_INFINITE);
    });
    // Destroying while the get may or may not have started: either way it
    // ends with a failure, never a hang.
    ASSERT_EQ(Kavix_DestroyMessageQueue(queue), 1);
    reader.join();
    EXPECT_EQ(got, 0);
    EXPECT_TRUE(live->destroyed());
}

TEST(MessageQueueExports, SetReceiveMsgWindowChecksTheHandle) {
    EXPECT_EQ(Kavix_SetReceiveMsgWindow(nullptr, nullptr), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
}

}  // namespace
