#pragma once
// The frame every export shares: how a handle is checked, where a failure's
// reason is kept, and that no exception ever crosses the C boundary.
//
// Typical export:
//
//   extern "C" KAVIX_API KAVIX_BOOL Kavix_GetThing(KAVIX_HANDLE camera, uint32_t *thing) {
//       return kavix::session_export(camera, [&](kavix::Session &s) -> KAVIX_BOOL {
//           if (thing == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
//           *thing = s.mode.Width;
//           return 1;
//       });
//   }
#include <cstdint>
#include <utility>

#include "KavixD.h"
#include "session/session.h"

namespace kavix {

// The process-wide error of calls that have no session: failures of
// Kavix_Open and calls with a null handle. A plain word: the last writer wins.
uint32_t global_last_error();
void set_global_last_error(uint32_t error);

inline Session *session_of(KAVIX_HANDLE handle) { return reinterpret_cast<Session *>(handle); }
inline KAVIX_HANDLE handle_of(Session *session) { return reinterpret_cast<KAVIX_HANDLE>(session); }

// The check at the head of an export. A null handle sets the global error, a
// handle without a transport the session's, both to KAVIX_E_BAD_HANDLE, and
// give null. Otherwise the session.
Session *validate(KAVIX_HANDLE handle);

// Inside a catch block: the error number the exception in flight stands for,
// KAVIX_ERROR_NOT_ENOUGH_MEMORY for allocation failures, else
// KAVIX_ERROR_INVALID_PARAMETER.
uint32_t current_exception_error() noexcept;

// Validates `handle` and runs `body(session)`, which gives the export's
// result (0 for failure, anything else success; a transport operation's own
// non-zero result may pass through). An exception from the body becomes the
// session's last error and a result of 0.
template <typename Body>
KAVIX_BOOL session_export(KAVIX_HANDLE handle, Body &&body) noexcept {
    Session *session = validate(handle);
    if (session == nullptr) return 0;
    try {
        return static_cast<KAVIX_BOOL>(std::forward<Body>(body)(*session));
    } catch (...) {
        session->set_error(current_exception_error());
        return 0;
    }
}

// For exports without a session: runs `body()`; an exception becomes the
// global error and the result `on_exception`.
template <typename Result, typename Body>
Result global_export(Result on_exception, Body &&body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        set_global_last_error(current_exception_error());
        return on_exception;
    }
}

}  // namespace kavix
