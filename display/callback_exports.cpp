// The eighteen exports of the three callback lists: raw, preview bitmap and
// preview GDI, six each with the same behaviour.
#include "KavixD.h"
#include "display/callback_list.h"
#include "session/export_frame.h"
#include "session/lifecycle_steps.h"

namespace {

using kavix::Session;

// Each body reaches its list through a selector, so the six bodies are
// written once for all three kinds.
template <typename Fn>
KAVIX_BOOL add(KAVIX_HANDLE camera, kavix::display::CallbackList<Fn> &(*list)(Session &), Fn function,
               void *context, uint32_t *id) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (function == nullptr || id == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        if (!list(s).add(function, context, id)) return s.fail(KAVIX_ERROR_NOT_ENOUGH_MEMORY);
        return 1;
    });
}

template <typename Fn>
KAVIX_BOOL remove(KAVIX_HANDLE camera, kavix::display::CallbackList<Fn> &(*list)(Session &), uint32_t id) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        list(s).remove(id);
        return 1;
    });
}

template <typename Fn>
KAVIX_BOOL remove_all(KAVIX_HANDLE camera, kavix::display::CallbackList<Fn> &(*list)(Session &)) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        list(s).remove_all();
        return 1;
    });
}

template <typename Fn>
KAVIX_BOOL count(KAVIX_HANDLE camera, kavix::display::CallbackList<Fn> &(*list)(Session &), uint32_t *n) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (n == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        *n = list(s).count();
        return 1;
    });
}

template <typename Fn>
KAVIX_BOOL get(KAVIX_HANDLE camera, kavix::display::CallbackList<Fn> &(*list)(Session &), uint32_t index,
               Fn *function, uint32_t *id) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (function == nullptr || id == nullptr) return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        list(s).get(index, function, id);
        return 1;
    });
}

template <typename Fn>
KAVIX_BOOL get_list(KAVIX_HANDLE camera, kavix::display::CallbackList<Fn> &(*list)(Session &),
                    uint32_t capacity, Fn *functions, uint32_t *ids, uint32_t *n) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (n == nullptr || (capacity != 0 && (functions == nullptr || ids == nullptr))) {
            return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        *n = list(s).list(capacity, functions, ids);
        return 1;
    });
}

kavix::display::RawCallbackList &raw(Session &s) { return s.callbacks.Raw; }
kavix::display::PreviewBitmapCallbackList &bitmap(Session &s) { return s.callbacks.Bitmap; }
kavix::display::PreviewGdiCallbackList &gdi(Session &s) { return s.callbacks.Gdi; }

}  // namespace

namespace kavix {

void remove_all_callbacks(Session &session) {
    session.callbacks.Raw.remove_all();
    session.callbacks.Bitmap.remove_all();
    session.callbacks.Gdi.remove_all();
}

}  // namespace kavix

// ---- Raw --------------------------------------------------------------------

extern "C" KAVIX_API KAVIX_BOOL Kavix_AddRawCallback(KAVIX_HANDLE camera, KAVIX_RAW_CALLBACK function,
                                                     void *context, uint32_t *id) {
    return add(camera, raw, function, context, id);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_RemoveRawCallback(KAVIX_HANDLE camera, uint32_t id) {
    return remove(camera, raw, id);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_RemoveAllRawCallback(KAVIX_HANDLE camera) { return remove_all(camera, raw); }
extern "C" KAVIX_API KAVIX_BOOL Kavix_GetRawCallbackCount(KAVIX_HANDLE camera, uint32_t *count_out) {
    return count(camera, raw, count_out);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_GetRawCallback(KAVIX_HANDLE camera, uint32_t index,
                                                     KAVIX_RAW_CALLBACK *function, uint32_t *id) {
    return get(camera, raw, index, function, id);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_GetRawCallbackList(KAVIX_HANDLE camera, uint32_t capacity,
                                                         KAVIX_RAW_CALLBACK *functions, uint32_t *ids,
                                                         uint32_t *count_out) {
    return get_list(camera, raw, capacity, functions, ids, count_out);
}

// ---- Preview bitmap -----------------------------------------------------------

extern "C" KAVIX_API KAVIX_BOOL Kavix_AddPreviewBitmapCallback(KAVIX_HANDLE camera,
                                                               KAVIX_PREVIEW_BITMAP_CALLBACK function,
                                                               void *context, uint32_t *id) {
    return add(camera, bitmap, function, context, id);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_RemovePreviewBitmapCallback(KAVIX_HANDLE camera, uint32_t id) {
    return remove(camera, bitmap, id);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_RemoveAllPreviewBitmapCallback(KAVIX_HANDLE camera) {
    return remove_all(camera, bitmap);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_GetPreviewBitmapCallbackCount(KAVIX_HANDLE camera, uint32_t *count_out) {
    return count(camera, bitmap, count_out);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_GetPreviewBitmapCallback(KAVIX_HANDLE camera, uint32_t index,
                                                               KAVIX_PREVIEW_BITMAP_CALLBACK *function,
                                                               uint32_t *id) {
    return get(camera, bitmap, index, function, id);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_GetPreviewBitmapCallbackList(KAVIX_HANDLE camera, uint32_t capacity,
                                                                   KAVIX_PREVIEW_BITMAP_CALLBACK *functions,
                                                                   uint32_t *ids, uint32_t *count_out) {
    return get_list(camera, bitmap, capacity, functions, ids, count_out);
}

// ---- Preview GDI ----------------------------------------------------------------

extern "C" KAVIX_API KAVIX_BOOL Kavix_AddPreviewGDICallback(KAVIX_HANDLE camera,
                                                            KAVIX_PREVIEW_GDI_CALLBACK function, void *context,
                                                            uint32_t *id) {
    return add(camera, gdi, function, context, id);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_RemovePreviewGDICallback(KAVIX_HANDLE camera, uint32_t id) {
    return remove(camera, gdi, id);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_RemoveAllPreviewGDICallback(KAVIX_HANDLE camera) {
    return remove_all(camera, gdi);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_GetPreviewGDICallbackCount(KAVIX_HANDLE camera, uint32_t *count_out) {
    return count(camera, gdi, count_out);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_GetPreviewGDICallback(KAVIX_HANDLE camera, uint32_t index,
                                                            KAVIX_PREVIEW_GDI_CALLBACK *function, uint32_t *id) {
    return get(camera, gdi, index, function, id);
}
extern "C" KAVIX_API KAVIX_BOOL Kavix_GetPreviewGDICallbackList(KAVIX_HANDLE camera, uint32_t capacity,
                                                                KAVIX_PREVIEW_GDI_CALLBACK *functions,
                                                                uint32_t *ids, uint32_t *count_out) {
    return get_list(camera, gdi, capacity, functions, ids, count_out);
}
