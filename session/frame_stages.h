#pragma once
// The stages the capture thread runs on a frame, in the order of a frame's
// life, as points the capture loop calls. Each stage belongs to its own
// subsystem, which fills its point in frame_stages.cpp; a point whose
// subsystem isn't there yet does nothing and reports that nothing was asked
// of it (no consumer, no error), so the frame goes on exactly as it would
// with that stage switched off.
#include <cairo.h>

#include <cstdint>

#include "session/session.h"

namespace kavix::stages {

// ---- Thread start ---------------------------------------------------------

// The trigger mode as Kavix_GetTriggerMode gives it, read once per thread; 0
// when it can't be read.
uint32_t read_trigger_flags(Session &session);

// ---- Who wants this frame ---------------------------------------------------

// The automatic controls may ask for a frame even when no output wants one;
// asking counts down their skip counters.
bool white_balance_wants_frame(Session &session);
bool luminance_wants_frame(Session &session);

// The library's own preview window exists and is alive.
bool preview_window_alive(Session &session);

// ---- Raw frame, in place in the ring block ----------------------------------

void noise_reduction(Session &session, uint32_t width, uint32_t height, uint16_t color_array,
                     uint8_t *pixels);
void raw_white_balance(Session &session, uint32_t width, uint32_t height, uint16_t color_array,
                       uint8_t *pixels);
void frame_statistics(Session &session, uint32_t width, uint32_t height, uint16_t color_array,
                      const uint8_t *pixels);
// 0, or the Windows error that ends the capture thread.
uint32_t luminance_step(Session &session);
void white_balance_step(Session &session);
void shading(Session &session, uint32_t width, uint32_t height, uint8_t *pixels);
void raw_gamma(Session &session, uint32_t width, uint32_t height, uint16_t color_array,
               uint8_t *pixels);
// Software mirror (low nibble) and rotation; may exchange width and height
// and, in the raw form, change the colour array. 0 or a Windows error.
uint32_t mirror_and_rotation_raw(Session &session, uint8_t mirror, uint8_t rotation, uint32_t &width,
                                 uint32_t &height, uint16_t &color_array, uint8_t *pixels);
uint32_t mirror_and_rotation_direct(Session &session, uint8_t mirror, uint8_t rotation,
                                    uint32_t &width, uint32_t &height, uint8_t *pixels);

// ---- Recorder ---------------------------------------------------------------
// The capture loop takes RecorderFrameMutex around these, RecorderMutex
// inside it for the recorder pointer.

bool recorder_exists(Session &session);
uint32_t recorder_mode(Session &session);
// Hands one frame to the recorder; true once the recording has finished.
bool recorder_add_frame(Session &session, const uint8_t *pixels, uint32_t frame_number,
                        uint16_t color_array);
void delete_recorder(Session &session);

// ---- Preview image, in place in the target bitmap ------------------------

void preview_gamma(Session &session, uint32_t width, uint32_t height, uint32_t format, uint8_t *target);
// 0 or a Windows error.
uint32_t sharpness(Session &session, uint32_t width, uint32_t height, uint32_t format, uint8_t *target);
uint32_t color_matrix_and_hue(Session &session, uint32_t width, uint32_t height, uint8_t *target);
// ---- Display ----------------------------------------------------------------

// The text overlay for flag 1 or 2 of DisplayInfoMode, drawn on the same
// context as the GDI callbacks.
void display_info_overlay(Session &session, cairo_t *context, uint32_t flag);
// Asks the preview window to repaint its whole area, without erasing.
void invalidate_preview_window(Session &session);

}  // namespace kavix::stages
