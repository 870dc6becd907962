#pragma once
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace kavix::platform {

// One posted message: its number and two pointer-sized arguments.
struct Message {
    uint32_t number = 0;
    uintptr_t wparam = 0;
    intptr_t lparam = 0;
};

// The queue to which the library posts its numbered messages, in place of a
// window. Messages come out in the order they went in, from any number of
// posting threads. descriptor() is an eventfd that polls readable exactly while
// a message waits, so an application can put it into its own poll, epoll, GLib
// or Qt loop and call get when it fires.
//
// All operations are thread-safe. After destroy() the queue holds nothing, its
// descriptor is closed, and post and get fail with 1400 (the number for a
// window that no longer exists); the object itself lives until it is deleted.
class MessageQueue {
public:
    // Messages a queue holds at most; further posts fail with 1816, as they do
    // on a window whose owner no longer reads its messages.
    static constexpr size_t kLimit = 10000;

    // A new queue, or null with a Windows error number in error: 4 when no
    // descriptor is left, 8 when memory is short.
    static std::unique_ptr<MessageQueue> create(uint32_t &error);

    ~MessageQueue();
    MessageQueue(const MessageQueue &) = delete;
    MessageQueue &operator=(const MessageQueue &) = delete;

    // 0, or 1400 after destroy, or 1816 when the queue is full.
    uint32_t post(uint32_t number, uintptr_t wparam, intptr_t lparam);

    // Takes the oldest message, waiting up to timeout_ms (kInfinite for no
    // limit, 0 to only look). 0 with the message in out; 258 when none came in
    // time; 1400 when the queue is or becomes destroyed.
    uint32_t get(Message &out, uint32_t timeout_ms);

    // Readable (POLLIN) exactly while a message waits. Poll it; never read it.
    // -1 after destroy.
    int descriptor() const;

    // Drops waiting messages, closes the descriptor, wakes blocked gets.
    void destroy();
    bool destroyed() const;

    size_t size() const;

private:
    explicit MessageQueue(int descriptor) : descriptor_(descriptor) {}

    void push(const Message &message);  // under lock_, with room
    Message pop();                      // under lock_, not empty

    mutable std::mutex lock_;
    std::condition_variable arrived_;
    int descriptor_;
    bool destroyed_ = false;
    // A ring that grows by doubling up to kLimit, so that steady posting
    // allocates nothing.
    std::vector<Message> ring_;
    size_t head_ = 0;
    size_t count_ = 0;
};

}  // namespace kavix::platform
