#pragma once
// The frame rate is no setting of its own: it follows from the frame clock
// and the clocks one frame takes. Recording uses the two numbers as its
// file's rate and scale.
#include <cstdint>

#include "session/session.h"

namespace kavix::sensor {

// Clocks of one frame. Cameras with frame timing in the FPGA (function 20)
// tell it in register block 21 (0x10000 without a register table; 0 when the
// read fails). Others: the line and frame lengths, where in the long-exposure
// scan modes an exposure longer than the frame stretches the frame.
uint32_t ClocksPerFrame(Session &session);

// The frequency those clocks run at, in Hz: register block 21 or status 86
// on cameras with function 20 (0 when the read fails), else the sensor clock.
uint32_t FrameClockHz(Session &session);

// Frames per second, FrameClockHz / ClocksPerFrame in single precision; 0.0
// when either is 0.
float output_frames_per_second(Session &session);

}  // namespace kavix::sensor
