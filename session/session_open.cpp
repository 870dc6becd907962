#include "session/session_open.h"

#include <memory>
#include <new>

#include "session/camera_reads.h"
#include "session/device_walk.h"
#include "session/export_frame.h"
#include "session/fpga_status.h"
#include "session/frame_sizes.h"
#include "session/id_block.h"
#include "session/lifecycle_steps.h"
#include "session/preview_format.h"

namespace kavix {

namespace {

constexpr uint16_t kCameraModeOpen = 0;
constexpr uint16_t kCameraModeReleased = 1;
// The user ID is read as the wide-text export would read it, into a buffer of
// this size; only the number matters here.
constexpr uint32_t kUserIdTextBytes = 2048;

struct WalkNotes {
    bool saw_other_camera = false;
    bool saw_busy_camera = false;
};

uint32_t read_user_id(Session &session) {
    auto text = std::make_unique<char16_t[]>(kUserIdTextBytes / sizeof(char16_t));
    uint32_t id = 0;
    read_camera_id_wide(session, IdBlock::User, &id, text.get(), kUserIdTextBytes);
    return id;
}

// First walk: the camera whose stored user ID equals `user_id` (0 matches a
// stored 0 like any other number). Cameras with other IDs are closed again.
void find_camera_by_user_id(Session &session, uint32_t user_id, WalkNotes &notes) {
    for (uint32_t index = 0; index < kDeviceIndexes; ++index) {
        const DeviceProbe probe = open_device_by_index(index);
        if (!probe.exists) {
            set_global_last_error(probe.result);
            return;
        }
        if (probe.handle == nullptr) {
            notes.saw_busy_camera = true;
            continue;
        }
        session.transport.TransportHandle = probe.handle;
        if (read_user_id(session) == user_id) return;
        KavixUSBD_CloseDevice(probe.handle);
        session.transport.TransportHandle = nullptr;
        notes.saw_other_camera = true;
    }
}

// When cameras exist but none carries the ID: the ID taken as a device index,
// then the first camera that opens.
void fall_back_to_any_camera(Session &session, uint32_t user_id, WalkNotes &notes) {
    if (user_id != 0) {
        session.transport.TransportHandle = open_device_by_index(user_id).handle;
        if (session.usb() != nullptr) return;
    }
    for (uint32_t index = 0; index < kDeviceIndexes; ++index) {
        const DeviceProbe probe = open_device_by_index(index);
        if (!probe.exists) {
            set_global_last_error(probe.result);
            return;
        }
        if (probe.handle != nullptr) {
            session.transport.TransportHandle = probe.handle;
            return;
        }
        notes.saw_busy_camera = true;
    }
}

bool set_up_session(Session &session) {
    KavixUSBD_GetFunctionAddress(session.usb(), &session.thread.USBFunctionAddress);
    if (!read_camera_information(session)) return false;
    // Models without FPGA refuse the write; the session opens all the same,
    // with KAVIX_E_NO_FPGA left in its error.
    write_camera_mode(session, kCameraModeOpen);
    create_control_objects(session);
    if (!read_camera_state(session)) return false;

    const uint32_t format = session.is_mono() ? KAVIX_PREVIEW_MONO8 : KAVIX_PREVIEW_BGR24;
    if (!apply_preview_pixel_format(session, format)) return false;

    session.preview.DestRect.width = session.mode.Width;
    session.preview.DestRect.height = session.mode.Height;
    session.preview.MaskRect.width = session.mode.Width;
    session.preview.MaskRect.height = session.mode.Height;
    // The preview format step may have built them already.
    return session.thread.BuffersReady != 0 || create_frame_buffers(session);
}

void fail_open(std::unique_ptr<Session> session) {
    set_global_last_error(session->last_error());
    if (session->usb() != nullptr) KavixUSBD_CloseDevice(session->usb());
}

}  // namespace

Session *open_session(uint32_t user_id) {
    std::unique_ptr<Session> session;
    try {
        session = std::make_unique<Session>();
    } catch (const std::bad_alloc &) {
        set_global_last_error(KAVIX_ERROR_NOT_ENOUGH_MEMORY);
        KavixUSBD_SetLastError(KAVIX_ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    session->thread.RequestedUserId = user_id;

    try {
        WalkNotes notes;
        find_camera_by_user_id(*session, user_id, notes);
        if (session->usb() == nullptr && notes.saw_other_camera) {
            fall_back_to_any_camera(*session, user_id, notes);
        }
        if (session->usb() == nullptr) {
            session->set_error(notes.saw_busy_camera ? KAVIX_E_CAMERA_BUSY : KAVIX_E_NO_CAMERA);
            fail_open(std::move(session));
            return nullptr;
        }
        if (!set_up_session(*session)) {
            fail_open(std::move(session));
            return nullptr;
        }
    } catch (...) {
        session->set_error(current_exception_error());
        fail_open(std::move(session));
        return nullptr;
    }
    return session.release();
}

void close_session(Session *session) {
    stop_capture(*session);
    destroy_preview_window(*session);
    remove_all_callbacks(*session);
    if (session->usb() != nullptr) {
        release_frame_buffers(*session);
        write_camera_mode(*session, kCameraModeReleased);
        KavixUSBD_CloseDevice(session->usb());
    }
    // The record's groups are destroyed in reverse order of construction.
    delete session;
}

}  // namespace kavix
