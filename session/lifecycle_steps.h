#pragma once
// Steps of opening, reconfiguring and closing a session that belong to other
// subsystems. Each subsystem defines its step in its own code and removes the
// definition from lifecycle_steps.cpp; until then the step has nothing to do,
// because the objects it would act on don't exist yet.
#include "session/session.h"

namespace kavix {

// Open: create the luminance control, then the white-balance control. A
// failed allocation leaves the pointer null and doesn't fail the open.
void create_control_objects(Session &session);

// Second camera read: bring the luminance control in line with the camera's
// exposure block. False ends the read (and an open).
bool synchronise_luminance_control(Session &session);

// Second camera read: build the register table from the camera's data space;
// a failed fill leaves the table absent without failing the read.
void create_register_table(Session &session);

// The frame buffer pairs with their events and the group 9 mutexes: created
// at open and after format changes, released before format changes and at
// close. Creation sets BuffersReady; a failure leaves KAVIX_ERROR_NOT_ENOUGH_MEMORY.
bool create_frame_buffers(Session &session);
void release_frame_buffers(Session &session);

// A new preview size or pixel format reaches the draw object.
void resize_draw_object(Session &session);

// Close, before the device goes: the capture thread, the preview window and
// every callback entry.
void stop_capture(Session &session);
void destroy_preview_window(Session &session);
void remove_all_callbacks(Session &session);

}  // namespace kavix
