// Exports of the session family: open, close, count, errors, transport handle.
#include "KavixD.h"
#include "session/export_frame.h"

using kavix::Session;

extern "C" KAVIX_API uint32_t Kavix_GetLastError(KAVIX_HANDLE camera) {
    // No validation: this is how a caller learns why a call failed, and it
    // clears nothing.
    if (camera == nullptr) return kavix::global_last_error();
    return kavix::session_of(camera)->last_error();
}
