#pragma once
// Trigger and digital I/O: a thin layer over the FPGA's status words. The
// library keeps no copy of any of these values.
#include <cstdint>

namespace kavix::sensor {

// Status id of trigger timing type 1 to 5 (52 to 60, even); any other type,
// 0 included, reaches 50.
uint16_t trigger_timing_status_id(uint32_t type);

// What Kavix_GetLEDExistence answers for the mask of LED functions: bit 0
// function 5, bits 1 to 4 functions 76 to 79. Only the masks 1 and 2 name a
// layout the application can drive (3 and 1); anything else gives 0.
uint32_t led_existence(uint32_t mask);

}  // namespace kavix::sensor
