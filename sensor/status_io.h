#pragma once
// Values in the FPGA's status words (request 128, selector 0): one word or a
// pair, low word first. A write goes to the id with bit 15 set where the
// camera expects it; the caller passes the id as it goes out.
#include <cstdint>

#include "session/session.h"

namespace kavix::sensor {

inline constexpr uint16_t kStatusWriteForm = 0x8000;
// The pulse word: written as it is, never read.
inline constexpr uint16_t kStatusPulse = 80;
inline constexpr uint16_t kPulseCommit = 0x0001;
inline constexpr uint16_t kPulseTriggerReadOut = 0x0004;
inline constexpr uint16_t kPulseSubTrigger = 0x4000;

// Each gives the status transfer's result: 0 with the session's error on
// failure (KAVIX_E_NO_FPGA on models without one). A failed read leaves 0
// in `value`.
uint32_t write_status_word(Session &session, uint16_t id, uint16_t value);
uint32_t read_status_word(Session &session, uint16_t id, uint16_t &value);
uint32_t write_status_pair(Session &session, uint16_t id, uint32_t value);
uint32_t read_status_pair(Session &session, uint16_t id, uint32_t &value);

// Timing words (skipping and binning, V-blank) wait in the camera until the
// commit pulse applies them together.
uint32_t commit_timing(Session &session);

}  // namespace kavix::sensor
