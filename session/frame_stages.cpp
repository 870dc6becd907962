// The stage points. Those whose subsystems haven't joined yet do nothing and
// report that nothing was asked of them; a subsystem replaces its point's
// body with the call into its own code.
#include "session/frame_stages.h"

#include "KavixD.h"
#include "session/export_frame.h"

namespace kavix::stages {

uint32_t read_trigger_flags(Session &session) {
    uint32_t flags = 0;
    if (Kavix_GetTriggerMode(handle_of(&session), &flags) == 0) return 0;
    return flags;
}

bool white_balance_wants_frame(Session &) { return false; }
bool luminance_wants_frame(Session &) { return false; }
bool preview_window_alive(Session &) { return false; }

void noise_reduction(Session &, uint32_t, uint32_t, uint16_t, uint8_t *) {}
void raw_white_balance(Session &, uint32_t, uint32_t, uint16_t, uint8_t *) {}
void frame_statistics(Session &, uint32_t, uint32_t, uint16_t, const uint8_t *) {}
uint32_t luminance_step(Session &) { return 0; }
void white_balance_step(Session &) {}
void shading(Session &, uint32_t, uint32_t, uint8_t *) {}
void raw_gamma(Session &, uint32_t, uint32_t, uint16_t, uint8_t *) {}
uint32_t mirror_and_rotation_raw(Session &, uint8_t, uint8_t, uint32_t &, uint32_t &, uint16_t &,
                                 uint8_t *) {
    return 0;
}
uint32_t mirror_and_rotation_direct(Session &, uint8_t, uint8_t, uint32_t &, uint32_t &, uint8_t *) {
    return 0;
}

bool recorder_exists(Session &) { return false; }
uint32_t recorder_mode(Session &) { return 0; }
bool recorder_add_frame(Session &, const uint8_t *, uint32_t, uint16_t) { return false; }
void delete_recorder(Session &) {}

void preview_gamma(Session &, uint32_t, uint32_t, uint32_t, uint8_t *) {}
uint32_t sharpness(Session &, uint32_t, uint32_t, uint32_t, uint8_t *) { return 0; }
uint32_t color_matrix_and_hue(Session &, uint32_t, uint32_t, uint8_t *) { return 0; }
void display_info_overlay(Session &, cairo_t *, uint32_t) {}
void invalidate_preview_window(Session &) {}

}  // namespace kavix::stages
