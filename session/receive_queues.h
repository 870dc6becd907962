#pragma once
// The message queues that stand in for the windows an application names to
// receive the library's notifications. A queue handle is checked against the
// live queues at every use, as a window handle is: posting to a queue that
// has been destroyed fails with 1400 and does no harm.
#include <cstdint>
#include <memory>

#include "platform/message_queue.h"

namespace kavix {

// A new live queue; null with the Windows error in `error` (4, 8).
platform::MessageQueue *create_receive_queue(uint32_t &error);
// Destroys a live queue: waiting messages are dropped, blocked gets end with
// 1400. False for a handle that isn't a live queue.
bool destroy_receive_queue(void *queue);
// The live queue behind a handle, kept alive while the caller holds it; null
// for anything else.
std::shared_ptr<platform::MessageQueue> find_receive_queue(void *queue);

// Posts a message to the queue behind `window`: 0 on success, otherwise a
// Windows error number (1400 for a handle that is no live queue, 1816 for a
// full queue). The counterpart of PostMessageW.
uint32_t post_message(void *window, uint32_t number, uintptr_t wparam, intptr_t lparam);

}  // namespace kavix
