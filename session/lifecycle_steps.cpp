// Steps of other subsystems whose objects don't exist yet. Remove a step from
// here when its subsystem defines it.
#include "session/lifecycle_steps.h"

namespace kavix {

void create_control_objects(Session &) {}
bool synchronise_luminance_control(Session &) { return true; }
bool create_frame_buffers(Session &) { return true; }
void release_frame_buffers(Session &) {}
void resize_draw_object(Session &) {}
void stop_capture(Session &) {}
void destroy_preview_window(Session &) {}
void remove_all_callbacks(Session &) {}

}  // namespace kavix
