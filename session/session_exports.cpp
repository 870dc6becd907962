// Exports of the session family: open, close, count, errors, transport handle.
#include "KavixD.h"
#include "session/device_walk.h"
#include "session/export_frame.h"
#include "session/session_open.h"

using kavix::Session;

extern "C" KAVIX_API uint32_t Kavix_GetLastError(KAVIX_HANDLE camera) {
    // No validation: this is how a caller learns why a call failed, and it
    // clears nothing.
    if (camera == nullptr) return kavix::global_last_error();
    return kavix::session_of(camera)->last_error();
}

extern "C" KAVIX_API KAVIX_HANDLE Kavix_Open(uint32_t user_id) {
    return kavix::handle_of(kavix::open_session(user_id));
}

extern "C" KAVIX_API void Kavix_Close(KAVIX_HANDLE camera) {
    Session *session = kavix::validate(camera);
    if (session != nullptr) kavix::close_session(session);
}

extern "C" KAVIX_API uint32_t Kavix_CameraCount(void) { return kavix::count_devices(); }

extern "C" KAVIX_API KAVIXUSB_HANDLE Kavix_GetKavixUSBHandle(KAVIX_HANDLE camera) {
    Session *session = kavix::validate(camera);
    return session != nullptr ? session->usb() : nullptr;
}
