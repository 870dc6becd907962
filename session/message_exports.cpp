// The message queues an application receives the library's notifications on,
// and the export that names a session's queue.
#include <memory>

#include "KavixD.h"
#include "platform/error_numbers.h"
#include "session/export_frame.h"
#include "session/receive_queues.h"

using kavix::Session;

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetReceiveMsgWindow(KAVIX_HANDLE camera, KAVIX_MESSAGE_QUEUE queue) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        // Not checked, as a window handle isn't: posting to a queue that
        // isn't (or no longer is) live fails harmlessly.
        s.transport.ReceiveWindow.store(queue, std::memory_order_release);
        return 1;
    });
}

// ---- Message queues ----------------------------------------------------------
// Without a session, failures go to the process-wide last error.

extern "C" KAVIX_API KAVIX_MESSAGE_QUEUE Kavix_CreateMessageQueue(void) {
    return kavix::global_export<KAVIX_MESSAGE_QUEUE>(nullptr, [] {
        uint32_t error = 0;
        kavix::platform::MessageQueue *queue = kavix::create_receive_queue(error);
        if (queue == nullptr) kavix::set_global_last_error(error);
        return reinterpret_cast<KAVIX_MESSAGE_QUEUE>(queue);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_DestroyMessageQueue(KAVIX_MESSAGE_QUEUE queue) {
    return kavix::global_export<KAVIX_BOOL>(0, [&]() -> KAVIX_BOOL {
        if (!kavix::destroy_receive_queue(queue)) {
            kavix::set_global_last_error(kavix::platform::kErrorInvalidWindowHandle);
            return 0;
        }
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetMessage(KAVIX_MESSAGE_QUEUE queue, KAVIX_MESSAGE *message,
                                                 uint32_t timeout_ms) {
    return kavix::global_export<KAVIX_BOOL>(0, [&]() -> KAVIX_BOOL {
        if (message == nullptr) {
            kavix::set_global_last_error(KAVIX_ERROR_INVALID_PARAMETER);
            return 0;
        }
        std::shared_ptr<kavix::platform::MessageQueue> live = kavix::find_receive_queue(queue);
        if (!live) {
            kavix::set_global_last_error(kavix::platform::kErrorInvalidWindowHandle);
            return 0;
        }
        kavix::platform::Message got;
        const uint32_t error = live->get(got, timeout_ms);
        if (error != 0) {
            kavix::set_global_last_error(error);
            return 0;
        }
        message->number = got.number;
        message->wparam = got.wparam;
        message->lparam = got.lparam;
        return 1;
    });
}

extern "C" KAVIX_API int Kavix_GetMessageQueueFd(KAVIX_MESSAGE_QUEUE queue) {
    return kavix::global_export<int>(-1, [&] {
        std::shared_ptr<kavix::platform::MessageQueue> live = kavix::find_receive_queue(queue);
        if (!live) {
            kavix::set_global_last_error(kavix::platform::kErrorInvalidWindowHandle);
            return -1;
        }
        return live->descriptor();
    });
}
