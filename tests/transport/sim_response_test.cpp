// A virtual sensor's response to its settings: exposure in clocks from a
// shutter position, and the gain curves of the four gain kinds with the way
// back that the camera's own automatic gain takes.
#include <gtest/gtest.h>

#include <cmath>

#include "transport/sim/sensor_response.h"

namespace kavix::sim {
namespace {

TEST(SimResponse, ShutterPositionToClocks) {
  struct Case {
    uint32_t line, clock;
    bool fine;
    uint64_t clocks;
  } const cases[] = {
      {0, 0, true, 100 * 500},  // (0, 0) is the short limit: 500 lines of 100 clocks
      {0, 0, false, 100 * 500},
      {3, 7, true, 307},
      {3, 7, false, 300},  // without fine shutter only lines count
      {0, 7, false, 100},  // inside the first line: one line
      {0, 7, true, 7},
  };
  for (const Case &c : cases)
    EXPECT_EQ(exposure_clocks(c.line, c.clock, 100, 500, c.fine), c.clocks) << c.line << "," << c.clock;
}

TEST(SimResponse, GainCurvesOfTheFourKinds) {
  // Kind 0: 0.132 dB per step from -2.36 dB.
  EXPECT_NEAR(20 * std::log10(gain_linear(0, 100)), 0.132 * 100 - 2.36, 1e-9);
  // Kind 1: 0.07038 dB per step from 2 dB at -128.
  EXPECT_NEAR(20 * std::log10(gain_linear(1, 0)), 0.07038 * 128 + 2.0, 1e-9);
  // Kind 2: two straight pieces meeting between 20 and 21.
  EXPECT_DOUBLE_EQ(gain_linear(2, 20), 3.5);
  EXPECT_DOUBLE_EQ(gain_linear(2, 21), 3.9375);
  EXPECT_DOUBLE_EQ(gain_linear(2, 0), 1.0);
  // Kind 3: a power of two (bits 7 and 6) times 1 + m / 64.
  EXPECT_DOUBLE_EQ(gain_linear(3, 0x80), 4.0);
  EXPECT_NEAR(20 * std::log10(gain_linear(3, 0x80)), 12.04, 0.01);
  EXPECT_DOUBLE_EQ(gain_linear(3, 0x40 | 32), 3.0);
}

TEST(SimResponse, SettingForAFactorIsTheClosestWithinTheRange) {
  for (uint32_t kind = 0; kind < 4; ++kind) {
    for (uint16_t s : {uint16_t{0}, uint16_t{21}, uint16_t{77}, uint16_t{200}}) {
      EXPECT_EQ(gain_setting_for(kind, gain_linear(kind, s), 0, 255), s) << "kind " << kind;
    }
  }
  EXPECT_EQ(gain_setting_for(0, 1e9, 10, 50), 50);  // beyond the range: its top
  EXPECT_EQ(gain_setting_for(0, 0.0, 10, 50), 10);
  EXPECT_EQ(gain_setting_for(2, 3.6, 0, 255), 20);   // 3.5 is closer than 3.9375
  EXPECT_EQ(gain_setting_for(2, 3.8, 0, 255), 21);
}

}  // namespace
}  // namespace kavix::sim
