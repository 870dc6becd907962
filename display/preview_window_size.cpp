#include "display/preview_window_size.h"

namespace kavix::display {

bool set_preview_window_size(Session &session, uint32_t, uint32_t) {
    if (session.preview.PreviewWindow == nullptr) {
        session.set_error(KAVIX_E_NO_WINDOW);
        return false;
    }
    // Nothing can set PreviewWindow before the preview window itself is
    // built; the move and resize of that window belong here with it.
    return true;
}

}  // namespace kavix::display
