// Steps of other subsystems whose objects don't exist yet. Remove a step from
// here when its subsystem defines it.
#include "session/lifecycle_steps.h"

namespace kavix {

void create_control_objects(Session &) {}
bool synchronise_luminance_control(Session &) { return true; }
void resize_draw_object(Session &) {}
void destroy_preview_window(Session &) {}

}  // namespace kavix
