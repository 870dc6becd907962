#include "session/export_frame.h"

#include <atomic>
#include <new>
#include <stdexcept>

namespace kavix {

namespace {
std::atomic<uint32_t> g_global_last_error{0};
}

uint32_t global_last_error() { return g_global_last_error.load(std::memory_order_relaxed); }

void set_global_last_error(uint32_t error) {
    g_global_last_error.store(error, std::memory_order_relaxed);
}

Session *validate(KAVIX_HANDLE handle) {
    Session *session = session_of(handle);
    if (session == nullptr) {
        set_global_last_error(KAVIX_E_BAD_HANDLE);
        return nullptr;
    }
    if (session->usb() == nullptr) {
        session->set_error(KAVIX_E_BAD_HANDLE);
        return nullptr;
    }
    return session;
}

uint32_t current_exception_error() noexcept {
    try {
        throw;
    } catch (const std::bad_alloc &) {
        return KAVIX_ERROR_NOT_ENOUGH_MEMORY;
    } catch (const std::length_error &) {
        return KAVIX_ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return KAVIX_ERROR_INVALID_PARAMETER;
    }
}

}  // namespace kavix
